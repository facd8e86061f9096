// A line that runs: its nodes' configuration goes into the simulation, and what the cards read into the nodes, second
// by second. Knows no protocol and no command line.
#pragma once

#include "line/event.h"
#include "line/folder.h"
#include "line/history.h"
#include "line/simulation.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ocamp {

/// What a line is run with.
struct RunSettings {
    std::optional<std::uint64_t> seed = {}; ///< none: that of the run before, at first 1
    std::vector<ScriptedEvent> script = {}; ///< events before the present second are passed over, with a warning
    std::string plugin = {};                ///< for edits; empty: the one beside this program
    std::function<void(const std::string &)> tell = {}; ///< takes a line for each event; may be empty
    std::function<void(const std::string &)> warn =
        {}; ///< takes a line for what is not as it was left or asked for; may be empty
    /// Takes each event that has happened, in its words, when the nodes hold what it did; may be empty.
    std::function<void(std::uint64_t second, const std::string &words)> on_event = {};
};

/// Puts the simulation into the state that is kept of the line in `folder`; false when the line has not run yet. Throws
/// LineError for a state that is damaged or that of a line of another structure; the simulation is not to be used then.
bool restore_kept(const std::filesystem::path &folder, LineStore &store, Simulation &simulation);

/// The line in a folder, between one second and the next. The only one that writes what the nodes measure; their
/// configuration is anybody's to edit meanwhile. Throws SqliteError when a file fails it.
class LineRun {
  public:
    /// Goes on where the line stopped. Throws LineError, JsonError, NodeError, DamageError.
    LineRun(const std::filesystem::path &folder, RunSettings settings);
    ~LineRun();
    LineRun(const LineRun &) = delete;
    LineRun &operator=(const LineRun &) = delete;

    /// One second of line time: events, changed configuration, light, and what is read of it, into all nodes.
    void step();

    /// Of line time.
    std::uint64_t second() const noexcept { return simulation_.second(); }
    /// As it stands.
    const Simulation &simulation() const noexcept { return simulation_; }
    /// In the order of the line, each a node that every command takes.
    std::vector<std::filesystem::path> node_folders() const;

  private:
    class NodeLink;

    void restore();
    void happen();
    void apply(const std::string &words, const LineEvent &event);
    bool edit(const std::string &words, const LineEvent &event);
    void tell(const std::string &text) const;
    void warn(const std::string &text) const;
    void warn_of_past_events() const;
    void add_readings();
    bool at_boundary() const noexcept { return second() % interval_seconds == 0; }

    std::filesystem::path folder_;
    LineDescription line_;
    LineLock lock_;
    RunSettings settings_;
    LineStore store_;
    Simulation simulation_;
    std::vector<PortHistory> amplifier_histories_, channel_histories_; // as the simulation's
    std::vector<std::unique_ptr<NodeLink>> nodes_;
    std::vector<std::int64_t> happened_; // events to forget
    std::vector<std::string> to_tell_;   // events of this second, in their words
    bool closed_changed_ = false;        // intervals that are over, since they were kept
};

/// How a run fell behind its pace.
struct Lag {
    std::uint64_t second; ///< of line time, that came late
    double late;          ///< seconds of the clock, that it came after its time
    double speed;         ///< seconds of line time a second, since the run began
    double asked;         ///< the same, as the pace says

    /// For people: a sentence without an end of line.
    std::string words() const;
};

/// How long and how fast.
struct Pace {
    double speed = 1;                             ///< seconds of line time a second; 0: as fast as it goes
    std::optional<std::uint64_t> until = {};      ///< second of line time to end at
    std::function<bool()> stop = {};              ///< asked often; true ends the run; may be empty
    std::function<void(const Lag &)> on_lag = {}; ///< told once, when time is lost for the first time; may be empty
};

/// Steps until the end that the pace says. A second that is late is made up for; what is more is lost: the run goes on
/// from where it is.
void run_at_pace(LineRun &run, const Pace &pace);

} // namespace ocamp
