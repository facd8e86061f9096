// The file of a pending confirmed commit. Knows neither sessions nor when it is taken back.
#include "server/confirmed_commit.h"

#include "sysdb/seal.h"
#include "yang/error.h"
#include "yang/models.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace ocamp::server {

namespace {

constexpr const char *file_name = "confirmed-commit.json";

} // namespace

void keep_former_configuration(const StateFolder &folder, const YangTree &running) {
    const std::string text = running.print_to_store();
    const nlohmann::ordered_json document{{"version", 1}, {"checksum", row_checksum({text})}, {"running", text}};
    folder.write(file_name, document.dump() + "\n");
}

std::optional<YangTree> former_configuration(const StateFolder &folder) {
    const std::optional<std::string> text = folder.read(file_name);
    if (!text)
        return std::nullopt;
    const std::string place = folder.path_of(file_name).string();
    try {
        const nlohmann::json document = nlohmann::json::parse(*text);
        const std::string running = document.at("running").get<std::string>();
        if (document.at("version") != 1 || document.at("checksum") != row_checksum({running}))
            throw StateError(fmt::format("{}: damaged: it does not hold its checksum", place));
        return native_schema().parse(running, LYD_JSON);
    } catch (const nlohmann::json::exception &error) {
        throw StateError(fmt::format("{}: damaged: {}", place, error.what()));
    } catch (const YangError &error) {
        throw StateError(fmt::format("{}: damaged: {}", place, error.what()));
    }
}

void forget_former_configuration(const StateFolder &folder) {
    folder.remove(file_name);
}

} // namespace ocamp::server
