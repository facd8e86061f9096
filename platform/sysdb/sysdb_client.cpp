// The system-database calls of the seam, over the current system database. They check handles and arguments and turn
// failures into codes and debug-log lines. Knows nothing of what is in the records.
#include "log/log.h"
#include "seam/calls.h"
#include "seam/data_flow.h"
#include "seam/guard.h"
#include "seam/handle_table.h"
#include "sysdb/current_system_database.h"
#include "sysdb/record_reader.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include <fmt/format.h>

namespace {

using ocamp::Code;
using ocamp::CurrentSystemDatabase;
using ocamp::Quoted;
using ocamp::refuse;

// Value of the datatype word of a listing.
constexpr std::uint32_t listed_item = 0, listed_folder = 1;

struct Binding {
    const CurrentSystemDatabase *opened_under;
    std::string bind_point;
};

struct Listing {
    const CurrentSystemDatabase *opened_under;
    std::vector<std::string> names;
    std::size_t next = 0;
};

// Of the run of this thread: a server of many nodes has a thread for each.
thread_local constinit CurrentSystemDatabase *current_guard = nullptr;

ocamp::HandleTable<Binding> &open_bindings() {
    static ocamp::HandleTable<Binding> bindings;
    return bindings;
}

ocamp::HandleTable<Listing> &open_listings() {
    static ocamp::HandleTable<Listing> listings;
    return listings;
}

// The binding behind a handle; NULL when it is not open, or was opened under a database that is not the current one.
const Binding *usable_binding(void *handle) noexcept {
    const Binding *binding = open_bindings().find(handle);
    return binding != nullptr && binding->opened_under == current_guard ? binding : nullptr;
}

template <class Body>
cerrno guarded_access(const char *function, Body body) noexcept {
    return ocamp::guarded(function, [&]() -> cerrno {
        try {
            return body();
        } catch (const ocamp::SqliteError &error) {
            return ocamp::fail(function, ocamp::rc_database, error.what());
        } catch (const ocamp::DamageError &error) {
            return ocamp::fail(function, ocamp::rc_malformed_record, error.what());
        } catch (const ocamp::SysdbNameError &error) {
            return refuse(function, ocamp::rc_invalid_argument, error.what());
        }
    });
}

cerrno bind(const char *function, void **handle, const char *bind_point, std::uint32_t zero) {
    if (handle == nullptr || bind_point == nullptr || zero != 0)
        return refuse(function, ocamp::rc_invalid_argument, "no handle, no bind point, or a last word that is not 0");
    if (current_guard == nullptr)
        return SYSDB_RC_UNAVAILABLE;
    ocamp::check_bind_point(bind_point);
    *handle = open_bindings().open(Binding{current_guard, bind_point});
    return CERR_SUCCESS;
}

cerrno get_item(const char *function, void *handle, const char *item, void **bag_data, std::uint32_t *bag_len) {
    const Binding *binding = usable_binding(handle);
    if (binding == nullptr)
        return refuse(function, ocamp::rc_bad_handle, "the binding is not open");
    const auto tell_item = [&](cerrno code, std::string_view failure) {
        ocamp::tell_data_flow(
            [&](ocamp::DataFlowObserver &observer) { observer.on_item(binding->bind_point, item, code, failure); });
    };
    const auto bag = [&] {
        try {
            return ocamp::read_record(current_guard->database(), binding->bind_point, item);
        } catch (const std::exception &error) {
            tell_item(ocamp::rc_database, error.what());
            throw;
        }
    }();
    tell_item(bag ? CERR_SUCCESS : ocamp::rc_not_found, "");
    if (!bag) {
        // No error: the plug-in asks for values that a node need not have.
        ocamp::debug_log_line(ocamp::log_traces, fmt::format("{}: no item {}{}", function, binding->bind_point, item));
        return ocamp::rc_not_found;
    }
    void *block = std::malloc(bag->size());
    if (block == nullptr)
        throw std::bad_alloc();
    std::memcpy(block, bag->data(), bag->size());
    *bag_data = block;
    *bag_len = static_cast<std::uint32_t>(bag->size());
    return CERR_SUCCESS;
}

cerrno list(const char *function, void *handle, const char *folder, std::uint32_t *count, void **list_handle) {
    const Binding *binding = usable_binding(handle);
    if (binding == nullptr)
        return refuse(function, ocamp::rc_bad_handle, "the binding is not open");
    auto names = current_guard->database().list(binding->bind_point, folder);
    ocamp::tell_data_flow([&](ocamp::DataFlowObserver &observer) { observer.on_listing(binding->bind_point, folder); });
    *count = static_cast<std::uint32_t>(names.size());
    *list_handle = open_listings().open(Listing{current_guard, std::move(names)});
    return CERR_SUCCESS;
}

cerrno list_next(const char *function, void *list_handle, const char **item_name, std::uint32_t *datatype) {
    Listing *listing = open_listings().find(list_handle);
    if (listing == nullptr)
        return refuse(function, ocamp::rc_bad_handle, "the listing is not open");
    if (listing->next == listing->names.size()) {
        ocamp::tell_data_flow([](ocamp::DataFlowObserver &observer) { observer.on_listed(""); });
        return CERR_SUCCESS;
    }
    const std::string &name = listing->names[listing->next++];
    ocamp::tell_data_flow([&](ocamp::DataFlowObserver &observer) { observer.on_listed(name); });
    *item_name = name.c_str();
    *datatype = name.ends_with('/') ? listed_folder : listed_item;
    return CERR_SUCCESS;
}

} // namespace

