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

WhyReport Service::why(std::uint32_t kind, const Filter &filter) {
    return logged([&] {
        ObservedRead read{.kind = kind, .filter = filter};
        // What the device does not serve, the plug-in need not be asked for.
        if (const lysc_node *target = filter.path_target(); target != nullptr && !is_served(*target))
            return ocamp::why(read);
        const CurrentSystemDatabase current(node_.system_database());
        const ReadTransaction snapshot(node_.database());
        native_ = load_native(node_.database(), native_schema(), std::move(native_));
        try {
            run_watched([&] { read.result = Reader(plugin_, logs_).read_anyway(native_, kind, filter, &read.report); });
        } catch (const RequestError &error) {
            read.refusal = error.what();
        } catch (const PlatformFailure &error) {
            read.failure = error.what();
        }
        return ocamp::why(read);
    });
}

std::vector<LeafHistory> Service::history(const Filter &filter) {
    return logged([&] {
        const ReadTransaction snapshot(node_.database());
        std::vector<LeafHistory> leaves;
        run_watched([&] {
            leaves = history_of(load_native(node_.database(), native_schema()), node_.system_database(), filter,
                                Reader(plugin_, logs_));
        });
        return leaves;
    });
}

void Service::look(const std::function<void(const View &)> &look) {
    logged([&] {
        const CurrentSystemDatabase current(node_.system_database());
        const ReadTransaction snapshot(node_.database());
        native_ = load_native(node_.database(), native_schema(), std::move(native_));
        const Reader reader(plugin_, logs_);
        const Editor editor(plugin_, logs_);
        run_watched([&] { look({native_, reader, editor}); });
    });
}

Database::State Service::state() {
    return logged([&] {
        const ReadTransaction snapshot(node_.database());
        return node_.database().state();
    });
}

void Service::lock_configuration() {
    lock_.emplace(folder_, ConfigurationLock::Kind::whole, std::chrono::seconds(1));
}

void Service::change(const std::function<void(NativeData &, const Reader &, const Editor &)> &change) {
    logged([&] {
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
    });
}

void Service::edit(const EditRequest &request, const std::function<void(const EditOutcome &outcome)> &tell) {
    change([&](NativeData &data, const Reader &, const Editor &editor) {
        const EditOutcome outcome = editor.edit(data, request, nullptr);
        if (tell)
            tell(outcome);
    });
}

EditOutcome Service::try_edit(const EditRequest &request, EditReport &report) {
    return logged([&] {
        const CurrentSystemDatabase current(node_.system_database());
        const ReadTransaction snapshot(node_.database());
        NativeData data = load_native(node_.database(), native_schema());
        EditOutcome outcome;
        run_watched([&] { outcome = Editor(plugin_, logs_).edit(data, request, &report); });
        return outcome;
    });
}

} // namespace ocamp
