// Augment parsers of the OpenConfig model: one for each container and list row. No augment can be written, and a
// read of one succeeds empty.
#include "openconfig_rows.h"

#define OC_AUGMENT_PARSER(word)                                                                                        \
    cerrno OC_AUGMENTS(word)(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {                             \
        YMAP_ASSERT_CTX(ctx);                                                                                          \
        YMAP_REQUIRE_NODES(__func__, ctx, in, out, YMAP_RC_INVALID_ARGS);                                              \
        if (yfw_map_is_request_add(ctx) == 0)                                                                          \
            return CERR_SUCCESS;                                                                                       \
        ymap::fail_at(ctx, in->tag);                                                                                   \
        return YMAP_RC_AUGMENT_UNSUPPORTED;                                                                            \
    }
#define OC_CONTAINER(parent, word, tag) OC_AUGMENT_PARSER(word)
#define OC_LIST(parent, word, tag, key, path, converter) OC_AUGMENT_PARSER(word)
#include "openconfig_optical_amplifier.def"
