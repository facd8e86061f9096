// Trees that no model allows, through every door of the plug-in: 100,000 levels, a million children, texts longer than
// every buffer. It ends, and takes no more stack for them than the look-ups' 200 bytes of path allow.
#include "null_platform.h"
#include "own_stack.h"
#include "utility.h"
#include "walkers.h"
#include "ymap_models.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

using null_platform::Messages;

namespace {

/// One way into the plug-in, and tags that it descends along.
struct Door {
    const char *name;
    Walker *walk;
    const char *name_space;
    std::vector<const char *> way; ///< from the root to a list entry
    const char *key;               ///< leaf that names the entry
};

const std::vector<Door> &doors() {
    static const std::vector<Door> all = {
        {"request",
         ymap_ox_oc_opt_ampli_openconfigopticalamplifier_lvla_opticalamplifier,
         OPENCONFIG_NS,
         {"optical-amplifier", "amplifiers", "amplifier"},
         "name"},
        {"optics_cfg",
         ymap_xo_oc_opt_amp_korvexcontrolleropticscfg_augment_lvla_interface_configuration,
         OPTICS_CFG_NS,
         {"optics"},
         "optics-transmit-power"},
        {"ifmgr_cfg",
         ymap_xo_oc_opt_amp_korvexifmgrcfg_lvla_interfaceconfigurations,
         IFMGR_CFG_NS,
         {"interface-configurations", "interface-configuration"},
         "interface-name"},
        {"ots_oper",
         ymap_xo_oc_opt_amp_korvexcontrollerorvo8otsoper_lvla_otsoper,
         OTS_OPER_NS,
         {"ots-oper", "ots-ports", "ots-port"},
         "name"},
        {"optics_oper",
         ymap_xo_oc_opt_amp_korvexcontrolleropticsoper_lvla_opticsoper,
         OPTICS_OPER_NS,
         {"optics-oper", "optics-ports", "optics-port"},
         "name"},
        {"pmengine_oper",
         ymap_xo_oc_opt_amp_korvexpmengineoper_lvla_performancemanagementhistory,
         PMENGINE_OPER_NS,
         {"performance-management-history", "global", "periodic"},
         "port-name"},
    };
    return all;
}

/// A tree whose nodes stand in one array, so that neither making it nor its end goes down level by level.
class FlatTree {
  public:
    explicit FlatTree(std::size_t nodes, const char *name_space) : nodes_(nodes) {
        for (yfw_datatree &node : nodes_) {
            node.ns = name_space;
            node.node_flags = YFW_NODE_PRESENT;
        }
    }
    yfw_datatree &operator[](std::size_t i) { return nodes_[i]; }
    yfw_datatree *root() { return nodes_.data(); }
    /// The nodes from `first` on become the children of `parent`.
    void put_below(std::size_t parent, std::size_t first, std::size_t count) {
        nodes_[parent].children = &nodes_[first];
        nodes_[parent].child_count = static_cast<uint32_t>(count);
        nodes_[parent].node_flags |= YFW_NODE_HAS_CHILDREN;
    }

  private:
    std::vector<yfw_datatree> nodes_;
};

/// The way to an entry, then the entry's tag again and again.
FlatTree deep_tree(const Door &door, std::size_t levels) {
    FlatTree tree(levels, door.name_space);
    for (std::size_t i = 0; i < levels; ++i) {
        tree[i].tag = i < door.way.size() ? door.way[i] : door.way.back();
        if (i + 1 < levels)
            tree.put_below(i, i + 1, 1);
    }
    return tree;
}

/// The same with texts of no length as tags, so that paths grow as little as they can.
FlatTree nameless_tree(const Door &door, std::size_t levels) {
    FlatTree tree = deep_tree(door, levels);
    for (std::size_t i = 1; i < levels; ++i)
        tree[i].tag = "";
    return tree;
}

/// The way to the list, and below it so many nodes of nothing but that tag.
FlatTree wide_tree(const Door &door, std::size_t entries, const char *tag) {
    const std::size_t above = door.way.size() > 1 ? door.way.size() - 1 : 1;
    FlatTree tree(above + entries, door.name_space);
    for (std::size_t i = 0; i < above; ++i) {
        tree[i].tag = door.way[i];
        tree.put_below(i, i + 1, i + 1 < above ? 1 : entries);
    }
    for (std::size_t i = 0; i < entries; ++i)
        tree[above + i].tag = tag;
    return tree;
}

/// An entry whose key, and whose tag below, are a text of that many bytes.
FlatTree long_tree(const Door &door, std::string &text) {
    FlatTree tree(door.way.size() + 2, door.name_space);
    for (std::size_t i = 0; i < door.way.size(); ++i) {
        tree[i].tag = door.way[i];
        tree.put_below(i, i + 1, i + 1 < door.way.size() ? 1 : 2);
    }
    yfw_datatree &key = tree[door.way.size()];
    key.tag = door.key;
    key.value = text.data();
    key.node_flags |= YFW_NODE_KEY;
    tree[door.way.size() + 1].tag = text.c_str();
    tree[door.way.size() + 1].value = text.data();
    return tree;
}

class HostileTree : public testing::TestWithParam<Door> {
  protected:
    /// Walks the tree as its door's for that request. Gives the stack that it took, in bytes.
    static std::size_t walk(FlatTree &tree, FlatTree &requested, uint32_t kind, Messages messages) {
        yfw_map_request request = {};
        request.request_kind = &kind;
        request.reg_dup_datatree.tag = "";
        request.reg_dup_datatree.node_flags = YFW_NODE_PRESENT | YFW_NODE_HAS_CHILDREN;
        request.reg_dup_datatree.children = requested.root();
        request.reg_dup_datatree.child_count = 1;
        request.node_data = requested.root();
        request.node_data_count = 1;
        yfw_map_ctx_s context = {};
        context.req_ctx = &request;
        null_platform::take_messages(context, messages);
        yfw_datatree out = {};
        const std::size_t taken = OwnStack::run([&] {
            GetParam().walk(&context, tree.root(), &out);
            print_data(&context);
            char path[200] = "";
            char key[20] = "";
            compare_path(&context, tree.root(), "/a/name", path, key);
            path[0] = '\0';
            check_request_type_3(&context, tree.root(), "/a/b", path);
        });
        EXPECT_EQ(request.hierarchy_len, 0);
        EXPECT_EQ(request.in_subtree, 0U);
        xos_named_free(request.error_path);
        return taken;
    }

