// Node handlers of the native OTS operational model.
#include "native_modules.h"
#include "ymap_values.h"

namespace {

/// The lists have nothing to do: the key leaf makes the OpenConfig entry. Nor has the total power an OpenConfig leaf.
cerrno nothing(yfw_map_ctx /*ctx*/, const yfw_datatree * /*in*/, yfw_datatree * /*out*/) {
    return CERR_SUCCESS;
}

} // namespace

#define XO_CONTAINER(parent, word, tag)                                                                                \
    cerrno OTS_OPER(cont_##word)(yfw_map_ctx ctx, const yfw_datatree *in, unsigned int /*children*/,                   \
                                 yfw_datatree *out) {                                                                  \
        YMAP_BEGIN(ctx, in, out, YMAP_RC_INVALID_ARGS);                                                                \
        return CERR_SUCCESS;                                                                                           \
    }
#define XO_LIST(parent, word, tag, ...)                                                                                \
    cerrno OTS_OPER(list_##word)(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {                         \
        YMAP_HAND_TO(nothing, ctx, in, out);                                                                           \
    }
#define XO_LEAF(parent, word, tag, converter)                                                                          \
    cerrno OTS_OPER(leaf_##word)(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {                         \
        YMAP_HAND_TO(converter, ctx, in, out);                                                                         \
    }
#define XO_LEAF_TEXT(parent, word, tag, converter, path)                                                               \
    cerrno OTS_OPER(leaf_##word)(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {                         \
        const auto add_text = [](yfw_map_ctx c, const yfw_datatree *leaf, yfw_datatree *answer) {                      \
            return ymap::add_leaf(c, answer, path, OPENCONFIG_NS, converter(c, leaf, answer));                         \
        };                                                                                                             \
        YMAP_HAND_TO(add_text, ctx, in, out);                                                                          \
    }
#include "korvex_controller_orvo8_ots_oper.def"
