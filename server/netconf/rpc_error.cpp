// How refusals are written. Knows no operation.
#include "server/netconf/rpc_error.h"

#include "server/netconf/models.h"
#include "yang/client_document.h"

#include <array>
#include <cctype>

#include <fmt/format.h>

namespace ocamp::netconf {

namespace {

// In the order of the types.
constexpr std::array<std::string_view, 4> type_words{"transport", "rpc", "protocol", "application"};

std::string_view word_of(ErrorType type) noexcept {
    return type_words[static_cast<std::size_t>(type)];
}

RpcError of_element(ErrorTag tag, ErrorType type, std::string_view name, std::string message) {
    return {.tag = tag, .type = type, .message = std::move(message), .info = {{"bad-element", std::string(name)}}};
}

RpcError of_attribute(ErrorTag tag, ErrorType type, std::string_view element, std::string_view attribute,
                      std::string message) {
    return {.tag = tag,
            .type = type,
            .message = std::move(message),
            .info = {{"bad-attribute", std::string(attribute)}, {"bad-element", std::string(element)}}};
}

} // namespace

RpcError missing_element(ErrorType type, std::string_view name) {
    return of_element(ErrorTag::missing_element, type, name, fmt::format("the element '{}' is missing", name));
}

RpcError unknown_element(ErrorType type, std::string_view name) {
    return of_element(ErrorTag::unknown_element, type, name,
                      fmt::format("the element '{}' is not expected here", name));
}

RpcError unknown_namespace(ErrorType type, std::string_view name, std::string_view ns) {
    RpcError error = of_element(ErrorTag::unknown_namespace, type, name,
                                fmt::format("the namespace '{}' of the element '{}' is not known here", ns, name));
    error.info.emplace_back("bad-namespace", ns);
    return error;
}

RpcError bad_element(ErrorType type, std::string_view name, const std::string &reason) {
    return of_element(ErrorTag::bad_element, type, name, reason);
}

RpcError missing_attribute(ErrorType type, std::string_view element, std::string_view attribute) {
    return of_attribute(ErrorTag::missing_attribute, type, element, attribute,
                        fmt::format("the attribute '{}' is missing", attribute));
}

RpcError unknown_attribute(ErrorType type, std::string_view element, std::string_view attribute) {
    return of_attribute(ErrorTag::unknown_attribute, type, element, attribute,
                        fmt::format("the attribute '{}' is not expected here", attribute));
}

RpcError bad_attribute(ErrorType type, std::string_view element, std::string_view attribute,
                       const std::string &reason) {
    return of_attribute(ErrorTag::bad_attribute, type, element, attribute, reason);
}

std::string written(const RpcError &error) {
    std::string text = fmt::format("<rpc-error xmlns=\"{}\"><error-type>{}</error-type><error-tag>{}</error-tag>"
                                   "<error-severity>error</error-severity>",
                                   netconf_namespace, word_of(error.type), ocamp::word_of(error.tag));
    if (!error.app_tag.empty())
        text += fmt::format("<error-app-tag>{}</error-app-tag>", xml_text(error.app_tag));
    if (const PrefixedPath path = prefixed(error.path); !path.text.empty()) {
        text += "<error-path";
        for (const auto &[prefix, uri] : path.namespaces)
            text += fmt::format(" xmlns:{}=\"{}\"", prefix, xml_text(uri));
        text += fmt::format(">{}</error-path>", xml_text(path.text));
    }
    if (!error.message.empty())
        text += fmt::format("<error-message xml:lang=\"en\">{}</error-message>", xml_text(error.message));
    if (!error.info.empty()) {
        text += "<error-info>";
        for (const auto &[name, value] : error.info)
            text += fmt::format("<{0}>{1}</{0}>", name, xml_text(value));
        text += "</error-info>";
    }
    return text + "</rpc-error>";
}

namespace {

bool is_name_byte(char byte) noexcept {
    return std::isalnum(static_cast<unsigned char>(byte)) != 0 || byte == '-' || byte == '_' || byte == '.';
}

// Goes through a data path and puts prefixes before its names.
class PathPrefixer {
  public:
    explicit PathPrefixer(std::string_view path) : rest_(path) {}

    PrefixedPath prefix() {
        while (!rest_.empty()) {
            const char byte = rest_.front();
            if (byte == '/' || byte == '[') {
                take(1);
                if (!name(byte == '/'))
                    return {};
            } else if (byte == '\'' || byte == '"') {
                const std::size_t end = rest_.find(byte, 1);
                take(end == std::string_view::npos ? rest_.size() : end + 1);
            } else {
                take(1);
            }
        }
        return std::move(result_);
    }

  private:
    void take(std::size_t count) {
        result_.text += rest_.substr(0, count);
        rest_.remove_prefix(count);
    }

    // False for a name that belongs to no module. Names in predicates are of the step's module.
    bool name(bool is_step) {
        std::size_t end = 0;
        while (end < rest_.size() && is_name_byte(rest_[end]))
            ++end;
        std::string_view word = rest_.substr(0, end);
        rest_.remove_prefix(end);
        if (end == 0 || word == ".") {
            result_.text += word;
            return true;
        }
        const lys_module *module = module_;
        if (rest_.starts_with(':')) {
            module = module_named(word);
            rest_.remove_prefix(1);
            end = 0;
            while (end < rest_.size() && is_name_byte(rest_[end]))
                ++end;
            word = rest_.substr(0, end);
            rest_.remove_prefix(end);
        } else if (module == nullptr) {
            module = module_of_root(word);
        }
        if (module == nullptr)
            return false;
        if (is_step)
            module_ = module;
        result_.namespaces.emplace(module->prefix, module->ns);
        result_.text += fmt::format("{}:{}", module->prefix, word);
        return true;
    }

    std::string_view rest_;
    const lys_module *module_ = nullptr;
    PrefixedPath result_;
};

} // namespace

PrefixedPath prefixed(std::string_view data_path) {
    return data_path == "/" ? PrefixedPath{} : PathPrefixer(data_path).prefix();
}

} // namespace ocamp::netconf
