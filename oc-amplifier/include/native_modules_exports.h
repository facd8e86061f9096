// What the native modules export, and the converters that no row names: NATIVE_EXPORT(kind, name, row) for each
// function. Without include guard on purpose.
#define EXPORT NATIVE_EXPORT
#include "unnamed_converters.h"

#define EXPORT NATIVE_EXPORT
#define XO_ROWS "korvex_controller_optics_cfg.def"
#include "native_exports.h"
#undef XO_ROWS

#define EXPORT NATIVE_EXPORT
#define XO_ROWS "korvex_ifmgr_cfg.def"
#include "native_exports.h"
#undef XO_ROWS

#define EXPORT NATIVE_EXPORT
#define XO_ROWS "korvex_controller_orvo8_ots_oper.def"
#include "native_exports.h"
#undef XO_ROWS

#define EXPORT NATIVE_EXPORT
#define XO_ROWS "korvex_controller_optics_oper.def"
#include "native_exports.h"
#undef XO_ROWS

#define EXPORT NATIVE_EXPORT
#define XO_ROWS "korvex_pmengine_oper.def"
#include "native_exports.h"
#undef XO_ROWS

#undef NATIVE_EXPORT
