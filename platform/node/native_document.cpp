// How native documents are read. Knows neither OpenConfig nor where native data are kept.
#include "node/native_document.h"

#include "yang/models.h"

#include <utility>
#include <vector>

#include <fmt/format.h>

namespace ocamp {

namespace {

// Takes away the roots that are only there by default: each document would bring them anew.
void drop_implicit_roots(YangTree &tree) {
    for (lyd_node *root = tree.first(), *next = nullptr; root != nullptr; root = next) {
        next = root->next;
        if (is_implicit(*root))
            tree.remove(root);
    }
}

// Where the markup ends that begins at `at`: a tag, a comment, a processing instruction or a CDATA section.
std::size_t markup_end(std::string_view xml, std::size_t at) {
    using Brackets = std::pair<std::string_view, std::string_view>;
    for (const auto &[begin, end] : {Brackets("<!--", "-->"), Brackets("<![CDATA[", "]]>"), Brackets("<?", "?>")}) {
        if (xml.substr(at).starts_with(begin))
            return xml.find(end, at + begin.size()) + end.size();
    }
    at = xml.find_first_of("'\">", at);
    while (xml[at] != '>')
        at = xml.find_first_of("'\">", xml.find(xml[at], at + 1) + 1); // behind the value that the quote begins
    return at + 1;
}

// What is inside the one element of a well-formed text. What looks like a tag in a comment is none.
std::string_view content_of(std::string_view xml) {
    std::size_t content = 0, depth = 0;
    for (std::size_t begin = xml.find('<');;) {
        const std::size_t end = markup_end(xml, begin);
        const std::string_view markup = xml.substr(begin, end - begin);
        if (markup.starts_with("</")) {
            if (--depth == 0)
                return xml.substr(content, begin - content);
        } else if (markup.ends_with("/>")) {
            if (depth == 0)
                return {};
        } else if (!markup.starts_with("<!") && !markup.starts_with("<?") && depth++ == 0) {
            content = end;
        }
        begin = xml.find('<', end);
    }
}

// No node has as many. Of entries with the same keys libyang compares each with all before it.
constexpr std::size_t most_siblings = 10'000;

void check_width(const std::vector<ClientNode> &siblings) {
    if (siblings.size() > most_siblings)
        throw DocumentError(fmt::format("{} nodes beside one another, the first of them '{}', expected at most {}",
                                        siblings.size(), siblings.front().name, most_siblings));
    for (const ClientNode &node : siblings)
        check_width(node.children);
}

} // namespace

YangTree parse_native_document(std::string_view text, DocumentFormat format) {
    text = without_byte_order_mark(text);
    // libyang reads up to the end of the first document and says nothing of what follows.
    const std::vector<ClientNode> nodes = read_document(text, format, native_schema());
    check_width(nodes);
    if (format == DocumentFormat::xml && nodes.size() == 1 && nodes.front().name == "data" &&
        nodes.front().module == netconf_namespace)
        text = content_of(text);
    YangTree tree = native_schema().parse(text, format == DocumentFormat::xml ? LYD_XML : LYD_JSON);
    drop_implicit_roots(tree);
    return tree;
}

} // namespace ocamp
