// Reads JSON in two steps: the text into values just as they were written, and those into nodes by one grammar:
//
//   object      = { member }
//   member      = "@" : annotations                   of the object itself
//               | "@leaf" : annotations               of the leaf beside it, or of one that is only named
//               | "@leaf-list" : [ annotations|null ] of the values beside it, in their order
//               | name : object | scalar | [ objects ] | [ scalars ]
//   annotations = { "module:name" : scalar }
//
// Whether a name is that of a leaf or of a list is for others to say: the model only tells the keys of entries.
#include "yang/json_document.h"

#include "seam/path_text.h"
#include "seam/text.h"
#include "yang/request_error.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace ocamp {

namespace {

constexpr std::string_view operation_annotation = "ietf-netconf:operation";
// nlohmann's number of its complaint about a number that no double holds.
constexpr int number_too_large = 406;

struct JsonValue {
    enum class Kind { object, array, string, number, boolean, null };
    Kind kind;
    std::string text = {};               // of a scalar; a number with a fraction just as it was written
    std::vector<std::string> names = {}; // of an object's members, which are `values`
    std::vector<JsonValue> values = {};  // of an object or an array
};

bool is_object(const JsonValue &value) {
    return value.kind == JsonValue::Kind::object;
}
bool is_array(const JsonValue &value) {
    return value.kind == JsonValue::Kind::array;
}

std::string without_module(const std::string &name) {
    return name.substr(name.find(':') + 1);
}

// Where a value stands: its data path, and what the model has there; NULL for nothing, and for the document.
struct Place {
    std::string path = {};
    const lysc_node *schema = nullptr;

    Place member(const Schema &models, const std::string &name) const {
        const bool known = schema != nullptr || path.empty();
        return {path + "/" + name, known ? models.find(schema, name) : nullptr};
    }

    // By the entry's keys; by its number, from 1, when it does not have them.
    Place item(const JsonValue &value, std::size_t number) const {
        const std::string keys = schema != nullptr && is_list(*schema) && is_object(value) ? predicates(value) : "";
        return {path + (keys.empty() ? fmt::format("[{}]", number) : keys), schema};
    }

  private:
    std::string predicates(const JsonValue &entry) const {
        std::string text;
        for (const lysc_node *key : list_keys(*schema)) {
            std::size_t i = 0;
            while (i < entry.values.size() && without_module(entry.names[i]) != key->name)
                ++i;
            if (i == entry.values.size() || entry.values[i].kind != JsonValue::Kind::string)
                return "";
            text += step_with_key("", key->name, entry.values[i].text);
        }
        return text;
    }
};

// Collects what the parser tells. Unlike the parser's own documents it keeps members of one name apart.
class JsonCollector : public nlohmann::json_sax<nlohmann::json> {
  public:
    explicit JsonCollector(const Schema &models) : models_(models) {}

    JsonValue take() { return std::move(root_); }

    bool null() override { return add({.kind = JsonValue::Kind::null}) != nullptr; }
    bool boolean(bool value) override {
        return add({.kind = JsonValue::Kind::boolean, .text = value ? "true" : "false"}) != nullptr;
    }
    bool number_integer(number_integer_t value) override { return add_number(std::to_string(value)); }
    bool number_unsigned(number_unsigned_t value) override { return add_number(std::to_string(value)); }
    bool number_float(number_float_t, const string_t &text) override { return add_number(text); }
    bool string(string_t &text) override {
        return add({.kind = JsonValue::Kind::string, .text = std::move(text)}) != nullptr;
    }
    bool binary(binary_t &) override { return false; } // JSON has none
    bool start_object(std::size_t) override { return open(JsonValue::Kind::object); }
    bool start_array(std::size_t) override { return open(JsonValue::Kind::array); }
    bool end_object() override { return close(); }
    bool end_array() override { return close(); }
    bool key(string_t &name) override {
        open_.back()->names.push_back(std::move(name));
        return true;
    }
    bool parse_error(std::size_t, const std::string &token, const nlohmann::detail::exception &error) override {
        if (error.id == number_too_large)
            throw RequestError(error_tag::invalid_value, path(),
                               fmt::format("the number {} is larger than any that is read", token));
        throw DocumentError(fmt::format("not well-formed JSON: {}", without_error_number(error.what())));
    }

