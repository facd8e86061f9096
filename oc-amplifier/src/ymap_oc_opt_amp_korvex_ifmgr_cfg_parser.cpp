// Walkers and augment parsers of the native interface configuration. The optics configuration hangs under an entry
// as an augment and is handed to its own module.
#include "native_modules.h"
#include "ymap_native_walk.h"

#include <type_traits>

namespace ymap::native {
namespace {

// As the optics configuration, but a skipped entry is passed up for the container to drop.
constexpr WalkRules module_rules{.ns = IFMGR_CFG_NS,
                                 .only_for_state_reads = false,
                                 .unknown_tag_is_named = false,
                                 .broken_list_entry_lacks_keys = false,
                                 .empty_list_entry_is_reported = true,
                                 .skip_becomes_success = false};

#define XO_ROWS "korvex_ifmgr_cfg.def"
#define XO_NAME(name) IFMGR_CFG(name)
#include "ymap_native_rows.h"

} // namespace
} // namespace ymap::native

#define EXPORTED_WALKER(word)                                                                                          \
    cerrno IFMGR_CFG(word)(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {                               \
        YMAP_ASSERT_CTX(ctx);                                                                                          \
        return ymap::native::walk<ymap::native::word>(ctx, in, out);                                                   \
    }
EXPORTED_WALKER(lvla_globalinterfaceconfiguration)
EXPORTED_WALKER(lvla_interfaceconfigurations)
EXPORTED_WALKER(lvla_interfaceconfigurations_interfaceconfiguration)

#define AUGMENT_PARSER(word)                                                                                           \
    cerrno IFMGR_CFG(word##_parse_augments)(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {              \
        YMAP_START_AND_END(ctx, in, out);                                                                              \
    }
#define XO_CONTAINER(parent, word, tag) AUGMENT_PARSER(word)
#define XO_LIST(parent, word, tag, ...) AUGMENT_PARSER(word)
#define XO_LIST_OWN(parent, word, tag, ...)
#include XO_ROWS

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
