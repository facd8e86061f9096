// See plugin_fixture.h.
#include "plugin_fixture.h"

#include <cctype>
#include <regex>

using recording::show_node;
using recording::show_text;

namespace {

std::string quoted(const std::string &text) {
    return "\"" + text + "\"";
}

constexpr const char *inventory_bind_point = "/oper/inventory/gl/entity/";

bool compare_path_model(const yfw_datatree &node, const std::string &target, std::string path, Lines &trace) {
    if ((node.node_flags & YFW_NODE_PRESENT) == 0)
        return false;
    const std::string tag = node.tag == nullptr ? "(null)" : node.tag;
    trace.push_back(trc("TAG <" + tag + ">, NS <" + (node.ns == nullptr ? "(null)" : node.ns) + ">"));
    if (node.tag != nullptr)
        path += tag;
    if ((node.node_flags & YFW_NODE_KEY) != 0) {
        const std::string value = node.value == nullptr ? "(null)" : node.value;
        trace.push_back(trc("data " + value));
        trace.push_back(trc("path        : <" + path + ">"));
        trace.push_back(trc("path_to_find: <" + target + ">"));
        if (path == target) {
            trace.push_back(trc("found return !"));
            trace.push_back(trc("key " + value.substr(0, 19) + ","));
            trace.push_back(trc("req->_data " + value + ","));
            return true;
        }
    }
    path += "/";
    trace.push_back(trc("subtree_count " + std::to_string(node.child_count)));
    for (uint32_t i = 0; (node.node_flags & YFW_NODE_HAS_CHILDREN) != 0 && i < node.child_count; ++i)
        if (compare_path_model(node.children[i], target, path, trace))
            return true;
    return false;
}

} // namespace

std::string err(const std::string &text) {
    return "ERR " + text;
}
std::string trc(const std::string &text) {
    return "TRC " + text;
}
std::string err_of(const std::string &function, const std::string &text) {
    return "ERR " + function + ": " + text;
}
std::string trc_of(const std::string &function, const std::string &text) {
    return "TRC " + function + ": " + text;
}
std::string node(const std::string &tag, uint32_t operation) {
    return show_node(tag, operation);
}

std::string push(const std::string &shown_node, int level) {
    return "yfw_map_add_to_node_hierarchy ctx " + shown_node + " " + std::to_string(level);
}

std::string pop(const std::string &shown_node) {
    return "yfw_map_remove_from_node_hierarchy ctx " + shown_node;
}
std::string ask_delete(const std::string &shown_node) {
    return "yfw_map_is_request_delete " + shown_node;
}
std::string ask_add() {
    return "yfw_map_is_request_add ctx";
}
std::string current_list(const std::string &list_path) {
    return "yfw_map_update_current_list_node ctx " + quoted(list_path);
}

std::string leafref(const std::string &list_path, const std::string &shown_key) {
    return "yfw_map_check_oc_leafref ctx " + quoted(list_path) + " \"config\" " + shown_key + " out";
}

std::string add(const std::string &path, const char *name_space, const char *value, const std::string &source,
                Flags flags) {
    return "yfw_map_datatree_add_path_flagged ctx out path=" + path + " ns=" + name_space +
           " value=" + show_text(value) + " source=" + source + " 0 " + std::to_string(flags.list) + " " +
           std::to_string(flags.follow);
}

std::string search_list(const std::string &path, const std::string &key_name, const std::string &key_value) {
    return "yfw_map_search_or_add_list ctx out <plist> path=" + path + " " + key_name + "=" + quoted(key_value) +
           " ns=" + ns::openconfig;
}

std::string node_info(const std::string &shown_entry, const std::string &list_path, const std::string &key_name) {
    return "yfw_map_get_node_info ctx " + shown_entry + " " + quoted(list_path) + " " + quoted(key_name);
}

std::string into_output_list(const std::string &shown_entry) {
    return "yfw_add_to_output_list_ctx ctx " + shown_entry + " out";
}

std::string out_of_output_list(const std::string &shown_entry) {
    return "yfw_remove_from_output_list_ctx ctx " + shown_entry + " out";
}

