// Answers of why as programs read them. Knows nothing of how they are found.
#include "node/why_text.h"

#include "seam/text.h"

#include <nlohmann/json.hpp>

namespace ocamp {

namespace {

using Json = nlohmann::ordered_json;

Json json_of(const WhySource &source) {
    if (!source.database)
        return {{"kind", "native"}, {"path", source.place}, {"text", source.text}};
    return {{"kind", "system-database"}, {"bind-point", source.place}, {"item", source.item},
            {"record", source.record},   {"element", source.element},  {"text", source.text}};
}

Json json_of(const WhyLeaf &leaf) {
    Json json{{"path", leaf.path}};
    if (!leaf.value) {
        json["absent"] = word_of(*leaf.absence);
        json["reason"] = leaf.reason;
        return json;
    }
    json["value"] = *leaf.value;
    if (!leaf.unit.empty())
        json["unit"] = leaf.unit;
    if (leaf.from)
        json["from"] = json_of(*leaf.from);
    if (!leaf.converter.empty())
        json["converter"] = leaf.converter;
    if (!leaf.rule.empty())
        json["rule"] = leaf.rule;
    json["written"] = leaf.written;
    for (const WhySource &checked : leaf.checked)
        json["checked"].push_back(json_of(checked));
    for (const PassedOver &other : leaf.passed_over) {
        Json passed = json_of(other.source);
        passed["reason"] = other.reason;
        json["passed-over"].push_back(std::move(passed));
    }
    return json;
}

Json json_of(const WhyEdit &leaf) {
    Json json{{"path", leaf.path}};
    if (leaf.asked)
        json["asked"] = *leaf.asked;
    else
        json["removed"] = true;
    if (!leaf.unit.empty())
        json["unit"] = leaf.unit;
    if (!leaf.native.empty())
        json["native"] = leaf.native;
    if (leaf.stored)
        json["stored"] = *leaf.stored;
    if (!leaf.native_unit.empty())
        json["native-unit"] = leaf.native_unit;
    if (leaf.reads_back)
        json["reads-back"] = *leaf.reads_back;
    if (!leaf.lost.empty())
        json["lost"] = leaf.lost;
    return json;
}

// Bytes outside UTF-8 are replaced, control characters escaped.
std::string printed(const Json &json) {
    return escaped_json(json.dump(2, ' ', false, Json::error_handler_t::replace)) + "\n";
}

} // namespace

std::string why_json(const WhyReport &report) {
    Json json{{"leaves", Json::array()}};
    for (const WhyLeaf &leaf : report.leaves)
        json["leaves"].push_back(json_of(leaf));
    if (!report.left_out.empty())
        json["left-out"] = report.left_out;
    if (!report.failure.empty())
        json["failure"] = report.failure;
    return printed(json);
}

std::string why_json(std::span<const WhyEdit> leaves) {
    Json json{{"edit", Json::array()}};
    for (const WhyEdit &leaf : leaves)
        json["edit"].push_back(json_of(leaf));
    return printed(json);
}

} // namespace ocamp
