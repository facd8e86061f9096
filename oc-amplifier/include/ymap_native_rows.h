// The rows of one native module as types, with the match of children by tag. Included once, inside the namespace of
// the module's parser, after these are defined:
//   module_rules     what the module's walkers do where modules differ
//   XO_ROWS          the module's list of rows
//   XO_NAME(name)    the exported name of the module's function `name`
// and, where a module's nodes do not have a handler each:
//   XO_CONTAINER_HANDLER(word), XO_LIST_HANDLER(word)
// Without include guard on purpose.

#ifndef XO_CONTAINER_HANDLER
#define XO_CONTAINER_HANDLER(word) XO_NAME(cont_##word)
#endif
#ifndef XO_LIST_HANDLER
#define XO_LIST_HANDLER(word) XO_NAME(list_##word)
#endif

struct ThisModule {
    static constexpr WalkRules rules = module_rules;
    template <class Row>
    static bool walk_named_child(yfw_map_ctx ctx, const yfw_datatree *child, yfw_datatree *out, cerrno &result);
};

struct no_parent;

#define XO_ROW(parent_row, row_kind, word, row_tag)                                                                    \
    using Parent = parent_row;                                                                                         \
    using Module = ThisModule;                                                                                         \
    static constexpr NodeKind kind = NodeKind::row_kind;                                                               \
    static constexpr const char *tag = row_tag;                                                                        \
    static constexpr const char *function = NATIVE_TEXT(XO_NAME(word));
#define XO_CONTAINER(parent, word, tag)                                                                                \
    struct word {                                                                                                      \
        XO_ROW(parent, container, word, tag)                                                                           \
        static constexpr auto handle = XO_CONTAINER_HANDLER(word);                                                     \
        static constexpr auto parse_augments = XO_NAME(word##_parse_augments);                                         \
    };
#define XO_LIST_ROW(parent, word, tag, handler, list_path, ...)                                                        \
    struct word {                                                                                                      \
        XO_ROW(parent, list, word, tag)                                                                                \
        static constexpr const char *path = list_path;                                                                 \
        static bool is_key(const char *child) { return is_one_of(child __VA_OPT__(, ) __VA_ARGS__); }                  \
        static constexpr auto handle = handler;                                                                        \
        static constexpr auto parse_augments = XO_NAME(word##_parse_augments);                                         \
    };
#define XO_LIST(parent, word, tag, ...) XO_LIST_ROW(parent, word, tag, XO_LIST_HANDLER(word), __VA_ARGS__)
#define XO_LIST_OWN(parent, word, tag, ...) XO_LIST_ROW(parent, word, tag, XO_NAME(list_##word), __VA_ARGS__)
#define XO_LEAF(parent, word, tag, converter)                                                                          \
    struct word {                                                                                                      \
        XO_ROW(parent, leaf, word, tag)                                                                                \
        static constexpr auto handle = XO_NAME(leaf_##word);                                                           \
    };
#include XO_ROWS

template <class Row>
bool ThisModule::walk_named_child(yfw_map_ctx ctx, const yfw_datatree *child, yfw_datatree *out, cerrno &result) {
#define XO_NODE(parent, word, tag)                                                                                     \
    if constexpr (std::is_same_v<parent, Row>)                                                                         \
        if (walk_if_named<word>(ctx, child, out, result))                                                              \
            return true;
#include XO_ROWS
    return false;
}
