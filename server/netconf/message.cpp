// Reads messages with expat, in time that grows with the text alone. Knows no operation.
#include "server/netconf/message.h"

#include "seam/text.h"
#include "yang/client_document.h"
#include "yang/expat_parser.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>
#include <strings.h>

namespace ocamp::netconf {

namespace {

class MessageParser {
  public:
    MessageParser(std::string_view message, const MessageLimits &limits) : message_(message), limits_(limits) {
        expat().set_user_data(parser_.get(), this);
        expat().set_element_handler(
            parser_.get(),
            [](void *parser, const char *name, const char **attributes) {
                guarded(parser, [&](MessageParser &self) { self.start(name, attributes); });
            },
            [](void *parser, const char *) { guarded(parser, [](MessageParser &self) { self.end(); }); });
        expat().set_character_data_handler(parser_.get(), [](void *parser, const char *text, int length) {
            guarded(parser, [&](MessageParser &self) { self.add_text({text, static_cast<std::size_t>(length)}); });
        });
        expat().set_namespace_decl_handler(
            parser_.get(),
            [](void *parser, const char *prefix, const char *uri) {
                guarded(parser, [&](MessageParser &self) { self.declare(prefix, uri); });
            },
            [](void *parser, const char *) { guarded(parser, [](MessageParser &self) { --self.in_force_; }); });
        expat().set_xml_decl_handler(parser_.get(), [](void *parser, const char *, const char *encoding, int) {
            guarded(parser, [&](MessageParser &) { check_encoding(encoding); });
        });
        expat().set_start_doctype_decl_handler(
            parser_.get(), [](void *parser, const char *, const char *, const char *, int) {
                guarded(parser, [](MessageParser &) { throw MessageError("a document type, expected none"); });
            });
    }

    Element read() {
        parser_.parse<MessageError>(message_, true);
        return std::move(root_);
    }

  private:
    template <class Work>
    static void guarded(void *parser, Work work) noexcept {
        MessageParser &self = *static_cast<MessageParser *>(parser);
        self.parser_.guard([&] { work(self); });
    }

    // The bytes are UTF-8; a declaration of anything else is wrong about them. NULL: none.
    static void check_encoding(const char *encoding) {
        if (encoding != nullptr && ::strcasecmp(encoding, "UTF-8") != 0)
            throw MessageError(
                fmt::format("the encoding '{}', expected UTF-8", escaped(shortened(encoding, longest_shown_value))));
    }

    // Who reads what the message holds looks through all that are in force, at each name.
    void declare(const char *prefix, const char *uri) {
        if (++in_force_ > limits_.namespaces)
            throw MessageTooBig(fmt::format("more than {0} namespaces declared around one place, expected at most {0}",
                                            limits_.namespaces));
        if (depth_ < Element::kept_levels)
            declared_[prefix != nullptr ? prefix : ""] = uri != nullptr ? uri : "";
    }

    void start(const char *whole_name, const char **attributes) {
        if (++depth_ > limits_.depth)
            throw MessageTooBig(fmt::format("nested more than {0} levels deep, expected at most {0}", limits_.depth));
        if (++elements_ > limits_.elements)
            throw MessageTooBig(fmt::format("more than {0} elements, expected at most {0}", limits_.elements));
        if (depth_ > Element::kept_levels)
            return;
        const auto [ns, name] = ExpatParser::split(whole_name);
        Element element{.ns = std::string(ns), .name = std::string(name)};
        for (; *attributes != nullptr; attributes += 2) {
            const auto [attribute_ns, attribute] = ExpatParser::split(attributes[0]);
            element.attributes.push_back({std::string(attribute_ns), std::string(attribute), attributes[1]});
        }
        element.outside = open_.empty() ? std::make_shared<const Scope>() : open_.back().inside;
        element.inside = element.outside;
        if (!declared_.empty())
            element.inside = std::make_shared<const Scope>(
                Scope{.declared = std::exchange(declared_, {}), .outer = element.outside});
        element.source = message_.substr(static_cast<std::size_t>(expat().get_current_byte_index(parser_.get())));
        open_.push_back(std::move(element));
    }

