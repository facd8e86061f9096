// The fixture of the plug-in tests: a request, an output tree, and the words in which expected calls are written.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <utility>
#include <vector>

#include "plugin_under_test.h"
#include "recording_platform.h"
#include "same_text.h"
#include "tree.h"

using Lines = std::vector<std::string>;

/// ---- Expected lines, one for each function of the seam ----------------------------------------------------------

std::string err(const std::string &text);
std::string trc(const std::string &text);
/// The same in named_calls().
std::string err_of(const std::string &function, const std::string &text);
std::string trc_of(const std::string &function, const std::string &text);
/// The node as a line shows it. Give the operation that it has at the time of the call.
std::string node(const std::string &tag, uint32_t operation = YFW_OP_MERGE);
inline const std::string no_source = "none";

std::string push(const std::string &shown_node, int level);
std::string pop(const std::string &shown_node);
std::string ask_delete(const std::string &shown_node);
std::string ask_add();
std::string current_list(const std::string &list_path);
std::string leafref(const std::string &list_path, const std::string &shown_key);
struct Flags {
    unsigned list = 0;
    unsigned follow = 0;
};
std::string add(const std::string &path, const char *name_space, const char *value,
                const std::string &source = no_source, Flags flags = {});
std::string search_list(const std::string &path, const std::string &key_name, const std::string &key_value);
std::string node_info(const std::string &shown_entry, const std::string &list_path, const std::string &key_name);
std::string into_output_list(const std::string &shown_entry);
std::string out_of_output_list(const std::string &shown_entry);
std::string error_path_call();
std::string copied(const std::string &text, const std::string &label);
std::string freed(const std::string &text);
std::string print_tree(const std::string &shown_node, const std::string &label);
std::string bind(const std::string &bind_point);
std::string item_get(const std::string &item_path);
inline const std::string unbind = "_sysdb_unbind handle";

/// Message, error path set to `tag`, and the framework told.
Lines failed_at(const std::string &message, const std::string &tag);
/// What every handler does about a missing node, after its "Start" where it has one.
Lines missing_node();
/// A walk of the inventory for an amplifier, found or not.
Lines inventory_lookup(const std::string &amplifier, bool found);
/// check_controller_name_ots_is_good for a controller of a valid slot and port.
Lines ots_check(const std::string &controller, const std::string &amplifier, bool found);
/// check_controller_name_optics_is_good likewise; `amplifier` is the slot's pre-amplifier.
Lines optics_check(const std::string &controller, const std::string &amplifier, bool found);
Lines ots_check_wrong_port(const std::string &controller, int port);
Lines optics_check_wrong_port(const std::string &controller, int port);
/// sysdb_key_is_defined for a key that is the only one listed, or that is not listed at all.
Lines key_lookup(const std::string &controller_key, bool defined);
/// The traces of compare_path over a tree; `root` may be NULL.
Lines compare_path_trace(const yfw_datatree *root, const std::string &target);

/// `front` and `count` more characters, for texts that run past a buffer.
inline std::string long_text(std::string front, size_t count, char more) {
    return front.append(count, more);
}

/// Joins single lines and groups of lines into one sequence.
inline void append(Lines &lines, const std::string &line) {
    lines.push_back(line);
}
inline void append(Lines &lines, const Lines &more) {
    lines.insert(lines.end(), more.begin(), more.end());
}
template <class... Parts>
Lines lines(const Parts &...parts) {
    Lines all;
    (append(all, parts), ...);
    return all;
}
/// The lines without those that begin with `start`.
Lines without_start(const Lines &lines, const std::string &start);
/// The lines without the "Start" and "End" of any function.
Lines without_brackets(const Lines &lines);
/// One text, a line each, so that a failed comparison shows a readable difference.
std::string text_of(const Lines &lines);

/// ---- Names -----------------------------------------------------------------------------------------------------

std::string oc_walker(const std::string &path_word, const std::string &level = "lvla");
std::string oc_handler(const std::string &kind, const std::string &path_word, const std::string &level = "lvla");

inline const std::string history_list =
    "/performance-management-history/global/periodic/optics-history/optics-port-histories/optics-port-history";
inline const std::string second30_list =
    history_list + "/optics-second30-history/optics-second30-optics-histories/optics-second30-optics-history";
inline const std::string time_line =
    second30_list + "/optics-second30-optics-time-line-instances/optics-second30-optics-time-line-instance";
inline const std::string interface_list = "/interface-configurations/interface-configuration";
inline const std::string ots_list = "/ots-oper/ots-ports/ots-port";
inline const std::string optics_list = "/optics-oper/optics-ports/optics-port";
inline const std::string optics_lane = optics_list + "/optics-lanes/optics-lane";
inline const std::string oc_amplifier = "/optical-amplifier/amplifiers/amplifier";
inline const std::string oc_channel = "/optical-amplifier/supervisory-channels/supervisory-channel";

