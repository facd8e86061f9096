// Walkers and augment parsers of the native optics operational model. Only the root walker is exported.
#include "native_modules.h"

#define XO_ROWS "korvex_controller_optics_oper.def"
#include "ymap_native_parser.h"
