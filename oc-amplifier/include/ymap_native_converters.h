// Defines the converters of one native module, XO_ROWS, that do what their rows' answers say, by the including file's
// convert<Row>(ctx, in, out). Included once by the module's converters.
#pragma once

#include "native_modules.h"

namespace ymap::native {
namespace {

#include "ymap_native_rows.h"

} // namespace
} // namespace ymap::native

#define DEFINE_Converter(name, row)                                                                                    \
    cerrno name(YMAP_NODE_PARAMETERS) {                                                                                \
        YMAP_BEGIN(ctx, in, out, YMAP_RC_INVALID_ARGS);                                                                \
        return convert<ymap::native::row>(ctx, in, out);                                                               \
    }
#include "native_exports.h"
