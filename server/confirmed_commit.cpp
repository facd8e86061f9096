// The file of a pending confirmed commit. Knows neither sessions nor when it is taken back.
#include "server/confirmed_commit.h"

#include "seam/json_text.h"
#include "seam/text.h"
#include "sysdb/seal.h"
#include "yang/error.h"
#include "yang/models.h"

#include <fmt/format.h>

namespace ocamp::server {

namespace {

constexpr const char *file_name = "confirmed-commit.json";
constexpr std::size_t nesting_limit = 2; // the record is flat

} // namespace

void keep_former_configuration(const StateFolder &folder, const YangTree &running) {
    folder.write(file_name, record_of_configuration(running));
}

std::optional<YangTree> former_configuration(const StateFolder &folder) {
    const std::optional<std::string> text = folder.read(file_name);
    if (!text)
        return std::nullopt;
    try {
        return configuration_of_record(*text);
    } catch (const JsonError &error) {
        throw StateError(fmt::format("{}: damaged: {}", folder.path_of(file_name).string(), error.what()));
    }
}

std::string record_of_configuration(const YangTree &running) {
    const std::string text = running.print_to_store();
    return Json{{"version", 1}, {"checksum", row_checksum({text})}, {"running", text}}.dump() + "\n";
}

YangTree configuration_of_record(std::string_view record) {
    try {
        const Json document = parse_json(record, nesting_limit);
        const std::string running = document.at("running").get<std::string>();
        if (document.at("version") != 1 || document.at("checksum") != row_checksum({running}))
            throw JsonError("it does not hold its checksum");
        return native_schema().parse(running, LYD_JSON);
    } catch (const Json::exception &error) {
        throw JsonError(std::string(without_error_number(error.what())));
    } catch (const YangError &error) {
        throw JsonError(error.what());
    }
}

void forget_former_configuration(const StateFolder &folder) {
    folder.remove(file_name);
}

} // namespace ocamp::server
