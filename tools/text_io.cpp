// Files in and answers out. Knows nothing of requests.
#include "text_io.h"

#include "log/text.h"
#include "node/client_document.h"
#include "options.h"
#include "sysdb/bag_json.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
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

std::string read_input(const std::string &file) {
    std::ostringstream text;
    if (file == "-") {
        text << std::cin.rdbuf();
        return text.str();
    }
    errno = 0;
    std::ifstream stream(file, std::ios::binary);
    // A folder opens and fails at the first read.
    if (!stream || stream.peek() == std::ifstream::traits_type::eof()) {
        if (stream.eof() && !stream.bad() && errno == 0)
            return {};
        throw UsageError(fmt::format("{}: {}, expected a file that can be read", file, std::strerror(errno)));
    }
    text << stream.rdbuf();
    return text.str();
}

void rethrow_with_name(const std::string &file) {
    const std::string name = file == "-" ? "standard input" : file;
    try {
        throw;
    } catch (const FilterError &error) {
        throw FilterError(fmt::format("{}: {}", name, error.what()));
    } catch (const DocumentError &error) {
        throw DocumentError(fmt::format("{}: {}", name, error.what()));
    } catch (const BagJsonError &error) {
        throw BagJsonError(fmt::format("{}: {}", name, error.what()));
    }
}

std::string answer_text(const lyd_node *answer, LYD_FORMAT format) {
    const std::string printed = print_tree(answer, format);
    const std::string text = format == LYD_JSON ? escaped_json(printed) : escaped_xml(printed);
    if (format == LYD_JSON)
        return text.empty() ? "{}\n" : text + (text.ends_with('\n') ? "" : "\n");
    const std::string open = fmt::format("<data xmlns=\"{}\"", kNetconfNamespace);
    return text.empty() ? open + "/>\n" : open + ">\n" + indented(text) + "</data>\n";
}

} // namespace ocamp
