// How requests and hellos are read. Knows neither sessions nor what operations do.
#include "server/netconf/request.h"

#include "seam/text.h"
#include "server/netconf/models.h"
#include "yang/client_document.h"
#include "yang/error.h"
#include "yang/models.h"

#include <algorithm>
#include <set>

#include <fmt/format.h>

namespace ocamp::netconf {

namespace {

constexpr std::string_view rpc_name = "rpc", message_id = "message-id";

[[noreturn]] void refuse(RpcError error) {
    throw Refusal(std::move(error));
}

Element read_envelope(const std::string &message, const MessageLimits &limits) {
    try {
        Element root = read_message(message, limits);
        if (root.ns != netconf_namespace || root.name != rpc_name)
            throw MessageError(fmt::format("the element '{}', expected 'rpc' in {}", root.name, netconf_namespace));
        return root;
    } catch (const MessageTooBig &error) {
        refuse({.tag = ErrorTag::too_big, .type = ErrorType::rpc, .message = error.what()});
    } catch (const MessageError &error) {
        refuse({.tag = ErrorTag::malformed_message, .type = ErrorType::rpc, .message = error.what()});
    }
}

// Holds the parameters of one operation, or of a container among them, against the model.
class ParameterCheck {
  public:
    ParameterCheck(const lysc_node &parent, const Element &element, ErrorType type)
        : parent_(parent), element_(element), type_(type) {}

    void run() {
        if (!trimmed(element_.text).empty())
            refuse(bad_element(type_, element_.name, fmt::format("text in '{}', expected elements", element_.name)));
        for (const Element &child : element_.children)
            check(child);
        check_missing(parent_);
    }

  private:
    void check(const Element &child) {
        const lysc_node *node = find(child);
        if (node == nullptr)
            refuse(known_namespace(child) ? unknown_element(type_, child.name)
                                          : unknown_namespace(type_, child.name, child.ns));
        if (!given_.insert(node).second)
            refuse(bad_element(type_, child.name, fmt::format("the element '{}' is given twice", child.name)));
        check_choice(*node, child);
        check_attributes(*node, child);
        if (node->nodetype == LYS_CONTAINER)
            ParameterCheck(*node, child, type_).run();
        else if (is_leaf(*node))
            check_value(*node, child);
    }

    const lysc_node *find(const Element &child) const {
        const lysc_node *node = nullptr;
        while ((node = lys_getnext(node, &parent_, nullptr, 0)) != nullptr) {
            // Clients put the filter of a subscription into the namespace in which all other filters are.
            const bool fits = node->module->ns == child.ns ||
                              (node->nodetype == LYS_ANYXML && child.name == "filter" && child.ns == netconf_namespace);
            if (fits && node->name == child.name)
                return node;
        }
        return nullptr;
    }

    bool known_namespace(const Element &child) const {
        return child.ns == element_.ns || module_with_namespace(child.ns) != nullptr;
    }

    // Of a choice, one case may be there.
    void check_choice(const lysc_node &node, const Element &child) {
        const lysc_node *branch = node.parent;
        if (branch->nodetype != LYS_CASE)
            return;
        const auto [chosen, first] = chosen_.emplace(branch->parent, branch);
        if (!first && chosen->second != branch)
            refuse(bad_element(type_, child.name,
                               fmt::format("'{}' beside another choice, expected one of them", child.name)));
    }

    void check_attributes(const lysc_node &node, const Element &child) const {
        // Those of a filter or a document are read with it.
        if (node.nodetype == LYS_ANYXML)
            return;
        for (const Attribute &attribute : child.attributes) {
            if (attribute.ns.empty()) // those of other namespaces are none of ours
                refuse(unknown_attribute(type_, child.name, attribute.name));
        }
    }

    void check_value(const lysc_node &node, const Element &child) const {
        if (!child.children.empty())
            refuse(unknown_element(type_, child.children.front().name));
        const auto &leaf = reinterpret_cast<const lysc_node_leaf &>(node);
        std::string value(trimmed(child.text));
        if (leaf.type->basetype == LY_TYPE_IDENT)
            value = with_module(value, child);
        try {
            Schema::check_value(node, value);
        } catch (const YangError &error) {
            refuse({.tag = ErrorTag::invalid_value,
                    .type = type_,
                    .message = fmt::format("'{}': {}", child.name, error.what()),
                    .info = {{"bad-element", child.name}}});
        }
    }

    // Prefixes are the client's; the model wants names of modules.
    static std::string with_module(const std::string &value, const Element &child) {
        const std::size_t colon = value.find(':');
        const std::string *uri = child.inside->find(colon == std::string::npos ? "" : value.substr(0, colon));
        const lys_module *module = uri != nullptr ? module_with_namespace(*uri) : nullptr;
        const std::string word = colon == std::string::npos ? value : value.substr(colon + 1);
        return module != nullptr ? fmt::format("{}:{}", module->name, word) : value;
    }

    void check_missing(const lysc_node &parent) const {
        const lysc_node *node = nullptr;
        while ((node = lys_getnext(node, &parent, nullptr, LYS_GETNEXT_WITHCHOICE)) != nullptr) {
            // A container with something mandatory in it is itself.
            const bool mandatory = (node->flags & LYS_MAND_TRUE) != 0;
            const bool given = node->nodetype == LYS_CHOICE ? chosen_.contains(node) : given_.contains(node);
            if (mandatory && !given)
                refuse(missing_element(type_, name_of(*node)));
        }
    }

