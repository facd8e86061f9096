// Names of the native modules' exported functions, and the declarations that all modules expand from their rows.
#ifndef NATIVE_MODULES_H
#define NATIVE_MODULES_H

#include "converters.h"
#include "ymap_models.h"

#define OPTICS_CFG(name) ymap_xo_oc_opt_amp_korvexcontrolleropticscfg_##name
#define IFMGR_CFG(name) ymap_xo_oc_opt_amp_korvexifmgrcfg_##name
#define OTS_OPER(name) ymap_xo_oc_opt_amp_korvexcontrollerorvo8otsoper_##name
#define OPTICS_OPER(name) ymap_xo_oc_opt_amp_korvexcontrolleropticsoper_##name
#define PMENGINE_OPER(name) ymap_xo_oc_opt_amp_korvexpmengineoper_##name

#define NATIVE_HANDLER(name) YMAP_EXPORT cerrno name(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out);
#define NATIVE_CONTAINER_HANDLER(name)                                                                                 \
    YMAP_EXPORT cerrno name(yfw_map_ctx ctx, const yfw_datatree *in, unsigned int children, yfw_datatree *out);

// Another exported name of a handler, which the framework may override.
#define NATIVE_TEXT_OF(name) #name
#define NATIVE_TEXT(name) NATIVE_TEXT_OF(name)
#define NATIVE_ALIAS(name, handler)                                                                                    \
    extern "C" __attribute__((weak, visibility("default"), alias(NATIVE_TEXT(handler)))) cerrno name(                  \
        yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out);
#define NATIVE_CONTAINER_ALIAS(name, handler)                                                                          \
    extern "C" __attribute__((weak, visibility("default"), alias(NATIVE_TEXT(handler)))) cerrno name(                  \
        yfw_map_ctx ctx, const yfw_datatree *in, unsigned int children, yfw_datatree *out);

// The three default handlers of a module, whose body is `body(ctx, in, out)`.
#define NATIVE_DEFAULT_HANDLERS(MODULE, body)                                                                          \
    cerrno MODULE(duck_map_container)(yfw_map_ctx ctx, const yfw_datatree *in, unsigned int /*children*/,              \
                                      yfw_datatree *out) {                                                             \
        body(ctx, in, out);                                                                                            \
    }                                                                                                                  \
    cerrno MODULE(duck_map_list)(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {                         \
        body(ctx, in, out);                                                                                            \
    }                                                                                                                  \
    cerrno MODULE(duck_map_leaf)(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {                         \
        body(ctx, in, out);                                                                                            \
    }

#define XO_ROWS "korvex_controller_orvo8_ots_oper.def"
#define XO_NAME(name) OTS_OPER(name)
#include "ymap_native_declarations.h"

#define XO_ROWS "korvex_controller_optics_cfg.def"
#define XO_NAME(name) OPTICS_CFG(name)
#include "ymap_native_declarations.h"
NATIVE_HANDLER(OPTICS_CFG(augment_lvla_interface_configuration))
NATIVE_HANDLER(OPTICS_CFG(lvla_interface_configuration_parse_augments))

#define XO_ROWS "korvex_ifmgr_cfg.def"
#define XO_NAME(name) IFMGR_CFG(name)
#include "ymap_native_declarations.h"

#define XO_ROWS "korvex_controller_optics_oper.def"
#define XO_NAME(name) OPTICS_OPER(name)
#include "ymap_native_declarations.h"

#define XO_ROWS "korvex_pmengine_oper.def"
#define XO_NAME(name) PMENGINE_OPER(name)
#include "ymap_native_declarations.h"

#endif
