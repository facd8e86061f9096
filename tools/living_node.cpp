// How a single node is kept alive. Knows nothing of what is computed.
#include "living_node.h"

#include "line/single_node.h"

#include <csignal>

#include <unistd.h>

namespace ocamp {

LivingNode::LivingNode(const std::filesystem::path &node, server::EventLog &log)
    : line_(line_of_node(node), {.warn =
                                     [&log](const std::string &text) {
                                         log.write(server::Severity::warning, "live-data", {{"reason", text}});
                                     },
                                 .on_event =
                                     [this](std::uint64_t second, const std::string &words) {
                                         if (core_ != nullptr)
                                             core_->tell({.second = second, .words = words});
                                     }}) {
    line_.step();
}

void LivingNode::begin(server::Core &core) {
    core_ = &core;
    thread_ = std::thread([this, &core] { live(core); });
}

void LivingNode::live(server::Core &core) {
    try {
        const auto tell = [&core](const Lag &lag) {
            core.log().write(server::Severity::warning, "node-is-late", {{"reason", lag.words()}});
        };
        run_at_pace(line_, {.stop = [this] { return ending_.load(); }, .on_lag = tell});
    } catch (const std::exception &error) {
        core.log().write(server::Severity::error, "node-stands-still", {{"reason", error.what()}});
        failure_ = std::current_exception();
        stands_still_ = true;
        // Readings that stand still are none: the server ends as when it is asked to.
        kill(getpid(), SIGTERM);
    }
}

void LivingNode::check() const {
    if (failure_)
        std::rethrow_exception(failure_);
}

void LivingNode::end() {
    ending_ = true;
    if (thread_.joinable())
        thread_.join();
}

} // namespace ocamp
