// The select fields of one native module, XO_ROWS, in their order. Included inside an unnamed namespace of its own.
// Without include guard on purpose.
#include "ymap_native_rows.h"

constexpr auto select_fields() {
    constexpr Selected leaves[] = {
#define XO_EACH_LEAF(parent, word, tag, handlers, converter, ...) select_field<word>(),
#include XO_ROWS
    };
    return in_order<last_place(leaves)>(leaves);
}
