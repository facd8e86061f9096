// How example folders are read.
#include "node/example_node.h"

#include "node/files.h"
#include "node/native_data.h"
#include "node/native_document.h"
#include "node/node.h"
#include "seam/failure.h"
#include "sysdb/bag_json.h"
#include "sysdb/record_reader.h"
#include "yang/error.h"
#include "yang/models.h"

#include <algorithm>
#include <map>
#include <system_error>

#include <fmt/format.h>

namespace ocamp {

namespace fs = std::filesystem;

namespace {

bool is_one_of(std::string_view word, std::initializer_list<std::string_view> words) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

std::string in_small_letters(std::string text) {
    for (char &character : text) {
        if (character >= 'A' && character <= 'Z')
            character = static_cast<char>(character - 'A' + 'a');
    }
    return text;
}

// True for what people and their editors leave in a folder beside its files: notes for readers, backups, hidden files.
bool is_beside_the_point(const fs::path &file) {
    const std::string name = file.filename().string(), extension = file.extension().string();
    const bool is_note = is_one_of(in_small_letters(name), {"readme", "readme.md", "readme.txt", "readme.rst"});
    return is_note || name.starts_with('.') || name.starts_with('#') || name.ends_with('~') ||
           is_one_of(extension, {".bak", ".orig", ".rej", ".swp"});
}

// The files of a folder with one of the extensions, by name. Adds to `passed_over` what does not count.
std::vector<fs::path> files_in(const fs::path &folder, std::initializer_list<std::string_view> extensions,
                               std::vector<fs::path> &passed_over) {
    std::error_code error;
    std::vector<fs::path> files;
    for (const fs::directory_entry &entry : fs::directory_iterator(folder, error)) {
        if (is_beside_the_point(entry.path())) {
            passed_over.push_back(entry.path());
            continue;
        }
        if (!is_one_of(entry.path().extension().string(), extensions))
            throw NodeError(fmt::format("{}: expected a file whose name ends in {}", entry.path().string(),
                                        extensions.size() == 1 ? ".json" : ".json or .xml"));
        files.push_back(entry.path());
    }
    if (is_shortage(error.value()))
        throw std::system_error(error, fmt::format("{}: cannot be listed", folder.string()));
    if (error)
        throw NodeError(fmt::format("{}: {}, expected a folder of an example node", folder.string(), error.message()));
    std::sort(files.begin(), files.end());
    return files;
}

YangTree read_native_file(const fs::path &file) {
    const std::string text = read_document(file);
    const bool is_xml = file.extension() == ".xml";
    try {
        return parse_native_document(text, is_xml ? DocumentFormat::xml : DocumentFormat::json);
    } catch (const std::runtime_error &error) {
        throw NodeError(fmt::format("{}: {}", file.string(), error.what()));
    }
}

void load_native_file(Database &database, const fs::path &file, YangTree &running,
                      std::map<std::string, std::string> &file_of_root) {
    YangTree tree = read_native_file(file);
    std::size_t roots = 0, configuration_roots = 0;
    for (const lyd_node *root = tree.first(); root != nullptr; root = root->next) {
        const auto [earlier, added] = file_of_root.emplace(data_path(*root), file.string());
        if (!added)
            throw NodeError(fmt::format("{}: {} is already in {}, expected each root in one file", file.string(),
                                        earlier->first, earlier->second));
        ++roots;
        configuration_roots += is_configuration(*root->schema) ? 1 : 0;
    }
    if (roots == 0)
        throw NodeError(fmt::format("{}: holds no data, expected the root of a native model", file.string()));
    if (configuration_roots == roots)
        running.add(std::move(tree));
    else if (roots == 1)
        store_operational(database, lyd_owner_module(tree.first())->name, tree);
    else
        throw NodeError(fmt::format("{}: expected configuration alone or one root of operational data", file.string()));
}

using ItemName = std::pair<std::string, std::string>; // bind point and name

void load_sysdb_file(SystemDatabase &system_database, const fs::path &file,
                     std::map<ItemName, std::string> &file_of_item) {
    try {
        for (const SysdbItem &item : sysdb_items_from_json(read_document(file))) {
            const auto [earlier, added] = file_of_item.emplace(ItemName(item.bind_point, item.item), file.string());
            if (!added)
                throw NodeError(fmt::format("{}: item {}{} is already in {}, expected each item once", file.string(),
                                            item.bind_point, item.item, earlier->second));
            write_record(system_database, item.bind_point, item.item, item.bag);
        }
    } catch (const std::system_error &) {
        throw; // names the file already, and is no fault of the example
    } catch (const SqliteError &) {
        throw;
    } catch (const NodeError &) {
        throw;
    } catch (const std::runtime_error &error) {
        throw NodeError(fmt::format("{}: {}", file.string(), error.what()));
    }
}

} // namespace

std::vector<fs::path> load_example(Database &database, const fs::path &example) {
    std::vector<fs::path> passed_over;
    YangTree running;
    std::map<std::string, std::string> file_of_root;
    for (const fs::path &file : files_in(example / "native", {".json", ".xml"}, passed_over))
        load_native_file(database, file, running, file_of_root);
    store_running(database, running);
    SystemDatabase system_database(database);
    std::map<ItemName, std::string> file_of_item;
    for (const fs::path &file : files_in(example / "sysdb", {".json"}, passed_over))
        load_sysdb_file(system_database, file, file_of_item);
    std::sort(passed_over.begin(), passed_over.end());
    return passed_over;
}

} // namespace ocamp
