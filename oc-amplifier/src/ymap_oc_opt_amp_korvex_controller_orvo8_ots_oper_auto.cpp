// Node handlers of the native OTS operational model.
#include "native_modules.h"

#define XO_ROWS "korvex_controller_orvo8_ots_oper.def"
#include "ymap_native_handlers.h"