    // Of a choice there is no element: its parent lacks one, or, of documents, the first that there could be.
    static std::string name_of(const lysc_node &node) {
        if (node.nodetype != LYS_CHOICE)
            return node.name;
        const lysc_node *first = lys_getnext(nullptr, &node, nullptr, 0);
        return first != nullptr ? first->name : node.name;
    }

    const lysc_node &parent_;
    const Element &element_;
    ErrorType type_;
    std::set<const lysc_node *> given_;
    std::map<const lysc_node *, const lysc_node *> chosen_; // case by choice
};

} // namespace

Request::Request(std::string message, const MessageLimits &limits)
    : message_(std::make_unique<const std::string>(std::move(message))), root_(read_envelope(*message_, limits)) {}

void Request::check() const {
    if (root_.attribute(message_id) == nullptr)
        refuse(missing_attribute(ErrorType::rpc, rpc_name, message_id));
    if (root_.children.empty())
        refuse({.tag = ErrorTag::missing_element,
                .type = ErrorType::rpc,
                .message = "an rpc without operation",
                .info = {{"bad-element", "rpc"}}});
    if (root_.children.size() > 1)
        refuse(bad_element(ErrorType::rpc, root_.children[1].name, "a second operation, expected one"));
    const Element &element = operation();
    const lysc_node *model = netconf::operation(element.ns, element.name);
    if (model == nullptr && module_with_namespace(element.ns) == nullptr)
        refuse(unknown_namespace(ErrorType::protocol, element.name, element.ns));
    if (model == nullptr)
        refuse({.tag = ErrorTag::not_supported,
                .type = ErrorType::protocol,
                .message = fmt::format("the server has no operation '{}'", element.name)});
    for (const Attribute &attribute : element.attributes) {
        if (attribute.ns.empty())
            refuse(unknown_attribute(ErrorType::protocol, element.name, attribute.name));
    }
    ParameterCheck(*model, element, ErrorType::protocol).run();
}

std::string Request::reply(std::string_view content) const {
    // As they were written, with the namespaces that they need: what is well-formed there is well-formed here.
    const std::string_view name = root_.written_name();
    const std::string prefix(name.substr(0, name.size() - rpc_name.size()));
    return fmt::format("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<{0}rpc-reply{1}>{2}</{0}rpc-reply>", prefix,
                       root_.written_attributes(), content);
}

std::string reply_without_request(std::string_view content) {
    return fmt::format("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<rpc-reply xmlns=\"{}\">{}</rpc-reply>",
                       netconf_namespace, content);
}

std::string written(const std::vector<RpcError> &errors) {
    std::string text;
    for (const RpcError &error : errors)
        text += written(error);
    return text;
}

Hello read_hello(const std::string &message, const MessageLimits &limits) {
    const Element root = read_message(message, limits);
    if (root.ns != netconf_namespace || root.name != "hello")
        throw MessageError(fmt::format("the element '{}', expected 'hello' in {}", root.name, netconf_namespace));
    if (root.child("session-id") != nullptr)
        throw MessageError("a session-id in a client's hello, expected none");
    const Element *list = root.child("capabilities");
    if (list == nullptr)
        throw MessageError("a hello without capabilities");
    bool old = false, chunks = false;
    for (const Element &capability : list->children) {
        const std::string_view uri = trimmed(capability.text);
        old = old || uri == base_1_0;
        chunks = chunks || uri == base_1_1;
    }
    if (!old && !chunks)
        throw MessageError(fmt::format("a hello without {} and {}, expected one of them", base_1_0, base_1_1));
    return {.chunks = chunks};
}

namespace {

std::string joined(const std::vector<std::string> &words) {
    return fmt::format("{}", fmt::join(words, ","));
}

std::vector<std::string> make_capabilities() {
    constexpr std::string_view capability = "urn:ietf:params:netconf:capability:";
    std::vector<std::string> uris{std::string(base_1_0), std::string(base_1_1)};
    for (const std::string_view word :
         {"writable-running:1.0", "candidate:1.0", "confirmed-commit:1.1", "rollback-on-error:1.0", "validate:1.1",
          "xpath:1.0", "notification:1.0", "interleave:1.0",
          "with-defaults:1.0?basic-mode=explicit&also-supported=report-all,trim"})
        uris.push_back(fmt::format("{}{}", capability, word));
    uris.push_back(fmt::format("{}yang-library:1.0?revision={}&module-set-id={}", capability,
                               module_named("ietf-yang-library")->revision, module_set_id()));
    for (const ModuleEntry &module : all_modules()) {
        if (!module.implemented)
            continue;
        std::string uri = fmt::format("{}?module={}", module.ns, module.name);
        if (!module.revision.empty())
            uri += "&revision=" + module.revision;
        if (!module.features.empty())
            uri += "&features=" + joined(module.features);
        if (!module.deviations.empty())
            uri += "&deviations=" + joined(module.deviations);
        uris.push_back(std::move(uri));
    }
    return uris;
}

} // namespace

const std::vector<std::string> &capabilities() {
    static const std::vector<std::string> uris = make_capabilities();
    return uris;
}

std::string server_hello(std::uint32_t session_id) {
    std::string text = fmt::format("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<hello xmlns=\"{}\"><capabilities>",
                                   netconf_namespace);
    for (const std::string &uri : capabilities())
        text += fmt::format("<capability>{}</capability>", xml_text(uri));
    return text + fmt::format("</capabilities><session-id>{}</session-id></hello>", session_id);
}

} // namespace ocamp::netconf
