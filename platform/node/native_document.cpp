// How native documents are read. Knows neither OpenConfig nor where native data are kept.
#include "node/native_document.h"

#include "yang/models.h"

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

// Where the first element's start tag ends, behind its '>'.
std::size_t end_of_start_tag(std::string_view xml) {
    std::size_t at = 0;
    do {
        at = xml.find('<', at) + 1;
    } while (xml[at] == '?' || xml[at] == '!');
    char quote = '\0';
    for (; quote != '\0' || xml[at] != '>'; ++at) {
        if (quote != '\0')
            quote = xml[at] == quote ? '\0' : quote;
        else if (xml[at] == '"' || xml[at] == '\'')
            quote = xml[at];
    }
    return at + 1;
}

// What is inside the one element of a well-formed text.
std::string_view content_of(std::string_view xml) {
    const std::size_t begin = end_of_start_tag(xml);
    // An element without content has no end tag.
    return xml[begin - 2] == '/' ? std::string_view() : xml.substr(begin, xml.rfind("</") - begin);
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
