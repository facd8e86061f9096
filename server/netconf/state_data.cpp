// How the protocol's own data comes about: as XML, read back against its models. Knows no session's state but what is
// counted.
#include "server/netconf/state_data.h"

#include "node/filter.h"
#include "node/xpath_filter.h"
#include "seam/text.h"
#include "server/netconf/models.h"
#include "server/netconf/request.h"

#include <algorithm>

#include <fmt/format.h>

namespace ocamp::netconf {

namespace {

std::string element(std::string_view name, std::string_view value) {
    return fmt::format("<{0}>{1}</{0}>", name, xml_text(value));
}

std::string element(std::string_view name, std::uint32_t value) {
    return fmt::format("<{0}>{1}</{0}>", name, value);
}

std::string schemas() {
    std::string text = "<schemas>";
    for (const ModuleEntry &module : all_modules()) {
        for (const std::string_view format : {"yang", "yin"})
            text += "<schema>" + element("identifier", module.name) + element("version", module.revision) +
                    fmt::format("<format>{}</format>", format) + element("namespace", module.ns) +
                    "<location>NETCONF</location></schema>";
    }
    return text + "</schemas>";
}

std::string capability_list() {
    std::string text = "<capabilities>";
    for (const std::string &uri : capabilities())
        text += element("capability", uri);
    return text + "</capabilities>";
}

std::string datastores(const server::Core &core) {
    std::string text = "<datastores>";
    const auto locks = core.locks();
    for (const server::Datastore datastore : {server::Datastore::running, server::Datastore::candidate}) {
        text += "<datastore>" + element("name", word_of(datastore));
        const auto lock = std::find_if(locks.begin(), locks.end(),
                                       [&](const server::LockInfo &each) { return each.datastore == datastore; });
        if (lock != locks.end())
            text += "<locks><global-lock>" + element("locked-by-session", lock->session) +
                    element("locked-time", written(lock->since)) + "</global-lock></locks>";
        text += "</datastore>";
    }
    return text + "</datastores>";
}

std::string counters(const Counters &counters) {
    return element("in-rpcs", counters.in_rpcs) + element("in-bad-rpcs", counters.in_bad_rpcs) +
           element("out-rpc-errors", counters.out_rpc_errors) +
           element("out-notifications", counters.out_notifications);
}

std::string sessions(const Statistics &statistics) {
    std::string text = "<sessions>";
    for (const auto &[id, session] : statistics.sessions)
        text += "<session>" + element("session-id", id) + "<transport>netconf-ssh</transport>" +
                element("username", session.user) + element("source-host", session.address) +
                element("login-time", written(session.since)) + counters(session.counters) + "</session>";
    return text + "</sessions>";
}

std::string totals(const Statistics &statistics) {
    return "<statistics>" + element("netconf-start-time", written(statistics.started)) +
           element("in-bad-hellos", statistics.in_bad_hellos) + element("in-sessions", statistics.in_sessions) +
           element("dropped-sessions", statistics.dropped_sessions) + counters(statistics.counters) + "</statistics>";
}

std::string netconf_state(const server::Core &core, const Statistics &statistics) {
    static const std::string constant = capability_list(), constant_schemas = schemas();
    return fmt::format("<netconf-state xmlns=\"{}\">{}{}{}{}{}</netconf-state>",
                       module_named("ietf-netconf-monitoring")->ns, constant, datastores(core), constant_schemas,
                       sessions(statistics), totals(statistics));
}

std::string library_module(const ModuleEntry &module) {
    std::string text = element("name", module.name);
    if (!module.revision.empty())
        text += element("revision", module.revision);
    text += element("namespace", module.ns);
    for (const std::string &feature : module.features)
        text += element("feature", feature);
    for (const std::string &deviation : module.deviations)
        text += element("deviation", deviation);
    return text;
}

std::string yang_library() {
    std::string text =
        fmt::format("<yang-library xmlns=\"{}\"><module-set><name>all</name>", module_named("ietf-yang-library")->ns);
    for (const ModuleEntry &module : all_modules()) {
        const std::string_view list = module.implemented ? "module" : "import-only-module";
        text += fmt::format("<{0}>{1}</{0}>", list, library_module(module));
    }
    text += "</module-set><schema><name>all</name><module-set>all</module-set></schema>";
    for (const std::string_view datastore : {"running", "candidate", "operational"})
        text += fmt::format("<datastore><name xmlns:ds=\"{}\">ds:{}</name><schema>all</schema></datastore>",
                            module_named("ietf-datastores")->ns, datastore);
    return text + element("content-id", module_set_id()) + "</yang-library>";
}

// The older form of the same, for clients that know no other.
std::string modules_state() {
    std::string text = fmt::format("<modules-state xmlns=\"{}\">{}", module_named("ietf-yang-library")->ns,
                                   element("module-set-id", module_set_id()));
    const auto revision_of = [](const std::string &name) {
        const auto &modules = all_modules();
        const auto found = std::find_if(modules.begin(), modules.end(),
                                        [&](const ModuleEntry &module) { return module.name == name; });
        return found != modules.end() ? found->revision : std::string();
    };
    for (const ModuleEntry &module : all_modules()) {
        text += "<module>" + element("name", module.name) + element("revision", module.revision) +
                element("namespace", module.ns);
        for (const std::string &feature : module.features)
            text += element("feature", feature);
        for (const std::string &deviation : module.deviations)
            text += "<deviation>" + element("name", deviation) + element("revision", revision_of(deviation)) +
                    "</deviation>";
        text += element("conformance-type", module.implemented ? "implement" : "import") + "</module>";
    }
    return text + "</modules-state>";
}

std::string streams() {
    return fmt::format("<netconf xmlns=\"{}\"><streams><stream><name>NETCONF</name><description>Sessions, changes of "
                       "the configuration, confirmed commits, and what happens to a simulated "
                       "line</description><replaySupport>false</replaySupport>"
                       "</stream></streams></netconf>",
                       module_named("nc-notifications")->ns);
}

} // namespace

YangTree state_data(const server::Core &core, const Statistics &statistics, const server::ReadFilter &filter) {
    if (const auto *subtree = std::get_if<server::SubtreeFilter>(&filter);
        subtree != nullptr && Filter::from_document(protocol_schema(), subtree->xml).requests().empty())
        return {};
    static const std::string constant = yang_library() + modules_state() + streams();
    YangTree tree = protocol_schema().parse(netconf_state(core, statistics) + constant, LYD_XML);
    cut(tree, filter);
    return tree;
}

void cut(YangTree &tree, const server::ReadFilter &filter) {
    if (const auto *subtree = std::get_if<server::SubtreeFilter>(&filter))
        Filter::from_document(protocol_schema(), subtree->xml).cut(tree);
    else if (const auto *xpath = std::get_if<server::ExpressionFilter>(&filter))
        XPathFilter(protocol_schema(), xpath->expression, xpath->namespaces).cut(tree);
}

std::string written(std::chrono::system_clock::time_point time) {
    return utc_text(time.time_since_epoch(), 3);
}

} // namespace ocamp::netconf
