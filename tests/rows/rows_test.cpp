// The export list, the mapping reference and the deviations module are what the plug-in's rows say, and the rows name
// every leaf of the published model.
#include "support/program.h"
#include "support/same_text.h"

#include <gtest/gtest.h>

#include <libyang/libyang.h>

#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

std::string rows(const std::string &what) {
    return support::run({.words = {ROWS_PROGRAM, what}}).out;
}

std::string file(const std::string &name) {
    std::ifstream in(std::string(SOURCE_DIR) + "/" + name);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// Paths of the leaves that the rows give, those "served" or "unsupported", or both.
std::set<std::string> leaves_of_rows(const std::set<std::string> &states) {
    std::set<std::string> paths;
    std::istringstream lines(rows("leaves"));
    for (std::string state, path; lines >> state >> path;)
        if (states.count(state) != 0)
            paths.insert(path);
    return paths;
}

// Paths of the leaves of the OpenConfig model as libyang reads it, with or without the device's deviations.
std::set<std::string> leaves_of_model(bool with_deviations) {
    struct Walk {
        static void collect(const lysc_node *siblings, const std::string &above, std::set<std::string> &paths) {
            const lysc_node *node = nullptr;
            LY_LIST_FOR(siblings, node) {
                const std::string path = above + "/" + node->name;
                if (node->nodetype == LYS_LEAF)
                    paths.insert(path);
                else
                    collect(lysc_node_child(node), path, paths);
            }
        }
    };
    const std::string folder = std::string(SOURCE_DIR) + "/yang";
    ly_ctx *raw = nullptr;
    EXPECT_EQ(ly_ctx_new(folder.c_str(), 0, &raw), LY_SUCCESS);
    const std::unique_ptr<ly_ctx, void (*)(ly_ctx *)> context(raw, ly_ctx_destroy);
    const lys_module *model = ly_ctx_load_module(raw, "openconfig-optical-amplifier", nullptr, nullptr);
    EXPECT_NE(model, nullptr);
    if (with_deviations) {
        EXPECT_NE(ly_ctx_load_module(raw, "openconfig-optical-amplifier-deviations", nullptr, nullptr), nullptr);
    }
    std::set<std::string> paths;
    if (model != nullptr)
        Walk::collect(model->compiled->data, "", paths);
    return paths;
}

TEST(Rows, ExportListIsCurrent) {
    EXPECT_SAME_TEXT(file("oc-amplifier/exports.txt"), rows("exports"));
}

TEST(Rows, MappingReferenceIsCurrent) {
    EXPECT_SAME_TEXT(file("docs/mapping.md"), rows("mapping"));
}

TEST(Rows, DeviationsModuleIsCurrent) {
    EXPECT_SAME_TEXT(file("yang/openconfig-optical-amplifier-deviations.yang"), rows("deviations"));
    EXPECT_SAME_TEXT(file("docs/errors.md"), rows("errors"));
}

TEST(Rows, NameEveryLeafOfTheModelAndNoOther) {
    EXPECT_EQ(leaves_of_rows({"served", "unsupported"}), leaves_of_model(false));
}

TEST(Rows, DeviationsLeaveExactlyTheServedLeaves) {
    const auto served = leaves_of_rows({"served"});
    EXPECT_FALSE(served.empty());
    EXPECT_EQ(leaves_of_model(true), served);
}

TEST(Rows, MappingReferenceHasOneRowForEachLeaf) {
    const std::string reference = file("docs/mapping.md");
    for (const std::string &path : leaves_of_model(false)) {
        const std::string row = "\n| `" + path + "` |";
        const size_t at = reference.find(row);
        ASSERT_NE(at, std::string::npos) << path;
        EXPECT_EQ(reference.find(row, at + 1), std::string::npos) << path;
    }
}

// A row that names a converter which no native row has would leave the way back empty.
TEST(Rows, EveryServedLeafIsAnsweredFromANativeLeaf) {
    const std::string reference = rows("mapping");
    for (const std::string &path : leaves_of_rows({"served"})) {
        const size_t at = reference.find("\n| `" + path + "` |");
        ASSERT_NE(at, std::string::npos) << path;
        std::istringstream row(reference.substr(at + 1, reference.find('\n', at + 1) - at - 1));
        std::vector<std::string> cells;
        for (std::string cell; std::getline(row, cell, '|');)
            cells.push_back(cell);
        ASSERT_EQ(cells.size(), 8U) << path; // the first is empty
        for (const size_t native_leaf_module_converter_unit : {3U, 4U, 6U, 7U})
            EXPECT_GT(cells[native_leaf_module_converter_unit].size(), 2U) << path;
    }
}

TEST(Rows, TableOfThePlatformHasEveryServedLeafAndNoOther) {
    const std::string table = rows("table");
    for (const std::string &path : leaves_of_rows({"served"}))
        EXPECT_NE(table.find("{\"" + path + "\", \"/"), std::string::npos) << path;
    for (const std::string &path : leaves_of_rows({"unsupported"}))
        EXPECT_EQ(table.find("{\"" + path + "\", "), std::string::npos) << path;
}

TEST(Rows, WrongUseIsRefused) {
    EXPECT_EQ(support::run({.words = {ROWS_PROGRAM, "nonsense"}}).status, 2);
}

} // namespace
