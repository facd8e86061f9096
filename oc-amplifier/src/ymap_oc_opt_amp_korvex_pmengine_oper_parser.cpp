// Walkers and augment parsers of the native performance history. Only the root walker is exported.
#include "native_modules.h"
#include "ymap_native_walk.h"

#include <type_traits>

namespace ymap::native {
namespace {

// As the OTS operational model.
constexpr WalkRules module_rules{.ns = PMENGINE_OPER_NS,
                                 .only_for_state_reads = true,
                                 .unknown_tag_is_named = true,
                                 .broken_list_entry_lacks_keys = true,
                                 .empty_list_entry_is_reported = false,
                                 .skip_becomes_success = false};

#define XO_ROWS "korvex_pmengine_oper.def"
#define XO_NAME(name) PMENGINE_OPER(name)
#define XO_CONTAINER_HANDLER(word) PMENGINE_OPER(duck_map_container)
#define XO_LIST_HANDLER(word) PMENGINE_OPER(duck_map_list)
#include "ymap_native_rows.h"

} // namespace
} // namespace ymap::native

cerrno PMENGINE_OPER(lvla_performancemanagementhistory)(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {
    YMAP_ASSERT_CTX(ctx);
    return ymap::native::walk<ymap::native::lvla_performancemanagementhistory>(ctx, in, out);
}

// Nothing augments the native model.
#define AUGMENT_PARSER(word)                                                                                           \
    cerrno PMENGINE_OPER(word##_parse_augments)(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {          \
        YMAP_START_AND_END(ctx, in, out);                                                                              \
    }
#define XO_CONTAINER(parent, word, tag) AUGMENT_PARSER(word)
#define XO_LIST(parent, word, tag, ...) AUGMENT_PARSER(word)
#include XO_ROWS
