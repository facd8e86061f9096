// The operations of section 7.2 of RFC 6241 on leaves, containers and list entries: each row is one edit of the example
// node, sent once as XML and once as JSON, with what is said of it and the whole configuration afterwards.
#include "ocamp_program.h"

#include <algorithm>
#include <optional>

#include <gmock/gmock.h>

using namespace e2e;

namespace {

// One node of an edit, which both formats can be written from.
struct EditedNode {
    std::string name;
    std::string operation = {};
    std::optional<std::string> value = {}; // of a leaf
    std::vector<EditedNode> children = {}; // of a container or a list entry
    bool leaf = false;
};

EditedNode leaf(const std::string &name, const std::string &value, const std::string &operation = "") {
    return {.name = name, .operation = operation, .value = value, .leaf = true};
}

EditedNode leaf_alone(const std::string &name, const std::string &operation) {
    return {.name = name, .operation = operation, .leaf = true};
}

EditedNode config(std::vector<EditedNode> leaves, const std::string &operation = "") {
    return {.name = "config", .operation = operation, .children = std::move(leaves)};
}

EditedNode amplifier(const std::string &name, std::vector<EditedNode> content, const std::string &operation = "") {
    content.insert(content.begin(), leaf("name", name));
    return {.name = "amplifier", .operation = operation, .children = std::move(content)};
}

EditedNode amplifiers(std::vector<EditedNode> entries, const std::string &operation = "") {
    return {.name = "amplifiers", .operation = operation, .children = std::move(entries)};
}

EditedNode root(std::vector<EditedNode> content, const std::string &operation = "") {
    return {.name = "optical-amplifier", .operation = operation, .children = std::move(content)};
}

EditedNode one(EditedNode entry) {
    return root({amplifiers({std::move(entry)})});
}

// The booster of slot 2 with these nodes in its configuration.
EditedNode booster(std::vector<EditedNode> leaves, const std::string &operation = "") {
    return one(amplifier("0/2-AMP-BST", {config(std::move(leaves), operation)}));
}

std::string xml(const EditedNode &node) {
    const bool is_root = node.name == "optical-amplifier";
    std::string text = "<" + node.name;
    if (is_root)
        text += " xmlns=\"http://openconfig.net/yang/optical-amplfier\"";
    if (!node.operation.empty())
        text += " nc:operation=\"" + node.operation + "\"";
    text += ">" + node.value.value_or("");
    for (const EditedNode &child : node.children)
        text += xml(child);
    return text + "</" + node.name + ">";
}

std::string json_object(const EditedNode &node);

std::string json_leaf(const EditedNode &node) {
    std::string text;
    if (node.value)
        text = "\"" + node.name + "\": " + (node.name == "enabled" ? *node.value : "\"" + *node.value + "\"");
    if (node.operation.empty())
        return text;
    return text + (text.empty() ? "" : ", ") + "\"@" + node.name + "\": {\"ietf-netconf:operation\": \"" +
           node.operation + "\"}";
}

// The members of an object: entries of one list stand in one array.
std::string json_members(const std::vector<EditedNode> &nodes) {
    std::string text, entries;
    for (const EditedNode &node : nodes) {
        if (node.name == "amplifier") {
            entries += (entries.empty() ? "" : ", ") + json_object(node);
            continue;
        }
        text +=
            (text.empty() ? "" : ", ") + (node.leaf ? json_leaf(node) : "\"" + node.name + "\": " + json_object(node));
    }
    if (!entries.empty())
        text += (text.empty() ? "" : ", ") + ("\"amplifier\": [" + entries + "]");
    return text;
}

std::string json_object(const EditedNode &node) {
    const std::string members = json_members(node.children);
    if (node.operation.empty())
        return "{" + members + "}";
    return "{\"@\": {\"ietf-netconf:operation\": \"" + node.operation + "\"}" + (members.empty() ? "" : ", ") +
           members + "}";
}

// Both documents of an edit; of none, the empty ones.
std::string xml_document(const std::optional<EditedNode> &edit) {
    return "<config xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\" "
           "xmlns:nc=\"urn:ietf:params:xml:ns:netconf:base:1.0\">" +
           (edit ? xml(*edit) : "") + "</config>";
}

std::string json_document(const std::optional<EditedNode> &edit) {
    return edit ? "{\"openconfig-optical-amplifier:optical-amplifier\": " + json_object(*edit) + "}" : "{}";
}

// Entries of the configuration, as a read without blanks shows them.
std::string entry(const std::string &name, const std::string &leaves) {
    return "{\"name\":\"" + name + "\",\"config\":{\"name\":\"" + name + "\"" + (leaves.empty() ? "" : ",") + leaves +
           "}}";
}

const std::string pre_1 = entry("0/1-AMP-PRE", R"("target-gain":"17.5","target-gain-tilt":"-0.5","enabled":true)");
const std::string bst_1 = entry("0/1-AMP-BST", R"("target-gain":"13.1","target-gain-tilt":"0.3","enabled":false)");
const std::string pre_2 = entry("0/2-AMP-PRE", R"("target-gain":"23.2","target-gain-tilt":"-0.9","enabled":true)");
const std::string bst_2 = entry("0/2-AMP-BST", R"("target-gain":"14.2","target-gain-tilt":"-0.8","enabled":true)");

std::string bst_2_with(const std::string &leaves) {
    return entry("0/2-AMP-BST", leaves);
}

using Entries = std::vector<std::string>;

// The example's configuration with something else in place of the booster of slot 2.
Entries with_booster(const std::string &changed) {
    return {pre_1, bst_1, pre_2, changed};
}
const Entries unchanged = with_booster(bst_2);
const Entries without_booster = {pre_1, bst_1, pre_2};

std::string whole(const Entries &entries) {
    std::string text;
    for (const std::string &one : entries)
        text += (text.empty() ? "" : ",") + one;
    return text.empty()
               ? "{}"
               : "{\"openconfig-optical-amplifier:optical-amplifier\":{\"amplifiers\":{\"amplifier\":[" + text + "]}}}";
}

std::string without_blanks(std::string text) {
    std::erase_if(text, [](char character) { return character == ' ' || character == '\n'; });
    return text;
}

struct Row {
    const char *test_name;
    std::optional<EditedNode> edit; // none: an empty document
    std::string refusal;            // empty: the edit is made
    Entries afterwards;
    const char *default_operation = "merge";
    std::optional<EditedNode> before = {}; // an edit that makes what the row starts from
};

void PrintTo(const Row &shown, std::ostream *to) {
    *to << shown.test_name;
}

class EditOperations : public NodeTest, public testing::WithParamInterface<std::tuple<Row, bool>> {};

TEST_P(EditOperations, LeaveExactlyThis) {
    const Row &row = std::get<0>(GetParam());
    const bool as_json = std::get<1>(GetParam());
    const auto document = [&](const std::optional<EditedNode> &edit) {
        return as_json ? json_document(edit) : xml_document(edit);
    };
    if (row.before) {
        ASSERT_EQ(ocamp({"edit"}, {"-"}, document(row.before)).err, "");
    }
    const Outcome outcome = ocamp({"edit"}, {"--default-operation", row.default_operation, "-"}, document(row.edit));
    EXPECT_EQ(outcome.status, row.refusal.empty() ? 0 : 1);
    EXPECT_THAT(outcome.out, testing::EndsWith(row.refusal.empty() ? "\nok\n" : ""));
    EXPECT_EQ(outcome.out.empty(), !row.refusal.empty());
    EXPECT_EQ(outcome.err, row.refusal.empty() ? "" : "ocamp: /optical-amplifier" + row.refusal + "\n");
    EXPECT_SAME_TEXT(support::in_lines(without_blanks(get({"--config"}).out)),
                     support::in_lines(whole(row.afterwards)));
}

#define BOOSTER "/amplifiers/amplifier[name='0/2-AMP-BST']"
#define ABSENT "/amplifiers/amplifier[name='0/3-AMP-PRE']"
// What a read shows beside the configuration.
const EditedNode state{
    .name = "state",
    .children = {leaf("name", "0/2-AMP-BST"),
                 leaf("enabled", "true"),
                 {.name = "actual-gain", .children = {leaf("instant", "13.9"), leaf("interval", "30000000000")}}}};

constexpr const char *not_there = ": does not exist, 'delete' expects that it does [data-missing]";
constexpr const char *there = ": exists already, 'create' expects that it does not [data-exists]";
constexpr const char *no_such_entry =
    ABSENT ": the node has no such entry to configure: the 'name' of none is '0/3-AMP-PRE' [invalid-value]";

const Row rows[] = {
    // merge
    {"MergeOfALeaf", booster({leaf("target-gain", "15.5", "merge")}), "",
     with_booster(bst_2_with(R"("target-gain":"15.5","target-gain-tilt":"-0.8","enabled":true)"))},
    {"MergeByDefault", booster({leaf("target-gain", "15.5")}), "",
     with_booster(bst_2_with(R"("target-gain":"15.5","target-gain-tilt":"-0.8","enabled":true)"))},
    {"MergeOfTheSameValue", booster({leaf("enabled", "true", "merge")}), "", unchanged},
    {"MergeOfAnAbsentLeaf", booster({leaf("target-gain", "15.5", "merge")}), "",
     with_booster(bst_2_with(R"("target-gain":"15.5","target-gain-tilt":"-0.8","enabled":true)")), "merge",
     booster({leaf_alone("target-gain", "delete")})},
    {"MergeOfAContainer", booster({leaf("enabled", "false")}, "merge"), "",
     with_booster(bst_2_with(R"("target-gain":"14.2","target-gain-tilt":"-0.8","enabled":false)"))},
    {"MergeOfAnEmptyContainer", booster({}, "merge"), "", unchanged},
    {"MergeOfAnEntry", one(amplifier("0/2-AMP-BST", {config({leaf("target-gain-tilt", "0.5")})}, "merge")), "",
     with_booster(bst_2_with(R"("target-gain":"14.2","target-gain-tilt":"0.5","enabled":true)"))},
    {"MergeOfAnEntryThatWasDeleted", one(amplifier("0/2-AMP-BST", {config({leaf("target-gain", "12.5")})}, "merge")),
     "", with_booster(bst_2_with(R"("target-gain":"12.5")")), "merge", one(amplifier("0/2-AMP-BST", {}, "delete"))},
    {"MergeOfAnEntryThatTheNodeDoesNotHave",
     one(amplifier("0/3-AMP-PRE", {config({leaf("target-gain", "12.5")})}, "merge")), no_such_entry, unchanged},
    {"MergeOfNothing", std::nullopt, "", unchanged},
    // replace
    {"ReplaceOfALeaf", booster({leaf("target-gain", "15.5", "replace")}), "",
     with_booster(bst_2_with(R"("target-gain":"15.5","target-gain-tilt":"-0.8","enabled":true)"))},
    {"ReplaceOfAContainer", booster({leaf("target-gain", "15.5")}, "replace"), "",
     with_booster(bst_2_with(R"("target-gain":"15.5")"))},
    {"ReplaceOfAContainerByNothing", booster({}, "replace"), "", with_booster(bst_2_with(""))},
    {"ReplaceOfAnEntry", one(amplifier("0/2-AMP-BST", {config({leaf("enabled", "false")})}, "replace")), "",
     with_booster(bst_2_with(R"("enabled":false)"))},
    {"ReplaceOfTheListsContainer",
     root({amplifiers({amplifier("0/2-AMP-BST", {config({leaf("target-gain", "15.5")})})}, "replace")}),
     "",
     {bst_2_with(R"("target-gain":"15.5")")}},
    {"ReplaceOfTheRoot",
     root({amplifiers({amplifier("0/2-AMP-BST", {config({leaf("target-gain", "15.5")})}),
                       amplifier("0/1-AMP-PRE", {config({leaf("enabled", "true")})})})},
          "replace"),
     "",
     {bst_2_with(R"("target-gain":"15.5")"), entry("0/1-AMP-PRE", R"("enabled":true)")}},
    {"ReplaceOfAnEntryThatTheNodeDoesNotHave",
     one(amplifier("0/3-AMP-PRE", {config({leaf("target-gain", "12.5")})}, "replace")), no_such_entry, unchanged},
    {"ReplaceByDefault",
     booster({leaf("target-gain", "15.5")}),
     "",
     {bst_2_with(R"("target-gain":"15.5")")},
     "replace"},
    {"ReplaceByDefaultWithNothing", std::nullopt, "", {}, "replace"},
    {"ReplaceByDefaultWithTheEmptyRoot", root({}), "", {}, "replace"},
    // create
    {"CreateOfALeaf", booster({leaf("target-gain", "15.5", "create")}),
     BOOSTER "/config/target-gain" + std::string(there), unchanged},
    {"CreateOfAnAbsentLeaf", booster({leaf("target-gain", "15.5", "create")}), "",
     with_booster(bst_2_with(R"("target-gain":"15.5","target-gain-tilt":"-0.8","enabled":true)")), "merge",
     booster({leaf_alone("target-gain", "delete")})},
    {"CreateOfAContainer", booster({leaf("target-gain", "15.5")}, "create"), BOOSTER "/config" + std::string(there),
     unchanged},
    {"CreateOfAnEntry", one(amplifier("0/2-AMP-BST", {config({leaf("target-gain", "12.5")})}, "create")),
     BOOSTER + std::string(there), unchanged},
    {"CreateOfAnEntryThatWasDeleted", one(amplifier("0/2-AMP-BST", {config({leaf("target-gain", "12.5")})}, "create")),
     "", with_booster(bst_2_with(R"("target-gain":"12.5")")), "merge", one(amplifier("0/2-AMP-BST", {}, "delete"))},
    {"CreateOfAnEntryThatTheNodeDoesNotHave",
     one(amplifier("0/3-AMP-PRE", {config({leaf("target-gain", "12.5")})}, "create")), no_such_entry, unchanged},
    {"CreateOfTheRoot", root({}, "create"), there, unchanged},
    // delete
    {"DeleteOfALeaf", booster({leaf_alone("target-gain", "delete")}), "",
     with_booster(bst_2_with(R"("target-gain-tilt":"-0.8","enabled":true)"))},
    {"DeleteOfALeafWithAValue", booster({leaf("target-gain", "99.9", "delete")}), "",
     with_booster(bst_2_with(R"("target-gain-tilt":"-0.8","enabled":true)"))},
    {"DeleteOfAnAbsentLeaf", booster({leaf_alone("fiber-type-profile", "delete")}),
     BOOSTER "/config/fiber-type-profile" + std::string(not_there), unchanged},
    {"DeleteOfALeafTwice", booster({leaf_alone("target-gain", "delete")}),
     BOOSTER "/config/target-gain" + std::string(not_there),
     with_booster(bst_2_with(R"("target-gain-tilt":"-0.8","enabled":true)")), "merge",
     booster({leaf_alone("target-gain", "delete")})},
    {"DeleteOfAContainer", booster({}, "delete"), "", with_booster(bst_2_with(""))},
    {"DeleteOfAContainerWithContent", booster({leaf("target-gain", "99.9"), leaf("min-gain", "1.0")}, "delete"), "",
     with_booster(bst_2_with(""))},
    {"DeleteOfAnAbsentContainer", root({{.name = "supervisory-channels", .operation = "delete"}}),
     "/supervisory-channels" + std::string(not_there), unchanged},
    {"DeleteOfAnEntry", one(amplifier("0/2-AMP-BST", {}, "delete")), "", without_booster},
    {"DeleteOfAnEntryWithContent",
     one(amplifier("0/2-AMP-BST", {config({leaf("target-gain", "14.2"), leaf("enabled", "true")})}, "delete")), "",
     without_booster},
    {"DeleteOfAnEntryAsItWasRead",
     one(amplifier("0/2-AMP-BST", {config({leaf("target-gain", "14.2")}), state}, "delete")), "", without_booster},
    {"DeleteOfTheListsContainerAsItWasRead", root({amplifiers({amplifier("0/2-AMP-BST", {state})}, "delete")}), "", {}},
    {"DeleteWithAnUnknownNode", one(amplifier("0/2-AMP-BST", {config({leaf("gain", "1.0")})}, "delete")),
     BOOSTER
     "/config/gain: the model has no such node, expected one of: name, type, target-gain, min-gain, max-gain, "
     "target-gain-tilt, gain-range, amp-mode, target-output-power, max-output-power, enabled, fiber-type-profile "
     "[unknown-element]",
     unchanged},
    {"DeleteOfStateAlone", one(amplifier("0/2-AMP-BST", {{.name = "state", .operation = "delete"}})),
     BOOSTER "/state: is state, which cannot be edited [operation-not-supported]", unchanged},
    {"MergeOfStateInsideADelete", one(amplifier("0/2-AMP-BST", {{.name = "state", .operation = "merge"}}, "delete")),
     BOOSTER "/state: operation 'merge' inside what is deleted, expected none [bad-attribute]", unchanged},
    {"DeleteOfAnAbsentEntry", one(amplifier("0/3-AMP-PRE", {}, "delete")), ABSENT + std::string(not_there), unchanged},
    {"DeleteOfTheListsContainer", root({amplifiers({}, "delete")}), "", {}},
    {"DeleteOfTheListsContainerWithContent", root({amplifiers({amplifier("0/2-AMP-BST", {})}, "delete")}), "", {}},
    {"DeleteOfTheRoot", root({}, "delete"), "", {}},
    {"DeleteOfTheRootTwice", root({}, "delete"), not_there, {}, "merge", root({}, "delete")},
    {"DeleteBesideAMerge", booster({leaf_alone("target-gain", "delete"), leaf("enabled", "false")}), "",
     with_booster(bst_2_with(R"("target-gain-tilt":"-0.8","enabled":false)"))},
    {"DeleteOfOneEntryAndMergeOfAnother",
     root({amplifiers(
         {amplifier("0/2-AMP-BST", {}, "delete"), amplifier("0/1-AMP-PRE", {config({leaf("target-gain", "16.1")})})})}),
     "",
     {entry("0/1-AMP-PRE", R"("target-gain":"16.1","target-gain-tilt":"-0.5","enabled":true)"), bst_1, pre_2}},
    {"MergeInsideADelete", one(amplifier("0/2-AMP-BST", {config({leaf("enabled", "true", "merge")})}, "delete")),
     BOOSTER "/config/enabled: operation 'merge' inside what is deleted, expected none [bad-attribute]", unchanged},
    // remove
    {"RemoveOfALeaf", booster({leaf_alone("target-gain", "remove")}), "",
     with_booster(bst_2_with(R"("target-gain-tilt":"-0.8","enabled":true)"))},
    {"RemoveOfALeafTwice", booster({leaf_alone("target-gain", "remove")}), "",
     with_booster(bst_2_with(R"("target-gain-tilt":"-0.8","enabled":true)")), "merge",
     booster({leaf_alone("target-gain", "remove")})},
    {"RemoveOfAContainer", booster({}, "remove"), "", with_booster(bst_2_with(""))},
    {"RemoveOfAContainerWithContent", booster({leaf("enabled", "false")}, "remove"), "", with_booster(bst_2_with(""))},
    {"RemoveOfAnAbsentContainer", root({{.name = "supervisory-channels", .operation = "remove"}}), "", unchanged},
    {"RemoveOfAnEntry", one(amplifier("0/2-AMP-BST", {}, "remove")), "", without_booster},
    {"RemoveOfAnEntryAsItWasRead", one(amplifier("0/2-AMP-BST", {config({}), state}, "remove")), "", without_booster},
    {"RemoveOfAnAbsentEntry", one(amplifier("0/3-AMP-PRE", {}, "remove")), "", unchanged},
    {"RemoveOfTheListsContainer", root({amplifiers({}, "remove")}), "", {}},
    {"RemoveOfTheRootTwice", root({}, "remove"), "", {}, "merge", root({}, "remove")},
    // default-operation none
    {"NoneOfALeaf", booster({leaf("target-gain", "15.5")}), "", unchanged, "none"},
    {"NoneAroundAMerge", booster({leaf("target-gain", "15.5"), leaf("enabled", "false", "merge")}), "",
     with_booster(bst_2_with(R"("target-gain":"14.2","target-gain-tilt":"-0.8","enabled":false)")), "none"},
    {"NoneAroundADelete", booster({leaf("target-gain", "15.5"), leaf_alone("target-gain-tilt", "delete")}), "",
     with_booster(bst_2_with(R"("target-gain":"14.2","enabled":true)")), "none"},
    {"NoneAroundAReplace", booster({leaf("target-gain", "15.5")}, "replace"), "",
     with_booster(bst_2_with(R"("target-gain":"15.5")")), "none"},
    {"NoneAroundACreate", booster({leaf("target-gain", "15.5", "create")}),
     BOOSTER "/config/target-gain" + std::string(there), unchanged, "none"},
    {"NoneOfAnAbsentEntry", one(amplifier("0/3-AMP-PRE", {})),
     ABSENT ": does not exist, and the edit does not make it [data-missing]", unchanged, "none"},
    {"NoneOfNothing", std::nullopt, "", unchanged, "none"},
    // what is no operation
    {"UnknownOperation", booster({}, "destroy"),
     BOOSTER "/config: operation 'destroy', expected one of: merge, replace, create, delete, remove [bad-attribute]",
     unchanged},
    {"OperationInCapitals", booster({}, "Merge"),
     BOOSTER "/config: operation 'Merge', expected one of: merge, replace, create, delete, remove [bad-attribute]",
     unchanged},
    {"EmptyOperation", booster({leaf("enabled", "false", " ")}),
     BOOSTER "/config/enabled: operation ' ', expected one of: merge, replace, create, delete, remove [bad-attribute]",
     unchanged},
};

INSTANTIATE_TEST_SUITE_P(Edits, EditOperations, testing::Combine(testing::ValuesIn(rows), testing::Bool()),
                         [](const auto &row) {
                             return std::string(std::get<0>(row.param).test_name) +
                                    (std::get<1>(row.param) ? "InJson" : "InXml");
                         });

} // namespace
