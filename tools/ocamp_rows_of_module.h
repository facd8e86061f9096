// One module of `native_modules` in ocamp_rows.cpp, from the list that NATIVE_ROWS names. Without include guard on
// purpose.
// clang-format off
{
#define XO_EACH_MODULE MODULE_OF_ROWS
#define XO_EACH_ROOT ROOT_OF_ROWS
#define XO_NODE NODE_OF_ROWS
#define XO_EACH_LEAF LEAF_OF_ROWS
#include NATIVE_ROWS
}},
// clang-format on
#undef NATIVE_ROWS
