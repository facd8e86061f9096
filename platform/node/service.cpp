// What surrounds a read or an edit: the transaction, the system database, the logs. Knows neither command lines nor
// protocols.
#include "node/service.h"

#include "log/log.h"
#include "log/stages.h"
#include "seam/failure.h"
#include "sysdb/current_system_database.h"
#include "yang/models.h"

namespace ocamp {

Service::Service(const ServiceSettings &settings)
    : logs_(logs_outside(settings.node, settings.logs)), folder_(settings.node),
      node_(logged([&] { return Node(folder_, Node::Access::read); })),
      plugin_(logged([&] { return Plugin(settings.plugin.empty() ? Plugin::default_file() : settings.plugin); })) {}

ReadResult Service::read(std::uint32_t kind, const Filter &filter, ReadReport *report) {
    return logged([&] {
        const CurrentSystemDatabase current(node_.system_database());
        const ReadTransaction snapshot(node_.database());
        native_ = load_native(node_.database(), native_schema(), std::move(native_));
        ReadResult result;
        run_watched([&] { result = Reader(plugin_, logs_).read(native_, kind, filter, report); });
        return result;
    });
}

void Service::edit(const EditRequest &request) {
    logged([&] {
        Node node(folder_, Node::Access::write);
        const CurrentSystemDatabase current(node.system_database());
        Transaction transaction(node.database());
        NativeData data = load_native(node.database(), native_schema());
        run_watched([&] { Editor(plugin_, logs_).edit(data, request, nullptr); });
        const StageMark stage(Stage::commit);
        store_running(node.database(), data.running.tree());
        transaction.commit("the edit is made");
    });
}

void Service::try_edit(const EditRequest &request, EditReport &report) {
    logged([&] {
        const CurrentSystemDatabase current(node_.system_database());
        const ReadTransaction snapshot(node_.database());
        NativeData data = load_native(node_.database(), native_schema());
        run_watched([&] { Editor(plugin_, logs_).edit(data, request, &report); });
    });
}

} // namespace ocamp
