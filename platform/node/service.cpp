// What surrounds a read or an edit: the transaction, the system database, the logs. Knows neither command lines nor
// protocols.
#include "node/service.h"

#include "log/stages.h"
#include "seam/failure.h"
#include "sysdb/current_system_database.h"
#include "yang/models.h"

namespace ocamp {

Service::Service(const ServiceSettings &settings)
    : logs_(logs_outside(settings.node, settings.logs)), folder_(settings.node), node_(folder_, Node::Access::read),
      plugin_(settings.plugin.empty() ? Plugin::default_file() : settings.plugin) {}

ReadResult Service::read(std::uint32_t kind, const Filter &filter, ReadReport *report) {
    const CurrentSystemDatabase current(node_.system_database());
    const ReadTransaction snapshot(node_.database());
    native_ = load_native(node_.database(), native_schema(), std::move(native_));
    ReadResult result;
    run_watched([&] { result = Reader(plugin_, logs_).read(native_, kind, filter, report); });
    return result;
}

void Service::look(const std::function<void(const View &)> &look) {
    const CurrentSystemDatabase current(node_.system_database());
    const ReadTransaction snapshot(node_.database());
    native_ = load_native(node_.database(), native_schema(), std::move(native_));
    const Reader reader(plugin_, logs_);
    const Editor editor(plugin_, logs_);
    run_watched([&] { look({native_, reader, editor}); });
}

Database::State Service::state() {
    const ReadTransaction snapshot(node_.database());
    return node_.database().state();
}

void Service::lock_configuration() {
    lock_.emplace(folder_, ConfigurationLock::Kind::whole, std::chrono::seconds(1));
}

void Service::change(const std::function<void(NativeData &, const Reader &, const Editor &)> &change) {
    Node node(folder_, Node::Access::write);
    std::optional<ConfigurationLock> share;
    if (!lock_)
        share.emplace(folder_, ConfigurationLock::Kind::share, std::chrono::milliseconds(0));
    const CurrentSystemDatabase current(node.system_database());
    Transaction transaction(node.database());
    NativeData data = load_native(node.database(), native_schema());
    const Reader reader(plugin_, logs_);
    const Editor editor(plugin_, logs_);
    run_watched([&] { change(data, reader, editor); });
    const StageMark stage(Stage::commit);
    store_running(node.database(), data.running.tree());
    transaction.commit("the edit is made");
}

void Service::edit(const EditRequest &request) {
    change([&](NativeData &data, const Reader &, const Editor &editor) { editor.edit(data, request, nullptr); });
}

void Service::try_edit(const EditRequest &request, EditReport &report) {
    const CurrentSystemDatabase current(node_.system_database());
    const ReadTransaction snapshot(node_.database());
    NativeData data = load_native(node_.database(), native_schema());
    run_watched([&] { Editor(plugin_, logs_).edit(data, request, &report); });
}

} // namespace ocamp
