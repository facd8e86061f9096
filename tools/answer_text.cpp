// How answers are printed. Knows nothing of requests.
#include "answer_text.h"

#include "seam/text.h"
#include "yang/client_document.h"

#include <sstream>

#include <fmt/format.h>

namespace ocamp {

namespace {

std::string indented(const std::string &text) {
    std::string result;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        result.append("  ").append(line).append("\n");
    return result;
}

} // namespace

std::string answer_text(const YangTree &answer, LYD_FORMAT format) {
    const std::string printed = answer.print(format);
    const std::string text = format == LYD_JSON ? escaped_json(printed) : escaped_xml(printed);
    if (format == LYD_JSON)
        return text.empty() ? "{}\n" : text + (text.ends_with('\n') ? "" : "\n");
    const std::string open = fmt::format("<data xmlns=\"{}\"", netconf_namespace);
    return text.empty() ? open + "/>\n" : open + ">\n" + indented(text) + "</data>\n";
}

} // namespace ocamp
