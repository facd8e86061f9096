// How changes are worded. Knows no command.
#include "change_text.h"

#include "seam/path_text.h"
#include "seam/text.h"

#include <algorithm>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace ocamp {

namespace {

using Json = nlohmann::ordered_json;

std::string rounding_behind(const std::string &path, const std::vector<Rounding> &rounded) {
    const auto found =
        std::find_if(rounded.begin(), rounded.end(), [&](const Rounding &rounding) { return rounding.path == path; });
    return found == rounded.end() ? "" : escaped(fmt::format(" (rounded: {} was asked for)", found->asked));
}

bool is_changed(const std::string &path, const std::vector<LeafChange> &changed) {
    return std::any_of(changed.begin(), changed.end(),
                       [&](const LeafChange &change) { return without_modules(change.path) == path; });
}

std::string text_of(const ToldChanges &told, bool dry_run) {
    std::string text;
    for (const LeafChange &change : told.changed)
        text += told_line(change) + rounding_behind(without_modules(change.path), told.rounded) + "\n";
    if (told.changed.empty())
        text += "nothing changed\n";
    for (const Rounding &rounding : told.rounded) {
        if (!is_changed(rounding.path, told.changed))
            text += escaped(fmt::format("= {} {}{}{}", rounding.path, rounding.held, rounding.unit.empty() ? "" : " ",
                                        rounding.unit)) +
                    rounding_behind(rounding.path, told.rounded) + "\n";
    }
    if (told.passed_over != 0)
        text += fmt::format("{} {} of state passed over: state cannot be edited\n", told.passed_over,
                            told.passed_over == 1 ? "leaf" : "leaves");
    return text + (dry_run ? "dry run: the node is as before\n" : "ok\n");
}

Json or_null(const std::optional<std::string> &value) {
    return value ? Json(*value) : Json(nullptr);
}

std::string json_of(const ToldChanges &told, bool dry_run) {
    Json changed = Json::array(), rounded = Json::array();
    for (const LeafChange &change : told.changed)
        changed.push_back(
            {{"path", without_modules(change.path)}, {"old", or_null(change.before)}, {"new", or_null(change.after)}});
    for (const Rounding &rounding : told.rounded)
        rounded.push_back({{"path", rounding.path}, {"asked", rounding.asked}, {"held", rounding.held}});
    const Json whole{
        {"changed", changed}, {"rounded", rounded}, {"state-passed-over", told.passed_over}, {"dry-run", dry_run}};
    return escaped_json(whole.dump(2, ' ', false, Json::error_handler_t::replace)) + "\n";
}

} // namespace

std::string told_line(const LeafChange &change) {
    LeafChange plain = change;
    plain.path = without_modules(change.path);
    // A native unit may be a part of one, such as "0.1 dB".
    const bool is_part = !change.unit.empty() && change.unit.front() >= '0' && change.unit.front() <= '9';
    return line_of(plain) + escaped((change.unit.empty() ? "" : is_part ? " x " : " ") + change.unit);
}

std::string told_text(const ToldChanges &told, const TellOptions &options, bool as_json) {
    if (options.quiet)
        return {};
    return as_json ? json_of(told, options.dry_run) : text_of(told, options.dry_run);
}

} // namespace ocamp