/// ---- Who takes messages ----------------------------------------------------------------------------------------

struct Listeners {
    const char *name;
    bool debug_log, lightweight;
};
/// All that there can be, nobody first.
inline constexpr Listeners listeners[] = {
    {"nobody", false, false}, {"debug log", true, false}, {"trace", false, true}, {"both", true, true}};
/// The functions that are called for the sake of messages.
inline const std::set<std::string> message_calls{"_xos_dt_log_filter_adv", "_lstrace", "ret_nc_yfw_trace_index_incr",
                                                 "cerr_strerror"};

/// ---- The fixture -----------------------------------------------------------------------------------------------

class PluginTest : public ::testing::Test {
  protected:
    PluginTest();
    ~PluginTest() override;
    void TearDown() override;

    recording::Platform &platform = recording::platform();
    yfw_map_ctx_s context{};
    yfw_map_ctx ctx = &context;
    yfw_map_request request{};
    yfw_datatree out{};

    void kind(uint32_t request_kind) { kind_word_ = request_kind; }
    /// The request as the client sent it: node_data[0] and the duplicate under the root with the empty tag.
    yfw_datatree *client_request(const Node &tree);
    /// A tree of its own, kept for the length of the test.
    yfw_datatree *tree(const Node &description);
    void output_list_entry(const Node &tree);        ///< plist
    void native_path(const Node &tree);              ///< native_path
    void native_list(const Node &tree);              ///< native_list
    void hierarchy(const std::vector<Node> &levels); ///< hierarchy, the root first
    void all_amplifiers_exist();                     ///< six amplifiers in the inventory
    /// The thirty-second history of the output power of a controller ("Ots0_1_0_1"): texts by statistic ("Average").
    void output_power_was(const std::string &controller,
                          const std::vector<std::pair<const char *, std::string>> &statistics);
    void lightweight_on() { context.ltrace_enabled = 1; }
    void listen(const Listeners &who);

    cerrno call(const std::string &name, const yfw_datatree *in) { return plugin().handler(name)(ctx, in, &out); }
    cerrno call_container(const std::string &name, const yfw_datatree *in, unsigned count) {
        return plugin().container_handler(name)(ctx, in, count, &out);
    }
    std::string call_text(const std::string &name, const yfw_datatree *in) {
        return recording::show_text(plugin().text_converter(name)(ctx, in, &out));
    }

    /// Compares the whole sequence of calls.
    void expect_calls(const Lines &expected) const { EXPECT_SAME_TEXT(text_of(platform.calls()), text_of(expected)); }
    /// Compares the sequence without messages, delete questions and list-instance questions: what walkers do.
    Lines actions() const;
    void expect_actions(const Lines &expected) const { EXPECT_SAME_TEXT(text_of(actions()), text_of(expected)); }
    /// Compares the whole sequence but for "Start" and "End" lines.
    void expect_content(const Lines &expected) const {
        EXPECT_SAME_TEXT(text_of(without_brackets(platform.calls())), text_of(without_brackets(expected)));
    }
    /// Compares only what is written into the output tree.
    void expect_writes(const Lines &expected) const { EXPECT_SAME_TEXT(text_of(writes()), text_of(expected)); }
    Lines writes() const { return platform.calls_of({"yfw_map_datatree_add_path_flagged"}); }
    Lines messages() const { return platform.calls_of({"_xos_dt_log_filter_adv"}); }
    Lines searches() const { return platform.calls_of({"yfw_map_search_or_add_list"}); }
    std::string error_path() const { return request.error_path == nullptr ? "none" : request.error_path; }
    /// The calls in order, each message led by the function that reports it. Needs lightweight_on().
    Lines named_calls() const;
    void expect_named_calls(const Lines &expected) const {
        EXPECT_SAME_TEXT(text_of(named_calls()), text_of(expected));
    }
    /// Functions that traced "Start", in order. Needs lightweight_on().
    Lines started() const;
    void expect_started(const Lines &expected) const { EXPECT_SAME_TEXT(text_of(started()), text_of(expected)); }

    /// Missing input and missing output: "Start" when the function traces it, the report, the code.
    void expect_refuses_missing_nodes(const std::string &name, bool traces_start);
    /// The same for a container handler.
    void expect_container_refuses_missing_nodes(const std::string &name);

  private:
    uint32_t kind_word_ = YFW_KIND_GET;
    std::deque<Tree> trees_;
    std::vector<const yfw_datatree *> hierarchy_;
};

/// The process ends with the standard assertion report that names the function with its prototype.
void expect_context_assertion(const std::string &function, void (*call)(const std::string &function));
void call_handler_without_context(const std::string &function);
void call_container_handler_without_context(const std::string &function);
void call_text_converter_without_context(const std::string &function);

/// Name of a parameterised test from a text: letters and digits only.
std::string test_name(const std::string &text);
/// The same led by the number of the case, for texts that do not tell the cases apart.
std::string case_name(size_t index, const std::string &text = {});
