// Node handlers of the native interface configuration: the entry and its name are mapped, all else shares the
// default handlers.
#include "native_modules.h"

NATIVE_DEFAULT_HANDLERS(IFMGR_CFG, YMAP_START_AND_END)

#define XO_CONTAINER(parent, word, tag) NATIVE_CONTAINER_ALIAS(IFMGR_CFG(cont_##word), IFMGR_CFG(duck_map_container))
#define XO_LIST(parent, word, tag, ...) NATIVE_ALIAS(IFMGR_CFG(list_##word), IFMGR_CFG(duck_map_list))
#define XO_LIST_OWN(parent, word, tag, ...)
#define XO_UNVISITED_LEAF(word) NATIVE_ALIAS(IFMGR_CFG(leaf_##word), IFMGR_CFG(duck_map_leaf))
#define XO_LEAF(parent, word, tag, converter)                                                                          \
    cerrno IFMGR_CFG(leaf_##word)(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {                        \
        YMAP_START_CONVERT_END(converter, ctx, in, out);                                                               \
    }
#include "korvex_ifmgr_cfg.def"

cerrno IFMGR_CFG(list_lvla_interfaceconfigurations_interfaceconfiguration)(yfw_map_ctx ctx, const yfw_datatree *in,
                                                                           yfw_datatree *out) {
    YMAP_START_CONVERT_END(oc_opt_amp_if_list_cfg_to_high, ctx, in, out);
}