std::string error_path_call() {
    return "yfw_oc_error_path ctx";
}
std::string copied(const std::string &text, const std::string &label) {
    return "yfw_strdup " + quoted(text) + " " + quoted(label);
}
std::string freed(const std::string &text) {
    return "xos_named_free " + quoted(text);
}
std::string print_tree(const std::string &shown_node, const std::string &label) {
    return "yfw_map_print_datatree_internal ctx " + shown_node + " " + quoted(label);
}
std::string bind(const std::string &bind_point) {
    return "_sysdb_bind " + bind_point + " 0";
}
std::string item_get(const std::string &item_path) {
    return "sysdb_item_get handle " + item_path + " 0";
}

Lines failed_at(const std::string &message, const std::string &tag) {
    return {err(message), copied(tag, "YFW MAP"), error_path_call()};
}

Lines missing_node() {
    return {err("Invalid arguments passed!"), error_path_call()};
}

Lines inventory_lookup(const std::string &amplifier, bool found) {
    std::string key = amplifier;
    if (const size_t slash = key.find('/'); slash != std::string::npos)
        key.replace(slash, 1, "%2f");
    const std::string path = key + "/attrib/inv_basic_bag";
    const Lines begin{trc("amp_name_key " + amplifier), trc("path " + path), bind(inventory_bind_point),
                      item_get(path)};
    if (!found)
        return lines(begin, trc("sysdb_item_get failed: code 0x2"), trc("sysdb_unbind"), unbind, trc("return"),
                     trc("rc != CERR_SUCCESS"));
    return lines(begin, trc("sysdb_unbind"), unbind, trc("return"), "bag_header_info",
                 trc("[bag (len 96)] \t (inv_basic_bag v1.0)"), "bag_generic_init 8", "bag_generic_token",
                 "bag_generic_token", trc("bag_generic_destroy"), "bag_generic_destroy");
}

Lines ots_check(const std::string &controller, const std::string &amplifier, bool found) {
    return lines(trc("controller_name = " + controller), trc("amplifier_name = " + amplifier),
                 inventory_lookup(amplifier, found),
                 found ? trc("sys_amp_name = " + amplifier)
                       : err("Amplifier_name [" + amplifier + "] not present in sysdb inventory, discard it!"));
}

Lines optics_check(const std::string &controller, const std::string &amplifier, bool found) {
    const Lines lookup = lines(trc("controller_name = " + controller), trc("amplifier_name = " + amplifier),
                               inventory_lookup(amplifier, found));
    if (found)
        return lookup;
    return lines(lookup, err("Amplifier_name [" + amplifier + "] not present in sysdb inventory, discard it!"));
}

Lines ots_check_wrong_port(const std::string &controller, int port) {
    return {trc("controller_name = " + controller), err("Invalid controller_name [" + controller + "] and port id [" +
                                                        std::to_string(port) + "], discard it!")};
}

Lines optics_check_wrong_port(const std::string &controller, int port) {
    return ots_check_wrong_port(controller, port);
}

Lines compare_path_trace(const yfw_datatree *root, const std::string &target) {
    if (root == nullptr)
        return {err("return, req is NULL")};
    Lines trace;
    compare_path_model(*root, target, "", trace);
    return trace;
}

Lines key_lookup(const std::string &controller_key, bool defined) {
    const std::string folder = controller_key + "/";
    const Lines begin{bind("/oper/ots/if/"), trc("key: " + folder), "sysdb_list handle \"\" 0",
                      trc(defined ? "found 1 object(s)" : "found 0 object(s)"), "sysdb_list_next listing 0"};
    const Lines found{trc("Item: '" + folder + "', datatype: 7"), trc("Object " + folder + " present in sysdb")};
    return lines(begin, defined ? found : Lines{}, "sysdb_list_free listing", unbind);
}

Lines without_start(const Lines &lines, const std::string &start) {
    Lines kept;
    for (const std::string &line : lines)
        if (!line.starts_with(start))
            kept.push_back(line);
    return kept;
}

Lines without_brackets(const Lines &lines) {
    Lines kept;
    for (const std::string &line : lines)
        if (line != trc("Start") && line != trc("End"))
            kept.push_back(line);
    return kept;
}

std::string text_of(const Lines &lines) {
    std::string text;
    for (const std::string &line : lines)
        text += line + "\n";
    return text;
}

