// A node: a folder with one database file that holds its native data and its system database. Knows neither the
// plug-in nor OpenConfig requests.
#pragma once

#include "node/native_data.h"
#include "node/schema.h"
#include "sysdb/system_database.h"

#include <filesystem>
#include <stdexcept>
#include <string>

namespace ocamp {

// A folder that is no node, or an example that none can be made from. The text names file and place.
class NodeError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// The models that clients speak, and those that the node speaks.
const Schema &openconfig_schema();
const Schema &native_schema();

class Node {
  public:
    // Makes a node in `folder`, which may exist but must hold no node, from an example: the documents in native/ and
    // the records in sysdb/. Nothing is left behind when it fails. Throws NodeError.
    static void init(const std::filesystem::path &folder, const std::filesystem::path &example);

    // Throws NodeError when the folder holds no node.
    explicit Node(const std::filesystem::path &folder);

    Database &database() noexcept { return database_; }
    SystemDatabase &system_database() noexcept { return system_database_; }

  private:
    Database database_;
    SystemDatabase system_database_;
};

} // namespace ocamp
