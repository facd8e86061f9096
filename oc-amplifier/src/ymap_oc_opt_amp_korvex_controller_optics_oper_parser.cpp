// Walkers and augment parsers of the native optics operational model. Only the root walker is exported.
#include "native_modules.h"
#include "ymap_native_walk.h"

#include <type_traits>

namespace ymap::native {
namespace {

// As the OTS operational model, but unknown tags are not named.
constexpr WalkRules module_rules{.ns = OPTICS_OPER_NS,
                                 .only_for_state_reads = true,
                                 .unknown_tag_is_named = false,
                                 .broken_list_entry_lacks_keys = true,
                                 .empty_list_entry_is_reported = false,
                                 .skip_becomes_success = false};

#define XO_ROWS "korvex_controller_optics_oper.def"
#define XO_NAME(name) OPTICS_OPER(name)
#include "ymap_native_rows.h"

} // namespace
} // namespace ymap::native

cerrno OPTICS_OPER(lvla_opticsoper)(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {
    YMAP_ASSERT_CTX(ctx);
    return ymap::native::walk<ymap::native::lvla_opticsoper>(ctx, in, out);
}

// Nothing augments the native model. The parsers of the port and above say nothing, those below it do.
#define QUIET_AUGMENT_PARSER(word)                                                                                     \
    cerrno OPTICS_OPER(word##_parse_augments)(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {            \
        YMAP_SUCCEED(ctx, in, out);                                                                                    \
    }
#define AUGMENT_PARSER(word)                                                                                           \
    cerrno OPTICS_OPER(word##_parse_augments)(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {            \
        YMAP_START_AND_END(ctx, in, out);                                                                              \
    }
#define XO_QUIET_CONTAINER(parent, word, tag) QUIET_AUGMENT_PARSER(word)
#define XO_LIST_OWN(parent, word, tag, ...) QUIET_AUGMENT_PARSER(word)
#define XO_CONTAINER(parent, word, tag) AUGMENT_PARSER(word)
#define XO_LIST(parent, word, tag, ...) AUGMENT_PARSER(word)
#include XO_ROWS
