// How requests are put together.
#include "gnmi/requests.h"

#include "gnmi/path_text.h"
#include "gnmi/value.h"
#include "seam/input_error.h"
#include "seam/text.h"
#include "text_io.h"

#include <fmt/format.h>

namespace ocamp::gnmi_client {

namespace {

template <class Request>
void set_prefix(Request &request, const Place &place) {
    if (place.prefix.empty() && place.origin.empty() && place.prefix_target.empty())
        return;
    ::gnmi::Path prefix = place.prefix.empty() ? ::gnmi::Path() : path_of(place.prefix);
    if (!place.origin.empty() && !prefix.origin().empty())
        throw InputError("--origin: --prefix names an origin, too, expected one of them");
    if (!place.origin.empty())
        prefix.set_origin(place.origin);
    prefix.set_target(place.prefix_target);
    *request.mutable_prefix() = std::move(prefix);
}

template <class Request>
void set_depth(Request &request, const Place &place) {
    if (place.depth != 0)
        request.add_extension()->mutable_depth()->set_level(place.depth);
}

using Updates = google::protobuf::RepeatedPtrField<::gnmi::Update>;

void add_updates(Updates &updates, const Operations &operations, Encoding encoding, std::string_view kind) {
    const bool from_files = !operations.files.empty();
    const std::vector<std::string> &sources = from_files ? operations.files : operations.values;
    if (sources.size() != operations.paths.size())
        throw InputError(fmt::format("--{0}-path: {1} given and {2} of --{0}-{3}, expected as many", kind,
                                     operations.paths.size(), sources.size(), from_files ? "file" : "value"));
    for (std::size_t i = 0; i < sources.size(); ++i) {
        ::gnmi::Update &update = *updates.Add();
        *update.mutable_path() = path_of(operations.paths[i]);
        *update.mutable_val() =
            value_of(from_files ? read_input(sources[i]) : sources[i], encoding, operations.paths[i]);
    }
}

google::protobuf::Duration to_message(Nanoseconds time) {
    constexpr std::uint64_t second = 1000000000;
    google::protobuf::Duration message;
    message.set_seconds(static_cast<std::int64_t>(time.count() / second));
    message.set_nanos(static_cast<std::int32_t>(time.count() % second));
    return message;
}

void set_commit(::gnmi::SetRequest &request, const Changes &changes) {
    if (changes.commit_id.empty())
        return;
    ::gnmi_ext::Commit &commit = *request.add_extension()->mutable_commit();
    commit.set_id(changes.commit_id);
    const bool has_duration = changes.rollback_duration.count() != 0;
    if (changes.commit_request) {
        commit.mutable_commit();
        if (has_duration)
            *commit.mutable_commit()->mutable_rollback_duration() = to_message(changes.rollback_duration);
    } else if (changes.commit_confirm) {
        commit.mutable_confirm();
    } else if (changes.commit_cancel) {
        commit.mutable_cancel();
    } else if (has_duration) {
        *commit.mutable_set_rollback_duration()->mutable_rollback_duration() = to_message(changes.rollback_duration);
    } else {
        throw InputError("--commit-id: expected one of --commit-request, --commit-confirm, --commit-cancel and "
                         "--rollback-duration with it");
    }
}

} // namespace

::gnmi::GetRequest get_request(const Options &options) {
    ::gnmi::GetRequest request;
    set_prefix(request, options.place);
    for (const std::string &path : options.place.paths)
        *request.add_path() = path_of(path);
    request.set_type(static_cast<::gnmi::GetRequest::DataType>(options.type));
    request.set_encoding(static_cast<::gnmi::Encoding>(options.place.encoding));
    set_depth(request, options.place);
    return request;
}

::gnmi::SetRequest set_request(const Options &options) {
    const Changes &changes = options.changes;
    ::gnmi::SetRequest request;
    set_prefix(request, options.place);
    for (const std::string &path : changes.deletes)
        *request.add_delete_() = path_of(path);
    add_updates(*request.mutable_replace(), changes.replaces, options.place.encoding, "replace");
    add_updates(*request.mutable_update(), changes.updates, options.place.encoding, "update");
    add_updates(*request.mutable_union_replace(), changes.union_replaces, options.place.encoding, "union-replace");
    set_commit(request, changes);
    if (request.delete__size() + request.replace_size() + request.update_size() + request.union_replace_size() +
            request.extension_size() ==
        0)
        throw InputError("nothing to change, expected --delete, --update-path, --replace-path, --union-replace-path or "
                         "--commit-id");
    return request;
}

::gnmi::SubscribeRequest subscribe_request(const Options &options) {
    const Subscriptions &wanted = options.subscriptions;
    ::gnmi::SubscribeRequest request;
    ::gnmi::SubscriptionList &list = *request.mutable_subscribe();
    set_prefix(list, options.place);
    list.set_mode(static_cast<::gnmi::SubscriptionList::Mode>(wanted.mode));
    list.set_encoding(static_cast<::gnmi::Encoding>(options.place.encoding));
    list.set_updates_only(wanted.updates_only);
    for (const std::string &path : options.place.paths) {
        ::gnmi::Subscription &subscription = *list.add_subscription();
        *subscription.mutable_path() = path_of(path);
        subscription.set_mode(static_cast<::gnmi::SubscriptionMode>(wanted.stream_mode));
        subscription.set_sample_interval(wanted.sample_interval.count());
        subscription.set_heartbeat_interval(wanted.heartbeat_interval.count());
        subscription.set_suppress_redundant(wanted.suppress_redundant);
    }
    set_depth(request, options.place);
    return request;
}

} // namespace ocamp::gnmi_client
