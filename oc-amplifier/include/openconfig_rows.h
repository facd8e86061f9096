// The OpenConfig rows as types, and the declarations of the functions behind them. The walkers, the node handlers
// and the augment parsers are one function each per row, named by the macros below.
#ifndef OPENCONFIG_ROWS_H
#define OPENCONFIG_ROWS_H

#include "converters.h"
#include "ymap_frame.h"
#include "ymap_models.h"

#define OC_NAME(name) ymap_ox_oc_opt_ampli_openconfigopticalamplifier_##name
#define OC_WALKER(word) OC_NAME(word)
#define OC_CONTAINER_HANDLER(word) OC_NAME(cont_##word)
#define OC_LIST_HANDLER(word) OC_NAME(list_##word)
#define OC_LEAF_HANDLER(word) OC_NAME(leaf_##word)
#define OC_AUGMENTS(word) OC_NAME(word##_parse_augments)

#define OC_NODE(parent, word, tag)                                                                                     \
    YMAP_EXPORT cerrno OC_WALKER(word)(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out);
#define OC_CONTAINER(parent, word, tag)                                                                                \
    OC_NODE(parent, word, tag)                                                                                         \
    YMAP_EXPORT cerrno OC_CONTAINER_HANDLER(word)(yfw_map_ctx ctx, const yfw_datatree *in, unsigned int children,      \
                                                  yfw_datatree *out);                                                  \
    YMAP_EXPORT cerrno OC_AUGMENTS(word)(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out);
#define OC_LIST(parent, word, tag, key, path, converter)                                                               \
    OC_NODE(parent, word, tag)                                                                                         \
    YMAP_EXPORT cerrno OC_LIST_HANDLER(word)(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out);              \
    YMAP_EXPORT cerrno OC_AUGMENTS(word)(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out);
#define OC_LEAF(parent, word, tag, converter)                                                                          \
    OC_NODE(parent, word, tag)                                                                                         \
    YMAP_EXPORT cerrno OC_LEAF_HANDLER(word)(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out);
#include "openconfig_optical_amplifier.def"

namespace ymap::openconfig {

enum class NodeKind { container, list, leaf };

struct no_parent;

// What every row knows of itself. `function` is the walker, by whose name it reports.
#define OC_ROW(parent_row, row_kind, word, row_tag)                                                                    \
    using Parent = parent_row;                                                                                         \
    static constexpr NodeKind kind = NodeKind::row_kind;                                                               \
    static constexpr const char *tag = row_tag;                                                                        \
    static constexpr const char *function = "ymap_ox_oc_opt_ampli_openconfigopticalamplifier_" #word;
#define OC_CONTAINER(parent, word, tag)                                                                                \
    struct word {                                                                                                      \
        OC_ROW(parent, container, word, tag)                                                                           \
        static constexpr auto handle = OC_CONTAINER_HANDLER(word);                                                     \
        static constexpr auto parse_augments = OC_AUGMENTS(word);                                                      \
    };
#define OC_LIST(parent, word, tag, list_key, list_path, converter)                                                     \
    struct word {                                                                                                      \
        OC_ROW(parent, list, word, tag)                                                                                \
        static constexpr const char *key = list_key;                                                                   \
        static constexpr const char *path = list_path;                                                                 \
        static constexpr auto handle = OC_LIST_HANDLER(word);                                                          \
        static constexpr auto parse_augments = OC_AUGMENTS(word);                                                      \
    };
#define OC_LEAF(parent, word, tag, converter)                                                                          \
    struct word {                                                                                                      \
        OC_ROW(parent, leaf, word, tag)                                                                                \
        static constexpr auto handle = OC_LEAF_HANDLER(word);                                                          \
    };
#include "openconfig_optical_amplifier.def"
#undef OC_ROW

} // namespace ymap::openconfig

#endif
