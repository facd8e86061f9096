// Node handlers of the OpenConfig model, one a row: containers have nothing to do, lists and leaves hand over to
// their converter, and what the node does not have is refused.
#include "openconfig_rows.h"
#include "ymap_values.h"

namespace ymap::openconfig {
namespace {

/// Writes the text of a configuration leaf. A delete writes the native leaf without value.
template <class Row>
cerrno write_text(const ConfigTextRequest & /*kind*/, YMAP_NODE_PARAMETERS) {
    constexpr uint32_t follow = 1;
    constexpr NativeLeaf native = Row::request.native;
    if (is_read(ctx))
        return add_leaf(ctx, out, native.path, native.ns, Row::convert(ctx, in, out), nullptr, follow);
    const char *value = yfw_map_is_request_delete(in) != 0 ? nullptr : Row::convert(ctx, in, out);
    return add_leaf(ctx, out, native.path, native.ns, value, in, follow);
}

/// Likewise of a state leaf, which only reads ask for.
template <class Row>
cerrno write_text(const StateTextRequest & /*kind*/, YMAP_NODE_PARAMETERS) {
    if (!is_read(ctx))
        return CERR_SUCCESS;
    return add_leaf(ctx, out, Row::request.native.path, Row::request.native.ns, Row::convert(ctx, in, out));
}

} // namespace
} // namespace ymap::openconfig

#define DEFINE_ContainerHandler(name, row)                                                                             \
    cerrno name(YMAP_CONTAINER_PARAMETERS) {                                                                           \
        YMAP_CHECK_ONLY(ctx, in, out);                                                                                 \
    }
#define DEFINE_ListHandler(name, row)                                                                                  \
    cerrno name(YMAP_NODE_PARAMETERS) {                                                                                \
        YMAP_BEGIN(ctx, in, out, YMAP_RC_INVALID_ARGS);                                                                \
        return ymap::openconfig::row::convert(ctx, in, out);                                                           \
    }
#define DEFINE_LeafHandler(name, row)                                                                                  \
    cerrno name(YMAP_NODE_PARAMETERS) {                                                                                \
        YMAP_HAND_TO(ymap::openconfig::row::convert, ctx, in, out);                                                    \
    }
#define DEFINE_TextLeafHandler(name, row)                                                                              \
    cerrno name(YMAP_NODE_PARAMETERS) {                                                                                \
        YMAP_BEGIN(ctx, in, out, YMAP_RC_INVALID_ARGS);                                                                \
        return ymap::openconfig::write_text<ymap::openconfig::row>(ymap::openconfig::row::request, ctx, in, out);      \
    }
#include "openconfig_exports.h"
