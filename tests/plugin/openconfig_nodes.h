// Every node of the OpenConfig model as the tests know it: its walker, its handler, and what the handler answers with.
#pragma once

#include <string>
#include <vector>

enum class OcKind { container, list, leaf };

struct OcNode {
    OcKind kind;
    std::string tag;
    std::string word;           ///< path word of walker and handler
    std::string level = "lvla"; ///< "lvlb" keeps a channel's laser-bias-current apart from the amplifier's
    std::string converter = {}; ///< empty: unsupported leaf, or a container
    bool own_logic = false;     ///< the leaf's handler writes itself and traces "Start"
    std::vector<OcNode> children = {};

    std::string walker() const;
    std::string handler() const;
    std::string augments() const { return walker() + "_parse_augments"; }
};

/// The model, rooted at the optical-amplifier container.
const OcNode &oc_model();
/// All its nodes, parents before children. Pointers, because a node holds everything below it, and each test would copy
/// that.
std::vector<const OcNode *> oc_nodes();
std::vector<const OcNode *> oc_nodes(OcKind kind);
const OcNode &oc_node(const std::string &word, const std::string &level = "lvla");