namespace ocamp {

CurrentSystemDatabase::CurrentSystemDatabase(SystemDatabase &database) noexcept
    : database_(database), previous_(std::exchange(current_guard, this)) {}

CurrentSystemDatabase::~CurrentSystemDatabase() {
    const auto opened_here = [this](const auto &object) { return object.opened_under == this; };
    const std::size_t left = open_bindings().close_if(opened_here) + open_listings().close_if(opened_here);
    current_guard = previous_;
    if (left != 0)
        guarded("CurrentSystemDatabase", [left] {
            return refuse("CurrentSystemDatabase", rc_bad_handle,
                          fmt::format("{} bindings or listings were left open", left));
        });
}

CurrentSystemDatabase *CurrentSystemDatabase::current() noexcept {
    return current_guard;
}

} // namespace ocamp

extern "C" {

cerrno _sysdb_bind(void **handle, const char *bind_point, uint32_t zero) {
    if (handle != nullptr)
        *handle = nullptr;
    const char *const function = __func__;
    const cerrno rc = guarded_access(function, [&] { return bind(function, handle, bind_point, zero); });
    ocamp::record_call(function, Code{rc}, Quoted{bind_point});
    return rc;
}

cerrno _sysdb_unbind(void *handle) {
    const cerrno rc = open_bindings().close(handle) ? CERR_SUCCESS
                                                    : refuse(__func__, ocamp::rc_bad_handle, "the binding is not open");
    ocamp::record_call(__func__, Code{rc});
    return rc;
}

// `*info_word` is always 0.
cerrno sysdb_item_get(void *handle, const char *item_path, uint32_t *info_word, void **bag_data, uint32_t *bag_len,
                      uint32_t zero) {
    const char *const function = __func__;
    if (info_word != nullptr)
        *info_word = 0;
    if (bag_data != nullptr)
        *bag_data = nullptr;
    if (bag_len != nullptr)
        *bag_len = 0;
    const cerrno rc = guarded_access(function, [&]() -> cerrno {
        if (item_path == nullptr || info_word == nullptr || bag_data == nullptr || bag_len == nullptr || zero != 0)
            return refuse(function, ocamp::rc_invalid_argument,
                          "no item, no place for a result, or a last word that is not 0");
        return get_item(function, handle, item_path, bag_data, bag_len);
    });
    ocamp::record_call(function, Code{rc}, Quoted{item_path});
    return rc;
}

// `pattern` is empty, or a folder that ends in "/". `*list_info` is always 0.
cerrno sysdb_list(void *handle, const char *pattern, uint32_t *list_info, uint32_t *count, void **list_handle,
                  uint32_t zero) {
    const char *const function = __func__;
    if (list_info != nullptr)
        *list_info = 0;
    if (count != nullptr)
        *count = 0;
    if (list_handle != nullptr)
        *list_handle = nullptr;
    const cerrno rc = guarded_access(function, [&]() -> cerrno {
        if (pattern == nullptr || list_info == nullptr || count == nullptr || list_handle == nullptr || zero != 0)
            return refuse(function, ocamp::rc_invalid_argument,
                          "no pattern, no place for a result, or a last word that is not 0");
        return list(function, handle, pattern, count, list_handle);
    });
    ocamp::record_call(function, Code{rc}, Quoted{pattern});
    return rc;
}

// `*datatype` is 1 for a folder, else 0.
cerrno sysdb_list_next(void *list_handle, const char **item_name, uint32_t *datatype, uint32_t zero) {
    const char *const function = __func__;
    if (item_name != nullptr)
        *item_name = nullptr;
    if (datatype != nullptr)
        *datatype = 0;
    const cerrno rc = guarded_access(function, [&]() -> cerrno {
        if (item_name == nullptr || datatype == nullptr || zero != 0)
            return refuse(function, ocamp::rc_invalid_argument, "no place for a result, or a last word that is not 0");
        return list_next(function, list_handle, item_name, datatype);
    });
    ocamp::record_call(function, Code{rc}, Quoted{item_name == nullptr ? nullptr : *item_name});
    return rc;
}

cerrno sysdb_list_free(void *list_handle) {
    const cerrno rc = open_listings().close(list_handle)
                          ? CERR_SUCCESS
                          : refuse(__func__, ocamp::rc_bad_handle, "the listing is not open");
    ocamp::record_call(__func__, Code{rc});
    return rc;
}

} // extern "C"