  private:
    // Where the value that is read next stands.
    std::string path() const {
        Place place;
        for (const JsonValue *value : open_) {
            if (!is_array(*value))
                place = place.member(models_, without_module(value->names.back()));
            else if (value == open_.back())
                place = place.item({.kind = JsonValue::Kind::null}, value->values.size() + 1);
            else
                place = place.item(value->values.back(), value->values.size());
        }
        return place.path;
    }

    JsonValue *add(JsonValue value) {
        if (open_.empty()) {
            root_ = std::move(value);
            return &root_;
        }
        return &open_.back()->values.emplace_back(std::move(value));
    }
    bool add_number(std::string text) {
        return add({.kind = JsonValue::Kind::number, .text = std::move(text)}) != nullptr;
    }
    // An open value stays where it is: nothing is added beside it before it is closed.
    bool open(JsonValue::Kind kind) {
        if (open_.size() == deepest_document)
            throw DocumentError(
                fmt::format("nested more than {0} levels deep, expected at most {0}", deepest_document));
        open_.push_back(add({.kind = kind}));
        return true;
    }
    bool close() {
        open_.pop_back();
        return true;
    }

    const Schema &models_;
    JsonValue root_{.kind = JsonValue::Kind::null};
    std::vector<JsonValue *> open_;
};

ClientNode::JsonForm form_of(const JsonValue &value) {
    switch (value.kind) {
    case JsonValue::Kind::string:
        return ClientNode::JsonForm::string;
    case JsonValue::Kind::number:
        return ClientNode::JsonForm::number;
    case JsonValue::Kind::boolean:
        return ClientNode::JsonForm::boolean;
    case JsonValue::Kind::null:
        return ClientNode::JsonForm::null;
    default:
        return ClientNode::JsonForm::object;
    }
}

// What RFC 7950 lets a text hold of the characters below the blank.
bool has_control_character(std::string_view text) {
    return std::any_of(text.begin(), text.end(), [](char character) {
        return static_cast<unsigned char>(character) < ' ' && blanks.find(character) == std::string_view::npos;
    });
}

void annotate(ClientNode &node, const JsonValue &annotations, const std::string &place) {
    if (!is_object(annotations))
        throw RequestError(error_tag::bad_attribute, place, "is no annotation, expected an object");
    for (std::size_t i = 0; i < annotations.values.size(); ++i) {
        const std::string &name = annotations.names[i];
        const JsonValue &value = annotations.values[i];
        if (name != operation_annotation) {
            node.attributes.push_back(fmt::format("{}={}", name, value.text));
            continue;
        }
        if (value.kind != JsonValue::Kind::string)
            throw RequestError(error_tag::bad_attribute, place, fmt::format("'{}' is no string", name));
        if (node.operation)
            throw RequestError(error_tag::bad_attribute, place,
                               fmt::format("holds '{}' twice, expected it once", name));
        node.operation = value.text;
    }
}

// Reads the members of one object.
class ObjectReader {
  public:
    // `module`: of names without one of their own.
    ObjectReader(const Schema &models, const Place &place, const std::string &module)
        : models_(models), place_(place), module_(module) {}

    std::vector<ClientNode> read(const JsonValue &object) {
        for (std::size_t i = 0; i < object.values.size(); ++i) {
            if (!object.names[i].starts_with('@'))
                read_member(object.names[i], object.values[i]);
        }
        for (std::size_t i = 0; i < object.values.size(); ++i) {
            if (object.names[i].starts_with('@') && object.names[i] != "@")
                read_annotation(object.names[i], object.values[i]);
        }
        return std::move(nodes_);
    }

  private:
    struct Name {
        std::string module, name;
        std::string whole() const { return module + ":" + name; }
    };
    struct Range {
        std::size_t first, count; // in nodes_
    };

    // Splits "module:name".
    Name resolve(std::string_view word) const {
        const std::size_t colon = word.find(':');
        if (colon == std::string_view::npos)
            return {module_, std::string(word)};
        return {std::string(word.substr(0, colon)), std::string(word.substr(colon + 1))};
    }

    void read_member(const std::string &word, const JsonValue &value) {
        const Name name = resolve(word);
        const Place place = place_.member(models_, name.name);
        const std::string &path = place.path;
        if (name.name.empty() || has_control_character(word))
            throw RequestError(error_tag::unknown_element, path, "is no name");
        const std::size_t first = nodes_.size();
        if (is_array(value))
            read_array(name, value, place);
        else
            read_value(name, value, place, false);
        const bool key = place.schema != nullptr && is_key(*place.schema);
        if (!members_.emplace(name.whole(), Range{first, nodes_.size() - first}).second)
            throw RequestError(key ? error_tag::bad_element : error_tag::operation_failed, path,
                               "is given twice, expected once");
    }

