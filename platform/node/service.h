// A node as its clients see it: reads and edits of OpenConfig data, each against one state of the node's database.
// Knows neither command lines nor protocols.
#pragma once

#include "log/log.h"
#include "node/editor.h"
#include "node/node.h"
#include "node/plugin.h"
#include "node/reader.h"

#include <cstdint>
#include <filesystem>
#include <string>

namespace ocamp {

/// What a service needs to know.
struct ServiceSettings {
    std::filesystem::path node;
    std::string plugin; ///< empty: the one beside this program
    LogSettings logs = {};
};

/// One request at a time. Each throws PlatformFailure or DamageError when it met something damaged, SqliteError when
/// the file failed it: there is no answer that is merely smaller.
class Service {
  public:
    /// Throws PluginError, LogError, and what Node's constructor throws.
    explicit Service(const ServiceSettings &settings);

    /// As Reader::read. `report` may be NULL: nothing is told then.
    ReadResult read(std::uint32_t kind, const Filter &filter, ReadReport *report = nullptr);
    /// Carries the edit out in one transaction; when it returns, the change is on the disk. After a RequestError
    /// nothing has changed.
    void edit(const EditRequest &request);
    /// As edit, but changes nothing. Tells in `report` how far it came before a RequestError.
    void try_edit(const EditRequest &request, EditReport &report);

  private:
    LogSession logs_;
    std::filesystem::path folder_;
    Node node_;
    NativeData native_; // as the last read met it
    Plugin plugin_;
};

} // namespace ocamp
