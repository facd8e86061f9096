// Node handlers of the OpenConfig model, one a row: containers have nothing to do, lists and leaves hand over to
// their converter, and what the node does not have is refused.
#include "openconfig_rows.h"
#include "ymap_values.h"

namespace {

/// Converter of a leaf that this platform does not have. Writes no message, and takes the tag itself as the label of
/// the copy, unlike every other site; clients rely on both. The context may be NULL.
cerrno unsupported(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree * /*out*/) {
    yfw_oc_error_path(ctx);
    ymap::set_error_path(ctx, in->tag, in->tag);
    return YMAP_RC_UNSUPPORTED;
}

using TextConverter = const char *(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out);

/// Writes the text of a configuration leaf. A delete writes the native leaf without value.
cerrno write_config_text(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out, TextConverter *convert,
                         const char *ns, const char *native) {
    constexpr uint32_t follow = 1;
    if (ymap::is_read(ctx))
        return ymap::add_leaf(ctx, out, native, ns, convert(ctx, in, out), nullptr, follow);
    const char *value = yfw_map_is_request_delete(in) != 0 ? nullptr : convert(ctx, in, out);
    return ymap::add_leaf(ctx, out, native, ns, value, in, follow);
}

} // namespace

#define OC_CONTAINER(parent, word, tag)                                                                                \
    cerrno OC_CONTAINER_HANDLER(word)(yfw_map_ctx ctx, const yfw_datatree *in, unsigned int /*children*/,              \
                                      yfw_datatree *out) {                                                             \
        YMAP_BEGIN(ctx, in, out, YMAP_RC_INVALID_ARGS);                                                                \
        return CERR_SUCCESS;                                                                                           \
    }
#define OC_LIST(parent, word, tag, key, path, converter)                                                               \
    cerrno OC_LIST_HANDLER(word)(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {                         \
        YMAP_BEGIN(ctx, in, out, YMAP_RC_INVALID_ARGS);                                                                \
        return converter(ctx, in, out);                                                                                \
    }
#define OC_LEAF(parent, word, tag, converter)                                                                          \
    cerrno OC_LEAF_HANDLER(word)(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {                         \
        YMAP_HAND_TO(converter, ctx, in, out);                                                                         \
    }
#define OC_CONFIG_TEXT(parent, word, tag, converter, ns, native)                                                       \
    cerrno OC_LEAF_HANDLER(word)(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {                         \
        YMAP_BEGIN(ctx, in, out, YMAP_RC_INVALID_ARGS);                                                                \
        return write_config_text(ctx, in, out, converter, ns, native);                                                 \
    }
#define OC_STATE_TEXT(parent, word, tag, converter, ns, native)                                                        \
    cerrno OC_LEAF_HANDLER(word)(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {                         \
        YMAP_BEGIN(ctx, in, out, YMAP_RC_INVALID_ARGS);                                                                \
        if (!ymap::is_read(ctx))                                                                                       \
            return CERR_SUCCESS;                                                                                       \
        return ymap::add_leaf(ctx, out, native, ns, converter(ctx, in, out));                                          \
    }
#include "openconfig_optical_amplifier.def"
