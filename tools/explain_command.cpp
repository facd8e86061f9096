// ocamp explain: how an answer or an edit comes about, step by step. Knows how the steps are shown, not how they are
// done.
#include "options.h"
#include "output.h"
#include "text_io.h"

#include "seam/calls.h"
#include "seam/failure.h"
#include "seam/text.h"

#include <cstdio>
#include <map>
#include <memory>
#include <sstream>

#include <fmt/format.h>

namespace ocamp {

namespace {

struct ExplainGetOptions {
    std::string node;
    ReadOptions read;
    LYD_FORMAT format = LYD_JSON;
    bool calls = false;
};

struct ExplainEditOptions {
    std::string node;
    EditOptions edit;
    bool calls = false;
};

// Keeps the calls that it sees while it lives, indented as the hierarchy was when they were made.
class CallRecorder : public CallObserver {
  public:
    CallRecorder() { set_call_observer(this); }
    ~CallRecorder() override { set_call_observer(nullptr); }
    CallRecorder(const CallRecorder &) = delete;
    CallRecorder &operator=(const CallRecorder &) = delete;

    void on_call(std::string_view text) override {
        if (text.starts_with("yfw_map_remove_from_node_hierarchy") && depth_ > 0)
            --depth_;
        lines_ += std::string(2 * depth_, ' ').append(text).append("\n");
        ++count_;
        if (text.starts_with("yfw_map_add_to_node_hierarchy"))
            ++depth_;
    }
    const std::string &lines() const noexcept { return lines_; }
    std::size_t count() const noexcept { return count_; }

