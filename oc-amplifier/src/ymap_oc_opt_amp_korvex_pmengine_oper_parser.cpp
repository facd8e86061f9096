// Walkers and augment parsers of the native performance history. Only the root walker is exported.
#include "native_modules.h"

#define XO_ROWS "korvex_pmengine_oper.def"
#include "ymap_native_parser.h"