    void read_array(const Name &name, const JsonValue &array, const Place &list) {
        if (array.values.empty())
            throw RequestError(error_tag::invalid_value, list.path, "is an empty array, expected what it is to hold");
        for (std::size_t i = 0; i < array.values.size(); ++i) {
            const JsonValue &item = array.values[i];
            const Place place = list.item(item, i + 1);
            if (is_array(item))
                throw RequestError(error_tag::invalid_value, place.path, "is an array inside an array");
            if (is_object(item) != is_object(array.values.front()))
                throw RequestError(error_tag::invalid_value, place.path,
                                   "is not of the kind of the array's first, expected objects or values alone");
            read_value(name, item, place, true);
        }
    }

    void read_value(const Name &name, const JsonValue &value, const Place &place, bool in_array) {
        const std::string &path = place.path;
        ClientNode node{.name = name.name, .module = name.module, .value = value.text};
        node.json = form_of(value);
        node.in_array = in_array;
        if (has_control_character(value.text))
            throw RequestError(error_tag::invalid_value, path, "holds a control character");
        if (value.kind == JsonValue::Kind::string && value.text.find(':') != std::string::npos)
            node.value_module = value.text.substr(0, value.text.find(':'));
        if (is_object(value)) {
            for (std::size_t i = 0, seen = 0; i < value.values.size(); ++i) {
                if (value.names[i] != "@")
                    continue;
                if (++seen == 2)
                    throw RequestError(error_tag::bad_attribute, path + "/@", "is given twice, expected once");
                annotate(node, value.values[i], path + "/@");
            }
            node.children = ObjectReader(models_, place, name.module).read(value);
        }
        nodes_.push_back(std::move(node));
    }

    void read_annotation(const std::string &word, const JsonValue &value) {
        const Name name = resolve(std::string_view(word).substr(1));
        const std::string path = fmt::format("{}/@{}", place_.path, name.name);
        if (!annotated_.insert(name.whole()).second)
            throw RequestError(error_tag::bad_attribute, path, "is given twice, expected once");
        const auto member = members_.find(name.whole());
        if (member == members_.end()) {
            ClientNode named{.name = name.name, .module = name.module};
            named.json = ClientNode::JsonForm::absent;
            annotate(named, value, path);
            nodes_.push_back(std::move(named));
            return;
        }
        const auto [first, count] = member->second;
        ClientNode &node = nodes_[first];
        if (node.json == ClientNode::JsonForm::object)
            throw RequestError(error_tag::bad_attribute, path,
                               fmt::format("stands beside what it annotates, expected \"@\" inside {}",
                                           node.in_array ? "each entry" : "it"));
        if (!node.in_array) {
            annotate(node, value, path);
            return;
        }
        if (!is_array(value) || value.values.size() > count)
            throw RequestError(error_tag::bad_attribute, path,
                               fmt::format("annotates an array, expected an array of at most {}", count));
        for (std::size_t i = 0; i < value.values.size(); ++i) {
            if (value.values[i].kind != JsonValue::Kind::null)
                annotate(nodes_[first + i], value.values[i], fmt::format("{}[{}]", path, i + 1));
        }
    }

    const Schema &models_;
    const Place &place_;
    const std::string &module_;
    std::vector<ClientNode> nodes_;
    std::unordered_map<std::string, Range> members_; // by whole name
    std::unordered_set<std::string> annotated_;      // whole names
};

} // namespace

std::vector<ClientNode> read_json(std::string_view document, const Schema &models) {
    JsonCollector collector(models);
    if (!nlohmann::json::sax_parse(document, &collector))
        throw DocumentError("not well-formed JSON");
    const JsonValue root = collector.take();
    if (!is_object(root))
        throw DocumentError("expected one JSON object");
    if (std::find(root.names.begin(), root.names.end(), "@") != root.names.end())
        throw RequestError(error_tag::bad_attribute, "/@", "annotates the document, expected it inside a node");
    const Place document_place;
    const std::string no_module;
    return ObjectReader(models, document_place, no_module).read(root);
}

} // namespace ocamp