  private:
    std::string lines_;
    std::size_t depth_ = 0;
    std::size_t count_ = 0;
};

void print_title(int number, std::string_view title) {
    const std::string head = fmt::format("{}. {} ", number, title);
    print("{}{:-<{}}\n", head, "", std::max<std::size_t>(80, head.size() + 1) - head.size());
}

void print_indented(std::string_view text, std::size_t columns) {
    std::istringstream lines{std::string(text)};
    for (std::string line; std::getline(lines, line);)
        print("{:{}}{}\n", "", columns, line);
}

// "run 2 of 3: " when there are several.
std::string run_word(std::size_t index, std::size_t count) {
    return count == 1 ? "" : fmt::format("run {} of {}: ", index + 1, count);
}

void print_requests(const ReadReport &report, std::uint32_t kind) {
    print_title(1, "Request tree");
    for (std::size_t i = 0; i < report.size(); ++i) {
        print("  {}{}\n", run_word(i, report.size()), kind == YFW_KIND_GET ? "get (kind 10)" : "get-config (kind 0)");
        print_indented(report[i].request, 4);
    }
    if (report.empty())
        print("  none: the filter names nothing that the model has\n");
}

void print_native_requests(const ReadReport &report) {
    print_title(2, "Native request");
    for (std::size_t i = 0; i < report.size(); ++i) {
        if (report.size() > 1)
            print("  run {} of {}\n", i + 1, report.size());
        print_indented(report[i].native_request, 4);
    }
}

void print_calls(const CallRecorder &calls) {
    print_title(2, fmt::format("Calls to the platform: {}", calls.count()));
    print_indented(calls.lines(), 2);
}

void print_native_answer(const ReadReport &report) {
    print_title(3, "Native answer");
    for (std::size_t i = 0; i < report.size(); ++i) {
        for (const NativeWalkReport &walk : report[i].walks) {
            print("  {}{}{}\n", run_word(i, report.size()), escaped(walk.entry),
                  walk.result == YMAP_RC_SKIP ? "  (not an entry of this mapping: left out)" : "");
            print_indented(walk.tree, 4);
        }
        if (report[i].walks.empty())
            print("  {}nothing\n", run_word(i, report.size()));
    }
}

void print_dropped(const std::vector<DroppedLeaf> &dropped) {
    if (dropped.empty())
        return;
    print("  {} {} written and not sent:\n", dropped.size(), dropped.size() == 1 ? "leaf" : "leaves");
    std::map<std::pair<std::string, std::string>, std::size_t> counted;
    for (const DroppedLeaf &leaf : dropped)
        ++counted[{leaf.path, leaf.reason}];
    for (const auto &[leaf, count] : counted)
        print("    {}{}: {}\n", escaped(leaf.first), count == 1 ? "" : fmt::format(" ({} times)", count),
              escaped(leaf.second));
}

// What was thrown about the request or the node, to be thrown again when the steps before it have been shown.
template <class Work>
std::exception_ptr refusal_of(Work work) {
    try {
        work();
    } catch (const RequestError &) {
        return std::current_exception();
    } catch (const PlatformFailure &) {
        return std::current_exception();
    }
    return nullptr;
}

void run_get(const ExplainGetOptions &options, const CommonOptions &common) {
    const Filter filter = options.read.filter();
    Service service({.node = options.node, .plugin = common.plugin, .logs = common.logs});
    ReadReport report;
    ReadResult result;
    std::optional<CallRecorder> calls;
    if (options.calls)
        calls.emplace();
    const std::exception_ptr refusal = refusal_of([&] { result = service.read(options.read.kind(), filter, &report); });
    print_requests(report, options.read.kind());
    calls ? print_calls(*calls) : print_native_requests(report);
    print_native_answer(report);
    if (refusal)
        std::rethrow_exception(refusal);
    print_title(4, "OpenConfig answer");
    print_indented(answer_text(result.answer, options.format), 2);
    print_dropped(result.dropped);
}

void add_explain_get(CLI::App &explain, CommonOptions &common) {
    CLI::App &command = *explain.add_subcommand("get", "Read, and show how the answer comes about");
    auto options = std::make_shared<ExplainGetOptions>();
    add_node_option(command, options->node);
    add_read_options(command, options->read);
    add_format_option(command, options->format);
    command.add_flag("--calls", options->calls, "Every call to the platform instead of the native request alone");
    add_common_options(command, common);
    command.footer(
        "Example:\n"
        "  ocamp explain get --node demo-node \"/optical-amplifier/amplifiers/amplifier[name='0/1-AMP-PRE']\"");
    command.callback([options, &common] { run_get(*options, common); });
}

void print_changes(int number, std::string_view title, const std::vector<std::string> &lines) {
    print_title(number, title);
    for (const std::string &line : lines)
        print("  {}\n", line);
    if (lines.empty())
        print("  nothing\n");
}

void run_edit(const ExplainEditOptions &options, const CommonOptions &common) {
    const EditRequest request = options.edit.request();
    Service service({.node = options.node, .plugin = common.plugin, .logs = common.logs});
    EditReport report;
    std::optional<CallRecorder> calls;
    if (options.calls)
        calls.emplace();
    const std::exception_ptr refusal = refusal_of([&] { service.try_edit(request, report); });
    print_title(1, "Request tree");
    for (std::size_t i = 0; i < report.runs.size(); ++i) {
        print("  {}edit (kind 1)\n", run_word(i, report.runs.size()));
        print_indented(report.runs[i].request, 4);
    }
    if (calls) {
        print_calls(*calls);
    } else {
        print_title(2, "Native edit");
        for (std::size_t i = 0; i < report.runs.size(); ++i) {
            if (report.runs.size() > 1)
                print("  run {} of {}\n", i + 1, report.runs.size());
            print_indented(report.runs[i].native_edit.empty() ? "nothing" : report.runs[i].native_edit, 4);
        }
    }
    print_changes(3, "Native configuration: what would change", report.native_changes);
    print_changes(4, "OpenConfig configuration: what would change", report.openconfig_changes);
    if (refusal)
        std::rethrow_exception(refusal);
}

void add_explain_edit(CLI::App &explain, CommonOptions &common) {
    CLI::App &command = *explain.add_subcommand("edit", "Show what an edit would do, without doing it");
    auto options = std::make_shared<ExplainEditOptions>();
    add_node_option(command, options->node);
    add_edit_options(command, options->edit);
    command.add_flag("--calls", options->calls, "Every call to the platform instead of the native edit alone");
    add_common_options(command, common);
    command.footer("Example:\n  ocamp explain edit --node demo-node edit.xml");
    command.callback([options, &common] { run_edit(*options, common); });
}

} // namespace

void add_explain_command(CLI::App &program, CommonOptions &common) {
    CLI::App &command = *program.add_subcommand("explain", "Show how an answer or an edit comes about");
    command.require_subcommand(1);
    add_explain_get(command, common);
    add_explain_edit(command, common);
}

} // namespace ocamp
