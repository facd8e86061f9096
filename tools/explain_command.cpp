// ocamp explain: how an answer or an edit comes about, step by step. Knows how the steps are shown, not how they are
// done.
#include "answer_text.h"
#include "colour.h"
#include "options.h"
#include "output.h"

#include "node/mapping_rows.h"
#include "node/reach.h"
#include "seam/calls.h"
#include "seam/failure.h"
#include "seam/text.h"

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <sstream>

#include <fmt/format.h>

namespace ocamp {

namespace {

struct Show {
    bool calls = false;
    bool all = false;
    ColourUse colour = ColourUse::automatic;
};

struct ExplainGetOptions {
    std::string node;
    ReadOptions read;
    LYD_FORMAT format = LYD_JSON;
    Show show;
};

struct ExplainEditOptions {
    std::string node;
    EditOptions edit;
    Show show;
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

// Prints the steps, each under a title.
class Steps {
  public:
    explicit Steps(const Show &show) : show_(show), colours_(show.colour) {}

    void title(std::string_view title) const {
        constexpr std::size_t width = 80;
        print("{}\n", colours_.title(
                          fmt::format("{} {:-<{}}", title, "", std::max(width, title.size() + 2) - title.size() - 1)));
    }

    void indented(std::string_view text, std::size_t columns) const {
        std::istringstream lines{std::string(text)};
        for (std::string line; std::getline(lines, line);)
            print("{:{}}{}\n", "", columns, line);
    }

    void calls(const CallRecorder &calls) const {
        title(fmt::format("2. Calls to the platform: {}", calls.count()));
        indented(calls.lines(), 2);
    }

    // What was read in the system database.
    void looks(const std::vector<DatabaseLook> &looks) const {
        if (looks.empty())
            return;
        title("   System database");
        for (const DatabaseLook &look : looks)
            this->look(look);
    }

    // A native entry: what the request reaches of it, or all.
    void entry(const RunReport &run, const NativeWalkReport &walk) const {
        const std::optional<RequestNode> part = show_.all ? walk.tree : reached_part(run, walk);
        if (!part)
            return;
        const DataTree tree(*part);
        lines(tree, *tree.root(), 4, passed_over_leaves(walk));
    }

    bool shows_all() const noexcept { return show_.all; }

    void changes(std::string_view name, const std::vector<std::string> &lines) const {
        title(name);
        for (const std::string &line : lines) {
            print("  {}\n", line.starts_with('+')   ? colours_.added(line)
                            : line.starts_with('-') ? colours_.removed(line)
                                                    : colours_.changed(line));
        }
        if (lines.empty())
            print("  nothing\n");
    }

  private:
    void look(const DatabaseLook &look) const {
        using enum DatabaseLook::Result;
        const std::string place = escaped(look.bind_point + " " + look.item);
        if (look.listing)
            print("  names below {}: {}\n", escaped(look.bind_point + look.item),
                  look.result == found ? "up to " + escaped(look.element) : "all, and not the one that was looked for");
        else if (look.result == found)
            print("  {}\n    {}\n", place, element(look));
        else
            print("  {}: {}\n", place, look.result == absent ? "no such item" : escaped(look.failure));
    }

    static std::string element(const DatabaseLook &look) {
        if (look.record.empty() || look.element.empty())
            return look.record.empty() ? "not looked into" : escaped(look.record) + ": read to its end";
        std::string line = escaped(look.record) + " " + escaped(look.element) + " = \"";
        append_escaped(line, look.text.value_or(""), '"');
        return line + "\"";
    }

    void lines(const DataTree &tree, const yfw_datatree &node, std::size_t columns,
               const std::map<std::string, std::string> &notes) const {
        std::string line(columns, ' ');
        append_node_text(line, &node);
        const auto note = notes.find(tree.path_of(&node));
        print("{}{}\n", line, note != notes.end() ? colours_.faint("  " + note->second) : "");
        for (std::uint32_t i = 0; i < node.child_count; ++i)
            lines(tree, node.children[i], columns + 2, notes);
    }

