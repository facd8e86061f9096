// Builds the trees that tests, fuzz targets and benchmarks hand to the plug-in: a description made of nested values,
// and the records made from it. Knows no walker and no platform.
#pragma once

#include <cstdint>
#include <cstring>
#include <deque>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "yfw_platform.h"

namespace ns {
inline constexpr const char *openconfig = "http://openconfig.net/yang/optical-amplfier";
inline constexpr const char *optics_cfg = "http://korvex.example/ns/yang/Korvex-controller-optics-cfg";
inline constexpr const char *ifmgr_cfg = "http://korvex.example/ns/yang/Korvex-ifmgr-cfg";
inline constexpr const char *ots_oper = "http://korvex.example/ns/yang/Korvex-controller-orvo8-ots-oper";
inline constexpr const char *optics_oper = "http://korvex.example/ns/yang/Korvex-controller-optics-oper";
inline constexpr const char *pmengine_oper = "http://korvex.example/ns/yang/Korvex-pmengine-oper";
inline constexpr const char *foreign = "http://example.com/ns/foreign";
} // namespace ns

/// Description of one node. The namespace is OpenConfig's unless set; none gives a node without one.
struct Node {
    std::optional<std::string> tag;
    std::optional<std::string> text;
    std::optional<std::string> space = ns::openconfig;
    uint32_t operation = YFW_OP_MERGE;
    uint8_t flags = YFW_NODE_PRESENT;
    uint8_t flags2 = 0;
    uint32_t type = 0;
    uint32_t announced_children = 0; ///< children announced without an array
    std::vector<Node> children = {};

    /// Puts the node, and what is below it, into a namespace; a child that has been put into another one stays there.
    Node in(const char *name_space) && {
        space = name_space;
        for (Node &child : children)
            if (child.space == ns::openconfig)
                child = std::move(child).in(name_space);
        return std::move(*this);
    }
    Node key() && {
        flags |= YFW_NODE_KEY;
        return std::move(*this);
    }
    Node absent() && {
        flags = static_cast<uint8_t>(flags & ~YFW_NODE_PRESENT);
        return std::move(*this);
    }
    Node op(uint32_t wanted) && {
        operation = wanted;
        return std::move(*this);
    }
    Node xpath_error() && {
        flags2 |= YFW_NODE_XPATH_ERROR;
        type = YFW_NODE_TYPE_XPATH_ERROR;
        return std::move(*this);
    }
    Node missing_children(uint32_t count) && {
        announced_children = count;
        return std::move(*this);
    }
};

inline Node container(const std::string &tag, std::vector<Node> children = {}) {
    Node node;
    node.tag = tag;
    node.children = std::move(children);
    return node;
}

inline Node leaf(const std::string &tag) {
    return container(tag);
}

inline Node leaf(const std::string &tag, const std::string &text) {
    Node node = container(tag);
    node.text = text;
    return node;
}

inline Node untagged() {
    return Node();
}

/// One text for each tag and namespace, as a framework has them from its schema: the nodes of a large tree share them.
/// Texts begin at cache lines, so that what it takes to compare them does not depend on where they happen to lie.
class SchemaNames {
  public:
    const char *of(const std::string &name) {
        std::vector<CacheLine> &lines = lines_[name];
        if (lines.empty()) {
            lines.resize(name.size() / sizeof(CacheLine) + 1);
            std::memcpy(lines.data(), name.c_str(), name.size() + 1);
        }
        return lines.front().text;
    }

  private:
    static constexpr size_t line_size = 64;
    struct alignas(line_size) CacheLine {
        char text[line_size];
    };
    std::unordered_map<std::string, std::vector<CacheLine>> lines_;
};

/// Records of one described tree; owns their arrays and texts. Children lie side by side, as the plug-in expects.
class Tree {
  public:
    Tree() : Tree(Node()) {}
    /// `names`: where tags and namespaces come from, for as long as the tree lives. NULL: each is a text of its own.
    explicit Tree(const Node &description, SchemaNames *names = nullptr) : names_(names) { fill(root_, description); }
    Tree(const Tree &) = delete;
    Tree &operator=(const Tree &) = delete;

    yfw_datatree *root() { return &root_; }
    /// Descendant by child positions: at({0, 2}) is the third child of the first child.
    yfw_datatree *at(std::initializer_list<size_t> positions) {
        yfw_datatree *node = &root_;
        for (size_t position : positions)
            node = &node->children[position];
        return node;
    }

  private:
    void fill(yfw_datatree &node, const Node &description) {
        node = {};
        node.tag = description.tag ? name(*description.tag) : nullptr;
        node.value = description.text ? keep(*description.text) : nullptr;
        node.ns = description.space ? name(*description.space) : nullptr;
        node.operation = description.operation;
        node.node_flags = description.flags;
        node.node_flags2 = description.flags2;
        node.node_type = description.type;
        node.child_count = description.announced_children;
        if (description.announced_children != 0)
            node.node_flags |= YFW_NODE_HAS_CHILDREN;
        if (description.children.empty())
            return;
        std::vector<yfw_datatree> &array = arrays_.emplace_back(description.children.size());
        node.children = array.data();
        node.child_count = static_cast<uint32_t>(array.size());
        node.node_flags |= YFW_NODE_HAS_CHILDREN;
        for (size_t i = 0; i < array.size(); ++i)
            fill(array[i], description.children[i]);
    }

    char *keep(const std::string &text) { return texts_.emplace_back(text).data(); }

    const char *name(const std::string &text) { return names_ != nullptr ? names_->of(text) : keep(text); }

    SchemaNames *names_;
    yfw_datatree root_{};
    std::deque<std::vector<yfw_datatree>> arrays_;
    std::deque<std::string> texts_;
};
