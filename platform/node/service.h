// A node as its clients see it: reads and edits of OpenConfig data, each against one state of the node's database.
// Knows neither command lines nor protocols.
#pragma once

#include "log/log.h"
#include "node/configuration_lock.h"
#include "node/editor.h"
#include "node/history.h"
#include "node/node.h"
#include "node/plugin.h"
#include "node/reader.h"
#include "node/why.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
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
    /// Why the leaves under a path, or of the whole model, have the values that a read gives, or none. What a read
    /// would be refused or fail for is part of the answer, unless the node itself cannot be read.
    WhyReport why(std::uint32_t kind, const Filter &filter);
    /// As history_of, of this node.
    std::vector<LeafHistory> history(const Filter &filter);
    /// Carries the edit out in one transaction; when it returns, the change is on the disk. After a RequestError
    /// nothing has changed. `tell` is called before anything is stored: what it makes ready to be told needs no memory
    /// once the edit is made.
    void edit(const EditRequest &request, const std::function<void(const EditOutcome &outcome)> &tell = nullptr);
    /// What one state of the node is looked at and tried on with.
    struct View {
        const NativeData &data;
        const Reader &reader;
        const Editor &editor;
    };
    /// Runs `look` on one state of the node; what it throws comes out.
    void look(const std::function<void(const View &view)> &look);
    /// Runs `change` on the state that it changes, in one transaction, and stores the running configuration that it
    /// leaves; when this returns, that is on the disk. Nothing has changed when `change` throws, which comes out.
    void change(const std::function<void(NativeData &data, const Reader &reader, const Editor &editor)> &change);
    /// What tells this moment's content of the node from another's, whoever changes it.
    Database::State state();

    /// Keeps other processes from changing the configuration until unlock_configuration. Throws RequestError with
    /// lock_denied when one does so just then and for longer than a second, or keeps this one from it.
    void lock_configuration();
    void unlock_configuration() noexcept { lock_.reset(); }

    /// As edit, but changes nothing. Tells in `report` how far it came before a RequestError.
    EditOutcome try_edit(const EditRequest &request, EditReport &report);

  private:
    LogSession logs_;
    std::filesystem::path folder_;
    Node node_;
    NativeData native_; // as the last read met it
    Plugin plugin_;
    std::optional<ConfigurationLock> lock_; // the whole of it
};

} // namespace ocamp