std::string oc_walker(const std::string &path_word, const std::string &level) {
    return "ymap_ox_oc_opt_ampli_openconfigopticalamplifier_" + level + "_" + path_word;
}

std::string oc_handler(const std::string &kind, const std::string &path_word, const std::string &level) {
    return "ymap_ox_oc_opt_ampli_openconfigopticalamplifier_" + kind + "_" + level + "_" + path_word;
}

PluginTest::PluginTest() {
    plugin();
    platform.reset();
    platform.know(ctx, &out);
    context.req_ctx = &request;
    // Handles are opaque to the plug-in; addresses of their own tell them apart.
    static char handles[3];
    context.error_log = reinterpret_cast<yfw_log_handle *>(&handles[0]);
    context.trace_log = reinterpret_cast<yfw_log_handle *>(&handles[1]);
    context.ltrace_handle = reinterpret_cast<yfw_ltrace_handle *>(&handles[2]);
    request.request_kind = &kind_word_;
    request.reg_dup_datatree.tag = "";
    request.reg_dup_datatree.node_flags = YFW_NODE_PRESENT;
    request.plist.tag = "amplifier";
    platform.name_node(&request.reg_dup_datatree, "reg_dup_datatree");
    platform.name_node(&request.plist, "plist");
}

PluginTest::~PluginTest() {
    platform.reset();
}

void PluginTest::TearDown() {
    EXPECT_EQ(platform.live_copies(), request.error_path == nullptr ? 0U : 1U) << "copies that nobody owns";
    EXPECT_EQ(platform.live_token_texts(), 0U) << "token allocations not released";
    EXPECT_EQ(platform.open_walks(), 0) << "bag walks not ended";
    EXPECT_EQ(platform.open_bindings(), 0) << "bindings not closed";
    EXPECT_EQ(platform.open_listings(), 0) << "listings not freed";
    EXPECT_EQ(platform.hierarchy_depth(), 0) << "nodes left on the hierarchy";
}

yfw_datatree *PluginTest::client_request(const Node &description) {
    yfw_datatree *given = tree(description);
    request.node_data = given;
    request.node_data_count = 1;
    request.reg_dup_datatree.children = tree(description);
    request.reg_dup_datatree.child_count = 1;
    request.reg_dup_datatree.node_flags |= YFW_NODE_HAS_CHILDREN;
    return given;
}

yfw_datatree *PluginTest::tree(const Node &description) {
    return trees_.emplace_back(description).root();
}

void PluginTest::output_list_entry(const Node &description) {
    request.plist = *tree(description);
}

void PluginTest::native_path(const Node &description) {
    request.native_path = tree(description);
    request.native_path_depth = 2;
}

void PluginTest::native_list(const Node &description) {
    request.native_list = tree(description);
}

void PluginTest::hierarchy(const std::vector<Node> &levels) {
    hierarchy_.clear();
    for (const Node &level : levels)
        hierarchy_.push_back(tree(level));
    request.hierarchy = hierarchy_.data();
    request.hierarchy_len = static_cast<uint8_t>(hierarchy_.size());
}

void PluginTest::all_amplifiers_exist() {
    for (const char *slot : {"1", "2", "3"})
        for (const char *amplifier_kind : {"PRE", "BST"})
            platform.put_amplifier(std::string("0/") + slot + "-AMP-" + amplifier_kind);
}

void PluginTest::output_power_was(const std::string &controller,
                                  const std::vector<std::pair<const char *, std::string>> &statistics) {
    recording::Bag history{"pm", 50, 1, 0, {{BAG_TOKEN_UINT32, "pm_optics_paras"}, {BAG_TOKEN_UINT32, "OPR"}}};
    for (const auto &[statistic, power] : statistics)
        history.tokens.push_back({BAG_TOKEN_TEXT, statistic, 0, power});
    history.tokens.push_back({BAG_TOKEN_END, nullptr});
    platform.put_item("/oper/perfmgmt/gl/periodic/optics/interface/", controller + "/30sec/optics/1/timeline_rev/0x1",
                      history);
}

