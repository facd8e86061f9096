// The rows of one native module, XO_ROWS, as types. Included inside an unnamed namespace of ymap::native.
// Without include guard on purpose.

struct no_parent;

#define XO_EACH_MODULE(...)                                                                                            \
    struct ThisModule {                                                                                                \
        static constexpr NativeModule properties = {__VA_ARGS__};                                                      \
        template <class Row>                                                                                           \
        static bool walk_named_child(yfw_map_ctx ctx, const yfw_datatree *child, yfw_datatree *out, cerrno &result);   \
    };

// Whom a walker calls: the node's own handler, by hand or not, its alias, or the default one.
#define XO_HANDLE_own(name, default_name) XO_NAME(name)
#define XO_HANDLE_by_hand(name, default_name) XO_NAME(name)
#define XO_HANDLE_shared(name, default_name) XO_NAME(name)
#define XO_HANDLE_unnamed(name, default_name) XO_NAME(default_name)

// What every row knows of itself. `function` is the walker, by whose name it reports.
#define XO_ROW(parent_row, row_kind, word, row_tag)                                                                    \
    using Parent = parent_row;                                                                                         \
    using Module = ThisModule;                                                                                         \
    static constexpr NodeKind kind = NodeKind::row_kind;                                                               \
    static constexpr const char *tag = row_tag;                                                                        \
    static constexpr const char *function = YMAP_TEXT(XO_NAME(word));
#define XO_EACH_ROOT(alias, word, tag, augments, handlers)                                                             \
    XO_EACH_CONTAINER(no_parent, word, tag, augments, handlers)                                                        \
    using alias = word;
#define XO_EACH_CONTAINER(parent, word, tag, augments, handlers)                                                       \
    struct word {                                                                                                      \
        XO_ROW(parent, container, word, tag)                                                                           \
        static constexpr auto handle = XO_HANDLE_##handlers(cont_##word, duck_map_container);                          \
        static constexpr auto parse_augments = XO_NAME(word##_parse_augments);                                         \
    };
#define XO_EACH_LIST(parent, word, tag, augments, handlers, list_path, ...)                                            \
    struct word {                                                                                                      \
        XO_ROW(parent, list, word, tag)                                                                                \
        static constexpr const char *path = list_path;                                                                 \
        static bool is_key(const char *child) { return is_one_of(child __VA_OPT__(, ) __VA_ARGS__); }                  \
        static constexpr auto handle = XO_HANDLE_##handlers(list_##word, duck_map_list);                               \
        static constexpr auto parse_augments = XO_NAME(word##_parse_augments);                                         \
    };
#define XO_EACH_LEAF(parent, word, tag, handlers, row_converter, ...)                                                  \
    struct word {                                                                                                      \
        XO_ROW(parent, leaf, word, tag)                                                                                \
        static constexpr auto handle = XO_NAME(leaf_##word);                                                           \
        static constexpr auto convert = row_converter;                                                                 \
        static constexpr const char *converter = #row_converter;                                                       \
        static constexpr auto answer = __VA_ARGS__;                                                                    \
    };
#include XO_ROWS

#undef XO_ROW
#undef XO_HANDLE_unnamed
#undef XO_HANDLE_shared
#undef XO_HANDLE_by_hand
#undef XO_HANDLE_own