    Show show_;
    Colours colours_;
};

// "run 2 of 3: " when there are several.
std::string run_word(std::size_t index, std::size_t count) {
    return count == 1 ? "" : fmt::format("run {} of {}: ", index + 1, count);
}

std::string text_of(const RequestNode &request) {
    return tree_text(*DataTree(request).root());
}

void print_requests(const Steps &steps, const ReadReport &report, std::uint32_t kind) {
    steps.title("1. Request tree");
    for (std::size_t i = 0; i < report.size(); ++i) {
        print("  {}{}\n", run_word(i, report.size()), kind == YFW_KIND_GET ? "get (kind 10)" : "get-config (kind 0)");
        steps.indented(text_of(report[i].request), 4);
    }
    if (report.empty())
        print("  none: the filter names nothing that the model has\n");
}

void print_native_requests(const Steps &steps, const ReadReport &report) {
    steps.title("2. Native request");
    for (std::size_t i = 0; i < report.size(); ++i) {
        if (report.size() > 1)
            print("  run {} of {}\n", i + 1, report.size());
        steps.indented(output_text(report[i].native_request), 4);
    }
}

// Each look once, in the order in which it was done first.
void add_looks(const TakenNode &node, std::vector<DatabaseLook> &looks) {
    for (const DatabaseLook &look : node.looks) {
        if (std::find(looks.begin(), looks.end(), look) == looks.end())
            looks.push_back(look);
    }
}

// Whether a look was for a leaf that the request does not reach.
bool is_beside(const RunReport &run, const TakenNode &node) {
    const bool is_for_a_value = std::any_of(mapping_rows().begin(), mapping_rows().end(), [&](const MappingRow &row) {
        return row.native == node.place && (!row.getter.empty() || !row.unit.empty());
    });
    return is_for_a_value && !is_reached(run, node);
}

void print_looks(const Steps &steps, const ReadReport &report) {
    std::vector<DatabaseLook> looks;
    for (const RunReport &run : report) {
        for (const TakenNode &node : run.request_trace)
            add_looks(node, looks);
        for (const NativeWalkReport &walk : run.walks) {
            for (const TakenNode &node : walk.trace) {
                if (steps.shows_all() || !is_beside(run, node))
                    add_looks(node, looks);
            }
        }
    }
    steps.looks(looks);
}

void print_native_answer(const Steps &steps, const ReadReport &report) {
    steps.title(steps.shows_all() ? "3. Native answer" : "3. Native answer: what the request reaches");
    for (std::size_t i = 0; i < report.size(); ++i) {
        std::size_t unreached = 0;
        for (const NativeWalkReport &walk : report[i].walks) {
            if (!steps.shows_all() && !reached_part(report[i], walk)) {
                ++unreached;
                continue;
            }
            print("  {}{}{}\n", run_word(i, report.size()), escaped(walk.entry),
                  walk.result == YMAP_RC_SKIP ? "  (not an entry of this mapping: left out)" : "");
            steps.entry(report[i], walk);
        }
        if (report[i].walks.empty())
            print("  {}nothing\n", run_word(i, report.size()));
        if (unreached != 0)
            print("  {}{} {} without anything for this request; '--all' shows whole entries\n",
                  run_word(i, report.size()), unreached, unreached == 1 ? "entry" : "entries");
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
    if (options.show.calls)
        calls.emplace();
    const std::exception_ptr refusal = refusal_of([&] { result = service.read(options.read.kind(), filter, &report); });
    const Steps steps(options.show);
    print_requests(steps, report, options.read.kind());
    if (calls)
        steps.calls(*calls);
    else
        print_native_requests(steps, report);
    print_looks(steps, report);
    print_native_answer(steps, report);
    if (refusal)
        std::rethrow_exception(refusal);
    steps.title("4. OpenConfig answer");
    steps.indented(answer_text(result.answer, options.format), 2);
    print_dropped(result.dropped);
}

void add_explain_get(CLI::App &explain, CommonOptions &common) {
    CLI::App &command = *explain.add_subcommand("get", "Read, and show how the answer comes about");
    auto options = std::make_shared<ExplainGetOptions>();
    add_node_option(command, options->node);
    add_read_options(command, options->read);
    add_format_option(command, options->format);
    command.add_flag("--all", options->show.all, "Whole native entries, not only what the request reaches");
    command.add_flag("--calls", options->show.calls, "Every call to the platform instead of the native request alone");
    add_colour_option(command, options->show.colour);
    add_common_options(command, common, errors_as_json);
    command.footer(
        "Example:\n"
        "  ocamp explain get --node demo-node \"/optical-amplifier/amplifiers/amplifier[name='0/1-AMP-PRE']\"");
    command.callback([options, &common] { run_get(*options, common); });
}

void print_edit_runs(const Steps &steps, const EditReport &report, const std::optional<CallRecorder> &calls) {
    steps.title("1. Request tree");
    for (std::size_t i = 0; i < report.runs.size(); ++i) {
        print("  {}edit (kind 1)\n", run_word(i, report.runs.size()));
        steps.indented(text_of(report.runs[i].request), 4);
    }
    if (calls) {
        steps.calls(*calls);
        return;
    }
    steps.title("2. Native edit");
    for (std::size_t i = 0; i < report.runs.size(); ++i) {
        if (report.runs.size() > 1)
            print("  run {} of {}\n", i + 1, report.runs.size());
        const std::string native_edit = output_text(report.runs[i].native_edit);
        steps.indented(native_edit.empty() ? "nothing" : native_edit, 4);
    }
}

void run_edit(const ExplainEditOptions &options, const CommonOptions &common) {
    const EditRequest request = options.edit.request();
    Service service({.node = options.node, .plugin = common.plugin, .logs = common.logs});
    EditReport report;
    std::optional<CallRecorder> calls;
    if (options.show.calls)
        calls.emplace();
    const std::exception_ptr refusal = refusal_of([&] { service.try_edit(request, report); });
    const Steps steps(options.show);
    print_edit_runs(steps, report, calls);
    std::vector<DatabaseLook> looks;
    for (const EditRunReport &run : report.runs) {
        for (const TakenNode &node : run.trace)
            add_looks(node, looks);
    }
    steps.looks(looks);
    if (refusal) {
        steps.title("3. Refused: nothing would change");
        std::rethrow_exception(refusal);
    }
    steps.changes("3. Native configuration: what would change", report.native_changes);
    steps.changes("4. OpenConfig configuration: what would change", report.openconfig_changes);
}

void add_explain_edit(CLI::App &explain, CommonOptions &common) {
    CLI::App &command = *explain.add_subcommand("edit", "Show what an edit would do, without doing it");
    auto options = std::make_shared<ExplainEditOptions>();
    add_node_option(command, options->node);
    add_edit_options(command, options->edit);
    command.add_flag("--calls", options->show.calls, "Every call to the platform instead of the native edit alone");
    add_colour_option(command, options->show.colour);
    add_common_options(command, common, errors_as_json);
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
