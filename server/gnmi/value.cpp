// How values are written and read.
#include "server/gnmi/value.h"

#include "seam/json_text.h"
#include "server/gnmi/rpc_error.h"
#include "yang/models.h"

#include <charconv>
#include <cmath>
#include <set>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace ocamp::gnmi {

namespace {

// Levels of a client's JSON.
constexpr std::size_t deepest_json = 64;

double number_of(const std::string &text) {
    double number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

std::string without_module(const lysc_type &type, const std::string &canonical) {
    return type.basetype == LY_TYPE_IDENT ? canonical.substr(canonical.find(':') + 1) : canonical;
}

bool is_long_integer(const lysc_type &type) {
    return type.basetype == LY_TYPE_INT64 || type.basetype == LY_TYPE_UINT64;
}

bool is_unsigned(const lysc_type &type) {
    switch (type.basetype) {
    case LY_TYPE_UINT8:
    case LY_TYPE_UINT16:
    case LY_TYPE_UINT32:
    case LY_TYPE_UINT64:
        return true;
    default:
        return false;
    }
}

bool is_integer(const lysc_type &type) {
    return is_short_integer(type) || is_long_integer(type);
}

Json json_number(const lysc_type &type, const std::string &canonical) {
    if (is_unsigned(type))
        return std::stoull(canonical);
    return std::stoll(canonical);
}

Json json_scalar(const lysc_node &leaf, const std::string &canonical, bool ietf) {
    const lysc_type &type = real_type_of(leaf);
    if (type.basetype == LY_TYPE_BOOL)
        return canonical == "true";
    if (type.basetype == LY_TYPE_EMPTY)
        return Json::array({nullptr});
    if (is_short_integer(type) || (!ietf && is_long_integer(type)))
        return json_number(type, canonical);
    if (!ietf && type.basetype == LY_TYPE_DEC64)
        return number_of(canonical);
    return ietf ? canonical : without_module(type, canonical);
}

// Removes what one value alone could hold: text that is no UTF-8 is written with replacement characters.
std::string dumped(const Json &json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string member_name(const lysc_node &node, const lys_module *module, bool ietf) {
    return ietf && node.module != module ? fmt::format("{}:{}", node.module->name, node.name) : node.name;
}

// Values of clients

std::string_view word_of(const lysc_type &type) {
    switch (type.basetype) {
    case LY_TYPE_BOOL:
        return "a boolean";
    case LY_TYPE_DEC64:
        return "a decimal number";
    case LY_TYPE_ENUM:
        return "an enumeration";
    case LY_TYPE_IDENT:
        return "an identity";
    case LY_TYPE_EMPTY:
        return "[null] in JSON, true as a scalar or no text";
    default:
        return is_integer(type) ? "a whole number" : "a string";
    }
}

[[noreturn]] void refuse_value(const std::string &place, std::string_view what, const lysc_node &leaf) {
    throw invalid(place, fmt::format("{}, expected {}", what, word_of(real_type_of(leaf))));
}

// Reads text as JSON.
Json json_from(const std::string &text, const std::string &place) {
    try {
        return parse_json(text, deepest_json);
    } catch (const JsonError &error) {
        throw invalid(place, error.what());
    }
}

// Reads a client's JSON against the model.
class JsonReader {
  public:
    JsonReader(const Schema &schema, bool ietf) : schema_(schema), ietf_(ietf) {}

    Json read(const lysc_node *node, const Json &value, const std::string &place) const {
        if (node == nullptr || !is_leaf(*node))
            return is_array_of_entries(node, value) ? entries(*node, value, place) : members(node, value, place);
        return leaf(*node, value, place);
    }

  private:
    static bool is_array_of_entries(const lysc_node *node, const Json &value) {
        return node != nullptr && is_list(*node) && value.is_array();
    }

    Json entries(const lysc_node &list, const Json &value, const std::string &place) const {
        Json read_entries = Json::array();
        for (const Json &entry : value)
            read_entries.push_back(members(&list, entry, place));
        return read_entries;
    }

    Json members(const lysc_node *node, const Json &value, const std::string &place) const {
        if (!value.is_object())
            throw invalid(place, fmt::format("is a JSON {}, expected an object", value.type_name()));
        Json object = Json::object();
        for (const auto &[name, member] : value.items()) {
            const std::string member_place = (place == "/" ? "" : place) + "/" + name;
            const lysc_node &child = find(node, name, member_place);
            if (is_list(child) && !member.is_array())
                throw invalid(member_place, "is a list, expected an array of objects");
            const bool qualified = node == nullptr || child.module != node->module;
            const std::string key = qualified ? fmt::format("{}:{}", child.module->name, child.name) : child.name;
            if (object.contains(key))
                throw invalid(member_place, "is given twice");
            object[key] = read(&child, member, member_place);
        }
        return object;
    }

    const lysc_node &find(const lysc_node *parent, const std::string &name, const std::string &place) const {
        const std::size_t colon = name.find(':');
        const lysc_node *child = nullptr;
        if (colon == std::string::npos)
            child = schema_.find(parent, name);
        else if (const lys_module *module = schema_.module(name.substr(0, colon)); module != nullptr)
            child = schema_.find(parent, name.substr(colon + 1), module->ns);
        if (child == nullptr)
            throw invalid(place, "is not in the model");
        if (!is_configuration(*child))
            throw invalid(place, "is read-only");
        if (!is_served(*child))
            throw refused(Code::unimplemented, place, "the device does not have it");
        return *child;
    }

    Json leaf(const lysc_node &node, const Json &value, const std::string &place) const {
        const lysc_type &type = real_type_of(node);
        // What RFC 7951 has as strings comes as numbers in plain JSON. It is taken in both forms there.
        if (!ietf_ && value.is_number() && (is_long_integer(type) || type.basetype == LY_TYPE_DEC64))
            return value.dump();
        if (value.is_object() || value.is_null() || (value.is_array() && type.basetype != LY_TYPE_EMPTY))
            refuse_value(place, fmt::format("is a JSON {}", value.type_name()), node);
        return value;
    }

    const Schema &schema_;
    bool ietf_;
};

// A text as the JSON value that RFC 7951 has for the leaf's type.
Json json_of_text(const lysc_node &leaf, const std::string &text, const std::string &place) {
    const lysc_type &type = real_type_of(leaf);
    if (type.basetype == LY_TYPE_BOOL) {
        if (text != "true" && text != "false")
            refuse_value(place, fmt::format("is '{}'", text), leaf);
        return text == "true";
    }
    if (type.basetype == LY_TYPE_EMPTY) {
        if (!text.empty())
            refuse_value(place, fmt::format("is '{}'", text), leaf);
        return Json::array({nullptr});
    }
    if (is_short_integer(type)) {
        std::int64_t number = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
        if (error != std::errc() || end != text.data() + text.size())
            refuse_value(place, fmt::format("is '{}'", text), leaf);
        return number;
    }
    return text;
}

template <class Number>
Json json_of_integer(const lysc_node &leaf, Number number, const std::string &place) {
    const lysc_type &type = real_type_of(leaf);
    if (is_short_integer(type))
        return number;
    if (is_long_integer(type) || type.basetype == LY_TYPE_DEC64)
        return std::to_string(number);
    refuse_value(place, fmt::format("is the number {}", number), leaf);
}

Json json_of_real(const lysc_node &leaf, double number, const std::string &place) {
    if (real_type_of(leaf).basetype != LY_TYPE_DEC64 || !std::isfinite(number))
        refuse_value(place, fmt::format("is the number {}", number), leaf);
    return fmt::format("{}", number);
}

std::string decimal_text(const ::gnmi::Decimal64 &decimal, const std::string &place) {
    constexpr std::uint32_t most_digits = 18;
    if (decimal.precision() > most_digits)
        throw invalid(place,
                      fmt::format("has {} fraction digits, expected at most {}", decimal.precision(), most_digits));
    const bool negative = decimal.digits() < 0;
    const std::uint64_t size =
        negative ? 0 - static_cast<std::uint64_t>(decimal.digits()) : static_cast<std::uint64_t>(decimal.digits());
    std::string digits = fmt::format("{:0{}}", size, decimal.precision() + 1);
    if (decimal.precision() != 0)
        digits.insert(digits.size() - decimal.precision(), ".");
    return negative ? "-" + digits : digits;
}

[[noreturn]] void refuse_form(const ::gnmi::TypedValue &value, const std::string &place, std::string_view expected) {
    const auto *field = ::gnmi::TypedValue::descriptor()->FindFieldByNumber(value.value_case());
    throw refused(Code::unimplemented, place, fmt::format("is given as {}, expected {}", field->name(), expected));
}

Json scalar(const lysc_node &leaf, const ::gnmi::TypedValue &value, const std::string &place) {
    switch (value.value_case()) {
    case ::gnmi::TypedValue::kStringVal:
        if (is_integer(real_type_of(leaf)) || real_type_of(leaf).basetype == LY_TYPE_BOOL ||
            real_type_of(leaf).basetype == LY_TYPE_DEC64)
            refuse_value(place, "is a string", leaf);
        return value.string_val();
    case ::gnmi::TypedValue::kAsciiVal:
        return json_of_text(leaf, value.ascii_val(), place);
    case ::gnmi::TypedValue::kIntVal:
        return json_of_integer(leaf, value.int_val(), place);
    case ::gnmi::TypedValue::kUintVal:
        return json_of_integer(leaf, value.uint_val(), place);
    case ::gnmi::TypedValue::kBoolVal:
        // A leaf without a value is told so, too.
        if (real_type_of(leaf).basetype == LY_TYPE_EMPTY && value.bool_val())
            return Json::array({nullptr});
        if (real_type_of(leaf).basetype != LY_TYPE_BOOL)
            refuse_value(place, "is a boolean", leaf);
        return value.bool_val();
    case ::gnmi::TypedValue::kDoubleVal:
        return json_of_real(leaf, value.double_val(), place);
    case ::gnmi::TypedValue::kFloatVal:
        // The shortest text of the float: as a double it would have digits that nobody wrote.
        return json_of_real(leaf, number_of(fmt::format("{}", value.float_val())), place);
    case ::gnmi::TypedValue::kDecimalVal:
        if (real_type_of(leaf).basetype != LY_TYPE_DEC64)
            refuse_value(place, "is a decimal", leaf);
        return decimal_text(value.decimal_val(), place);
    case ::gnmi::TypedValue::VALUE_NOT_SET:
        throw invalid(place, "has no value");
    default:
        refuse_form(value, place, "json_ietf_val, json_val, ascii_val or the scalar of its type");
    }
}

// Of values that stand for a leaf-list, or for messages and bytes that are of no model here.
bool has_unserved_form(const ::gnmi::TypedValue &value) {
    return value.has_leaflist_val() || value.has_any_val() || value.has_proto_bytes() || value.has_bytes_val();
}

} // namespace

void check_encoding(::gnmi::Encoding encoding) {
    switch (encoding) {
    case ::gnmi::JSON:
    case ::gnmi::JSON_IETF:
    case ::gnmi::PROTO:
    case ::gnmi::ASCII:
        return;
    default:
        throw refused(Code::unimplemented, "encoding",
                      fmt::format("{}, expected JSON, JSON_IETF, PROTO or ASCII",
                                  ::gnmi::Encoding_IsValid(encoding) ? ::gnmi::Encoding_Name(encoding)
                                                                     : std::to_string(static_cast<int>(encoding))));
    }
}

std::string canonical_text(const lyd_node &leaf) {
    const char *text = lyd_get_value(&leaf);
    return text != nullptr ? text : "";
}

::gnmi::TypedValue leaf_value(const lysc_node &leaf, const std::string &canonical, ::gnmi::Encoding encoding) {
    ::gnmi::TypedValue value;
    const lysc_type &type = real_type_of(leaf);
    if (encoding == ::gnmi::JSON)
        value.set_json_val(dumped(json_scalar(leaf, canonical, false)));
    else if (encoding == ::gnmi::JSON_IETF)
        value.set_json_ietf_val(dumped(json_scalar(leaf, canonical, true)));
    else if (encoding == ::gnmi::ASCII)
        value.set_ascii_val(without_module(type, canonical));
    else if (type.basetype == LY_TYPE_DEC64)
        value.set_double_val(number_of(canonical));
    else if (type.basetype == LY_TYPE_BOOL || type.basetype == LY_TYPE_EMPTY)
        value.set_bool_val(canonical != "false");
    else if (is_unsigned(type))
        value.set_uint_val(std::stoull(canonical));
    else if (is_integer(type))
        value.set_int_val(std::stoll(canonical));
    else
        value.set_string_val(without_module(type, canonical));
    return value;
}

Json json_of(const lyd_node &node, bool ietf, const LeafTest &wanted, std::size_t levels) {
    if (is_leaf(*node.schema))
        return wanted(*node.schema) ? json_scalar(*node.schema, canonical_text(node), ietf)
                                    : Json(Json::value_t::discarded);
    Json object = Json::object();
    bool any = false; // beside keys that are there for their entry's sake
    for (const lyd_node *child = lyd_child(&node); child != nullptr; child = child->next) {
        // Only the top of a value has names that are qualified for its own sake.
        const std::size_t before = object.size();
        add_member(object, *child, nullptr, ietf, wanted, levels);
        any = any || (object.size() > before && (!is_key(*child->schema) || wanted(*child->schema)));
    }
    if (!any)
        return Json(Json::value_t::discarded);
    return object;
}

void add_member(Json &object, const lyd_node &node, const lys_module *module, bool ietf, const LeafTest &wanted,
                std::size_t levels) {
    const lysc_node &schema = *node.schema;
    const std::string name = member_name(schema, module, ietf);
    if (is_leaf(schema)) {
        if (is_key(schema) || wanted(schema))
            object[name] = json_scalar(schema, canonical_text(node), ietf);
        return;
    }
    if (levels == 1)
        return;
    Json content = Json::object();
    bool any = false;
    for (const lyd_node *child = lyd_child(&node); child != nullptr; child = child->next) {
        const std::size_t before = content.size();
        add_member(content, *child, schema.module, ietf, wanted, levels == 0 ? 0 : levels - 1);
        any = any || (content.size() > before && (!is_key(*child->schema) || wanted(*child->schema)));
    }
    if (!any)
        return;
    if (is_list(schema))
        object[name].push_back(std::move(content));
    else
        object[name] = std::move(content);
}

Json edit_value(const Schema &schema, const lysc_node *node, const ::gnmi::TypedValue &value,
                const std::string &place) {
    if (node != nullptr && !is_configuration(*node))
        throw invalid(place, "is read-only");
    const bool ietf = value.has_json_ietf_val();
    if (ietf || value.has_json_val())
        return JsonReader(schema, ietf)
            .read(node, json_from(ietf ? value.json_ietf_val() : value.json_val(), place), place);
    if (node == nullptr || !is_leaf(*node)) {
        if (has_unserved_form(value))
            refuse_form(value, place, "json_ietf_val or json_val");
        throw invalid(place, "is no leaf, expected a value in JSON or JSON_IETF");
    }
    return scalar(*node, value, place);
}

} // namespace ocamp::gnmi
