// Reads client documents with a libyang context that knows no model, so that every node comes as it was sent.
#include "node/client_document.h"

#include "node/schema.h"

#include <algorithm>
#include <new>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace ocamp {

namespace {

// Wrapped around XML whose elements have no namespace, which libyang does not read. They come out in this one.
constexpr std::string_view kNoNamespace = "urn:oc-amplifier:none";
constexpr std::string_view kWrapperName = "document";
// How libyang begins to complain of an element without namespace.
constexpr std::string_view kNamespaceComplaint = "Missing XML namespace";
constexpr std::string_view kNetconfModule = "ietf-netconf";
// Deeper documents are refused before they are read: the reader descends level by level.
constexpr std::size_t kDeepest = 200;

std::string_view without_byte_order_mark(std::string_view document) {
    constexpr std::string_view mark = "\xEF\xBB\xBF";
    return document.substr(document.starts_with(mark) ? mark.size() : 0);
}

// Text between the XML declaration, which may stand at the very beginning only, and the end.
std::string_view without_declaration(std::string_view xml) {
    xml.remove_prefix(std::min(xml.find_first_not_of(kBlanks), xml.size()));
    const std::size_t end = xml.starts_with("<?xml") ? xml.find("?>") : std::string_view::npos;
    return end == std::string_view::npos ? xml : xml.substr(end + 2);
}

// An upper bound of the nesting: a closing element counts down, and so does a JSON bracket; texts may make it larger.
void check_depth(std::string_view document, DocumentFormat format) {
    std::size_t depth = 0, deepest = 0;
    for (std::size_t i = 0; i < document.size(); ++i) {
        const char next = i + 1 < document.size() ? document[i + 1] : '\0';
        const bool opens = format == DocumentFormat::xml
                               ? document[i] == '<' && next != '/' && next != '!' && next != '?'
                               : document[i] == '{' || document[i] == '[';
        const bool closes = format == DocumentFormat::xml
                                ? (document[i] == '<' && next == '/') || (document[i] == '/' && next == '>')
                                : document[i] == '}' || document[i] == ']';
        if (opens)
            deepest = std::max(deepest, ++depth);
        else if (closes && depth > 0)
            --depth;
    }
    if (deepest > kDeepest)
        throw DocumentError(fmt::format("nested {} levels deep, expected at most {}", deepest, kDeepest));
}

std::string module_of(const lyd_node_opaq &node, const ly_opaq_name &name) {
    const char *module = node.format == LY_VALUE_XML ? name.module_ns : name.module_name;
    return module == nullptr || module == kNoNamespace ? "" : module;
}

bool is_netconf(std::string_view module) {
    return module == kNetconfNamespace || module == kNetconfModule;
}

void add_attributes(ClientNode &to, const lyd_node_opaq &from) {
    for (const lyd_attr *attribute = from.attr; attribute != nullptr; attribute = attribute->next) {
        const char *module = from.format == LY_VALUE_XML ? attribute->name.module_ns : attribute->name.module_name;
        if (module != nullptr && is_netconf(module) && std::string_view(attribute->name.name) == "operation") {
            if (to.operation)
                throw DocumentError(fmt::format("'{}' carries two operations, expected one at most", to.name));
            to.operation = attribute->value;
        } else {
            to.attributes.push_back(fmt::format("{}={}", attribute->name.name, attribute->value));
        }
    }
}

// libyang hands the annotations of a JSON leaf ("@leaf") over as a second node of the leaf's name, whose children are
// the annotations.
bool is_annotation(const ClientNode &node) {
    return !node.children.empty() &&
           std::all_of(node.children.begin(), node.children.end(), [](const ClientNode &child) {
               return child.module == kNetconfModule && child.name == "operation";
           });
}

void move_annotations_to_leaves(std::vector<ClientNode> &siblings) {
    for (ClientNode &node : siblings) {
        if (!is_annotation(node))
            continue;
        if (node.children.size() > 1)
            throw DocumentError(fmt::format("'{}' carries two operations, expected one at most", node.name));
        const std::string operation = node.children.front().value;
        const auto leaf = std::find_if(siblings.begin(), siblings.end(), [&](const ClientNode &other) {
            return other.name == node.name && &other != &node && !is_annotation(other);
        });
        if (leaf != siblings.end()) {
            leaf->operation = operation;
            node.name.clear();
        } else {
            node.operation = operation;
            node.children.clear();
        }
    }
    std::erase_if(siblings, [](const ClientNode &node) { return node.name.empty(); });
}

std::vector<ClientNode> read_siblings(const lyd_node *first, const std::string &inherited_module) {
    std::vector<ClientNode> nodes;
    for (const lyd_node *at = first; at != nullptr; at = at->next) {
        const auto &opaque = reinterpret_cast<const lyd_node_opaq &>(*at);
        ClientNode node{.name = opaque.name.name, .module = module_of(opaque, opaque.name)};
        if (node.module.empty() && opaque.format == LY_VALUE_JSON)
            node.module = inherited_module;
        node.value = opaque.value != nullptr ? opaque.value : "";
        add_attributes(node, opaque);
        node.children = read_siblings(opaque.child, node.module);
        nodes.push_back(std::move(node));
    }
    if (first != nullptr && reinterpret_cast<const lyd_node_opaq *>(first)->format == LY_VALUE_JSON)
        move_annotations_to_leaves(nodes);
    return nodes;
}

// libyang takes some documents that end too early.
void check_json(const std::string &text) {
    try {
        [[maybe_unused]] const nlohmann::json document = nlohmann::json::parse(text);
    } catch (const nlohmann::json::parse_error &error) {
        const std::string_view message = error.what();
        // The library's own number of the error stands in brackets before the text.
        throw DocumentError(fmt::format("not well-formed JSON: {}", message.substr(message.find("] ") + 2)));
    }
}

YangTree parse(const Schema &no_models, const std::string &text, LYD_FORMAT format) {
    lyd_node *first = nullptr;
    const LY_ERR result =
        lyd_parse_data_mem(no_models.context(), text.c_str(), format, LYD_PARSE_ONLY | LYD_PARSE_OPAQ, 0, &first);
    YangTree tree(first);
    if (result == LY_EMEM)
        throw std::bad_alloc();
    if (result != LY_SUCCESS)
        throw DocumentError(
            fmt::format("not well-formed {}: {}", format == LYD_XML ? "XML" : "JSON", no_models.complaint()));
    return tree;
}

} // namespace

