// How events are written. Knows no session but those that events are about.
#include "server/netconf/notifications.h"

#include "server/netconf/models.h"
#include "server/netconf/rpc_error.h"
#include "server/netconf/state_data.h"
#include "yang/tree.h"

#include <fmt/format.h>

namespace ocamp::netconf {

namespace {

constexpr std::string_view notification_namespace = "urn:ietf:params:xml:ns:netconf:notification:1.0";
// Most edits that one notification lists; of more, it tells the change alone.
constexpr std::size_t most_edits = 1000;

std::string element(std::string_view name, std::string_view value) {
    return fmt::format("<{0}>{1}</{0}>", name, xml_text(value));
}

std::string session_parameters(std::string_view user, server::SessionId session, const server::Peer &peer) {
    std::string text = element("username", user) + fmt::format("<session-id>{}</session-id>", session);
    if (!peer.address.empty())
        text += element("source-host", peer.address);
    return text;
}

std::string session_parameters(const server::SessionInfo &session) {
    return session_parameters(session.principal.user, session.id, session.peer);
}

std::string event_of(const server::SessionStarted &started) {
    return fmt::format("<netconf-session-start>{}</netconf-session-start>", session_parameters(started.session));
}

std::string_view reason_of(server::SessionEnd end) {
    switch (end) {
    case server::SessionEnd::closed:
        return "closed";
    case server::SessionEnd::killed:
        return "killed";
    case server::SessionEnd::dropped:
        return "dropped";
    case server::SessionEnd::timeout:
        return "timeout";
    case server::SessionEnd::refused:
    case server::SessionEnd::shutdown:
        break;
    }
    return "other";
}

std::string event_of(const server::SessionEnded &ended) {
    std::string text = session_parameters(ended.session);
    if (ended.killed_by != server::no_session)
        text += fmt::format("<killed-by>{}</killed-by>", ended.killed_by);
    return fmt::format("<netconf-session-end>{}<termination-reason>{}</termination-reason></netconf-session-end>", text,
                       reason_of(ended.reason));
}

std::string edit_of(const LeafChange &change) {
    const PrefixedPath path = prefixed(change.path);
    if (path.text.empty())
        return {};
    std::string declarations;
    for (const auto &[prefix, uri] : path.namespaces)
        declarations += fmt::format(" xmlns:{}=\"{}\"", prefix, xml_text(uri));
    const std::string_view operation = change.is_new() ? "create" : change.is_gone() ? "delete" : "replace";
    return fmt::format("<edit><target{}>{}</target><operation>{}</operation></edit>", declarations, xml_text(path.text),
                       operation);
}

std::string event_of(const server::DataChange &change) {
    std::string text = "<netconf-config-change><changed-by>";
    text += change.author.session == server::no_session
                ? "<server/>"
                : session_parameters(change.author.user, change.author.session, change.author.peer);
    text += "</changed-by><datastore>running</datastore>";
    if (change.openconfig.size() + change.native.size() <= most_edits) {
        for (const auto *changes : {&change.openconfig, &change.native}) {
            for (const LeafChange &each : *changes) {
                if (each.configuration)
                    text += edit_of(each);
            }
        }
    }
    return text + "</netconf-config-change>";
}

// NETCONF has no notification that says no more.
std::string event_of(const server::DataWritten &) {
    return {};
}

std::string_view word_of(server::ConfirmedCommitEvent::Kind kind) {
    using Kind = server::ConfirmedCommitEvent::Kind;
    switch (kind) {
    case Kind::start:
        return "start";
    case Kind::cancel:
        return "cancel";
    case Kind::timeout:
        return "timeout";
    case Kind::extend:
        return "extend";
    case Kind::complete:
        return "complete";
    }
    return {};
}

std::string event_of(const server::PlantEvent &event) {
    return fmt::format("<line-event><second>{}</second>{}</line-event>", event.second, element("event", event.words));
}

std::string event_of(const server::ConfirmedCommitEvent &event) {
    using Kind = server::ConfirmedCommitEvent::Kind;
    std::string text = "<netconf-confirmed-commit>";
    if (event.kind != Kind::timeout)
        text += session_parameters(event.author.user, event.author.session, event.author.peer);
    text += element("confirm-event", word_of(event.kind));
    if (event.kind == Kind::start || event.kind == Kind::extend)
        text += fmt::format("<timeout>{}</timeout>", event.timeout.count());
    return text + "</netconf-confirmed-commit>";
}

} // namespace

std::optional<std::string> notification_of(const server::Event &event, const server::ReadFilter &filter) {
    std::string content = std::visit([](const auto &what) { return event_of(what); }, event.what);
    if (content.empty())
        return std::nullopt;
    const bool of_line = std::holds_alternative<server::PlantEvent>(event.what);
    const std::string_view ns = module_named(of_line ? "oc-amplifier-line" : "ietf-netconf-notifications")->ns;
    content.insert(content.find('>'), fmt::format(" xmlns=\"{}\"", ns));
    if (!std::holds_alternative<server::WholeTree>(filter)) {
        YangTree tree = YangTree::parse_notification(*protocol_schema().context(), content);
        cut(tree, filter);
        if (tree.empty())
            return std::nullopt;
        content = tree.print(LYD_XML);
    }
    return fmt::format(
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<notification xmlns=\"{}\"><eventTime>{}</eventTime>"
        "{}</notification>",
        notification_namespace, written(event.at), content);
}

} // namespace ocamp::netconf
