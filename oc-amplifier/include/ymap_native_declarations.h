// Declares what the rows of one native module may export; XO_ROWS and XO_NAME say which. A module defines the walkers
// that it exports and the handlers that its rows call. Without include guard on purpose.
NATIVE_CONTAINER_HANDLER(XO_NAME(duck_map_container))
NATIVE_HANDLER(XO_NAME(duck_map_list))
NATIVE_HANDLER(XO_NAME(duck_map_leaf))
#define XO_CONTAINER(parent, word, tag)                                                                                \
    NATIVE_HANDLER(XO_NAME(word))                                                                                      \
    NATIVE_HANDLER(XO_NAME(word##_parse_augments))                                                                     \
    NATIVE_CONTAINER_HANDLER(XO_NAME(cont_##word))
#define XO_LIST(parent, word, tag, ...)                                                                                \
    NATIVE_HANDLER(XO_NAME(word))                                                                                      \
    NATIVE_HANDLER(XO_NAME(word##_parse_augments))                                                                     \
    NATIVE_HANDLER(XO_NAME(list_##word))
#define XO_LEAF(parent, word, tag, converter)                                                                          \
    NATIVE_HANDLER(XO_NAME(word))                                                                                      \
    NATIVE_HANDLER(XO_NAME(leaf_##word))
#define XO_UNVISITED_CONTAINER(word) NATIVE_CONTAINER_HANDLER(XO_NAME(cont_##word))
#define XO_UNVISITED_LEAF(word) NATIVE_HANDLER(XO_NAME(leaf_##word))
#include XO_ROWS
#undef XO_NAME
#undef XO_ROWS
