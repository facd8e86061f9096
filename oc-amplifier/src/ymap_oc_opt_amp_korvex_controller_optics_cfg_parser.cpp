// Walkers and augment parsers of the native optics configuration, which hangs under an interface's configuration.
// Only the walker of the "optics" container and the dispatcher that leads to it are exported.
#include "native_modules.h"

#define XO_ROWS "korvex_controller_optics_cfg.def"
#include "ymap_native_parser.h"

namespace ymap::native {
namespace {

/// What the dispatcher does with a child of an interface's configuration whose arguments are good.
cerrno dispatch(yfw_map_ctx ctx, const char *function, const yfw_datatree *in, yfw_datatree *out) {
    if (children_of(in).missing()) {
        ymap_err_at(function, ctx, "Failed to get subtrees!");
        fail_at(ctx, in->tag);
        return YMAP_RC_BAD_SUBTREE;
    }
    cerrno result = CERR_SUCCESS;
    if (in->tag == nullptr) {
        ymap_err_at(function, ctx, "Tag name is not available!");
        fail_at(ctx, nullptr);
        result = YMAP_RC_BAD_SUBTREE;
    } else {
        ymap_trc_at(function, ctx, "Processing tag '%s'", in->tag);
    }
    if (yfw_map_do_these_match(in->tag, lvla_optics::tag) != 0)
        return walk<lvla_optics>(ctx, in, out);
    if (yfw_map_do_these_match(in->ns, ThisModule::properties.ns) != 0) {
        ymap_trc_at(function, ctx, "Unsupported tag. Ignoring.");
        return result;
    }
    return OPTICS_CFG(lvla_interface_configuration_parse_augments)(ctx, in, out);
}

} // namespace
} // namespace ymap::native

cerrno OPTICS_CFG(augment_lvla_interface_configuration)(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {
    YMAP_BEGIN(ctx, in, out, YMAP_RC_INVALID_ARGS);
    const cerrno result = ymap::native::dispatch(ctx, __func__, in, out);
    ymap_trc(ctx, "End");
    return result;
}
