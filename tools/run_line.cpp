// A line that runs. Where its nodes are served: one core and its adapters a node, beside the thread that steps the
// line. Knows neither protocols nor what is computed.
#include "run_line.h"

#include "line_options.h"
#include "options.h"
#include "output.h"
#include "serving.h"

#include "line/folder.h"
#include "line/run.h"
#include "node/plugin.h"
#include "seam/text.h"
#include "server/served_modules.h"

#include <charconv>
#include <ctime>
#include <deque>
#include <string_view>

#include <fmt/format.h>

namespace ocamp {

namespace {

using server::EventLog;
using server::LogFormat;

// The addresses that nodes are served at by one protocol, one after the other.
class Ports {
  public:
    Ports(const char *option, const std::string &base) : option_(option) {
        const std::size_t colon = base.rfind(':');
        const std::string_view port = std::string_view(base).substr(colon == std::string::npos ? 0 : colon + 1);
        host_ = colon == std::string::npos ? "127.0.0.1" : base.substr(0, colon);
        const auto [end, error] = std::from_chars(port.data(), port.data() + port.size(), next_);
        if (error != std::errc() || end != port.data() + port.size() || next_ > last_port)
            throw InputError(fmt::format("{}: '{}', expected PORT or ADDRESS:PORT", option_, escaped(base)));
        any_ = next_ == 0;
    }

    std::string next() {
        if (next_ > last_port)
            throw InputError(
                fmt::format("{}: no port is left above {} for all nodes, expected a lower one", option_, last_port));
        return fmt::format("{}:{}", host_, any_ ? 0 : next_++);
    }

  private:
    static constexpr unsigned last_port = 65535;

    const char *option_;
    std::string host_;
    unsigned next_ = 0;
    bool any_ = false; // free ports
};

std::vector<ServedSockets> sockets_of(const LineRunOptions &options, std::size_t nodes) {
    std::vector<ServedSockets> sockets(nodes);
    const auto listen = [&](const char *protocol, const char *option, const std::string &base) {
        if (base.empty())
            return;
        Ports ports(option, base);
        for (ServedSockets &of_node : sockets)
            of_node[protocol] = server::listen_on(ports.next());
    };
    listen("netconf", netconf_base_option, options.netconf_base);
    listen("gnmi", gnmi_base_option, options.gnmi_base);
    return sockets;
}

// A node of the line to its clients.
class LineNode {
  public:
    LineNode(const std::filesystem::path &folder, const std::filesystem::path &line, const std::string &plugin,
             ServedSockets sockets, const server::TlsSettings &tls)
        : name_(folder.filename().string()), log_(LogFormat::text, STDERR_FILENO, name_),
          core_({.service = {.node = folder, .plugin = plugin}, .users_of = line}, log_),
          serving_(core_, std::move(sockets), {.tls = tls}) {}

    std::string line() const { return fmt::format("{}:{}\n", name_, serving_.addresses()); }
    void tell(const server::PlantEvent &event) { core_.tell(event); }
    void reload() { serving_.reload(); }
    void stop_core() { core_.stop(); }
    void stop_serving() { serving_.stop(); }

  private:
    std::string name_;
    EventLog log_;
    server::Core core_;
    Serving serving_;
};

using LineNodes = std::deque<LineNode>; // which cannot be moved

// Takes signals that have come: true when one asks for the end.
bool is_ended_by_signal(LineNodes &nodes) {
    const sigset_t signals = awaited_signals();
    const timespec at_once{};
    for (;;) {
        const int signal = sigtimedwait(&signals, nullptr, &at_once);
        if (signal < 0)
            return false;
        if (signal != SIGHUP)
            return true;
        for (LineNode &node : nodes)
            node.reload();
    }
}

// Serves each node of the line. Returns what tells their addresses.
std::string serve(const LineRunOptions &options, const LineRun &line, std::vector<ServedSockets> sockets,
                  LineNodes &nodes) {
    const std::string plugin = Plugin::default_file();
    server::served_modules();
    std::string addresses;
    for (const std::filesystem::path &folder : line.node_folders()) {
        nodes.emplace_back(folder, options.folder, plugin, std::move(sockets[nodes.size()]), options.tls);
        addresses += nodes.back().line();
    }
    return addresses;
}

void run(const LineRunOptions &options) {
    const double speed = options.seconds_a_second();
    const std::size_t count = line_of_folder(options.folder).nodes.size();
    std::vector<ServedSockets> sockets = sockets_of(options, count);
    LineNodes nodes;
    RunSettings settings = options.settings();
    settings.on_event = [&](std::uint64_t second, const std::string &words) {
        for (LineNode &node : nodes)
            node.tell({.second = second, .words = words});
    };
    // First, as a node is opened with its live data.
    LineRun line(options.folder, std::move(settings));
    const std::string addresses = options.serves() ? serve(options, line, std::move(sockets), nodes) : "";
    options.warn_if_over(line);
    tell_of_run(fmt::format("{}second {}: {} nodes run\n", addresses, line.second(), count));
    bool ended = false; // a signal comes once, and the run asks often
    const auto stop = [&] { return ended = ended || is_ended_by_signal(nodes); };
    run_at_pace(line, {.speed = speed, .until = options.until, .stop = stop, .on_lag = tell_of_lag});
    finish_output(fmt::format("second {}: stopped\n", line.second()), "");
    end_in_time();
    for (LineNode &node : nodes)
        node.stop_core();
    for (LineNode &node : nodes)
        node.stop_serving();
}

} // namespace

int run_line(int argc, char **argv) {
    CLI::App program("Runs a line and serves its nodes, if it is to.", "ocamp line run");
    LineRunOptions options;
    add_line_run_options(program, options);
    if (const std::optional<int> status = read_command_line(program, argc, argv))
        return *status;
    run(options);
    return 0;
}

} // namespace ocamp
