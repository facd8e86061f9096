// Texts of result codes: those of the seam and those of the platform. Knows no caller and keeps no state.
#include "seam/codes.h"

#include "seam/calls.h"

namespace {

const char *code_text(cerrno code) noexcept {
    switch (code) {
    case CERR_SUCCESS:
        return "Success";
    case YMAP_RC_BAD_SUBTREE:
        return "Subtree cannot be walked";
    case YMAP_RC_INVALID_ARGS:
        return "Invalid arguments";
    case YMAP_RC_UNSUPPORTED:
        return "Node is not supported";
    case YMAP_RC_BAD_KEY:
        return "List key is missing, repeated or without tag";
    case YMAP_RC_KEY_DELETE:
        return "List key cannot be deleted";
    case YMAP_RC_SKIP:
        return "List entry does not belong to this mapping";
    case YMAP_RC_AUGMENT_UNSUPPORTED:
        return "Augmenting node is not supported";
    case SYSDB_RC_UNAVAILABLE:
        return "System database is not available";
#define OCAMP_TEXT_OF_CODE(name, value, text)                                                                          \
    case ocamp::name:                                                                                                  \
        return text;
        OCAMP_PLATFORM_CODES(OCAMP_TEXT_OF_CODE)
#undef OCAMP_TEXT_OF_CODE
    default:
        return "Unknown error";
    }
}

} // namespace

extern "C" const char *cerr_strerror(cerrno code) {
    const char *text = code_text(code);
    ocamp::record_call("cerr_strerror", ocamp::Quoted{text}, ocamp::Code{code});
    return text;
}
