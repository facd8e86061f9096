// What a native module exports for its rows, XO_ROWS: EXPORT(kind, name, row) for each function. Declarations,
// definitions and the export list expand this list and no other. See ymap_export_kinds.h. Without include guard on
// purpose.
#include "ymap_export_kinds.h"

// The handler of a container or list, by what the module's handlers are.
#define XO_EXPORT_HANDLER(handlers, kind, name, word) XO_EXPORT_HANDLER_##handlers(kind, name, word)
#define XO_EXPORT_HANDLER_own(kind, name, word) EXPORT(kind##Handler, XO_NAME(name), word)
#define XO_EXPORT_HANDLER_shared(kind, name, word) EXPORT(kind##Alias, XO_NAME(name), word)
#define XO_EXPORT_HANDLER_unnamed(kind, name, word)
#define XO_EXPORT_HANDLER_by_hand(kind, name, word) EXPORT(kind##HandlerByHand, XO_NAME(name), word)
// That of a leaf; where the others do not trace for themselves, it does.
#define XO_EXPORT_LEAF_own(word) EXPORT(LeafHandler, XO_NAME(leaf_##word), word)
#define XO_EXPORT_LEAF_shared(word) EXPORT(TracedLeafHandler, XO_NAME(leaf_##word), word)
#define XO_EXPORT_LEAF_unnamed(word) EXPORT(TracedLeafHandler, XO_NAME(leaf_##word), word)

#define XO_EACH_ROOT(alias, word, tag, augments, handlers)                                                             \
    EXPORT(Walker, XO_NAME(word), word)                                                                                \
    EXPORT(augments, XO_NAME(word##_parse_augments), word)                                                             \
    XO_EXPORT_HANDLER(handlers, Container, cont_##word, word)
#define XO_EACH_CONTAINER(parent, word, tag, augments, handlers)                                                       \
    XO_INNER_WALKERS(EXPORT(Walker, XO_NAME(word), word))                                                              \
    EXPORT(augments, XO_NAME(word##_parse_augments), word)                                                             \
    XO_EXPORT_HANDLER(handlers, Container, cont_##word, word)
#define XO_EACH_LIST(parent, word, tag, augments, handlers, ...)                                                       \
    XO_INNER_WALKERS(EXPORT(Walker, XO_NAME(word), word))                                                              \
    EXPORT(augments, XO_NAME(word##_parse_augments), word)                                                             \
    XO_EXPORT_HANDLER(handlers, List, list_##word, word)
#define XO_EACH_AUGMENTED_LIST(parent, word, tag, ...)                                                                 \
    EXPORT(Walker, XO_NAME(word), word)                                                                                \
    EXPORT(AugmentParserByHand, XO_NAME(word##_parse_augments), word)                                                  \
    EXPORT(ListHandlerByHand, XO_NAME(list_##word), word)
#define XO_EACH_LEAF(parent, word, tag, handlers, converter, ...)                                                      \
    XO_EACH_UNANSWERED_LEAF(parent, word, tag, handlers)                                                               \
    EXPORT(Converter, converter, word)
#define XO_EACH_LEAF_BY_HAND(parent, word, tag, handlers, converter)                                                   \
    XO_EACH_UNANSWERED_LEAF(parent, word, tag, handlers)                                                               \
    EXPORT(ConverterByHand, converter, word)
#define XO_EACH_TEXT_LEAF(parent, word, tag, handlers, converter, ...)                                                 \
    XO_EACH_UNANSWERED_LEAF(parent, word, tag, handlers)                                                               \
    EXPORT(TextConverterByHand, converter, word)
#define XO_EACH_UNANSWERED_LEAF(parent, word, tag, handlers)                                                           \
    XO_INNER_WALKERS(EXPORT(Walker, XO_NAME(word), word))                                                              \
    XO_EXPORT_LEAF_##handlers(word)
#define XO_EACH_UNVISITED_CONTAINER(word) EXPORT(ContainerHandler, XO_NAME(cont_##word), word)
#define XO_EACH_UNVISITED_LEAF(word) EXPORT(LeafAlias, XO_NAME(leaf_##word), word)
#define XO_DEFAULT_HANDLERS                                                                                            \
    EXPORT(DefaultContainerHandler, XO_NAME(duck_map_container), no_row)                                               \
    EXPORT(DefaultHandler, XO_NAME(duck_map_list), no_row)                                                             \
    EXPORT(DefaultHandler, XO_NAME(duck_map_leaf), no_row)
#define XO_QUIET_DEFAULT_HANDLERS                                                                                      \
    EXPORT(QuietDefaultContainerHandler, XO_NAME(duck_map_container), no_row)                                          \
    EXPORT(QuietDefaultHandler, XO_NAME(duck_map_list), no_row)                                                        \
    EXPORT(QuietDefaultHandler, XO_NAME(duck_map_leaf), no_row)
#define XO_AUGMENT_OF(word)                                                                                            \
    EXPORT(AugmentParserByHand, XO_NAME(augment_##word), no_row)                                                       \
    EXPORT(AugmentParser, XO_NAME(word##_parse_augments), no_row)
#include XO_ROWS

#undef XO_EXPORT_LEAF_unnamed
#undef XO_EXPORT_LEAF_shared
#undef XO_EXPORT_LEAF_own
#undef XO_EXPORT_HANDLER_by_hand
#undef XO_EXPORT_HANDLER_unnamed
#undef XO_EXPORT_HANDLER_shared
#undef XO_EXPORT_HANDLER_own
#undef XO_EXPORT_HANDLER
#include "ymap_export_kinds_end.h"
