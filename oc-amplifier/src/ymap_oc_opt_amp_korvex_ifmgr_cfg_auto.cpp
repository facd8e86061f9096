// Node handlers of the native interface configuration: the entry and its name are mapped, all else shares the
// default handlers.
#include "native_modules.h"

#define XO_ROWS "korvex_ifmgr_cfg.def"
#include "ymap_native_handlers.h"

cerrno IFMGR_CFG(list_lvla_interfaceconfigurations_interfaceconfiguration)(YMAP_NODE_PARAMETERS) {
    YMAP_START_CONVERT_END(oc_opt_amp_if_list_cfg_to_high, ctx, in, out);
}
