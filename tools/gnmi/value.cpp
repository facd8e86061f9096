// How values are read and written.
#include "gnmi/value.h"

#include "gnmi/rpc_failure.h"
#include "seam/input_error.h"
#include "seam/json_text.h"
#include "seam/text.h"

#include <cmath>
#include <cstdlib>
#include <stdexcept>

#include <absl/strings/escaping.h>
#include <fmt/format.h>

namespace ocamp::gnmi_client {

namespace {

// Levels of JSON: whoever prints it goes down as deep.
constexpr std::size_t deepest_json = 256;

// Throws std::runtime_error that says what is wrong.
Json parsed(const std::string &text) {
    try {
        return parse_json(text, deepest_json);
    } catch (const JsonError &error) {
        throw std::runtime_error(fmt::format("is refused: {}", error.what()));
    }
}

// Throws std::runtime_error that says what is wrong.
::gnmi::TypedValue scalar_of(const Json &json) {
    ::gnmi::TypedValue value;
    switch (json.type()) {
    case Json::value_t::string:
        value.set_string_val(json.get<std::string>());
        break;
    case Json::value_t::boolean:
        value.set_bool_val(json.get<bool>());
        break;
    case Json::value_t::number_unsigned:
        value.set_uint_val(json.get<std::uint64_t>());
        break;
    case Json::value_t::number_integer:
        value.set_int_val(json.get<std::int64_t>());
        break;
    case Json::value_t::number_float:
        value.set_double_val(json.get<double>());
        break;
    default:
        throw std::runtime_error(
            fmt::format("is {}, expected a string, a number, true, false, or a list of these", json.type_name()));
    }
    return value;
}

::gnmi::TypedValue proto_value_of(const Json &json) {
    if (!json.is_array())
        return scalar_of(json);
    ::gnmi::TypedValue value;
    for (const Json &element : json)
        *value.mutable_leaflist_val()->add_element() = scalar_of(element);
    if (json.empty())
        value.mutable_leaflist_val();
    return value;
}

// JSON has no other way to say it.
Json number_or_word(double number) {
    if (std::isfinite(number))
        return number;
    return std::isnan(number) ? "NaN" : number > 0 ? "Infinity" : "-Infinity";
}

// As many digits as tell it from its neighbours, and not those that it has as a double.
Json float_json(float number) {
    return std::isfinite(number) ? Json(std::strtod(fmt::format("{}", number).c_str(), nullptr))
                                 : number_or_word(number);
}

Json bytes_json(const std::string &bytes) {
    return absl::Base64Escape(bytes);
}

Json json_of_json(const std::string &text, const std::string &place) {
    try {
        return parsed(text);
    } catch (const std::runtime_error &error) {
        throw RpcFailure("", fmt::format("the target's value of {} {}", place, error.what()));
    }
}

} // namespace

::gnmi::TypedValue value_of(const std::string &text, Encoding encoding, const std::string &place) {
    ::gnmi::TypedValue value;
    try {
        switch (encoding) {
        case Encoding::json:
            parsed(text);
            value.set_json_val(text);
            break;
        case Encoding::json_ietf:
            parsed(text);
            value.set_json_ietf_val(text);
            break;
        case Encoding::proto:
            return proto_value_of(parsed(text));
        case Encoding::ascii:
            value.set_ascii_val(text);
            break;
        case Encoding::bytes:
            value.set_bytes_val(text);
            break;
        }
    } catch (const std::runtime_error &error) {
        throw InputError(fmt::format("value of {}: '{}' {}; strings stand in double quotes", place,
                                     shortened(text, longest_shown_value), error.what()));
    }
    return value;
}

Json json_of(const ::gnmi::TypedValue &value, const std::string &place) {
    switch (value.value_case()) {
    case ::gnmi::TypedValue::kStringVal:
        return value.string_val();
    case ::gnmi::TypedValue::kIntVal:
        return value.int_val();
    case ::gnmi::TypedValue::kUintVal:
        return value.uint_val();
    case ::gnmi::TypedValue::kBoolVal:
        return value.bool_val();
    case ::gnmi::TypedValue::kBytesVal:
        return bytes_json(value.bytes_val());
    case ::gnmi::TypedValue::kFloatVal:
        return float_json(value.float_val());
    case ::gnmi::TypedValue::kDecimalVal:
        return fmt::format("{}e-{}", value.decimal_val().digits(), value.decimal_val().precision());
    case ::gnmi::TypedValue::kLeaflistVal: {
        Json list = Json::array();
        for (const ::gnmi::TypedValue &element : value.leaflist_val().element())
            list.push_back(json_of(element, place));
        return list;
    }
    case ::gnmi::TypedValue::kAnyVal:
        return Json{{"type_url", value.any_val().type_url()}, {"value", bytes_json(value.any_val().value())}};
    case ::gnmi::TypedValue::kJsonVal:
        return json_of_json(value.json_val(), place);
    case ::gnmi::TypedValue::kJsonIetfVal:
        return json_of_json(value.json_ietf_val(), place);
    case ::gnmi::TypedValue::kAsciiVal:
        return value.ascii_val();
    case ::gnmi::TypedValue::kProtoBytes:
        return bytes_json(value.proto_bytes());
    case ::gnmi::TypedValue::kDoubleVal:
        return number_or_word(value.double_val());
    case ::gnmi::TypedValue::VALUE_NOT_SET:
        break;
    }
    return nullptr;
}

std::string printed(const Json &json) {
    return escaped_json(json.dump(-1, ' ', false, Json::error_handler_t::replace));
}

} // namespace ocamp::gnmi_client
