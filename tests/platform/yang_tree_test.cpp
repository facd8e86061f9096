// Trees of nodes as YangTree owns them, and the places that libyang's refusals carry.
#include "yang/error.h"
#include "yang/models.h"
#include "yang/tree.h"

#include <array>
#include <string>
#include <vector>

#include <gmock/gmock.h>

using namespace ocamp;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

const std::string interfaces = R"("Korvex-ifmgr-cfg:interface-configurations": {"interface-configuration": [
    {"active": "act", "interface-name": "Ots0/1/0/0"}]})";
const std::string ports = R"("Korvex-controller-orvo8-ots-oper:ots-oper": {"ots-ports": {"ots-port": [
    {"name": "Ots0/1/0/0"}]}})";

YangTree parsed(const std::string &members) {
    return native_schema().parse("{" + members + "}", LYD_JSON);
}

// The roots that were given, not those that are there by default.
std::vector<std::string> roots(const YangTree &tree) {
    std::vector<std::string> names;
    for (const lyd_node *root = tree.first(); root != nullptr; root = root->next) {
        if ((root->flags & LYD_DEFAULT) == 0)
            names.emplace_back(root->schema->name);
    }
    return names;
}

std::size_t siblings(const YangTree &tree) {
    std::size_t count = 0;
    for (const lyd_node *root = tree.first(); root != nullptr; root = root->next)
        ++count;
    return count;
}

const lysc_node &root_schema(const char *name) {
    return *native_schema().find(nullptr, name);
}

TEST(YangTree, IsEmptyUntilSomethingIsAdded) {
    YangTree tree;
    EXPECT_TRUE(tree.empty());
    EXPECT_EQ(tree.below(nullptr), nullptr);
    EXPECT_EQ(tree.print(LYD_JSON), "");
    EXPECT_TRUE(tree.copy().empty());
    lyd_node *container = tree.add_container(nullptr, root_schema("ots-oper"));
    EXPECT_EQ(tree.first(), container);
    EXPECT_EQ(tree.below(container), nullptr);
}

TEST(YangTree, StaysWholeWhenItsFirstNodeIsRemoved) {
    YangTree tree = parsed(interfaces);
    tree.add(parsed(ports));
    ASSERT_THAT(roots(tree), testing::UnorderedElementsAre("interface-configurations", "ots-oper"));
    for (std::size_t left = siblings(tree); left > 0; --left) {
        ASSERT_EQ(siblings(tree), left);
        tree.remove(tree.first());
    }
    EXPECT_TRUE(tree.empty());
}

TEST(YangTree, ACopyIsChangedByItself) {
    const YangTree tree = parsed(ports);
    YangTree copy = tree.copy();
    copy.remove(find_instance(copy.first(), root_schema("ots-oper")));
    EXPECT_THAT(roots(tree), ElementsAre("ots-oper"));
    EXPECT_THAT(roots(copy), ElementsAre());
}

TEST(YangTree, AnEntryNeedsEachOfItsKeys) {
    YangTree tree;
    const lysc_node &list_container = root_schema("interface-configurations");
    const lysc_node &list = *native_schema().find(&list_container, "interface-configuration");
    lyd_node *container = tree.add_container(nullptr, list_container);
    const std::array<std::string, 2> keys{"act", "Ots0/1/0/0"};
    EXPECT_THAT(
        [&] { tree.add_entry(container, list, std::span(keys).first(1)); },
        testing::ThrowsMessage<YangError>(testing::HasSubstr("list interface-configuration needs each of its keys")));
    const lyd_node *entry = tree.add_entry(container, list, keys);
    EXPECT_EQ(find_entry(tree.below(container), list, keys), entry);
}

TEST(YangError, CarriesThePathThatLibyangGives) {
    try {
        parsed(R"("Korvex-ifmgr-cfg:interface-configurations": {"interface-configuration": [{"active": "act",
            "interface-name": "Ots0/1/0/0",
            "Korvex-controller-optics-cfg:optics": {"optics-ots-amplifier-gain": 99999}}]})");
        FAIL() << "parsed";
    } catch (const YangError &error) {
        EXPECT_THAT(error.path(), testing::AllOf(testing::StartsWith("/Korvex-ifmgr-cfg:interface-configurations/"),
                                                 HasSubstr("[interface-name='Ots0/1/0/0']"),
                                                 testing::EndsWith("/optics-ots-amplifier-gain")));
        EXPECT_THAT(error.what(), HasSubstr(error.path()));
    }
    EXPECT_EQ(YangError("of our own").path(), "");
}

} // namespace
