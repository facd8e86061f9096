// What the OpenConfig side exports for its rows: EXPORT(kind, name, row) for each function. Declarations, definitions
// and the export list expand this list and no other. See ymap_export_kinds.h. Without include guard on purpose.
#include "ymap_export_kinds.h"

#define OC_EACH_CONTAINER(parent, word, tag)                                                                           \
    EXPORT(Walker, OC_NAME(word), word)                                                                                \
    EXPORT(AugmentParser, OC_NAME(word##_parse_augments), word)                                                        \
    EXPORT(ContainerHandler, OC_NAME(cont_##word), word)
#define OC_EACH_LIST(parent, word, tag, key, path, converter)                                                          \
    EXPORT(Walker, OC_NAME(word), word)                                                                                \
    EXPORT(AugmentParser, OC_NAME(word##_parse_augments), word)                                                        \
    EXPORT(ListHandler, OC_NAME(list_##word), word)                                                                    \
    EXPORT(ConverterByHand, converter, word)
#define OC_EACH_LEAF(parent, word, tag, converter, ...)                                                                \
    EXPORT(Walker, OC_NAME(word), word)                                                                                \
    EXPORT(LeafHandler, OC_NAME(leaf_##word), word)                                                                    \
    EXPORT(Converter, converter, word)
#define OC_EACH_LEAF_BY_HAND(parent, word, tag, converter, ...)                                                        \
    EXPORT(Walker, OC_NAME(word), word)                                                                                \
    EXPORT(LeafHandler, OC_NAME(leaf_##word), word)                                                                    \
    EXPORT(ConverterByHand, converter, word)
#define OC_EACH_TEXT_LEAF(parent, word, tag, converter, ...)                                                           \
    EXPORT(Walker, OC_NAME(word), word)                                                                                \
    EXPORT(TextLeafHandler, OC_NAME(leaf_##word), word)                                                                \
    EXPORT(TextConverterByHand, converter, word)
#define OC_EACH_UNSUPPORTED(parent, word, tag)                                                                         \
    EXPORT(Walker, OC_NAME(word), word)                                                                                \
    EXPORT(LeafHandler, OC_NAME(leaf_##word), word)
#include "openconfig_optical_amplifier.def"

#include "ymap_export_kinds_end.h"
