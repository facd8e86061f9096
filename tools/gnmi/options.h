// The command line of the gNMI client. Knows neither the protocol's messages nor how they travel, so that ocamp, which
// links neither, has its help, its checks and its man pages.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace ocamp::gnmi_client {

// The numbers of these are the protocol's.
enum class Encoding { json = 0, bytes = 1, proto = 2, ascii = 3, json_ietf = 4 };
enum class DataType { all = 0, config = 1, state = 2, operational = 3 };
enum class ListMode { stream = 0, once = 1, poll = 2 };
enum class StreamMode { target_defined = 0, on_change = 1, sample = 2 };

enum class Rpc { capabilities, get, set, subscribe };
/// How answers are written: an object a line, or a leaf a line.
enum class Output { json, flat };
using Nanoseconds = std::chrono::duration<std::uint64_t, std::nano>;

/// Where the target is, and who asks it.
struct Connection {
    std::string target; ///< HOST:PORT
    std::string username, password_file;
    std::string ca_file, certificate_file, key_file; ///< PEM
    std::string server_name;                         ///< in the target's certificate; empty: the host's
    bool insecure = false, skip_verify = false;
    Nanoseconds timeout = std::chrono::seconds(10);
    unsigned max_message = 64U << 20U; ///< bytes
};

/// What all requests that name paths share.
struct Place {
    std::string prefix, origin, prefix_target; ///< empty: none
    std::vector<std::string> paths;
    Encoding encoding = Encoding::json;
    std::uint32_t depth = 0; ///< 0: no limit
};

/// Operations of one kind: as many values or files of values as paths.
struct Operations {
    std::vector<std::string> paths, values, files;
};

/// What a Set changes.
struct Changes {
    std::vector<std::string> deletes;
    Operations replaces, updates, union_replaces;
    std::string commit_id; ///< empty: no commit that wants a confirmation
    bool commit_request = false, commit_confirm = false, commit_cancel = false;
    Nanoseconds rollback_duration{0}; ///< 0: the target's own
};

/// What a Subscribe wants, beside its paths.
struct Subscriptions {
    ListMode mode = ListMode::stream;
    StreamMode stream_mode = StreamMode::target_defined;
    Nanoseconds sample_interval{0}, heartbeat_interval{0};
    bool suppress_redundant = false, updates_only = false;
};

struct Options {
    Connection connection;
    Place place;
    DataType type = DataType::all;
    Changes changes;
    Subscriptions subscriptions;
    Output output = Output::json;
    bool json_errors = false;
};

/// Carries a command out.
using Run = std::function<void(const CLI::App &command, Rpc rpc, const Options &options)>;

/// Adds a command for each RPC.
void add_rpc_commands(CLI::App &above, const Run &run);

/// A time with its unit, such as "500ms", "10s" or "1m30s". Throws InputError.
Nanoseconds duration_of(const std::string &text);

} // namespace ocamp::gnmi_client
