// Times the plug-in beside a limit from the same run: the platform calls of that very work, made again without the
// plug-in. What lies between the two is the plug-in's own. Names are work/size/messages/side.
#include "walks.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

extern "C" {
int ampli_key_to_key(const char *amplifier, const char *format, char *out);
int ampli_key_to_ots_ctrl_key(const char *amplifier, char *out);
int ampli_key_to_sysdb_ots_ctrl_key(const char *amplifier, char *out);
int ots_ctrl_key_to_ampli_key(const char *controller, char *out);
void convert_amplifier_key_to_otsctrl_port(const char *amplifier, char *out, int egress);
void swap_controller(char *controller);
int check_controller_name_ots_is_good(yfw_map_ctx ctx, const char *controller, char *amplifier);
int check_controller_name_optics_is_good(yfw_map_ctx ctx, const char *controller);
int compare_path(yfw_map_ctx ctx, const yfw_datatree *node, const char *path_to_find, char *path_buffer,
                 char *key_buffer);
int check_request_type(yfw_map_ctx ctx, const yfw_datatree *node, const char *path_to_find);
}

namespace {

using null_platform::CallRecord;
using null_platform::Messages;

// Work of the plug-in that can be done again and again, and the context of its calls.
struct Task {
    std::shared_ptr<yfw_map_ctx_s> context;
    std::function<cerrno()> run;
};

// How a task of a size is made.
struct Work {
    std::string name;
    std::vector<size_t> sizes;
    std::function<Task(size_t)> make;
};

// ---- Names and look-ups --------------------------------------------------------------------------------------------

constexpr size_t value_size = 200;
constexpr size_t key_size = 20;

using NameCall = void(yfw_map_ctx ctx, char *out);

Work name(const char *function, NameCall *call) {
    return {std::string("name_") + function, {1}, [call](size_t) {
                auto context = std::make_shared<yfw_map_ctx_s>();
                return Task{context, [context = context.get(), call] {
                                char out[value_size];
                                call(context, out);
                                benchmark::DoNotOptimize(out);
                                return CERR_SUCCESS;
                            }};
            }};
}

std::vector<Work> names() {
    return {
        name("ampli_key_to_key", [](yfw_map_ctx, char *out) { ampli_key_to_key("0/1-AMP-PRE", "Ots0/%d/0/%d", out); }),
        name("ampli_key_to_ots_ctrl_key",
             [](yfw_map_ctx, char *out) { ampli_key_to_ots_ctrl_key("0/1-AMP-PRE", out); }),
        name("ampli_key_to_sysdb_ots_ctrl_key",
             [](yfw_map_ctx, char *out) { ampli_key_to_sysdb_ots_ctrl_key("0/1-AMP-PRE", out); }),
        name("ots_ctrl_key_to_ampli_key", [](yfw_map_ctx, char *out) { ots_ctrl_key_to_ampli_key("Ots0/1/0/0", out); }),
        name("convert_amplifier_key_to_otsctrl_port",
             [](yfw_map_ctx, char *out) { convert_amplifier_key_to_otsctrl_port("0/1-AMP-PRE", out, 0); }),
        name("swap_controller",
             [](yfw_map_ctx, char *) {
                 static char controller[] = "Ots0_1_0_0";
                 swap_controller(controller);
             }),
        name("check_controller_name_ots_is_good",
             [](yfw_map_ctx ctx, char *out) { check_controller_name_ots_is_good(ctx, "Ots0/1/0/0", out); }),
        name("check_controller_name_optics_is_good",
             [](yfw_map_ctx ctx, char *) { check_controller_name_optics_is_good(ctx, "Optics0/1/0/4"); }),
    };
}

// A request of that many nodes in which nothing is found: the look-ups go through all of it.
Node request_of(size_t nodes) {
    Node list = container("amplifiers");
    for (size_t left = nodes > 2 ? nodes - 2 : 0; left != 0;) {
        Node amplifier = container("amplifier");
        if (--left != 0) {
            amplifier.children.push_back(leaf("name", "0/1-AMP-PRE").key());
            --left;
        }
        list.children.push_back(std::move(amplifier));
    }
    Node root = container("optical-amplifier");
    if (nodes > 1)
        root.children.push_back(std::move(list));
    return root;
}

using LookUp = void(yfw_map_ctx ctx, const yfw_datatree *tree);

Work look_up(const char *function, LookUp *call) {
    return {function, {1, 10, 100, 1000}, [call](size_t nodes) {
                auto context = std::make_shared<yfw_map_ctx_s>();
                auto tree = std::make_shared<Tree>(request_of(nodes));
                return Task{context, [context = context.get(), tree, call] {
                                call(context, tree->root());
                                return CERR_SUCCESS;
                            }};
            }};
}

std::vector<Work> look_ups() {
    return {look_up("compare_path",
                    [](yfw_map_ctx ctx, const yfw_datatree *tree) {
                        char path[value_size] = "";
                        char key[key_size] = "";
                        compare_path(ctx, tree, "optical-amplifier/amplifiers/none", path, key);
                        benchmark::DoNotOptimize(key);
                    }),
            look_up("check_request_type", [](yfw_map_ctx ctx, const yfw_datatree *tree) {
                benchmark::DoNotOptimize(check_request_type(ctx, tree, "optical-amplifier/amplifiers/none"));
            })};
}

// ---- Walks ---------------------------------------------------------------------------------------------------------

Work walk_work(const char *kind, const walks::Walk &walk, std::vector<size_t> sizes) {
    return {std::string(kind) + walk.name, std::move(sizes), [make = walk.make](size_t entries) {
                const std::shared_ptr<walks::Run> run = make(entries);
                return Task{{run, &run->context()}, [run] { return run->walk(); }};
            }};
}

std::vector<Work> all_work() {
    std::vector<Work> all = names();
    std::ranges::copy(look_ups(), std::back_inserter(all));
    for (const walks::Walk &walk : walks::requests())
        all.push_back(walk_work("request_", walk, {1}));
    for (const walks::Walk &walk : walks::answers())
        all.push_back(walk_work("answer_", walk, {1, 10, 100, 1000, 10000}));
    return all;
}

// ---- Measuring -----------------------------------------------------------------------------------------------------

// Sizes above this are recorded at this size, and the record is gone through as often as it takes: so that what the
// record itself takes out of the caches does not slow the limit down.
constexpr size_t recorded_size = 10;

// Made once: the trees of many entries take longer to make than to walk.
const Task &task_of(const Work &work, size_t size) {
    static std::map<std::pair<std::string, size_t>, Task> tasks;
    const auto [task, added] = tasks.try_emplace({work.name, size});
    if (added)
        task->second = work.make(size);
    return task->second;
}

void plug_in(benchmark::State &state, const Work &work, size_t size, Messages messages) {
    const Task &task = task_of(work, size);
    null_platform::take_messages(*task.context, messages);
    if (task.run() != CERR_SUCCESS)
        state.SkipWithError("the plug-in refuses the walk");
    for (auto iteration : state)
        task.run();
}

void limit(benchmark::State &state, const Work &work, size_t size, Messages messages) {
    const Task &task = task_of(work, std::min(size, recorded_size));
    null_platform::take_messages(*task.context, messages);
    task.run(); // what happens once, such as the first probe for the system database, is no part of a walk
    CallRecord record(task.context.get());
    null_platform::note_calls(&record);
    task.run();
    null_platform::note_calls(nullptr);
    const size_t rounds = std::max<size_t>(1, size / recorded_size);
    for (auto iteration : state)
        for (size_t round = 0; round < rounds; ++round)
            record.replay();
    state.counters["calls"] = static_cast<double>(record.count() * rounds);
}

void add(const Work &work) {
    constexpr std::pair<Messages, const char *> channels[] = {
        {Messages::none, "off"}, {Messages::debug_log, "debug"}, {Messages::lightweight_trace, "trace"}};
    for (const size_t size : work.sizes) {
        for (const auto &[messages, word] : channels) {
            const std::string name = work.name + "/" + std::to_string(size) + "/" + word;
            benchmark::RegisterBenchmark((name + "/limit").c_str(), limit, work, size, messages);
            benchmark::RegisterBenchmark((name + "/plugin").c_str(), plug_in, work, size, messages);
        }
    }
}

} // namespace

int main(int argc, char **argv) {
    for (const Work &work : all_work())
        add(work);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
