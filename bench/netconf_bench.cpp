// Requests a second and latency of the NETCONF server by the number of sessions, with a client that does nothing but
// ask; and what sessions cost that ask nothing. Writes JSON.
#include "support/netconf_client.h"
#include "support/server_program.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <fmt/format.h>

namespace {

using support::NetconfClient;
using support::ServerProgram;
using Clock = std::chrono::steady_clock;

constexpr std::string_view read_amplifier =
    "<get-config><source><running/></source><filter><optical-amplifier xmlns=\"http://openconfig.net/yang/"
    "optical-amplfier\"><amplifiers><amplifier><name>0/1-AMP-BST</name></amplifier></amplifiers></optical-amplifier>"
    "</filter></get-config>";

using Clients = std::vector<std::unique_ptr<NetconfClient>>;

Clients connect(const ServerProgram &server, std::size_t count) {
    Clients clients;
    for (std::size_t i = 0; i < count; ++i) {
        clients.push_back(std::make_unique<NetconfClient>(server.port(), ServerProgram::user, ServerProgram::password));
        clients.back()->greet();
    }
    return clients;
}

double milliseconds(Clock::duration duration) {
    return std::chrono::duration<double, std::milli>(duration).count();
}

std::string measure(const ServerProgram &server, std::size_t sessions, std::chrono::seconds duration) {
    Clients clients = connect(server, sessions);
    std::vector<std::vector<double>> latencies(sessions);
    std::vector<std::thread> threads;
    const Clock::time_point begin = Clock::now(), end = begin + duration;
    for (std::size_t i = 0; i < sessions; ++i) {
        threads.emplace_back([&client = *clients[i], &mine = latencies[i], end] {
            while (Clock::now() < end) {
                const Clock::time_point asked = Clock::now();
                if (client.ask(read_amplifier).find("<target-gain>") == std::string::npos)
                    throw support::ClientError("a wrong answer");
                mine.push_back(milliseconds(Clock::now() - asked));
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    const double took = milliseconds(Clock::now() - begin) / 1000;
    std::vector<double> all;
    for (const auto &each : latencies)
        all.insert(all.end(), each.begin(), each.end());
    std::sort(all.begin(), all.end());
    return fmt::format(R"({{"sessions": {}, "requests_per_second": {:.0f}, "median_ms": {:.2f}, "p99_ms": {:.2f}}})",
                       sessions, static_cast<double>(all.size()) / took, all[all.size() / 2],
                       all[all.size() * 99 / 100]);
}

std::string measure_idle(const ServerProgram &server, std::size_t sessions, std::chrono::seconds duration) {
    const std::size_t before = server.memory();
    const Clients clients = connect(server, sessions);
    const std::size_t memory = server.memory();
    const long begun = server.processor_time();
    std::this_thread::sleep_for(duration);
    return fmt::format(R"({{"sessions": {}, "seconds": {}, "processor_ms": {}, "kib_per_session": {}}})", sessions,
                       duration.count(), server.processor_time() - begun, (memory - before) / 1024 / sessions);
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 5) {
        std::fprintf(stderr, "usage: netconf_bench OCAMP OCAMPD EXAMPLE SECONDS\n");
        return 2;
    }
    try {
        const std::chrono::seconds duration(std::stoi(argv[4]));
        const ServerProgram server({argv[1], argv[2], argv[3]});
        const std::string idle = measure_idle(server, 64, duration);
        std::string rows;
        for (const std::size_t sessions : {1U, 8U, 64U})
            rows += (rows.empty() ? "" : ",\n    ") + measure(server, sessions, duration);
        std::printf("{\"netconf\": [\n    %s],\n \"idle\": %s}\n", rows.c_str(), idle.c_str());
        return 0;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "netconf_bench: %s\n", error.what());
        return 1;
    }
}
