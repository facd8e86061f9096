// How a node is written out. Knows neither the plug-in nor OpenConfig.
#include "node/node_export.h"

#include "node/unfinished_folder.h"
#include "sysdb/bag_json.h"
#include "sysdb/record_reader.h"
#include "yang/models.h"

#include <map>

#include <fmt/format.h>

namespace ocamp {

namespace fs = std::filesystem;

namespace {

using Files = std::map<fs::path, std::string>; // text by name within the folder

Files files_of(Node &node) {
    const ReadTransaction snapshot(node.database());
    Files files;
    const NativeData data = load_native(node.database(), native_schema());
    if (!data.running.tree().empty())
        files["native/running.json"] = data.running.tree().print(LYD_JSON);
    for (const NativeDocument &document : data.operational) {
        if (!document.tree().empty())
            files[fmt::format("native/{}.json", lyd_owner_module(document.tree().first())->name)] =
                document.tree().print(LYD_JSON);
    }
    SystemDatabase &database = node.system_database();
    std::vector<SysdbItem> items;
    for (const std::string &bind_point : database.bind_points()) {
        for (const std::string &item : database.items(bind_point))
            items.push_back({bind_point, item, decode_bag(read_record(database, bind_point, item).value())});
    }
    files["sysdb/items.json"] = sysdb_items_to_json(items);
    return files;
}

} // namespace

void export_node(Node &node, const fs::path &folder) {
    const Files files = files_of(node);
    UnfinishedFolder made(folder);
    for (const char *room : {"native", "sysdb"})
        fs::create_directory(made.path() / room);
    for (const auto &[name, text] : files)
        made.write_file(name, text);
    made.finish();
}

} // namespace ocamp
