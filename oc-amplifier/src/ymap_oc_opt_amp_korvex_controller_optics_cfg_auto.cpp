// Node handlers of the native optics configuration: three leaves are mapped, all else shares the default handlers.
#include "native_modules.h"

#define XO_ROWS "korvex_controller_optics_cfg.def"
#include "ymap_native_handlers.h"
