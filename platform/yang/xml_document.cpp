// Reads XML with expat, in time that grows with the text alone. Knows no model but by the names of its modules.
#include "yang/xml_document.h"

#include "seam/text.h"
#include "yang/expat_parser.h"

#include <algorithm>
#include <map>
#include <string>

#include <fmt/format.h>

namespace ocamp {

namespace {

// The element around all others: XML has one, clients send several.
constexpr std::string_view wrapper_begin = "<document>", wrapper_end = "</document>";
// As much as is handed over at once, in bytes.
constexpr std::size_t chunk_size = 1U << 20U;

// The XML declaration at the beginning of the text; empty when there is none.
std::string_view declaration_of(std::string_view xml) {
    constexpr std::string_view begin = "<?xml", end = "?>";
    if (!xml.starts_with(begin) || blanks.find(xml.substr(begin.size(), 1)) == std::string_view::npos)
        return {};
    const std::size_t at = xml.find(end);
    return at == std::string_view::npos ? std::string_view() : xml.substr(0, at + end.size());
}

bool is_version(std::string_view text) {
    constexpr std::string_view begin = "1.";
    return text.starts_with(begin) && text.size() > begin.size() &&
           text.find_first_not_of("0123456789", begin.size()) == std::string_view::npos;
}

// As names of encodings are compared.
bool is_utf_8(std::string_view encoding) {
    constexpr std::string_view name = "utf-8";
    return std::equal(encoding.begin(), encoding.end(), name.begin(), name.end(), [](char one, char other) {
        return one == other || (one >= 'A' && one <= 'Z' && one - 'A' + 'a' == other);
    });
}

class XmlReader {
  public:
    explicit XmlReader(const Schema &models) : models_(models) {
        expat().set_user_data(parser_.get(), this);
        expat().set_element_handler(
            parser_.get(),
            [](void *reader, const char *name, const char **attributes) {
                guarded(reader, [&](XmlReader &self) { self.start(name, attributes); });
            },
            [](void *reader, const char *) { guarded(reader, [](XmlReader &self) { self.end(); }); });
        expat().set_character_data_handler(parser_.get(), [](void *reader, const char *text, int length) {
            guarded(reader,
                    [&](XmlReader &self) { self.open_.back().value.append(text, static_cast<std::size_t>(length)); });
        });
        expat().set_xml_decl_handler(parser_.get(), [](void *reader, const char *version, const char *encoding, int) {
            guarded(reader, [&](XmlReader &) { check_declaration(version, encoding); });
        });
        expat().set_namespace_decl_handler(
            parser_.get(),
            [](void *reader, const char *prefix, const char *uri) {
                guarded(reader, [&](XmlReader &self) {
                    self.namespaces_[prefix != nullptr ? prefix : ""].emplace_back(uri != nullptr ? uri : "");
                });
            },
            [](void *reader, const char *prefix) {
                guarded(reader, [&](XmlReader &self) { self.namespaces_[prefix != nullptr ? prefix : ""].pop_back(); });
            });
    }

    std::vector<ClientNode> read(std::string_view document) {
        document = without_leading_blanks(document);
        const std::string_view declaration = declaration_of(document);
        document.remove_prefix(declaration.size());
        feed(declaration);
        feed(wrapper_begin);
        for (std::string_view rest = document; !rest.empty(); rest.remove_prefix(std::min(chunk_size, rest.size())))
            feed(rest.substr(0, chunk_size));
        feed(wrapper_end);
        parser_.parse<DocumentError>({}, true);
        return std::move(top_.children);
    }

  private:
    template <class Work>
    static void guarded(void *reader, Work work) noexcept {
        XmlReader &self = *static_cast<XmlReader *>(reader);
        self.parser_.guard([&] { work(self); });
    }

    // NULL for what is not declared. The text is read as UTF-8 whatever is declared.
    static void check_declaration(const char *version, const char *encoding) {
        if (version != nullptr && !is_version(version))
            throw DocumentError(fmt::format("XML version '{}', expected '1.0'", version));
        if (encoding != nullptr && !is_utf_8(encoding))
            throw DocumentError(fmt::format("encoding '{}', expected 'UTF-8'", encoding));
    }

    void feed(std::string_view text) { parser_.parse<DocumentError>(text, false); }

    void start(const char *whole_name, const char **attributes) {
        const auto [ns, name] = ExpatParser::split(whole_name);
        // The wrapper is no level of the client's.
        if (open_.size() > deepest_document)
            throw DocumentError(
                fmt::format("nested more than {0} levels deep, expected at most {0}", deepest_document));
        ClientNode &node = open_.emplace_back(ClientNode{.name = std::string(name), .module = std::string(ns)});
        for (; *attributes != nullptr; attributes += 2) {
            const auto [attribute_ns, attribute] = ExpatParser::split(attributes[0]);
            if (attribute_ns == netconf_namespace && attribute == "operation")
                node.operation = attributes[1];
            else
                node.attributes.push_back(fmt::format("{}={}", attribute, attributes[1]));
        }
    }

    void end() {
        ClientNode node = std::move(open_.back());
        open_.pop_back();
        if (!node.children.empty() && trimmed(node.value).empty())
            node.value.clear();
        node.value_module = value_module(node.value);
        if (open_.empty())
            top_ = std::move(node);
        else
            open_.back().children.push_back(std::move(node));
    }

    // Name of the module that the prefix of a value stands for where the value stands.
    std::optional<std::string> value_module(std::string_view value) const {
        value = trimmed(value);
        const std::size_t colon = value.find(':');
        if (colon == std::string_view::npos)
            return std::nullopt;
        const auto uris = namespaces_.find(value.substr(0, colon));
        const lys_module *module =
            uris == namespaces_.end() || uris->second.empty() ? nullptr : models_.module(uris->second.back());
        return module != nullptr && module->ns == uris->second.back() ? module->name : "";
    }

    const Schema &models_;
    ExpatParser parser_;
    std::map<std::string, std::vector<std::string>, std::less<>> namespaces_; // those in force, by prefix
    std::vector<ClientNode> open_;
    ClientNode top_;
};

} // namespace

std::vector<ClientNode> read_xml(std::string_view document, const Schema &models) {
    return XmlReader(models).read(document);
}

} // namespace ocamp
