// The OpenConfig rows as types, and the declarations of the functions behind them.
#pragma once

#include "ymap_exports.h"
#include "ymap_rows.h"

#define EXPORT YMAP_DECLARE
#include "openconfig_exports.h"

namespace ymap::openconfig {

/// Converter of a leaf that this platform does not have. Writes no message, and takes the tag itself as the label of
/// the copy, unlike every other site; clients rely on both. The context may be NULL.
inline cerrno unsupported(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree * /*out*/) {
    yfw_oc_error_path(ctx);
    set_error_path(ctx, in->tag, in->tag);
    return YMAP_RC_UNSUPPORTED;
}

struct no_parent;

// What every row knows of itself. `function` is the walker, by whose name it reports.
#define OC_ROW(parent_row, row_kind, word, row_tag)                                                                    \
    using Parent = parent_row;                                                                                         \
    static constexpr NodeKind kind = NodeKind::row_kind;                                                               \
    static constexpr const char *tag = row_tag;                                                                        \
    static constexpr const char *function = YMAP_TEXT(OC_NAME(word));
#define OC_EACH_ROOT(alias, word, tag)                                                                                 \
    OC_EACH_CONTAINER(no_parent, word, tag)                                                                            \
    using alias = word;
#define OC_EACH_CONTAINER(parent, word, tag)                                                                           \
    struct word {                                                                                                      \
        OC_ROW(parent, container, word, tag)                                                                           \
        static constexpr auto handle = OC_NAME(cont_##word);                                                           \
        static constexpr auto parse_augments = OC_NAME(word##_parse_augments);                                         \
    };
#define OC_EACH_LIST(parent, word, tag, list_key, list_path, converter)                                                \
    struct word {                                                                                                      \
        OC_ROW(parent, list, word, tag)                                                                                \
        static constexpr const char *key = list_key;                                                                   \
        static constexpr const char *path = list_path;                                                                 \
        static constexpr auto handle = OC_NAME(list_##word);                                                           \
        static constexpr auto parse_augments = OC_NAME(word##_parse_augments);                                         \
        static constexpr auto convert = converter;                                                                     \
    };
#define OC_EACH_LEAF(parent, word, tag, row_converter, ...)                                                            \
    struct word {                                                                                                      \
        OC_ROW(parent, leaf, word, tag)                                                                                \
        static constexpr auto handle = OC_NAME(leaf_##word);                                                           \
        static constexpr auto convert = row_converter;                                                                 \
        static constexpr const char *converter = #row_converter;                                                       \
        static constexpr auto request = __VA_ARGS__;                                                                   \
    };
#define OC_EACH_UNSUPPORTED(parent, word, tag)                                                                         \
    struct word {                                                                                                      \
        OC_ROW(parent, leaf, word, tag)                                                                                \
        static constexpr auto handle = OC_NAME(leaf_##word);                                                           \
        static constexpr auto convert = unsupported;                                                                   \
    };
#include "openconfig_optical_amplifier.def"
#undef OC_ROW

} // namespace ymap::openconfig
