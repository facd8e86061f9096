// How the library is found. Knows no document.
#include "yang/expat_library.h"

#include "seam/late_library.h"

namespace ocamp {

const ExpatLibrary &expat() {
    static const ExpatLibrary calls = [] {
        const LateLibrary library("libexpat.so.1");
#define OCAMP_EXPAT_CALL(name, member) library.find<decltype(&::name)>(#name),
        return ExpatLibrary{OCAMP_EXPAT_CALLS(OCAMP_EXPAT_CALL)};
#undef OCAMP_EXPAT_CALL
    }();
    return calls;
}

} // namespace ocamp
