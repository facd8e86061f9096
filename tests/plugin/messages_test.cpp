// Who takes messages changes nothing else: every exported handler, walker and converter makes the same calls with the
// same result whether the debug log, the lightweight trace, both or nobody listens; with request state and without.
#include "plugin_fixture.h"

#include <fstream>
#include <iterator>

namespace {

std::vector<std::string> handlers() {
    std::ifstream list(EXPORTS_LIST);
    std::vector<std::string> found;
    for (std::string name; std::getline(list, name);)
        if (name.starts_with("ymap_") || name.ends_with("_to_low") || name.ends_with("_to_high"))
            found.push_back(name);
    return found;
}

bool takes_a_count(const std::string &name) {
    return name.find("_cont_lvl") != std::string::npos || name.ends_with("duck_map_container");
}

bool gives_a_text(const std::string &name) {
    return name.starts_with("oc_opt_") &&
           (name.find("enabled_to_") != std::string::npos || name.find("gain_range_to_") != std::string::npos);
}

/// Nodes for any function: none asks for the tag of the node that it is given.
std::vector<std::pair<std::string, Node>> inputs() {
    Node without_tag = leaf("name", "x");
    without_tag.tag.reset();
    const auto with = [](Node child) { return container("node", {std::move(child)}); };
    return {{"leaf", leaf("node", "0/1-AMP-PRE")},
            {"port", leaf("node", "Ots0/1/0/0")},
            {"channel", leaf("node", "Optics0/1/0/4")},
            {"number", leaf("node", "-1750")},
            {"leaf without value", leaf("node")},
            {"leaf with an xpath error", leaf("node", "1").xpath_error()},
            {"deleted leaf", leaf("node", "1").op(YFW_OP_DELETE)},
            {"replaced node", with(leaf("name", "0/1-AMP-PRE").key()).op(YFW_OP_REPLACE)},
            {"children that are missing", container("node").missing_children(2)},
            {"child without tag", with(without_tag)},
            {"keys", container("node", {leaf("name", "0/1-AMP-PRE").key(), leaf("interface", "Optics0/1/0/4").key(),
                                        leaf("interface-name", "Ots0/1/0/0").key(), leaf("active", "act").key()})},
            {"deleted key", with(leaf("name", "0/1-AMP-PRE").key().op(YFW_OP_DELETE))},
            {"unknown child", with(leaf("unknown", "1"))},
            {"child of another module", with(leaf("unknown", "1").in(ns::foreign))}};
}

struct Listeners {
    const char *name;
    bool debug_log, lightweight;
};
constexpr Listeners listeners[] = {
    {"nobody", false, false}, {"debug log", true, false}, {"trace", false, true}, {"both", true, true}};

class Messages : public PluginTest {
  protected:
    // What the function does to a node, apart from messages.
    std::string work(const std::string &function, const Listeners &who, const Node *given, yfw_datatree *into) {
        platform.debug_log_takes(0, who.debug_log);
        platform.debug_log_takes(3, who.debug_log);
        context.ltrace_enabled = who.lightweight ? 1 : 0;
        const yfw_map_request before = request;
        platform.forget_calls();
        Tree made(given != nullptr ? *given : leaf("none"));
        std::string result = call_with(function, given != nullptr ? made.root() : nullptr, into);
        for (const std::string &call : platform.calls_without(
                 {"_xos_dt_log_filter_adv", "_lstrace", "ret_nc_yfw_trace_index_incr", "cerr_strerror"}))
            result += "\n" + call;
        result += "\nerror path " + error_path() + ", walk flags " + std::to_string(request.walk_flags);
        if (request.error_path != before.error_path)
            xos_named_free(request.error_path);
        request = before;
        return result;
    }

    void expect_the_same_for_all() {
        const auto known = inputs();
        for (const std::string &function : handlers()) {
            const auto expect_same = [&](const std::string &what, const Node *given, yfw_datatree *into) {
                const std::string expected = work(function, listeners[0], given, into);
                for (size_t i = 1; i < std::size(listeners); ++i)
                    EXPECT_SAME_TEXT(work(function, listeners[i], given, into), expected)
                        << function << ", " << what << ", " << listeners[i].name;
            };
            expect_same("no node", nullptr, &out);
            expect_same("no output", &known.front().second, nullptr);
            for (const auto &[what, given] : known)
                expect_same(what, &given, &out);
        }
    }

  private:
    std::string call_with(const std::string &function, yfw_datatree *in, yfw_datatree *into) {
        if (gives_a_text(function))
            return recording::show_text(plugin().text_converter(function)(ctx, in, into));
        if (takes_a_count(function))
            return std::to_string(
                plugin().container_handler(function)(ctx, in, in != nullptr ? in->child_count : 0, into));
        return std::to_string(plugin().handler(function)(ctx, in, into));
    }
};

TEST_F(Messages, OfAReadChangeNothingButWhoIsTold) {
    all_amplifiers_exist();
    platform.node_key = "Ots0/1/0/0";
    client_request(container("optical-amplifier"));
    expect_the_same_for_all();
}

TEST_F(Messages, OfAnEditChangeNothingButWhoIsTold) {
    kind(YFW_KIND_EDIT);
    client_request(container("optical-amplifier"));
    expect_the_same_for_all();
}

TEST_F(Messages, WithoutRequestStateChangeNothingButWhoIsTold) {
    all_amplifiers_exist();
    platform.node_key = "Ots0/1/0/0";
    context.req_ctx = nullptr;
    expect_the_same_for_all();
}

} // namespace