    /// The tree itself as the client's request, under each kind and with each taker of messages. The most that one
    /// took.
    static std::size_t walk(FlatTree &tree) {
        std::size_t most = 0;
        for (const Messages messages : {Messages::none, Messages::debug_log, Messages::lightweight_trace})
            for (const uint32_t kind : {uint32_t{YFW_KIND_GET}, uint32_t{YFW_KIND_EDIT}})
                most = std::max(most, walk(tree, tree, kind, messages));
        RecordProperty("stack_bytes", static_cast<int>(most));
        return most;
    }
};

constexpr std::size_t stack_limit = std::size_t{64} * 1024;

TEST_P(HostileTree, Of100000LevelsTakesBoundedStack) {
    FlatTree tree = deep_tree(GetParam(), 100'000);
    EXPECT_LT(walk(tree), stack_limit);
}

TEST_P(HostileTree, Of100000LevelsWithoutNamesTakesBoundedStack) {
    FlatTree tree = nameless_tree(GetParam(), 100'000);
    EXPECT_LT(walk(tree), stack_limit);
}

// The entries of a request are looked for anew for each of them, so that a million of those would take hours; the
// request is one of its own, then.
TEST_P(HostileTree, OfAMillionEntriesTakesBoundedStack) {
    const Door &request = doors().front();
    const bool is_request = GetParam().walk == request.walk;
    FlatTree requested = deep_tree(request, request.way.size());
    FlatTree tree = wide_tree(GetParam(), is_request ? 1'000 : 1'000'000, GetParam().way.back());
    EXPECT_LT(walk(tree, requested, YFW_KIND_GET, Messages::debug_log), stack_limit);
}

TEST_P(HostileTree, OfAMillionUnknownChildrenTakesBoundedStack) {
    FlatTree tree = wide_tree(GetParam(), 1'000'000, "unknown");
    EXPECT_LT(walk(tree, tree, YFW_KIND_GET, Messages::debug_log), stack_limit);
}

TEST_P(HostileTree, WithTextsOfAMegabyteTakesBoundedStack) {
    std::string text(std::size_t{1} << 20, 'x');
    FlatTree tree = long_tree(GetParam(), text);
    EXPECT_LT(walk(tree), stack_limit);
}

TEST_P(HostileTree, ThatAnnouncesChildrenAndHasNoneIsWalked) {
    FlatTree tree = deep_tree(GetParam(), GetParam().way.size());
    for (std::size_t i = 0; i < GetParam().way.size(); ++i) {
        const uint32_t announced = tree[i].child_count;
        yfw_datatree *const children = tree[i].children;
        tree[i].children = nullptr;
        tree[i].child_count = UINT32_MAX;
        tree[i].node_flags |= YFW_NODE_HAS_CHILDREN;
        EXPECT_LT(walk(tree), stack_limit);
        tree[i].children = children;
        tree[i].child_count = announced;
    }
}

std::string door_name(const testing::TestParamInfo<Door> &info) {
    return info.param.name;
}
INSTANTIATE_TEST_SUITE_P(Door, HostileTree, testing::ValuesIn(doors()), door_name);

} // namespace