std::string_view trimmed(std::string_view text) noexcept {
    text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
    return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

DocumentFormat format_of(std::string_view document) {
    document = without_byte_order_mark(document);
    const std::size_t first = document.find_first_not_of(kBlanks);
    if (first != std::string_view::npos && document[first] == '<')
        return DocumentFormat::xml;
    if (first != std::string_view::npos && document[first] == '{')
        return DocumentFormat::json;
    throw DocumentError("neither XML nor JSON, expected a document that begins with '<' or '{'");
}

std::vector<ClientNode> read_document(std::string_view document, DocumentFormat format) {
    document = without_byte_order_mark(document);
    if (document.find('\0') != std::string_view::npos)
        throw DocumentError("holds a zero byte, expected text");
    check_depth(document, format);
    const Schema no_models({});
    const std::string text(document);
    if (format == DocumentFormat::json) {
        check_json(text);
        return read_siblings(parse(no_models, text, LYD_JSON).get(), "");
    }
    try {
        return read_siblings(parse(no_models, text, LYD_XML).get(), "");
    } catch (const DocumentError &error) {
        if (std::string_view(error.what()).find(kNamespaceComplaint) == std::string_view::npos)
            throw;
    }
    const std::string wrapped =
        fmt::format("<{0} xmlns=\"{1}\">{2}</{0}>", kWrapperName, kNoNamespace, without_declaration(text));
    std::vector<ClientNode> nodes = read_siblings(parse(no_models, wrapped, LYD_XML).get(), "");
    if (nodes.size() != 1 || nodes.front().name != kWrapperName)
        throw DocumentError("not well-formed XML: an element is closed that was not opened");
    return std::vector<ClientNode>(std::move(nodes.front().children));
}

} // namespace ocamp
