// Walkers and augment parsers of the native optics configuration, which hangs under an interface's configuration.
// Only the walker of the "optics" container and the dispatcher that leads to it are exported.
#include "native_modules.h"
#include "ymap_native_walk.h"

#include <type_traits>

namespace ymap::native {
namespace {

constexpr WalkRules module_rules{.ns = OPTICS_CFG_NS,
                                 .only_for_state_reads = false,
                                 .unknown_tag_is_named = false,
                                 .broken_list_entry_lacks_keys = false,
                                 .empty_list_entry_is_reported = true,
                                 .skip_becomes_success = true};

#define XO_ROWS "korvex_controller_optics_cfg.def"
#define XO_NAME(name) OPTICS_CFG(name)
#include "ymap_native_rows.h"

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
    if (yfw_map_do_these_match(in->ns, module_rules.ns) != 0) {
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

cerrno OPTICS_CFG(lvla_optics)(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {
    YMAP_ASSERT_CTX(ctx);
    return ymap::native::walk<ymap::native::lvla_optics>(ctx, in, out);
}

// No augment of these nodes is mapped.
#define AUGMENT_PARSER(word)                                                                                           \
    cerrno OPTICS_CFG(word##_parse_augments)(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {             \
        YMAP_START_AND_END(ctx, in, out);                                                                              \
    }
AUGMENT_PARSER(lvla_interface_configuration)
#define XO_CONTAINER(parent, word, tag) AUGMENT_PARSER(word)
#define XO_LIST(parent, word, tag, ...) AUGMENT_PARSER(word)
#include XO_ROWS
