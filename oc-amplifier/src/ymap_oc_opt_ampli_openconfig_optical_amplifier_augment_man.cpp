// Augment parsers of the OpenConfig model: one for each container and list row. No augment can be written, and a
// read of one succeeds empty.
#include "openconfig_rows.h"

#define DEFINE_AugmentParser(name, row)                                                                                \
    cerrno name(YMAP_NODE_PARAMETERS) {                                                                                \
        YMAP_ASSERT_CTX(ctx);                                                                                          \
        YMAP_REQUIRE_NODES(__func__, ctx, in, out, YMAP_RC_INVALID_ARGS);                                              \
        if (yfw_map_is_request_add(ctx) == 0)                                                                          \
            return CERR_SUCCESS;                                                                                       \
        ymap::fail_at(ctx, in->tag);                                                                                   \
        return YMAP_RC_AUGMENT_UNSUPPORTED;                                                                            \
    }
#include "openconfig_exports.h"
