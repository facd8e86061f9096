// libexpat, which reads XML. Knows no document.
#pragma once

#include <expat.h>

namespace ocamp {

/// What is called of it: the library's name, and the one here.
#define OCAMP_EXPAT_CALLS(CALL)                                                                                        \
    CALL(XML_ErrorString, error_string)                                                                                \
    CALL(XML_GetCurrentByteCount, get_current_byte_count)                                                              \
    CALL(XML_GetCurrentByteIndex, get_current_byte_index)                                                              \
    CALL(XML_GetCurrentLineNumber, get_current_line_number)                                                            \
    CALL(XML_GetErrorCode, get_error_code)                                                                             \
    CALL(XML_Parse, parse)                                                                                             \
    CALL(XML_ParserCreateNS, create_parser)                                                                            \
    CALL(XML_ParserFree, free_parser)                                                                                  \
    CALL(XML_SetCharacterDataHandler, set_character_data_handler)                                                      \
    CALL(XML_SetElementHandler, set_element_handler)                                                                   \
    CALL(XML_SetNamespaceDeclHandler, set_namespace_decl_handler)                                                      \
    CALL(XML_SetStartDoctypeDeclHandler, set_start_doctype_decl_handler)                                               \
    CALL(XML_SetUserData, set_user_data)                                                                               \
    CALL(XML_SetXmlDeclHandler, set_xml_decl_handler)                                                                  \
    CALL(XML_StopParser, stop_parser)

struct ExpatLibrary {
#define OCAMP_EXPAT_CALL(name, member) decltype(&::name) member;
    OCAMP_EXPAT_CALLS(OCAMP_EXPAT_CALL)
#undef OCAMP_EXPAT_CALL
};

/// Loads the library at the first call; see LateLibrary. Throws std::runtime_error when the system has none. Safe from
/// any thread.
const ExpatLibrary &expat();

} // namespace ocamp
