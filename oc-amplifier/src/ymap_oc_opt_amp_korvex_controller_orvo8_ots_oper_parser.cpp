// Walkers and augment parsers of the native OTS operational model. Every level is exported.
#include "native_modules.h"
#include "ymap_native_walk.h"

#include <type_traits>

namespace ymap::native {
namespace {

constexpr WalkRules module_rules{.ns = OTS_OPER_NS,
                                 .only_for_state_reads = true,
                                 .unknown_tag_is_named = true,
                                 .broken_list_entry_lacks_keys = true,
                                 .empty_list_entry_is_reported = false,
                                 .skip_becomes_success = false};

#define XO_ROWS "korvex_controller_orvo8_ots_oper.def"
#define XO_NAME(name) OTS_OPER(name)
#include "ymap_native_rows.h"

} // namespace
} // namespace ymap::native

#define XO_NODE(parent, word, tag)                                                                                     \
    cerrno OTS_OPER(word)(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {                                \
        YMAP_ASSERT_CTX(ctx);                                                                                          \
        return ymap::native::walk<ymap::native::word>(ctx, in, out);                                                   \
    }
#include XO_ROWS

// Nothing augments the native model.
#define OTS_AUGMENT_PARSER(word)                                                                                       \
    cerrno OTS_OPER(word##_parse_augments)(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {               \
        YMAP_SUCCEED(ctx, in, out);                                                                                    \
    }
#define XO_CONTAINER(parent, word, tag) OTS_AUGMENT_PARSER(word)
#define XO_LIST(parent, word, tag, ...) OTS_AUGMENT_PARSER(word)
#include XO_ROWS
