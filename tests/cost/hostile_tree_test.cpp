// Trees that no model allows, through every door of the plug-in: 100,000 levels, a million children, texts longer than
// every buffer. It ends, and takes no more stack for them than the look-ups' 200 bytes of path allow.
#include "null_platform.h"
#include "own_stack.h"
#include "utility.h"
#include "walkers.h"
#include "ymap_models.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

using null_platform::Messages;

namespace {

/// A node of a door's way, and the key of a list entry without which it would not be entered.
struct Step {
    Step(const char *step_tag) : tag(step_tag) {} // NOLINT(google-explicit-constructor): most are a tag alone
    Step(const char *step_tag, const char *key_tag, const char *key_value)
        : tag(step_tag), key(key_tag), value(key_value) {}

    const char *tag;
    const char *key = nullptr;
    const char *value = nullptr;
};

/// One way into the plug-in, and tags that it descends along.
struct Door {
    const char *name;
    Walker *walk;
    const char *name_space;
    std::vector<Step> way; ///< from the root to a list entry
    const char *key;       ///< leaf that names the entry
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
        {"global_interface",
         ymap_xo_oc_opt_amp_korvexifmgrcfg_lvla_globalinterfaceconfiguration,
         IFMGR_CFG_NS,
         {"global-interface-configuration"},
         "link-status"},
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
        {"pmengine_ports",
         ymap_xo_oc_opt_amp_korvexpmengineoper_lvla_performancemanagementhistory,
         PMENGINE_OPER_NS,
         {"performance-management-history", "global", "periodic", "optics-history", "optics-port-histories",
          "optics-port-history"},
         "name"},
        {"pmengine_instances",
         ymap_xo_oc_opt_amp_korvexpmengineoper_lvla_performancemanagementhistory,
         PMENGINE_OPER_NS,
         {"performance-management-history",
          "global",
          "periodic",
          "optics-history",
          "optics-port-histories",
          {"optics-port-history", "name", "Ots0/1/0/0"},
          "optics-second30-history",
          "optics-second30-optics-histories",
          {"optics-second30-optics-history", "number", "1"},
          "optics-second30-optics-time-line-instances",
          "optics-second30-optics-time-line-instance"},
         "number"},
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
    std::size_t size() const { return nodes_.size(); }
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

/// The first steps of a door's way and that many nodes more, which are still to be put somewhere. `last`: the place of
/// the last step; the others follow it.
FlatTree way_tree(const Door &door, std::size_t steps, std::size_t more, std::size_t &last) {
    const auto keys = std::count_if(door.way.begin(), door.way.begin() + static_cast<std::ptrdiff_t>(steps) - 1,
                                    [](const Step &step) { return step.key != nullptr; });
    FlatTree tree(steps + static_cast<std::size_t>(keys) + more, door.name_space);
    tree[0].tag = door.way[0].tag;
    last = 0;
    for (std::size_t i = 1; i < steps; ++i) {
        const std::size_t above = last;
        if (const Step &entry = door.way[i - 1]; entry.key != nullptr) {
            yfw_datatree &key = tree[++last];
            key.tag = entry.key;
            key.value = const_cast<char *>(entry.value); // of this leaf nothing writes to its value
            key.node_flags |= YFW_NODE_KEY;
        }
        tree[++last].tag = door.way[i].tag;
        tree.put_below(above, above + 1, last - above);
    }
    return tree;
}

/// The way to an entry.
FlatTree entry_tree(const Door &door) {
    std::size_t last = 0;
    return way_tree(door, door.way.size(), 0, last);
}

/// The same, then the entry's tag again and again.
FlatTree deep_tree(const Door &door, std::size_t levels) {
    std::size_t last = 0;
    FlatTree tree = way_tree(door, door.way.size(), levels - door.way.size(), last);
    for (; last + 1 < tree.size(); ++last) {
        tree[last + 1].tag = door.way.back().tag;
        tree.put_below(last, last + 1, 1);
    }
    return tree;
}

/// The same with texts of no length as tags, so that paths grow as little as they can.
FlatTree nameless_tree(const Door &door, std::size_t levels) {
    FlatTree tree = deep_tree(door, levels);
    for (std::size_t i = 1; i < tree.size(); ++i)
        tree[i].tag = "";
    return tree;
}

/// The way to the list, and below it so many nodes of nothing but that tag.
FlatTree wide_tree(const Door &door, std::size_t entries, const char *tag) {
    std::size_t list = 0;
    FlatTree tree = way_tree(door, std::max<std::size_t>(door.way.size() - 1, 1), entries, list);
    tree.put_below(list, list + 1, entries);
    for (std::size_t i = 1; i <= entries; ++i)
        tree[list + i].tag = tag;
    return tree;
}

/// An entry whose key, and whose tag below, are a text of that many bytes.
FlatTree long_tree(const Door &door, std::string &text) {
    std::size_t entry = 0;
    FlatTree tree = way_tree(door, door.way.size(), 2, entry);
    tree.put_below(entry, entry + 1, 2);
    yfw_datatree &key = tree[entry + 1];
    key.tag = door.key;
    key.value = text.data();
    key.node_flags |= YFW_NODE_KEY;
    tree[entry + 2].tag = text.c_str();
    tree[entry + 2].value = text.data();
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
    FlatTree requested = entry_tree(request);
    FlatTree tree = wide_tree(GetParam(), is_request ? 1'000 : 1'000'000, GetParam().way.back().tag);
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
    FlatTree tree = entry_tree(GetParam());
    for (std::size_t i = 0; i < tree.size(); ++i) {
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
