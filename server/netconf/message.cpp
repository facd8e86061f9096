// Reads messages with expat, in time that grows with the text alone. Knows no operation.
#include "server/netconf/message.h"

#include "seam/text.h"
#include "yang/client_document.h"

#include <algorithm>
#include <exception>
#include <new>
#include <utility>

#include <expat.h>
#include <fmt/format.h>

namespace ocamp::netconf {

namespace {

// Between namespace and name, where no name has it.
constexpr char separator = '\n';

class MessageParser {
  public:
    MessageParser(std::string_view message, const MessageLimits &limits)
        : message_(message), limits_(limits), parser_(XML_ParserCreateNS("UTF-8", separator)) {
        if (parser_ == nullptr)
            throw std::bad_alloc();
        XML_SetUserData(parser_.get(), this);
        XML_SetElementHandler(
            parser_.get(),
            [](void *parser, const char *name, const char **attributes) {
                guarded(parser, [&](MessageParser &self) { self.start(name, attributes); });
            },
            [](void *parser, const char *) { guarded(parser, [](MessageParser &self) { self.end(); }); });
        XML_SetCharacterDataHandler(parser_.get(), [](void *parser, const char *text, int length) {
            guarded(parser, [&](MessageParser &self) { self.add_text({text, static_cast<std::size_t>(length)}); });
        });
        XML_SetStartNamespaceDeclHandler(parser_.get(), [](void *parser, const char *prefix, const char *uri) {
            guarded(parser, [&](MessageParser &self) { self.declare(prefix, uri); });
        });
        XML_SetStartDoctypeDeclHandler(parser_.get(), [](void *parser, const char *, const char *, const char *, int) {
            guarded(parser, [](MessageParser &) { throw MessageError("a document type, expected none"); });
        });
    }

    Element read() {
        if (XML_Parse(parser_.get(), message_.data(), static_cast<int>(message_.size()), 1) != XML_STATUS_OK) {
            if (failure_ != nullptr)
                std::rethrow_exception(failure_);
            throw MessageError(fmt::format("not well-formed XML: line {}: {}", XML_GetCurrentLineNumber(parser_.get()),
                                           XML_ErrorString(XML_GetErrorCode(parser_.get()))));
        }
        return std::move(root_);
    }

  private:
    struct FreeParser {
        void operator()(XML_Parser parser) const noexcept { XML_ParserFree(parser); }
    };

    // What is thrown does not pass through expat: it stops the reading and is thrown again outside.
    template <class Work>
    static void guarded(void *parser, Work work) noexcept {
        MessageParser &self = *static_cast<MessageParser *>(parser);
        if (self.failure_ != nullptr)
            return;
        try {
            work(self);
        } catch (...) {
            self.failure_ = std::current_exception();
            XML_StopParser(self.parser_.get(), XML_FALSE);
        }
    }

    static std::pair<std::string, std::string> split(std::string_view whole) {
        const std::size_t at = whole.find(separator);
        if (at == std::string_view::npos)
            return {{}, std::string(whole)};
        return {std::string(whole.substr(0, at)), std::string(whole.substr(at + 1))};
    }

    void declare(const char *prefix, const char *uri) {
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
        auto [ns, name] = split(whole_name);
        Element element{.ns = std::move(ns), .name = std::move(name)};
        for (; *attributes != nullptr; attributes += 2) {
            auto [attribute_ns, attribute] = split(attributes[0]);
            element.attributes.push_back({std::move(attribute_ns), std::move(attribute), attributes[1]});
        }
        element.outside = open_.empty() ? std::make_shared<const Namespaces>() : open_.back().inside;
        element.inside = element.outside;
        if (!declared_.empty()) {
            element.declared = std::exchange(declared_, {});
            Namespaces inside = element.declared;
            inside.insert(element.outside->begin(), element.outside->end());
            element.inside = std::make_shared<const Namespaces>(std::move(inside));
        }
        element.source = message_.substr(static_cast<std::size_t>(XML_GetCurrentByteIndex(parser_.get())));
        open_.push_back(std::move(element));
    }

    void end() {
        if (depth_-- > Element::kept_levels)
            return;
        Element element = std::move(open_.back());
        open_.pop_back();
        const auto behind =
            static_cast<std::size_t>(XML_GetCurrentByteIndex(parser_.get()) + XML_GetCurrentByteCount(parser_.get()));
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
    std::unique_ptr<XML_ParserStruct, FreeParser> parser_;
    Namespaces declared_; // by the element that is about to begin
    std::vector<Element> open_;
    std::size_t depth_ = 0;
    std::size_t elements_ = 0;
    Element root_;
    std::exception_ptr failure_;
};

} // namespace

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
    for (const auto &[prefix, uri] : *outside) {
        if (!declared.contains(prefix))
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