void PluginTest::listen(const Listeners &who) {
    platform.debug_log_takes(0, who.debug_log);
    platform.debug_log_takes(3, who.debug_log);
    context.ltrace_enabled = who.lightweight ? 1 : 0;
}

Lines PluginTest::actions() const {
    return platform.calls_without({"_xos_dt_log_filter_adv", "_lstrace", "ret_nc_yfw_trace_index_incr",
                                   "yfw_map_is_request_delete", "yfw_map_util_itree_stack_size",
                                   "yfw_map_util_itree_stack_peak"});
}

Lines PluginTest::named_calls() const {
    static const std::regex message("^_lstrace 0x[0-9a-f]+ #[0-9]+: (ERR|TRC): ([A-Za-z0-9_]+):[0-9]+ ctx=[^,]*,(.*)$");
    Lines calls;
    for (const std::string &line : platform.calls_without({"_xos_dt_log_filter_adv", "ret_nc_yfw_trace_index_incr"}))
        if (std::smatch parts; std::regex_match(line, parts, message))
            calls.push_back(parts[1].str() + " " + parts[2].str() + ": " + parts[3].str());
        else
            calls.push_back(line);
    return calls;
}

Lines PluginTest::started() const {
    static const std::regex start_line("^#[0-9]+: TRC: ([A-Za-z0-9_]+):[0-9]+ ctx=[^,]*,Start$");
    Lines functions;
    for (const auto &line : platform.lightweight())
        if (std::smatch parts; std::regex_match(line.text, parts, start_line))
            functions.push_back(parts[1]);
    return functions;
}

void PluginTest::expect_refuses_missing_nodes(const std::string &name, bool traces_start) {
    const Handler handler = plugin().handler(name);
    const yfw_datatree *in = tree(leaf("some-leaf", "1"));
    const Lines expected = traces_start ? lines(trc("Start"), missing_node()) : missing_node();
    for (const bool input_missing : {true, false}) {
        platform.forget_calls();
        EXPECT_EQ(handler(ctx, input_missing ? nullptr : in, input_missing ? &out : nullptr), YMAP_RC_INVALID_ARGS)
            << name;
        EXPECT_SAME_TEXT(text_of(platform.calls()), text_of(expected)) << name;
    }
    EXPECT_EQ(request.error_path, nullptr) << name;
}

void PluginTest::expect_container_refuses_missing_nodes(const std::string &name) {
    const ContainerHandler handler = plugin().container_handler(name);
    const yfw_datatree *in = tree(container("some-container"));
    for (const bool input_missing : {true, false}) {
        platform.forget_calls();
        EXPECT_EQ(handler(ctx, input_missing ? nullptr : in, 1, input_missing ? &out : nullptr), YMAP_RC_INVALID_ARGS)
            << name;
        EXPECT_SAME_TEXT(text_of(platform.calls()), text_of(lines(trc("Start"), missing_node()))) << name;
    }
    EXPECT_EQ(request.error_path, nullptr) << name;
}

void expect_context_assertion(const std::string &function, void (*call)(const std::string &function)) {
    GTEST_FLAG_SET(death_test_style, "fast");
    EXPECT_DEATH(call(function), function + "\\(yfw_map_ctx.*yfw_datatree.*\\).*NULL != ctx");
}

void call_handler_without_context(const std::string &function) {
    Tree in(leaf("some-leaf", "1"));
    yfw_datatree out{};
    plugin().handler(function)(nullptr, in.root(), &out);
}

void call_container_handler_without_context(const std::string &function) {
    Tree in(container("some-container"));
    yfw_datatree out{};
    plugin().container_handler(function)(nullptr, in.root(), 0, &out);
}

void call_text_converter_without_context(const std::string &function) {
    Tree in(leaf("some-leaf", "1"));
    yfw_datatree out{};
    plugin().text_converter(function)(nullptr, in.root(), &out);
}

std::string test_name(const std::string &text) {
    std::string name;
    for (const char character : text)
        if (std::isalnum(static_cast<unsigned char>(character)) != 0)
            name += character;
        else if (!name.empty() && name.back() != '_')
            name += '_';
    return name;
}

std::string case_name(size_t index, const std::string &text) {
    return std::string("Case").append(std::to_string(index)).append("_").append(test_name(text));
}
