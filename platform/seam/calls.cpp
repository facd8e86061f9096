// How the words of an observed call are written. Knows nothing of the calls themselves.
#include "seam/calls.h"

#include "seam/text.h"

namespace ocamp::detail {

void append_word(std::string &line, Quoted quoted) {
    if (quoted.text == nullptr) {
        line += "NULL";
        return;
    }
    line += '"';
    append_escaped(line, quoted.text, '"');
    line += '"';
}

void append_word(std::string &line, Code code) {
    if (code.code == CERR_SUCCESS)
        line += '0';
    else
        fmt::format_to(std::back_inserter(line), "0x{:08x}", code.code);
}

} // namespace ocamp::detail
