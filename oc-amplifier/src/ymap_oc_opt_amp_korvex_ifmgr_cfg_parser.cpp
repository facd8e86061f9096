// Walkers and augment parsers of the native interface configuration. The optics configuration hangs under an entry
// as an augment and is handed to its own module.
#include "native_modules.h"

#define XO_ROWS "korvex_ifmgr_cfg.def"
#include "ymap_native_parser.h"

cerrno IFMGR_CFG(lvla_interfaceconfigurations_interfaceconfiguration_parse_augments)(yfw_map_ctx ctx,
                                                                                     const yfw_datatree *in,
                                                                                     yfw_datatree *out) {
    YMAP_BEGIN(ctx, in, out, YMAP_RC_INVALID_ARGS);
    cerrno result = CERR_SUCCESS;
    if (yfw_map_do_these_match(in->ns, OPTICS_CFG_NS) != 0)
        result = OPTICS_CFG(augment_lvla_interface_configuration)(ctx, in, out);
    ymap_trc(ctx, "End");
    return result;
}
