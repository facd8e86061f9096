// Trees of nodes as YangTree owns them, and the places that libyang's refusals carry.
#include "support/same_text.h"
#include "yang/error.h"
#include "yang/models.h"
#include "yang/modules.h"
#include "yang/tree.h"

#include <array>
#include <cstdlib>
#include <memory>
#include <regex>
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

TEST(YangTree, IsStoredAsOneDocumentThatReadsBackTheSame) {
    EXPECT_EQ(YangTree().print_to_store(), "{}");
    const std::string stored = parsed(ports).print_to_store();
    EXPECT_EQ(stored,
              R"({"Korvex-controller-orvo8-ots-oper:ots-oper":{"ots-ports":{"ots-port":[{"name":"Ots0/1/0/0"}]}}})");
}

TEST(YangTree, TakesInWhatAnotherHas) {
    YangTree tree = parsed(ports);
    tree.merge(YangTree());
    EXPECT_THAT(roots(tree), ElementsAre("ots-oper"));
    tree.merge(parsed(interfaces));
    EXPECT_THAT(roots(tree), testing::UnorderedElementsAre("interface-configurations", "ots-oper"));
}

TEST(YangTree, OfNothingAnExpressionSelectsNothing) {
    EXPECT_THAT(YangTree().select("/Korvex-controller-orvo8-ots-oper:ots-oper"), ElementsAre());
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
    EXPECT_EQ(find_entry(tree.below(container), list, std::span(keys).first(1)), nullptr);
    EXPECT_EQ(find_entry(tree.first(), list, keys), nullptr) << "among nodes of another kind";
}

TEST(Schemas, ThatTheProgramDoesNotCarryAreNamed) {
    constexpr std::array<std::string_view, 1> unknown{"no-such-module"};
    EXPECT_THAT([&] { Schema schema(unknown); },
                testing::ThrowsMessage<YangError>(testing::StartsWith("YANG module no-such-module: ")));
}

TEST(Schemas, TellWhichLeavesNameTheirEntry) {
    const lysc_node &oper = root_schema("ots-oper");
    const auto below = [](const lysc_node &parent, const char *name) -> const lysc_node & {
        return *native_schema().find(&parent, name);
    };
    const lysc_node &port = below(below(oper, "ots-ports"), "ots-port");
    const lysc_node &info = below(port, "ots-info");
    EXPECT_TRUE(names_its_entry(below(port, "name")));
    EXPECT_FALSE(names_its_entry(oper));
    EXPECT_FALSE(names_its_entry(info));
    EXPECT_FALSE(names_its_entry(below(info, "ampli-gain")));
    EXPECT_FALSE(names_its_entry(below(below(info, "lane-data"), "receive-power")))
        << "its list is no entry of another";
}

TEST(YangError, HasTheTagOfItsRule) {
    try {
        openconfig_schema().parse(
            R"({"openconfig-optical-amplifier:optical-amplifier": {"amplifiers": {"amplifier": [{"name": "x"}]}}})",
            LYD_JSON);
        FAIL() << "parsed";
    } catch (const YangError &error) {
        EXPECT_EQ(error.app_tag(), "instance-required") << error.what();
    }
}

TEST(YangError, OfNothingHasNoReason) {
    const Schema schema(std::array<std::string_view, 0>{});
    EXPECT_STREQ(complaint_of(schema.context()).what(), "refused without a reason");
}

TEST(DecimalValues, HaveDigitsBeforeAndBehindThePoint) {
    const lysc_node *node = nullptr;
    for (const char *name : {"optical-amplifier", "amplifiers", "amplifier", "config", "target-gain-tilt"})
        node = openconfig_schema().find(node, name);
    ASSERT_NE(node, nullptr);
    for (const char *value : {"1.5", "+1.5", "-1.5", "1", " 1.5 "})
        EXPECT_NO_THROW(Schema::check_value(*node, value)) << value;
    for (const char *value : {"", "-", ".", "1.", ".5", "1.5x", "1.5.5", "1x", "1e1"})
        EXPECT_THAT([&] { Schema::check_value(*node, value); },
                    testing::ThrowsMessage<YangError>(HasSubstr("expected one such as \"-1.5\"")))
            << value;
}

// All carried modules as libyang compiles them from one of their texts, without what only people read.
std::string compiled_from(const char *YangModule::*text) {
    ly_ctx *made = nullptr;
    ly_ctx_new(nullptr, LY_CTX_NO_YANGLIBRARY | LY_CTX_DISABLE_SEARCHDIRS, &made);
    const std::unique_ptr<ly_ctx, decltype(&ly_ctx_destroy)> context(made, ly_ctx_destroy);
    const auto provide = [](const char *name, const char *, const char *, const char *, void *chosen,
                            LYS_INFORMAT *format, const char **module_text, ly_module_imp_data_free_clb *free_text) {
        for (const YangModule &module : yang_modules()) {
            if (module.name == name)
                *module_text = module.*(*static_cast<const char * YangModule::**>(chosen));
        }
        *format = LYS_IN_YANG;
        *free_text = nullptr;
        return *module_text != nullptr ? LY_SUCCESS : LY_ENOTFOUND;
    };
    ly_ctx_set_module_imp_clb(context.get(), provide, static_cast<void *>(&text));
    std::string all;
    for (const YangModule &module : yang_modules()) {
        const lys_module *loaded =
            ly_ctx_load_module(context.get(), std::string(module.name).c_str(), nullptr, nullptr);
        char *printed = nullptr;
        if (loaded == nullptr || lys_print_mem(&printed, loaded, LYS_OUT_YANG_COMPILED, 0) != LY_SUCCESS)
            return std::string(module.name) + ": cannot be compiled";
        const std::unique_ptr<char, decltype(&std::free)> owned(printed, std::free);
        all += printed;
    }
    static const std::regex for_people("\\n *(contact|description|reference)[ \\n]+\"[^\"]*\";");
    static const std::regex empty_block(" \\{\\s*\\}"), blank_lines("\\n+");
    all = std::regex_replace(std::regex_replace(all, for_people, ""), empty_block, ";");
    return std::regex_replace(all, blank_lines, "\n");
}

TEST(YangModules, TerseTextsAreTheSameModels) {
    const std::string whole = compiled_from(&YangModule::text);
    EXPECT_THAT(whole, HasSubstr("optics-ots-amplifier-gain"));
    EXPECT_SAME_TEXT(compiled_from(&YangModule::terse), whole);
    for (const YangModule &module : yang_modules())
        EXPECT_LT(std::string_view(module.terse).size(), std::string_view(module.text).size()) << module.name;
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
