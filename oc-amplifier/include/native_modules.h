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

#define XO_NODE(parent, word, tag) NATIVE_HANDLER(OTS_OPER(word))
#define XO_CONTAINER(parent, word, tag)                                                                                \
    NATIVE_HANDLER(OTS_OPER(word))                                                                                     \
    NATIVE_HANDLER(OTS_OPER(word##_parse_augments))                                                                    \
    NATIVE_CONTAINER_HANDLER(OTS_OPER(cont_##word))
#define XO_LIST(parent, word, tag, ...)                                                                                \
    NATIVE_HANDLER(OTS_OPER(word))                                                                                     \
    NATIVE_HANDLER(OTS_OPER(word##_parse_augments))                                                                    \
    NATIVE_HANDLER(OTS_OPER(list_##word))
#define XO_LEAF(parent, word, tag, converter)                                                                          \
    NATIVE_HANDLER(OTS_OPER(word))                                                                                     \
    NATIVE_HANDLER(OTS_OPER(leaf_##word))
#include "korvex_controller_orvo8_ots_oper.def"

// The configuration modules export few walkers; nodes without a mapping share the default handlers under names of
// their own, as weak aliases.
NATIVE_HANDLER(OPTICS_CFG(augment_lvla_interface_configuration))
NATIVE_HANDLER(OPTICS_CFG(lvla_interface_configuration_parse_augments))
NATIVE_HANDLER(OPTICS_CFG(lvla_optics))
NATIVE_CONTAINER_HANDLER(OPTICS_CFG(duck_map_container))
NATIVE_HANDLER(OPTICS_CFG(duck_map_list))
NATIVE_HANDLER(OPTICS_CFG(duck_map_leaf))
#define XO_CONTAINER(parent, word, tag)                                                                                \
    NATIVE_HANDLER(OPTICS_CFG(word##_parse_augments))                                                                  \
    NATIVE_CONTAINER_HANDLER(OPTICS_CFG(cont_##word))
#define XO_LIST(parent, word, tag, ...)                                                                                \
    NATIVE_HANDLER(OPTICS_CFG(word##_parse_augments))                                                                  \
    NATIVE_HANDLER(OPTICS_CFG(list_##word))
#define XO_LEAF(parent, word, tag, converter) NATIVE_HANDLER(OPTICS_CFG(leaf_##word))
#define XO_UNVISITED_LEAF(word) NATIVE_HANDLER(OPTICS_CFG(leaf_##word))
#include "korvex_controller_optics_cfg.def"

NATIVE_HANDLER(IFMGR_CFG(lvla_globalinterfaceconfiguration))
NATIVE_HANDLER(IFMGR_CFG(lvla_interfaceconfigurations))
NATIVE_HANDLER(IFMGR_CFG(lvla_interfaceconfigurations_interfaceconfiguration))
NATIVE_CONTAINER_HANDLER(IFMGR_CFG(duck_map_container))
NATIVE_HANDLER(IFMGR_CFG(duck_map_list))
NATIVE_HANDLER(IFMGR_CFG(duck_map_leaf))
#define XO_CONTAINER(parent, word, tag)                                                                                \
    NATIVE_HANDLER(IFMGR_CFG(word##_parse_augments))                                                                   \
    NATIVE_CONTAINER_HANDLER(IFMGR_CFG(cont_##word))
#define XO_LIST(parent, word, tag, ...)                                                                                \
    NATIVE_HANDLER(IFMGR_CFG(word##_parse_augments))                                                                   \
    NATIVE_HANDLER(IFMGR_CFG(list_##word))
#define XO_LEAF(parent, word, tag, converter) NATIVE_HANDLER(IFMGR_CFG(leaf_##word))
#define XO_UNVISITED_LEAF(word) NATIVE_HANDLER(IFMGR_CFG(leaf_##word))
#include "korvex_ifmgr_cfg.def"

// The remaining operational modules export their root walkers only.
NATIVE_HANDLER(OPTICS_OPER(lvla_opticsoper))
NATIVE_CONTAINER_HANDLER(OPTICS_OPER(duck_map_container))
NATIVE_HANDLER(OPTICS_OPER(duck_map_list))
NATIVE_HANDLER(OPTICS_OPER(duck_map_leaf))
#define XO_CONTAINER(parent, word, tag)                                                                                \
    NATIVE_HANDLER(OPTICS_OPER(word##_parse_augments))                                                                 \
    NATIVE_CONTAINER_HANDLER(OPTICS_OPER(cont_##word))
#define XO_LIST(parent, word, tag, ...)                                                                                \
    NATIVE_HANDLER(OPTICS_OPER(word##_parse_augments))                                                                 \
    NATIVE_HANDLER(OPTICS_OPER(list_##word))
#define XO_LEAF(parent, word, tag, converter) NATIVE_HANDLER(OPTICS_OPER(leaf_##word))
#define XO_UNVISITED_CONTAINER(word) NATIVE_CONTAINER_HANDLER(OPTICS_OPER(cont_##word))
#include "korvex_controller_optics_oper.def"

NATIVE_HANDLER(PMENGINE_OPER(lvla_performancemanagementhistory))
NATIVE_CONTAINER_HANDLER(PMENGINE_OPER(duck_map_container))
NATIVE_HANDLER(PMENGINE_OPER(duck_map_list))
NATIVE_HANDLER(PMENGINE_OPER(duck_map_leaf))
#define XO_CONTAINER(parent, word, tag) NATIVE_HANDLER(PMENGINE_OPER(word##_parse_augments))
#define XO_LIST(parent, word, tag, ...) NATIVE_HANDLER(PMENGINE_OPER(word##_parse_augments))
#define XO_LIST_OWN(parent, word, tag, ...)                                                                            \
    NATIVE_HANDLER(PMENGINE_OPER(word##_parse_augments))                                                               \
    NATIVE_HANDLER(PMENGINE_OPER(list_##word))
#define XO_LEAF(parent, word, tag, converter) NATIVE_HANDLER(PMENGINE_OPER(leaf_##word))
#include "korvex_pmengine_oper.def"

#endif
