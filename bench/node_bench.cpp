// Times whole reads and edits of the example node in one process, with the seconds that each stage takes. Wall-clock
// time: an edit waits for the disk.
#include "log/stages.h"
#include "node/edit_request.h"
#include "node/filter.h"
#include "node/service.h"
#include "yang/models.h"

#include <benchmark/benchmark.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <vector>

namespace {

using namespace ocamp;
using Clock = std::chrono::steady_clock;

constexpr std::array<const char *, 11> stage_names{"database",      "parse",        "to_native", "look_up",
                                                   "to_openconfig", "put_together", "filter",    "apply",
                                                   "check",         "print",        "commit"};
static_assert(stage_names.size() == static_cast<std::size_t>(Stage::commit) + 1);

// Adds up the time that each stage takes while the clock lives.
class StageClock : public StageObserver {
  public:
    StageClock() { set_stage_observer(this); }
    ~StageClock() override { set_stage_observer(nullptr); }
    StageClock(const StageClock &) = delete;
    StageClock &operator=(const StageClock &) = delete;

    void enter(Stage stage) noexcept override {
        charge();
        open_.push_back(stage);
    }
    void leave() noexcept override {
        charge();
        open_.pop_back();
    }

    void show(benchmark::State &state) const {
        for (std::size_t stage = 0; stage < stage_names.size(); ++stage)
            state.counters[stage_names[stage]] = benchmark::Counter(
                std::chrono::duration<double>(spent_[stage]).count(), benchmark::Counter::kAvgIterations);
    }

  private:
    void charge() noexcept {
        const Clock::time_point now = Clock::now();
        if (!open_.empty())
            spent_[static_cast<std::size_t>(open_.back())] += now - since_;
        since_ = now;
    }

    std::vector<Stage> open_;
    std::array<Clock::duration, stage_names.size()> spent_ = {};
    Clock::time_point since_;
};

// The example node in a folder of its own, which is gone with it.
class ExampleNode {
  public:
    ExampleNode() {
        char folder[] = "/tmp/node-bench-XXXXXX";
        folder_ = mkdtemp(folder);
        Node::init(folder_ / "node", EXAMPLE_NODE);
    }
    ~ExampleNode() { std::filesystem::remove_all(folder_); }
    ExampleNode(const ExampleNode &) = delete;
    ExampleNode &operator=(const ExampleNode &) = delete;

    ServiceSettings settings() const { return {.node = folder_ / "node", .plugin = {}, .logs = {}}; }

  private:
    std::filesystem::path folder_;
};

void get(benchmark::State &state, const char *path) {
    const ExampleNode node;
    Service service(node.settings());
    const Filter filter = Filter::from_path(openconfig_schema(), path);
    const StageClock clock;
    for (auto iteration : state) {
        const ReadResult result = service.read(YFW_KIND_GET, filter);
        benchmark::DoNotOptimize(result.answer.print(LYD_JSON));
    }
    clock.show(state);
}

void edit(benchmark::State &state) {
    const auto gain = [](const std::string &value) {
        return EditRequest(openconfig_schema(),
                           R"({"openconfig-optical-amplifier:optical-amplifier":{"amplifiers":{"amplifier":[{)"
                           R"("name":"0/2-AMP-BST","config":{"target-gain":")" +
                               value + R"("}}]}}})",
                           DefaultOperation::merge);
    };
    const EditRequest requests[] = {gain("15.5"), gain("15.6")};
    const ExampleNode node;
    Service service(node.settings());
    const StageClock clock;
    std::size_t turn = 0;
    for (auto iteration : state)
        service.edit(requests[turn++ % std::size(requests)]);
    clock.show(state);
}

BENCHMARK_CAPTURE(get, amplifier, "/optical-amplifier/amplifiers/amplifier[name='0/1-AMP-PRE']")->UseRealTime();
BENCHMARK_CAPTURE(get, tree, "/")->UseRealTime();
BENCHMARK(edit)->UseRealTime();

} // namespace

BENCHMARK_MAIN();
