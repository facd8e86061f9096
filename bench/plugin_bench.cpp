// Times whole walks of the plug-in beside a baseline from the same run: the platform calls of that very walk, made
// again without the plug-in. What lies between the two is the plug-in's own work.
#include "null_platform.h"

#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <vector>

using Walker = cerrno(yfw_map_ctx, const yfw_datatree *, yfw_datatree *);
extern "C" Walker ymap_ox_oc_opt_ampli_openconfigopticalamplifier_lvla_opticalamplifier;
extern "C" Walker ymap_xo_oc_opt_amp_korvexcontrollerorvo8otsoper_lvla_otsoper;

namespace {

constexpr char openconfig_ns[] = "http://openconfig.net/yang/optical-amplfier";
constexpr char ots_ns[] = "http://korvex.example/ns/yang/Korvex-controller-orvo8-ots-oper";

/// A tree whose nodes own their children.
struct Tree {
    yfw_datatree node = {};
    std::vector<Tree> children;
    std::vector<yfw_datatree> laid_out;
    std::string value;

    Tree(const char *tag, const char *ns, std::vector<Tree> below = {}) : children(std::move(below)) {
        node.tag = tag;
        node.ns = ns;
        node.node_flags = YFW_NODE_PRESENT;
    }
    static Tree leaf(const char *tag, const char *ns, const char *text, bool is_key = false) {
        Tree tree(tag, ns);
        tree.value = text;
        if (is_key)
            tree.node.node_flags |= YFW_NODE_KEY;
        return tree;
    }
    /// Fixes the addresses; call once, on the root.
    const yfw_datatree &lay_out() {
        for (Tree &child : children)
            laid_out.push_back(child.lay_out());
        if (!value.empty())
            node.value = value.data();
        if (!laid_out.empty()) {
            node.children = laid_out.data();
            node.child_count = static_cast<uint32_t>(laid_out.size());
            node.node_flags |= YFW_NODE_HAS_CHILDREN;
        }
        return node;
    }
};

/// One request and the walk that it makes.
struct Run {
    Run(Walker *run_walker, Tree request, Tree input) : walker(run_walker), asked("", ""), walked(std::move(input)) {
        asked.children.push_back(std::move(request));
        asked.lay_out();
        walked.lay_out();
        state.request_kind = &kind;
        state.reg_dup_datatree = asked.node;
        state.node_data = asked.node.children;
        state.node_data_count = 1;
        state.plist.node_flags = YFW_NODE_PRESENT;
        context.req_ctx = &state;
    }
    void walk() {
        yfw_datatree out = {};
        state.select_flags = 0;
        benchmark::DoNotOptimize(walker(&context, &walked.node, &out));
        xos_named_free(state.error_path);
        state.error_path = nullptr;
    }

    Walker *walker;
    Tree asked, walked;
    uint32_t kind = YFW_KIND_GET;
    yfw_map_request state = {};
    yfw_map_ctx_s context = {};
};

Tree amplifier_request() {
    return {"optical-amplifier",
            openconfig_ns,
            {{"amplifiers",
              openconfig_ns,
              {{"amplifier",
                openconfig_ns,
                {Tree::leaf("name", openconfig_ns, "0/1-AMP-PRE", true), {"state", openconfig_ns}}}}}}};
}

Tree ots_port() {
    return {
        "ots-oper",
        ots_ns,
        {{"ots-ports",
          ots_ns,
          {{"ots-port",
            ots_ns,
            {Tree::leaf("name", ots_ns, "Ots0/1/0/0", true),
             {"ots-info",
              ots_ns,
              {Tree::leaf("ampli-tilt", ots_ns, "-48"),
               Tree::leaf("ampli-gain", ots_ns, "1750"),
               Tree::leaf("osri-config-val", ots_ns, "false"),
               {"lane-data",
                ots_ns,
                {Tree::leaf("receive-power", ots_ns, "-1543"), Tree::leaf("transmit-power", ots_ns, "203")}}}}}}}}}};
}

std::unique_ptr<Run> read_of_one_amplifier() {
    return std::make_unique<Run>(ymap_ox_oc_opt_ampli_openconfigopticalamplifier_lvla_opticalamplifier,
                                 amplifier_request(), amplifier_request());
}

std::unique_ptr<Run> read_of_the_model() {
    return std::make_unique<Run>(ymap_ox_oc_opt_ampli_openconfigopticalamplifier_lvla_opticalamplifier,
                                 Tree("optical-amplifier", openconfig_ns), Tree("optical-amplifier", openconfig_ns));
}

std::unique_ptr<Run> answer_of_one_port() {
    return std::make_unique<Run>(ymap_xo_oc_opt_amp_korvexcontrollerorvo8otsoper_lvla_otsoper, amplifier_request(),
                                 ots_port());
}

using MakeRun = std::unique_ptr<Run>();

void plug_in(benchmark::State &state, MakeRun *make, int log_level) {
    const auto run = make();
    set_log_level(log_level);
    for (auto iteration : state)
        run->walk();
    set_log_level(-1);
}

void calls_alone(benchmark::State &state, MakeRun *make) {
    const auto run = make();
    Calls calls;
    note_calls(&calls);
    run->walk();
    note_calls(nullptr);
    for (auto iteration : state)
        for (const auto &call : calls)
            call();
    state.counters["calls"] = static_cast<double>(calls.size());
}

BENCHMARK_CAPTURE(calls_alone, read_one_amplifier, read_of_one_amplifier);
BENCHMARK_CAPTURE(plug_in, read_one_amplifier, read_of_one_amplifier, -1);
BENCHMARK_CAPTURE(plug_in, read_one_amplifier_logged, read_of_one_amplifier, 3);
BENCHMARK_CAPTURE(calls_alone, read_model, read_of_the_model);
BENCHMARK_CAPTURE(plug_in, read_model, read_of_the_model, -1);
BENCHMARK_CAPTURE(calls_alone, answer_one_port, answer_of_one_port);
BENCHMARK_CAPTURE(plug_in, answer_one_port, answer_of_one_port, -1);

} // namespace

BENCHMARK_MAIN();
