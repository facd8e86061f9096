// The nodes of the native models that the plug-in walks, written down once more: their tags, the names of the functions
// that take them, and in what the walkers of the modules differ.
#pragma once

#include <ostream>
#include <string>
#include <vector>

struct NativeModule {
    std::string name;
    std::string prefix; ///< of its exported functions
    const char *ns;
    std::string port; ///< a port or interface that the module's list handler takes
    /// Children are walked for a read of state alone; for other requests they count as unknown.
    bool state_reads_only;
    bool names_unknown_tags;
    bool reports_empty_entries;
    /// A list entry with a broken child array is reported as an entry without keys.
    bool broken_entries_lack_keys;
    /// Leaf handlers trace "Start" and "End" around their converter.
    bool leaf_handlers_trace;
};

struct NativeNode {
    const NativeModule *module;
    std::string parent; ///< word of the parent; empty: the node's walker is where the framework begins
    std::string word;   ///< what the names of the node's functions end in
    std::string tag;
    std::string handler;
    std::string list_path = {}; ///< of a list
    bool augments_silently = false;

    bool is_list() const { return !list_path.empty(); }
    std::string walker() const { return module->prefix + "lvla_" + word; }
    std::string augment_parser() const { return walker() + "_parse_augments"; }
};

struct NativeLeaf {
    const NativeModule *module;
    std::string parent, word, tag, value, converter;
    std::string written = {}; ///< where the handler writes the text that the converter returns

    bool converter_returns_text() const { return !written.empty(); }
    std::string walker() const { return module->prefix + "lvla_" + word; }
    std::string handler() const { return module->prefix + "leaf_lvla_" + word; }
};

// As GoogleTest shows them; it would print every byte, and does so whenever the program starts.
inline void PrintTo(const NativeNode &node, std::ostream *out) {
    *out << node.walker();
}
inline void PrintTo(const NativeLeaf &leaf, std::ostream *out) {
    *out << leaf.walker();
}

const std::vector<NativeNode> &native_nodes();
const std::vector<NativeLeaf> &native_leaves();

/// From the node at which the framework begins down to the one of this word.
std::vector<NativeNode> native_path_to(const NativeModule *module, const std::string &word);

inline std::string native_test_name(const NativeModule *module, const std::string &word) {
    return module->name + "_" + word;
}
