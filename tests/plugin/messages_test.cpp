// Who takes messages changes nothing else: every exported handler, walker and converter makes the same calls with the
// same result whether the debug log, the lightweight trace, both or nobody listens; with request state and without.
#include "plugin_fixture.h"

#include <fstream>
#include <functional>
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

class Messages : public PluginTest {
  protected:
    // What the function does to a node, apart from messages.
    std::string work(const std::string &function, const Listeners &who, const Node *given, yfw_datatree *into) {
        Tree made(given != nullptr ? *given : leaf("none"));
        return told(who, [&] { return call_with(function, given != nullptr ? made.root() : nullptr, into); });
    }

    // What a call gives and does, apart from messages.
    std::string told(const Listeners &who, const std::function<std::string()> &make_call) {
        listen(who);
        const yfw_map_request before = request;
        platform.forget_calls();
        std::string result = make_call();
        for (const std::string &call : platform.calls_without(message_calls))
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

    void expect_the_same_of_helper(const std::string &what, const std::function<std::string()> &make_call) {
        told(listeners[0], make_call); // the database is looked for at its first use
        const std::string expected = told(listeners[0], make_call);
        for (size_t i = 1; i < std::size(listeners); ++i)
            EXPECT_SAME_TEXT(told(listeners[i], make_call), expected) << what << ", " << listeners[i].name;
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

// ---- Helpers, which have other arguments --------------------------------------------------------------------------

using Check = int (*)(yfw_map_ctx, const char *, char *);
using PortCheck = int (*)(yfw_map_ctx, const char *);
using KeyCheck = int (*)(yfw_map_ctx, char *);
using Getter = cerrno (*)(yfw_map_ctx, const char *, char *);
using ValueGetter = cerrno (*)(yfw_map_ctx, const char *, bag_token_type_td, void *, uint32_t, char *);
using TokenToText = void (*)(yfw_map_ctx, bag_token_td *, char *);
using PrintData = void (*)(yfw_map_ctx);

TEST_F(Messages, OfNameChecksChangeNothingButWhoIsTold) {
    platform.put_amplifier("0/1-AMP-PRE");
    for (const char *name :
         {"Ots0/1/0/0", "Ots0/2/0/0", "Ots0/1/0/9", "Ots0/9/0/0", "Optics0/1/0/4", "Optics0/1/0/0", "Optics0/9/0/4"}) {
        expect_the_same_of_helper(name, [&] {
            char amplifier[20] = "";
            const int is_ots = plugin().function<Check>("check_controller_name_ots_is_good")(ctx, name, amplifier);
            const int is_optics = plugin().function<PortCheck>("check_controller_name_optics_is_good")(ctx, name);
            return std::to_string(is_ots) + std::to_string(is_optics) + amplifier;
        });
    }
}

TEST_F(Messages, OfTheDatabaseChangeNothingButWhoIsTold) {
    for (const char *failing : {"", "_sysdb_bind", "sysdb_item_get", "sysdb_list", "bag_header_info",
                                "bag_generic_init", "bag_generic_token"}) {
        platform.reset();
        platform.know(ctx, &out);
        output_power_was("Ots0_1_0_1", {{"Average", "-8"}});
        platform.listing = {"Ots0_1_0_1/", "Ots0_1_0_0/"};
        platform.answer(failing, 0x77);
        expect_the_same_of_helper(failing, [&] {
            char text[200] = "";
            const cerrno code =
                plugin().function<Getter>("sysdb_get_input_pm_30sec_avg_power")(ctx, "Ots0_1_0_1", text);
            char key[] = "Ots0_1_0_0";
            const int is_known = plugin().function<KeyCheck>("sysdb_key_is_defined")(ctx, key);
            return std::to_string(code) + std::to_string(is_known) + text;
        });
        for (const char *getter : {"sysdb_get_amp_receive_power", "sysdb_get_amp_transmit_power"})
            expect_the_same_of_helper(std::string(getter) + failing, [&] {
                char text[200] = "";
                return std::to_string(plugin().function<Getter>(getter)(ctx, "Ots0_1_0_1", text)) + text;
            });
    }
}

TEST_F(Messages, OfRecordsThatAreNoneChangeNothingButWhoIsTold) {
    platform.put_empty_item("/oper/perfmgmt/gl/periodic/optics/interface/",
                            "Ots0_1_0_1/30sec/optics/1/timeline_rev/0x1");
    bag_token_td unknown{};
    unknown.type = static_cast<bag_token_type_td>(99);
    expect_the_same_of_helper("no record", [&] {
        char text[200] = "";
        return std::to_string(plugin().function<Getter>("sysdb_get_input_pm_30sec_avg_power")(ctx, "Ots0_1_0_1", text));
    });
    expect_the_same_of_helper("no bag", [&] {
        char text[200] = "";
        return std::to_string(
            plugin().function<ValueGetter>("get_value_in_bag")(ctx, "Name", BAG_TOKEN_TEXT, nullptr, 0, text));
    });
    expect_the_same_of_helper("unknown token", [&] {
        char text[200] = "";
        plugin().function<TokenToText>("convert_bag_value_to_str")(ctx, &unknown, text);
        return std::string(text);
    });
}

TEST_F(Messages, OfPrintedDataChangeNothingButWhoIsTold) {
    client_request(container("optical-amplifier"));
    const char *const keys[] = {"amplifier", "supervisory-channel"};
    request.list_index = 2;
    request.output_list_key = keys;
    expect_the_same_of_helper("print_data", [&] {
        plugin().function<PrintData>("print_data")(ctx);
        return std::string();
    });
}

} // namespace
