// Finding paths and keys in request trees, the select fields, and the text helpers.
#include <algorithm>
#include <array>

#include "plugin_fixture.h"

namespace {

using ComparePath = int (*)(yfw_map_ctx, const yfw_datatree *, const char *, char *, char *);
using CheckType3 = int (*)(yfw_map_ctx, const yfw_datatree *, const char *, char *);
using CheckType = int (*)(yfw_map_ctx, const yfw_datatree *, const char *);
using SelectField = cerrno (*)(yfw_map_ctx, const yfw_datatree *, yfw_datatree *, const char *);
using Strip = char *(*)(char *);
using Replace = const char *(*)(const char *, const char *, const char *);
using PrintData = void (*)(yfw_map_ctx);

const std::string name_path = "optical-amplifier/amplifiers/amplifier/name";
const std::string rooted_name_path = "/optical-amplifier/amplifiers/amplifier/name";

Node amplifier_request(const std::string &name) {
    return container("optical-amplifier",
                     {container("amplifiers", {container("amplifier", {leaf("name", name).key(),
                                                                       container("config", {leaf("target-gain")})})})});
}

class RequestHelpers : public PluginTest {
  protected:
    int compare(const yfw_datatree *root, const std::string &target) {
        path.fill('\0');
        return plugin().function<ComparePath>("compare_path")(ctx, root, target.c_str(), path.data(), key.data());
    }
    int check(const yfw_datatree *root, const std::string &target) {
        return plugin().function<CheckType>("check_request_type")(ctx, root, target.c_str());
    }
    std::array<char, 200> path{};
    std::array<char, 20> key{};
};

// ---- Keys -------------------------------------------------------------------------------------------------------

TEST_F(RequestHelpers, KeyIsFoundAtItsPath) {
    const yfw_datatree *root = tree(amplifier_request("0/1-AMP-PRE"));
    EXPECT_EQ(compare(root, name_path), 1);
    EXPECT_STREQ(key.data(), "0/1-AMP-PRE");
    const auto tag = [](const char *name) {
        return trc("TAG <" + std::string(name) + ">, NS <" + ns::openconfig + ">");
    };
    expect_calls({tag("optical-amplifier"), trc("subtree_count 1"), //
                  tag("amplifiers"), trc("subtree_count 1"),        //
                  tag("amplifier"), trc("subtree_count 2"),         //
                  tag("name"), trc("data 0/1-AMP-PRE"), trc("path        : <" + name_path + ">"),
                  trc("path_to_find: <" + name_path + ">"), trc("found return !"), trc("key 0/1-AMP-PRE,"),
                  trc("req->_data 0/1-AMP-PRE,")});
}

TEST_F(RequestHelpers, LongKeyIsCutTo19Characters) {
    const yfw_datatree *root = tree(amplifier_request("0123456789012345678901234"));
    EXPECT_EQ(compare(root, name_path), 1);
    EXPECT_STREQ(key.data(), "0123456789012345678");
    EXPECT_SAME_TEXT(text_of(platform.calls()), text_of(compare_path_trace(root, name_path)));
    EXPECT_THAT(messages(), testing::Contains(trc("key 0123456789012345678,")));
    EXPECT_THAT(messages(), testing::Contains(trc("req->_data 0123456789012345678901234,")));
}

TEST_F(RequestHelpers, KeyOf19CharactersIsWhole) {
    EXPECT_EQ(compare(tree(amplifier_request("0123456789012345678")), name_path), 1);
    EXPECT_STREQ(key.data(), "0123456789012345678");
}

TEST_F(RequestHelpers, WholeTreeIsSearchedWhenThePathIsNotThere) {
    const yfw_datatree *root = tree(amplifier_request("0/1-AMP-PRE"));
    const std::string target = "optical-amplifier/supervisory-channels/supervisory-channel/interface";
    EXPECT_EQ(compare(root, target), 0);
    EXPECT_STREQ(key.data(), "");
    expect_calls(compare_path_trace(root, target));
}

TEST_F(RequestHelpers, LeafThatIsNoKeyIsNotFound) {
    const yfw_datatree *root = tree(container(
        "optical-amplifier", {container("amplifiers", {container("amplifier", {leaf("name", "0/1-AMP-PRE")})})}));
    EXPECT_EQ(compare(root, name_path), 0);
    EXPECT_STREQ(key.data(), "");
}

TEST_F(RequestHelpers, FirstEntryInArrayOrderGivesTheKey) {
    const yfw_datatree *root = tree(container(
        "optical-amplifier", {container("amplifiers", {container("amplifier", {leaf("name", "first").key()}),
                                                       container("amplifier", {leaf("name", "second").key()})})}));
    EXPECT_EQ(compare(root, name_path), 1);
    EXPECT_STREQ(key.data(), "first");
}

TEST_F(RequestHelpers, KeyInALaterBranchIsFoundWithTheEarlierBranchForgotten) {
    const yfw_datatree *root = tree(container(
        "optical-amplifier", {container("supervisory-channels", {container("supervisory-channel")}),
                              container("amplifiers", {container("amplifier", {leaf("name", "0/1-AMP-PRE").key()})})}));
    EXPECT_EQ(compare(root, name_path), 1);
    EXPECT_SAME_TEXT(text_of(platform.calls()), text_of(compare_path_trace(root, name_path)));
}

TEST_F(RequestHelpers, AbsentNodeHidesItsSubtree) {
    EXPECT_EQ(compare(tree(container(
                          "optical-amplifier",
                          {container("amplifiers", {container("amplifier", {leaf("name", "x").key()}).absent()})})),
                      name_path),
              0);
    EXPECT_STREQ(key.data(), "");
}

TEST_F(RequestHelpers, AbsentRootIsNotSearchedNorTraced) {
    EXPECT_EQ(compare(tree(leaf("name", "x").key().absent()), "name"), 0);
    expect_calls({});
}

TEST_F(RequestHelpers, RootMayItselfBeTheKey) {
    EXPECT_EQ(compare(tree(leaf("name", "x").key()), "name"), 1);
    EXPECT_STREQ(key.data(), "x");
}

TEST_F(RequestHelpers, EmptyTagOfTheDuplicatesRootPutsTheSlashInFront) {
    client_request(amplifier_request("0/2-AMP-BST"));
    EXPECT_EQ(compare(&request.reg_dup_datatree, rooted_name_path), 1);
    EXPECT_STREQ(key.data(), "0/2-AMP-BST");
    EXPECT_EQ(compare(&request.reg_dup_datatree, name_path), 0);
}

TEST_F(RequestHelpers, NoTreeIsReported) {
    EXPECT_EQ(compare(nullptr, name_path), 0);
    expect_calls({err("return, req is NULL")});
}

TEST_F(RequestHelpers, PathBufferHoldsWhatTheCallerPutThereBefore) {
    std::array<char, 200> begun{"a/"};
    EXPECT_EQ(plugin().function<ComparePath>("compare_path")(ctx, tree(leaf("name", "x").key()), "a/name", begun.data(),
                                                             key.data()),
              1);
}

TEST_F(RequestHelpers, DeepTreeIsCutNotOverrun) {
    Node description = leaf("name", "x").key();
    for (int depth = 0; depth < 12; ++depth)
        description = container(std::string(30, 'd'), {description});
    EXPECT_EQ(compare(tree(description), name_path), 0);
    EXPECT_EQ(check(tree(description), name_path), 0);
    EXPECT_LT(strnlen(path.data(), path.size()), path.size());
}

TEST_F(RequestHelpers, NodeWithoutTagAddsNothingToThePath) {
    Node without_tag = container("", {leaf("name", "x").key()});
    without_tag.tag.reset();
    EXPECT_EQ(compare(tree(without_tag), "/name"), 1);
    EXPECT_EQ(check(tree(without_tag), "/name"), 1);
}

TEST_F(RequestHelpers, KeyWithoutValueIsFoundEmpty) {
    key.fill('k');
    EXPECT_EQ(compare(tree(leaf("name").key()), "name"), 1);
    EXPECT_STREQ(key.data(), "");
}

TEST_F(RequestHelpers, PrintDataPassesOverArraysThatAreMissing) {
    request.node_data = nullptr;
    request.node_data_count = 2;
    request.output_list_key = nullptr;
    request.list_index = 2;
    plugin().function<PrintData>("print_data")(ctx);
    EXPECT_EQ(messages(), Lines{trc("ctx->list_index 2")});
    EXPECT_EQ(platform.calls_of({"yfw_map_print_datatree_internal"}).size(), 5U);
}

// ---- Request types ----------------------------------------------------------------------------------------------

struct RequestTypeCase {
    std::string path;
    int expected;
};

class RequestType : public RequestHelpers, public testing::WithParamInterface<RequestTypeCase> {};

TEST_P(RequestType, IsFoundByThePathOfAnyNode) {
    client_request(amplifier_request("0/1-AMP-PRE"));
    EXPECT_EQ(check(&request.reg_dup_datatree, GetParam().path), GetParam().expected);
    expect_calls({});
}

INSTANTIATE_TEST_SUITE_P(
    Paths, RequestType,
    testing::Values(RequestTypeCase{"/optical-amplifier", 1}, RequestTypeCase{"/optical-amplifier/amplifiers", 1},
                    RequestTypeCase{"/optical-amplifier/amplifiers/amplifier", 1},
                    RequestTypeCase{"/optical-amplifier/amplifiers/amplifier/name", 1},
                    RequestTypeCase{"/optical-amplifier/amplifiers/amplifier/config/target-gain", 1},
                    RequestTypeCase{"/optical-amplifier/supervisory-channels", 0},
                    RequestTypeCase{"optical-amplifier", 0}, RequestTypeCase{"/optical", 0},
                    RequestTypeCase{"/optical-amplifier/", 0}, RequestTypeCase{"/amplifiers", 0}),
    [](const auto &test) { return case_name(test.index, test.param.path); });

TEST_F(RequestHelpers, RequestTypeOfNoTreeIsReported) {
    EXPECT_EQ(check(nullptr, "/optical-amplifier"), 0);
    expect_calls({err("return, req is NULL")});
}

TEST_F(RequestHelpers, RequestTypeIgnoresAbsentSubtrees) {
    request.reg_dup_datatree.children =
        tree(container("optical-amplifier", {container("amplifiers").absent(), container("supervisory-channels")}));
    request.reg_dup_datatree.child_count = 1;
    request.reg_dup_datatree.node_flags |= YFW_NODE_HAS_CHILDREN;
    EXPECT_EQ(check(&request.reg_dup_datatree, "/optical-amplifier/amplifiers"), 0);
    EXPECT_EQ(check(&request.reg_dup_datatree, "/optical-amplifier/supervisory-channels"), 1)
        << "the path is restored after a sibling";
}

TEST_F(RequestHelpers, AbsentRootHasNoRequestType) {
    EXPECT_EQ(check(tree(container("optical-amplifier").absent()), "optical-amplifier"), 0);
}

TEST_F(RequestHelpers, RequestTypeWithTheCallersBufferStartsFromWhatItHolds) {
    std::array<char, 200> begun{"/"};
    EXPECT_EQ(plugin().function<CheckType3>("check_request_type_3")(ctx, tree(container("optical-amplifier")),
                                                                    "/optical-amplifier", begun.data()),
              1);
}

TEST_F(RequestHelpers, NegativeChildCountIsNoChild) {
    yfw_datatree *root = tree(container("optical-amplifier", {container("amplifiers")}));
    root->child_count = 0x80000000U;
    EXPECT_EQ(check(root, "optical-amplifier/amplifiers"), 0);
}

// ---- Long paths -------------------------------------------------------------------------------------------------

class LongPath : public RequestHelpers, public testing::WithParamInterface<size_t> {
  protected:
    static constexpr size_t longest = 199; // what a path buffer of 200 bytes holds
    size_t length() const { return GetParam(); }
    // A key leaf "name" under a root with a tag that gives the path its length.
    std::string target() const { return std::string(length() - 5, 'r') + "/name"; }
    const yfw_datatree *request_tree() {
        return tree(container(std::string(length() - 5, 'r'), {leaf("name", "x").key()}));
    }
};

TEST_P(LongPath, IsFoundUpToWhatTheBufferHolds) {
    const int found = length() <= longest ? 1 : 0;
    EXPECT_EQ(compare(request_tree(), target()), found);
    EXPECT_STREQ(key.data(), found != 0 ? "x" : "");
    EXPECT_EQ(check(request_tree(), target()), found);
}

INSTANTIATE_TEST_SUITE_P(Lengths, LongPath, testing::Values(99, 100, 101, 150, 198, 199, 200, 201),
                         testing::PrintToStringParamName());

class FullPath : public RequestHelpers {
  protected:
    // A chain of three nodes under a root with a tag of that length; the last is a key.
    const yfw_datatree *chain(size_t root_tag) {
        return tree(container(std::string(root_tag, 'r'), {container("child", {leaf("grandchild", "x").key()})}));
    }
    size_t nodes_compared() const {
        const Lines traces = messages();
        return static_cast<size_t>(std::count_if(
            traces.begin(), traces.end(), [](const std::string &line) { return line.starts_with("TRC TAG <"); }));
    }
};

TEST_F(FullPath, IsTheLastThatIsSearchedForAKey) {
    const std::array<std::pair<size_t, size_t>, 4> compared{{{192, 3}, {193, 2}, {198, 2}, {199, 1}}};
    for (const auto &[root_tag, nodes] : compared) {
        platform.forget_calls();
        // Below a full path every node would seem to stand at that path.
        EXPECT_EQ(compare(chain(root_tag), (std::string(root_tag, 'r') + "/child").substr(0, 199)), 0) << root_tag;
        EXPECT_EQ(nodes_compared(), nodes) << root_tag;
    }
}

TEST_F(FullPath, IsWhereAChildStandsWhoseTagDoesNotFit) {
    const std::string full = std::string(198, 'r') + "/";
    const yfw_datatree *root = tree(container(std::string(198, 'r'), {leaf("name", "x").key()}));
    EXPECT_EQ(compare(root, full), 1);
    EXPECT_STREQ(key.data(), "x");
    EXPECT_EQ(check(root, full), 1);
}

TEST_F(FullPath, IsBoundedByTheBufferInEveryCopy) {
    const yfw_datatree *root = tree(amplifier_request("0/1-AMP-PRE"));
    EXPECT_EQ(compare(root, name_path), 1);
    EXPECT_EQ(check(root, name_path), 1);
    const Lines copies = platform.calls_of({"yfw_strcat_s", "yfw_strcpy_s"});
    EXPECT_EQ(copies.size(), 7U + 3U + 1U + 7U + 3U);
    for (const std::string &copy : copies) {
        const char *size = copy.ends_with("\"0/1-AMP-PRE\"") ? " 20 " : " 200 ";
        EXPECT_THAT(copy, testing::HasSubstr(size));
    }
}

TEST_F(FullPath, IsLeftInTheBufferWithItsSlash) {
    compare(tree(leaf(std::string(198, 'r'))), "nowhere");
    EXPECT_STREQ(path.data(), std::string(198, 'r').append("/").c_str());
}

TEST_F(FullPath, IsTheLastThatIsSearchedForARequestType) {
    // The tag of each node, and the slash behind each but the last.
    const std::array<std::pair<size_t, size_t>, 4> appended{{{192, 5}, {193, 3}, {198, 3}, {199, 1}}};
    for (const auto &[root_tag, texts] : appended) {
        platform.forget_calls();
        EXPECT_EQ(check(chain(root_tag), "nowhere"), 0) << root_tag;
        EXPECT_EQ(platform.calls_of({"yfw_strcat_s"}).size(), texts) << root_tag;
    }
}

// ---- The context ------------------------------------------------------------------------------------------------

TEST(RequestHelpersDeath, LookUpsAssertTheContextWhereTheyReport) {
    GTEST_FLAG_SET(death_test_style, "fast");
    const auto compare_path = plugin().function<ComparePath>("compare_path");
    const auto check_type = plugin().function<CheckType3>("check_request_type_3");
    char path[200] = "";
    char key[20] = "";
    Tree present(leaf("name", "x").key());
    EXPECT_DEATH(compare_path(nullptr, nullptr, "name", path, key), "compare_path\\(yfw_map_ctx.*NULL != ctx");
    EXPECT_DEATH(compare_path(nullptr, present.root(), "name", path, key), "compare_path\\(yfw_map_ctx.*NULL != ctx");
    EXPECT_DEATH(check_type(nullptr, nullptr, "name", path), "check_request_type_3\\(yfw_map_ctx.*NULL != ctx");
    EXPECT_DEATH(plugin().function<PrintData>("print_data")(nullptr), "print_data\\(yfw_map_ctx.*NULL != ctx");
}

TEST(RequestHelpersWithoutContext, AbsentNodeAndRequestTypeNeedNone) {
    char path[200] = "";
    char key[20] = "";
    Tree absent(leaf("name", "x").key().absent());
    Tree present(leaf("name", "x"));
    EXPECT_EQ(plugin().function<ComparePath>("compare_path")(nullptr, absent.root(), "name", path, key), 0);
    EXPECT_EQ(plugin().function<CheckType3>("check_request_type_3")(nullptr, present.root(), "name", path), 1);
}

// ---- Children that are not there --------------------------------------------------------------------------------

// A node whose child array is announced by its count only.
class UnannouncedChildren : public RequestHelpers {
  protected:
    const yfw_datatree *unannounced(yfw_datatree *root) {
        root->node_flags = static_cast<uint8_t>(root->node_flags & ~YFW_NODE_HAS_CHILDREN);
        return root;
    }
};

TEST_F(UnannouncedChildren, AreCountedButNotSearchedForAKey) {
    const yfw_datatree *root = unannounced(tree(amplifier_request("0/1-AMP-PRE")));
    EXPECT_EQ(compare(root, name_path), 0);
    EXPECT_STREQ(key.data(), "");
    expect_calls({trc("TAG <optical-amplifier>, NS <" + std::string(ns::openconfig) + ">"), trc("subtree_count 1")});
}

TEST_F(UnannouncedChildren, HideAKeyBelowThem) {
    yfw_datatree *root = tree(amplifier_request("0/1-AMP-PRE"));
    unannounced(&root->children[0]);
    EXPECT_EQ(compare(root, name_path), 0);
    EXPECT_SAME_TEXT(text_of(platform.calls()), text_of(compare_path_trace(root, name_path)));
}

TEST_F(UnannouncedChildren, HaveNoRequestType) {
    const yfw_datatree *root = unannounced(tree(amplifier_request("0/1-AMP-PRE")));
    EXPECT_EQ(check(root, "optical-amplifier/amplifiers"), 0);
    EXPECT_EQ(check(root, "optical-amplifier"), 1);
}

TEST_F(UnannouncedChildren, MayBeAnyAddress) {
    yfw_datatree root = *tree(container("optical-amplifier"));
    root.children = reinterpret_cast<yfw_datatree *>(uintptr_t{8});
    root.child_count = 3;
    EXPECT_EQ(compare(&root, name_path), 0);
    EXPECT_EQ(check(&root, "optical-amplifier/amplifiers"), 0);
    EXPECT_THAT(messages(), testing::Contains(trc("subtree_count 3")));
}

TEST_F(UnannouncedChildren, AnnouncedWithoutAnArrayAreNoneForALookUp) {
    const yfw_datatree *root = tree(container("optical-amplifier").missing_children(2));
    EXPECT_EQ(compare(root, name_path), 0);
    EXPECT_EQ(check(root, "optical-amplifier/amplifiers"), 0);
}

// ---- Select fields ----------------------------------------------------------------------------------------------

class SelectFields : public PluginTest {
  protected:
    cerrno select(const std::string &builder, const char *controller) {
        return plugin().function<SelectField>(builder)(ctx, tree(container("amplifier")), &out, controller);
    }
};

TEST_F(SelectFields, OfOpticsAreFivePaths) {
    EXPECT_EQ(select("add_optics_select_field", "Optics0/1/0/4"), CERR_SUCCESS);
    expect_calls({add(optics_list, ns::optics_oper, nullptr, no_source, {.list = 1}),
                  add(optics_list + "/name", ns::optics_oper, "Optics0/1/0/4", node("amplifier"), {.follow = 1}),
                  add(optics_lane + "/receive-power", ns::optics_oper, nullptr, no_source, {.follow = 1}),
                  add(optics_lane + "/transmit-power", ns::optics_oper, nullptr, no_source, {.follow = 1}),
                  add(optics_lane + "/number", ns::optics_oper, "1")});
}

Lines ots_select_fields(const char *controller, const std::string &source) {
    Lines expected{add(ots_list, ns::ots_oper, nullptr, no_source, {.list = 1}),
                   add(ots_list + "/name", ns::ots_oper, controller, source, {.follow = 1})};
    for (const char *leaf_path :
         {"ampli-gain", "ampli-tilt", "lane-data/receive-power", "lane-data/receive-power-dbm",
          "lane-data/transmit-power", "lane-data/transmit-power-dbm", "osri", "ampli-gain-range"})
        expected.push_back(add(ots_list + "/ots-info/" + leaf_path, ns::ots_oper, nullptr, no_source, {.follow = 1}));
    return expected;
}

Lines pm_select_fields(const char *controller, const std::string &source) {
    const std::string history =
        history_list + "/optics-second30-history/optics-second30-optics-histories/optics-second30-optics-history";
    Lines expected{add(history_list, ns::pmengine_oper, nullptr, no_source, {.list = 1}),
                   add(history, ns::pmengine_oper, nullptr, no_source, {.list = 1}),
                   add(history + "/number", ns::pmengine_oper, "1"),
                   add(time_line, ns::pmengine_oper, nullptr, no_source, {.list = 1, .follow = 1}),
                   add(time_line + "/number", ns::pmengine_oper, "1", no_source, {.follow = 1})};
    for (const char *group : {"/ampli-gain-tilt", "/ampli-gain", "/opr", "/opt"})
        for (const char *statistic : {"/average", "/minimum", "/maximum"})
            expected.push_back(add(time_line + group + statistic, ns::pmengine_oper, nullptr));
    expected.push_back(add(history_list + "/name", ns::pmengine_oper, controller, source, {.follow = 1}));
    return expected;
}

TEST_F(SelectFields, OfOtsFollowTheirListEntry) {
    EXPECT_EQ(select("add_ots_select_field", "Ots0/1/0/0"), CERR_SUCCESS);
    expect_calls(ots_select_fields("Ots0/1/0/0", node("amplifier")));
}

TEST_F(SelectFields, OfPerformanceHistoryNameTheirListLast) {
    EXPECT_EQ(select("add_pm_select_field", "Ots0/1/0/0"), CERR_SUCCESS);
    expect_calls(pm_select_fields("Ots0/1/0/0", node("amplifier")));
}

struct LastPath {
    std::string builder, last;
};

class SelectFieldResult : public SelectFields, public testing::WithParamInterface<LastPath> {};

TEST_P(SelectFieldResult, IsThatOfTheLastWrite) {
    platform.answer("yfw_map_datatree_add_path_flagged", 9, 1);
    EXPECT_EQ(select(GetParam().builder, "x"), CERR_SUCCESS) << "earlier results are ignored";
    platform.answer("yfw_map_datatree_add_path_flagged", 7, 0, "path=" + GetParam().last + " ");
    EXPECT_EQ(select(GetParam().builder, "x"), 7U);
}

INSTANTIATE_TEST_SUITE_P(Builders, SelectFieldResult,
                         testing::Values(LastPath{"add_optics_select_field", optics_lane + "/number"},
                                         LastPath{"add_ots_select_field", ots_list + "/ots-info/ampli-gain-range"},
                                         LastPath{"add_pm_select_field", history_list + "/name"}),
                         [](const auto &test) { return test.param.builder; });

// ---- Text -------------------------------------------------------------------------------------------------------

std::string stripped(std::string text) {
    return plugin().function<Strip>("strstrip")(text.data());
}

TEST(StrStrip, CutsWhiteSpaceOnBothSides) {
    EXPECT_EQ(stripped("  -3.20 "), "-3.20");
    EXPECT_EQ(stripped("\t\n\v\f\r x y \t\n\v\f\r"), "x y");
}

TEST(StrStrip, LeavesATextWithoutWhiteSpaceAlone) {
    EXPECT_EQ(stripped("-3.20"), "-3.20");
}

TEST(StrStrip, ReturnsAnEmptyTextUnchanged) {
    char empty[1] = {'\0'};
    EXPECT_EQ(plugin().function<Strip>("strstrip")(empty), empty);
}

TEST(StrStrip, OfAMissingTextIsMissing) {
    EXPECT_EQ(plugin().function<Strip>("strstrip")(nullptr), nullptr);
}

TEST(StrStrip, OfAllBlanksIsEmpty) {
    EXPECT_EQ(stripped(" "), "");
    EXPECT_EQ(stripped(" \t  "), "");
}

TEST(StrStrip, WorksInPlaceAndDoesNotMoveTheText) {
    char text[] = "  ab  ";
    EXPECT_EQ(plugin().function<Strip>("strstrip")(text), text + 2);
    EXPECT_STREQ(text, "  ab");
}

std::string replaced(const std::string &text, const std::string &needle, const std::string &replacement) {
    return plugin().function<Replace>("replace_str")(text.c_str(), needle.c_str(), replacement.c_str());
}

TEST(ReplaceStr, ChangesOnlyTheFirstOccurrence) {
    EXPECT_EQ(replaced("a/b/c", "/", "%2f"), "a%2fb/c");
}

TEST(ReplaceStr, ReturnsTheTextItselfWhenAnArgumentIsMissing) {
    const auto replace = plugin().function<Replace>("replace_str");
    EXPECT_EQ(replace(nullptr, "/", "x"), nullptr);
    const char *text = "a/b";
    EXPECT_EQ(replace(text, nullptr, "x"), text);
    EXPECT_EQ(replace(text, "/", nullptr), text);
}

TEST(ReplaceStr, ReturnsTheTextItselfWhenTheNeedleIsAbsent) {
    const char *text = "abc";
    EXPECT_EQ(plugin().function<Replace>("replace_str")(text, "/", "x"), text);
}

TEST(ReplaceStr, ReplacesAtTheBeginningAndAtTheEnd) {
    EXPECT_EQ(replaced("/abc", "/", "_"), "_abc");
    EXPECT_EQ(replaced("abc/", "/", "_"), "abc_");
    EXPECT_EQ(replaced("abc", "abc", ""), "");
}

TEST(ReplaceStr, OverwritesItsPreviousResult) {
    const auto replace = plugin().function<Replace>("replace_str");
    const char *first = replace("a/b", "/", "1");
    const char *second = replace("c/d", "/", "2");
    EXPECT_EQ(first, second);
    EXPECT_STREQ(second, "c2d");
}

TEST(ReplaceStr, TakesItsOwnResultAsAnyOtherText) {
    const auto replace = plugin().function<Replace>("replace_str");
    const char *once = replace("a/b/c/d", "/", "%2f");
    ASSERT_STREQ(once, "a%2fb/c/d");
    EXPECT_STREQ(replace(once, "/", "%2f"), "a%2fb%2fc/d");
    EXPECT_STREQ(replace(once, "%2f", ""), "ab%2fc/d") << "a shorter text moves the rest to the front";
    EXPECT_STREQ(replace(once + 1, "/", "-------"), "b%2fc-------d") << "from inside the result";
    EXPECT_STREQ(replace(once, "/", "x"), once) << "the needle is absent";
}

TEST(ReplaceStr, TakesItsOwnResultAsNeedleOrReplacement) {
    const auto replace = plugin().function<Replace>("replace_str");
    EXPECT_STREQ(replace("1-2", "-", replace("a/b", "/", "+")), "1a+b2");
    EXPECT_STREQ(replace("x a+b y", replace("a/b", "/", "+"), "c"), "x c y");
}

TEST(ReplaceStr, StaysInsideItsBuffer) {
    const std::string result = replaced(std::string(5000, 'a') + long_text("/", 5000, 'b'), "/", "x");
    EXPECT_EQ(result, std::string(4095, 'a'));
    EXPECT_EQ(replaced(long_text("a/", 5000, 'b'), "/", "x"), long_text("ax", 4093, 'b'));
    EXPECT_EQ(replaced("a/b", "/", std::string(5000, 'x')), long_text("a", 4094, 'x'));
}

// ---- Diagnostics ------------------------------------------------------------------------------------------------

TEST_F(RequestHelpers, PrintDataShowsEveryTreeOfTheRequest) {
    Node parent = container("parent", {container("first"), container("second")});
    yfw_datatree *trees = tree(parent);
    request.node_data = trees->children;
    request.node_data_count = 2;
    request.root_node = tree(container("root"));
    request.parent_node = tree(container("parent"));
    request.current_node = tree(container("current"));
    const std::array<const char *, 2> keys{"amplifier", "supervisory-channel"};
    request.list_index = 2;
    request.output_list_key = keys.data();
    plugin().function<PrintData>("print_data")(ctx);
    expect_calls({trc("iteration 0"), print_tree("<first>", "node_data"), trc("iteration 1"),
                  print_tree("<second>", "node_data"), print_tree("<root>", "root_node"),
                  print_tree("<parent>", "parent_node"), print_tree("<current>", "current_node"),
                  print_tree("<reg_dup_datatree>", "reg_dup_datatree"), print_tree("<plist>", "plist"),
                  trc("ctx->list_index 2"), trc("output_list_key[0] = amplifier"),
                  trc("output_list_key[1] = supervisory-channel")});
    EXPECT_EQ(context.print_state[0], 1U);
    EXPECT_EQ(context.print_state[1], 1U);
}

TEST_F(RequestHelpers, PrintDataWithoutARequestPrintsNothing) {
    context.req_ctx = nullptr;
    plugin().function<PrintData>("print_data")(ctx);
    expect_calls({});
    EXPECT_EQ(context.print_state[0], 1U);
    EXPECT_EQ(context.print_state[1], 1U);
}

} // namespace
