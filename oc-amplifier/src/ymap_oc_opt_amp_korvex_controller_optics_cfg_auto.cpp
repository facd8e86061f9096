// Node handlers of the native optics configuration: three leaves are mapped, all else shares the default handlers.
#include "native_modules.h"
#include "ymap_values.h"

NATIVE_DEFAULT_HANDLERS(OPTICS_CFG, YMAP_START_AND_END)

#define XO_CONTAINER(parent, word, tag) NATIVE_CONTAINER_ALIAS(OPTICS_CFG(cont_##word), OPTICS_CFG(duck_map_container))
#define XO_LIST(parent, word, tag, ...) NATIVE_ALIAS(OPTICS_CFG(list_##word), OPTICS_CFG(duck_map_list))
#define XO_UNVISITED_LEAF(word) NATIVE_ALIAS(OPTICS_CFG(leaf_##word), OPTICS_CFG(duck_map_leaf))
#define XO_LEAF(parent, word, tag, converter)                                                                          \
    cerrno OPTICS_CFG(leaf_##word)(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {                       \
        YMAP_START_CONVERT_END(converter, ctx, in, out);                                                               \
    }
#define XO_LEAF_TEXT(parent, word, tag, converter, path)                                                               \
    cerrno OPTICS_CFG(leaf_##word)(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {                       \
        const auto add_text = [](yfw_map_ctx c, const yfw_datatree *leaf, yfw_datatree *answer) {                      \
            const char *text = converter(c, leaf, answer);                                                             \
            return ymap::writes_config(c) ? ymap::add_leaf(c, answer, path, OPENCONFIG_NS, text) : CERR_SUCCESS;       \
        };                                                                                                             \
        YMAP_START_CONVERT_END(add_text, ctx, in, out);                                                                \
    }
#include "korvex_controller_optics_cfg.def"
