// How a core is set up for tests. Knows nothing of what they expect.
#include "served_node.h"

#include "node/node.h"
#include "yang/tree.h"

#include <fmt/format.h>

namespace server_tests {

namespace {

// The last leaf of the tree in its order: that of a path with keys.
const lyd_node *last_leaf(const lyd_node *first) {
    const lyd_node *found = nullptr;
    for (const lyd_node *node = first; node != nullptr; node = node->next) {
        if (is_leaf(*node->schema) && !is_key(*node->schema))
            found = node;
        else if (const lyd_node *inner = last_leaf(lyd_child(node)); inner != nullptr)
            found = inner;
    }
    return found;
}

} // namespace

std::string gain_edit(const std::string &gain) {
    return fmt::format(R"({{"openconfig-optical-amplifier:optical-amplifier":{{"amplifiers":{{"amplifier":[)"
                       R"({{"name":"0/1-AMP-BST","config":{{"target-gain":"{}"}}}}]}}}}}})",
                       gain);
}

std::string native_gain_edit(const std::string &tenths) {
    return fmt::format(
        R"(<config xmlns="urn:ietf:params:xml:ns:netconf:base:1.0">)"
        R"(<interface-configurations xmlns="http://korvex.example/ns/yang/Korvex-ifmgr-cfg"><interface-configuration>)"
        R"(<active>act</active><interface-name>Ots0/1/0/1</interface-name>)"
        R"(<optics xmlns="http://korvex.example/ns/yang/Korvex-controller-optics-cfg">)"
        R"(<optics-ots-amplifier-gain>{}</optics-ots-amplifier-gain></optics>)"
        R"(</interface-configuration></interface-configurations></config>)",
        tenths);
}

void ServedNode::SetUp() {
    Node::init(folder(), EXAMPLE_NODE);
    restart();
}

CoreSettings ServedNode::settings() const {
    return {.service = {.node = folder(), .plugin = PLUGIN_FILE, .logs = {}},
            .limits = {.change_poll = std::chrono::milliseconds(20)}};
}

void ServedNode::restart(const Limits &limits) {
    core_.reset();
    CoreSettings with_limits = settings();
    with_limits.limits = limits;
    with_limits.limits.change_poll = std::chrono::milliseconds(20);
    core_ = std::make_unique<Core>(with_limits, log_);
}

SessionId ServedNode::session(Role role, const std::string &user, EndOfSession on_end) {
    return core().open_session({user, role}, {"test", "127.0.0.1", 1}, std::move(on_end));
}

std::string ServedNode::answer(SessionId session, Operation operation) {
    const Outcome outcome = core().carry_out(session, std::move(operation));
    const auto *refused = std::get_if<Refusal>(&outcome);
    return refused != nullptr ? std::string(word_of(refused->tag)) : "ok";
}

Refusal ServedNode::refusal(SessionId session, Operation operation) {
    Outcome outcome = core().carry_out(session, std::move(operation));
    EXPECT_TRUE(std::holds_alternative<Refusal>(outcome));
    return std::holds_alternative<Refusal>(outcome) ? std::get<Refusal>(outcome) : Refusal{};
}

std::string ServedNode::value(SessionId session, const std::string &path, Datastore source) {
    const Outcome outcome = core().carry_out(session, Read{.source = source, .filter = PathFilter{path}});
    if (const auto *refused = std::get_if<Refusal>(&outcome))
        return refused->reason;
    const lyd_node *leaf = last_leaf(std::get<Result>(outcome).data.first());
    return leaf != nullptr ? leaf_text(*leaf) : "none";
}

std::string ServedNode::edit(SessionId session, const std::string &document, Datastore target) {
    return answer(session, Edit{.target = target, .steps = {{.document = document}}});
}

void Events::keep(const std::shared_ptr<const Event> &event) {
    const std::lock_guard lock(mutex_);
    events_.push_back(event);
    changed_.notify_all();
}

Listener Events::listener() {
    return [this](const std::shared_ptr<const Event> &event) { keep(event); };
}

Listener Events::change_listener() {
    return [this](const std::shared_ptr<const Event> &event) {
        if (std::holds_alternative<DataChange>(event->what))
            keep(event);
    };
}

Listener Events::write_listener() {
    return [this](const std::shared_ptr<const Event> &event) {
        if (std::holds_alternative<DataWritten>(event->what))
            keep(event);
    };
}

std::vector<std::shared_ptr<const Event>> Events::wait_for(std::size_t count) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, std::chrono::seconds(10), [&] { return events_.size() >= count; });
    return events_;
}

} // namespace server_tests
