// How client documents are told apart, and what can be said of them whatever they are written in.
#include "yang/client_document.h"

#include "seam/text.h"
#include "yang/error.h"
#include "yang/json_document.h"
#include "yang/xml_document.h"

#include <fmt/format.h>

namespace ocamp {

std::string_view without_byte_order_mark(std::string_view document) {
    constexpr std::string_view mark = "\xEF\xBB\xBF";
    return document.substr(document.starts_with(mark) ? mark.size() : 0);
}

DocumentFormat format_of(std::string_view document) {
    document = without_leading_blanks(without_byte_order_mark(document));
    if (document.starts_with('<'))
        return DocumentFormat::xml;
    if (document.starts_with('{'))
        return DocumentFormat::json;
    throw DocumentError("neither XML nor JSON, expected a document that begins with '<' or '{'");
}

std::vector<ClientNode> read_document(std::string_view document, DocumentFormat format, const Schema &models) {
    document = without_byte_order_mark(document);
    if (document.find('\0') != std::string_view::npos)
        throw DocumentError("holds a zero byte, expected text");
    return format == DocumentFormat::json ? read_json(document, models) : read_xml(document, models);
}

std::string client_value(const Schema &schema, const lysc_node &leaf, const ClientNode &node) {
    const std::string_view value = trimmed(node.value);
    const bool identity = type_of(leaf).basetype == LY_TYPE_IDENT;
    if (!identity || !node.value_module)
        return schema.check_value(leaf, value);
    const std::size_t colon = value.find(':');
    if (node.value_module->empty())
        throw YangError(fmt::format("the prefix '{}' stands for no module of the model", value.substr(0, colon)));
    return schema.check_value(leaf, *node.value_module + std::string(value.substr(colon)));
}

} // namespace ocamp