    void end() {
        if (depth_-- > Element::kept_levels)
            return;
        Element element = std::move(open_.back());
        open_.pop_back();
        const auto behind = static_cast<std::size_t>(expat().get_current_byte_index(parser_.get()) +
                                                     expat().get_current_byte_count(parser_.get()));
        const auto begin = static_cast<std::size_t>(element.source.data() - message_.data());
        element.source = message_.substr(begin, behind - begin);
        if (open_.empty())
            root_ = std::move(element);
        else
            open_.back().children.push_back(std::move(element));
    }

    void add_text(std::string_view text) {
        if (depth_ <= Element::kept_levels)
            open_.back().text += text;
    }

    std::string_view message_;
    const MessageLimits &limits_;
    ExpatParser parser_;
    Namespaces declared_;      // by the element that is about to begin
    std::size_t in_force_ = 0; // namespaces
    std::vector<Element> open_;
    std::size_t depth_ = 0;
    std::size_t elements_ = 0;
    Element root_;
};

} // namespace

const std::string *Scope::find(std::string_view prefix) const noexcept {
    for (const Scope *scope = this; scope != nullptr; scope = scope->outer.get()) {
        if (const auto found = scope->declared.find(prefix); found != scope->declared.end())
            return &found->second;
    }
    return nullptr;
}

Namespaces Scope::all() const {
    Namespaces all;
    for (const Scope *scope = this; scope != nullptr; scope = scope->outer.get())
        all.insert(scope->declared.begin(), scope->declared.end()); // inner ones hide outer ones
    return all;
}

const Element *Element::child(std::string_view wanted) const noexcept {
    const auto found = std::find_if(children.begin(), children.end(),
                                    [&](const Element &each) { return each.name == wanted && each.ns == ns; });
    return found == children.end() ? nullptr : &*found;
}

const Attribute *Element::attribute(std::string_view wanted) const noexcept {
    const auto found = std::find_if(attributes.begin(), attributes.end(),
                                    [&](const Attribute &each) { return each.ns.empty() && each.name == wanted; });
    return found == attributes.end() ? nullptr : &*found;
}

std::string_view Element::written_name() const noexcept {
    const std::string_view behind = source.substr(1);
    return behind.substr(0, behind.find_first_of(" \t\r\n/>"));
}

std::string_view Element::written_attributes() const noexcept {
    std::string_view rest = source.substr(1 + written_name().size());
    std::size_t at = 0;
    while (at < rest.size() && rest[at] != '>') {
        // Within quotes, the end of the tag may stand as it is.
        if (rest[at] == '"' || rest[at] == '\'')
            at = rest.find(rest[at], at + 1);
        ++at;
    }
    rest = rest.substr(0, at);
    if (rest.ends_with('/'))
        rest.remove_suffix(1);
    return rest;
}

std::string Element::document() const {
    const std::string_view name_there = written_name();
    std::string whole = fmt::format("<{}", name_there);
    for (const auto &[prefix, uri] : outside->all()) {
        if (inside == outside || !inside->declared.contains(prefix))
            whole += fmt::format(" {}=\"{}\"", prefix.empty() ? "xmlns" : "xmlns:" + prefix, xml_text(uri));
    }
    whole += source.substr(1 + name_there.size());
    return whole;
}

Element read_message(std::string_view message, const MessageLimits &limits) {
    message.remove_prefix(std::min(message.find_first_not_of(blanks), message.size()));
    if (!is_utf8(message))
        throw MessageError("bytes that are no UTF-8");
    return MessageParser(message, limits).read();
}

std::string xml_text(std::string_view text) {
    constexpr std::string_view replacement = "\xef\xbf\xbd";
    const bool has_characters = is_utf8(text);
    std::string escaped;
    escaped.reserve(text.size());
    for (const char byte : text) {
        if (byte == '&')
            escaped += "&amp;";
        else if (byte == '<')
            escaped += "&lt;";
        else if (byte == '>')
            escaped += "&gt;";
        else if (byte == '"')
            escaped += "&quot;";
        else if (byte == '\r')
            escaped += "&#xD;";
        else if (byte == '\n' || byte == '\t')
            escaped += byte;
        else if (static_cast<unsigned char>(byte) < ' ' || (!has_characters && static_cast<unsigned char>(byte) > 0x7e))
            escaped += replacement;
        else
            escaped += byte;
    }
    return escaped;
}

} // namespace ocamp::netconf
