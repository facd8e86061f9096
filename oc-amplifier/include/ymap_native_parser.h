// Defines the walkers and augment parsers of one native module, XO_ROWS. Included once by the module's parser.
#pragma once

#include "native_modules.h"
#include "ymap_native_walk.h"

#include <type_traits>

namespace ymap::native {
namespace {

#include "ymap_native_rows.h"

template <class Row>
bool ThisModule::walk_named_child(yfw_map_ctx ctx, const yfw_datatree *child, yfw_datatree *out, cerrno &result) {
#define XO_NODE(parent, word, tag)                                                                                     \
    if constexpr (std::is_same_v<parent, Row>)                                                                         \
        if (walk_if_named<word>(ctx, child, out, result))                                                              \
            return true;
#include XO_ROWS
    return false;
}

} // namespace
} // namespace ymap::native

#define DEFINE_Walker(name, row)                                                                                       \
    cerrno name(YMAP_NODE_PARAMETERS) {                                                                                \
        YMAP_ASSERT_CTX(ctx);                                                                                          \
        return ymap::native::walk<ymap::native::row>(ctx, in, out);                                                    \
    }
#define DEFINE_AugmentParser(name, row)                                                                                \
    cerrno name(YMAP_NODE_PARAMETERS) {                                                                                \
        YMAP_START_AND_END(ctx, in, out);                                                                              \
    }
#define DEFINE_QuietAugmentParser(name, row)                                                                           \
    cerrno name(YMAP_NODE_PARAMETERS) {                                                                                \
        YMAP_SUCCEED(ctx, in, out);                                                                                    \
    }
#include "native_exports.h"
