// What surrounds a read or an edit: the transaction, the system database, the logs. Knows neither command lines nor
// protocols.
#include "node/service.h"

#include "node/stages.h"
#include "sysdb/current_system_database.h"

namespace ocamp {

namespace {

// What is read while it lives is of one state of the database.
class Snapshot {
  public:
    explicit Snapshot(Database &database) : database_(database) { database_.exec("BEGIN;"); }
    ~Snapshot() {
        try {
            database_.exec("ROLLBACK;");
        } catch (const SqliteError &error) {
            debug_log_line(kLogErrors, error.what());
        }
    }
    Snapshot(const Snapshot &) = delete;
    Snapshot &operator=(const Snapshot &) = delete;

  private:
    Database &database_;
};

} // namespace

Service::Service(const ServiceSettings &settings)
    : logs_(settings.logs), node_(settings.node),
      plugin_(settings.plugin.empty() ? Plugin::default_file() : settings.plugin) {}

ReadResult Service::read(std::uint32_t kind, const Filter &filter, ReadReport *report) {
    const CurrentSystemDatabase current(node_.system_database());
    const Snapshot snapshot(node_.database());
    const NativeData data = load_native(node_.database(), native_schema());
    return Reader(plugin_, logs_).read(data, kind, filter, report);
}

void Service::edit(const EditRequest &request) {
    const CurrentSystemDatabase current(node_.system_database());
    Transaction transaction(node_.database());
    NativeData data = load_native(node_.database(), native_schema());
    Editor(plugin_, logs_).edit(data, request, nullptr);
    const StageMark stage(Stage::commit);
    store_running(node_.database(), data.running.get());
    transaction.commit();
}

void Service::try_edit(const EditRequest &request, EditReport &report) {
    const CurrentSystemDatabase current(node_.system_database());
    const Snapshot snapshot(node_.database());
    NativeData data = load_native(node_.database(), native_schema());
    Editor(plugin_, logs_).edit(data, request, &report);
}

} // namespace ocamp
