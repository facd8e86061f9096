// How a line runs. Knows no protocol and no command line.
#include "line/run.h"

#include "line/kept_number.h"
#include "line/node_data.h"
#include "node/live_data.h"
#include "node/node.h"
#include "node/service.h"
#include "seam/json_text.h"
#include "yang/error.h"
#include "yang/models.h"
#include "yang/request_error.h"

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

#include <fmt/format.h>

namespace ocamp {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t nesting_limit = 8;
constexpr std::uint64_t first_seed = 1;

// The leaves of one interface's "optics" container, by name.
class InterfaceSettings {
  public:
    InterfaceSettings(const lyd_node *running, const std::string &interface) {
        const lysc_node *root = native_schema().find(nullptr, "interface-configurations");
        const lysc_node *list = native_schema().find(root, "interface-configuration");
        const lyd_node *configurations = find_instance(running, *root);
        if (configurations == nullptr)
            return;
        for (const lyd_node *entry = lyd_child(configurations); entry != nullptr; entry = entry->next) {
            // Entries of other values of "active" wait for hardware.
            if (entry->schema == list && text_below(entry, "active") == "act" &&
                text_below(entry, "interface-name") == interface) {
                optics_ = below(entry, "optics");
                return;
            }
        }
    }

    std::optional<double> tenths(const char *name) const {
        const std::optional<std::string> text = text_below(optics_, name);
        return text ? std::optional(std::stod(*text) / 10) : std::nullopt;
    }
    bool says(const char *name, std::string_view value) const { return text_below(optics_, name) == value; }
    bool has(const char *name) const { return below(optics_, name) != nullptr; }

  private:
    static const lyd_node *below(const lyd_node *node, std::string_view name) {
        for (const lyd_node *child = node != nullptr ? lyd_child(node) : nullptr; child != nullptr; child = child->next)
            if (child->schema->name == name)
                return child;
        return nullptr;
    }
    static std::optional<std::string> text_below(const lyd_node *node, std::string_view name) {
        const lyd_node *leaf = below(node, name);
        return leaf != nullptr ? std::optional(leaf_text(*leaf)) : std::nullopt;
    }

    const lyd_node *optics_ = nullptr;
};

AmplifierSettings amplifier_settings(const InterfaceSettings &interface) {
    return {.gain = interface.tenths("optics-ots-amplifier-gain"),
            .tilt = interface.tenths("optics-ots-amplifier-tilt"),
            .shut = interface.says("optics-ots-osri", "true"),
            .extended_range = interface.says("optics-ots-amplifier-gain-range", "extended")};
}

ChannelSettings channel_settings(const InterfaceSettings &interface) {
    return {.power = interface.tenths("optics-transmit-power"), .shut = interface.has("optics-transmit-shutdown")};
}

} // namespace

namespace {

fs::path existing_node_folder(const fs::path &line, const NodeDescription &node) {
    fs::path folder = node_folder(line, node);
    if (!fs::is_directory(folder))
        throw LineError(
            fmt::format("{}: no such folder, expected that of the line's node {}", folder.string(), node.name));
    return folder;
}

} // namespace

// One node of the line: where its configuration comes from, and where its readings go.
class LineRun::NodeLink {
  public:
    NodeLink(LineRun &run, std::size_t index)
        : run_(run), index_(index), folder_(existing_node_folder(run.folder_, run.line_.nodes[index])), live_(folder_),
          node_(folder_, Node::Access::read) {
        const Simulation &simulation = run.simulation_;
        for (std::size_t i = 0; i < simulation.amplifiers().size(); ++i)
            if (simulation.amplifiers()[i].node == index)
                amplifiers_.push_back(i);
        for (std::size_t i = 0; i < simulation.channels().size(); ++i)
            if (simulation.channels()[i].node == index)
                channels_.push_back(i);
    }

    const fs::path &folder() const noexcept { return folder_; }
    bool was_replaced() const noexcept { return live_.was_replaced(); }

    // Takes the node's configuration over when it has changed.
    void configure() {
        const ReadTransaction snapshot(node_.database());
        const std::uint32_t version = node_.database().state().version;
        if (configured_ == version)
            return;
        const NativeData data = load_native(node_.database(), native_schema());
        const lyd_node *running = data.running.tree().first();
        Simulation &simulation = run_.simulation_;
        for (const std::size_t i : amplifiers_) {
            const SimulatedAmplifier &amplifier = simulation.amplifiers()[i];
            simulation.configure_amplifier(
                i, amplifier_settings(
                       InterfaceSettings(running, amplifier_controller(number_of(amplifier.slot), amplifier.booster))));
        }
        for (const std::size_t i : channels_) {
            const SimulatedChannel &channel = simulation.channels()[i];
            simulation.configure_channel(
                i, channel_settings(InterfaceSettings(running, channel_controller(number_of(channel.slot)))));
        }
        configured_ = version;
    }

    // What the cards read in this second; at a boundary the histories, too.
    void write() {
        const NodePorts ports = present_ports();
        Transaction transaction(live_.database());
        live_.put_document(amplifier_module, amplifier_document(ports));
        live_.put_document(channel_module, channel_document(ports));
        for (const AmplifierPort &port : ports.amplifiers)
            put(controller_record(port.slot, port.amplifier->booster, port.amplifier->reading,
                                  port.amplifier->emitting));
        if (const std::vector<bool> pulled = pulled_slots(); written_pulled_ != pulled) {
            write_inventory();
            written_pulled_ = pulled;
            histories_written_ = false;
        }
        if (run_.at_boundary() || !histories_written_)
            write_histories(ports);
        transaction.commit("");
    }

  private:
    unsigned number_of(std::size_t slot) const { return run_.line_.nodes[index_].slots[slot].number; }
    bool is_pulled(std::size_t slot) const { return run_.simulation_.is_pulled(index_, slot); }

    std::vector<bool> pulled_slots() const {
        std::vector<bool> pulled;
        for (std::size_t slot = 0; slot < run_.line_.nodes[index_].slots.size(); ++slot)
            pulled.push_back(is_pulled(slot));
        return pulled;
    }

    NodePorts present_ports() const {
        NodePorts ports;
        for (const std::size_t i : amplifiers_) {
            const SimulatedAmplifier &amplifier = run_.simulation_.amplifiers()[i];
            if (!is_pulled(amplifier.slot))
                ports.amplifiers.push_back({number_of(amplifier.slot), &amplifier, &run_.amplifier_histories_[i]});
        }
        for (const std::size_t i : channels_) {
            const SimulatedChannel &channel = run_.simulation_.channels()[i];
            if (!is_pulled(channel.slot))
                ports.channels.push_back({number_of(channel.slot), &channel, &run_.channel_histories_[i]});
        }
        return ports;
    }

    void put(const NodeRecord &record) {
        live_.system_database().put(record.bind_point, record.item, encode_bag(record.record));
    }
    void hide(const NodeRecord &record) { live_.hide_record(record.bind_point, record.item); }
    // What the node itself holds, if anything, is to be seen again.
    void stop_hiding(const NodeRecord &record) { live_.system_database().remove(record.bind_point, record.item); }

    // Cards that are there, and nothing of those that are pulled, whoever wrote it: a node that was there before its
    // line has records of its own.
    void write_inventory() {
        const ReadTransaction snapshot(node_.database());
        SystemDatabase own(node_.database());
        for (const std::size_t i : amplifiers_) {
            const SimulatedAmplifier &amplifier = run_.simulation_.amplifiers()[i];
            const unsigned slot = number_of(amplifier.slot);
            const NodeRecord record = inventory_record(index_, slot, amplifier.booster);
            if (is_pulled(amplifier.slot)) {
                hide(record);
                hide(controller_record(slot, amplifier.booster, {}, false));
                // Each amplifier's input power stands in the record of the other's name.
                for (const bool booster : {false, true})
                    hide(history_record(slot, booster, nullptr, nullptr, 0));
            } else if (own.get(record.bind_point, record.item)) {
                stop_hiding(record);
            } else {
                put(record);
            }
        }
    }

    void write_histories(const NodePorts &ports) {
        live_.put_document(history_module, history_document(ports));
        const std::int64_t end =
            run_.line_.start + static_cast<std::int64_t>(run_.second() / interval_seconds * interval_seconds);
        for (const AmplifierPort &port : ports.amplifiers) {
            const PortHistory *partner = nullptr;
            for (const AmplifierPort &other : ports.amplifiers)
                if (other.slot == port.slot && other.amplifier->booster != port.amplifier->booster)
                    partner = other.history;
            const bool booster = port.amplifier->booster;
            const std::int64_t start = end - static_cast<std::int64_t>(interval_seconds);
            if (!port.history->closed.empty() || (partner != nullptr && !partner->closed.empty()))
                put(history_record(port.slot, booster, port.history, partner, start));
            // The record of a partner that is not there holds what this one receives.
            if (partner == nullptr && !port.history->closed.empty())
                put(history_record(port.slot, !booster, nullptr, port.history, start));
        }
        histories_written_ = true;
    }

    LineRun &run_;
    std::size_t index_;
    fs::path folder_;
    LiveData live_; // first: the node finds its file
    Node node_;
    std::vector<std::size_t> amplifiers_, channels_; // indexes in the simulation
    std::optional<std::uint32_t> configured_;        // version of the file
    std::optional<std::vector<bool>> written_pulled_;
    bool histories_written_ = false;
};

namespace {

std::uint64_t seed_of(const RunSettings &settings) {
    return settings.seed.value_or(first_seed);
}

Json open_json(const std::vector<PortHistory> &ports) {
    Json all = Json::array();
    for (const PortHistory &port : ports)
        for (const OpenInterval &open : port.open)
            all.push_back({open.minimum, open.maximum, open.sum, open.count});
    return all;
}

Json closed_json(const std::vector<PortHistory> &ports) {
    Json all = Json::array();
    for (const PortHistory &port : ports) {
        Json intervals = Json::array();
        for (const PortHistory::Interval &interval : port.closed) {
            Json quantities = Json::array();
            for (const Statistics &statistics : interval.quantities)
                quantities.push_back({statistics.minimum, statistics.average, statistics.maximum});
            intervals.push_back({interval.readings, std::move(quantities)});
        }
        all.push_back(std::move(intervals));
    }
    return all;
}

constexpr int most_readings = static_cast<int>(interval_seconds); // of an interval
constexpr int farthest_reading = 1'000'000;                       // from 0, in hundredths
constexpr std::int64_t most_sum = std::int64_t{most_readings} * farthest_reading;

int kept_reading(const Json &from) {
    return whole_number(from, -farthest_reading, farthest_reading);
}

// A number below 0 would come to 0 with the next reading, and an average be divided by it.
int kept_count(const Json &from) {
    return whole_number(from, 0, most_readings);
}

void restore_open(const Json &saved, std::vector<PortHistory> &ports) {
    std::size_t next = 0;
    for (PortHistory &port : ports)
        for (OpenInterval &open : port.open) {
            const Json &from = saved.at(next++); // of a line of this structure
            open = {.minimum = kept_reading(from.at(0)),
                    .maximum = kept_reading(from.at(1)),
                    .sum = whole_number(from.at(2), -most_sum, most_sum),
                    .count = kept_count(from.at(3))};
        }
}

void restore_closed(const Json &saved, std::vector<PortHistory> &ports) {
    for (std::size_t i = 0; i < ports.size(); ++i) {
        for (const Json &from : saved.at(i)) {
            PortHistory::Interval interval{.quantities = {}, .readings = kept_count(from.at(0))};
            for (const Json &statistics : from.at(1))
                interval.quantities.push_back(
                    {kept_reading(statistics.at(0)), kept_reading(statistics.at(1)), kept_reading(statistics.at(2))});
            if (interval.quantities.size() != ports[i].open.size())
                throw JsonError(fmt::format("the state is damaged: expected {} quantities of each interval, found {}",
                                            ports[i].open.size(), interval.quantities.size()));
            ports[i].closed.push_back(std::move(interval));
        }
    }
}

// What is kept of the line in its database, as `read` takes it.
template <class Read>
void read_kept(const fs::path &folder, Read read) {
    const auto fail = [&](const char *reason) {
        throw LineError(fmt::format("{}: {}; move it away, and the line begins anew",
                                    (folder / line_database_name).string(), reason));
    };
    try {
        read();
    } catch (const JsonError &error) {
        fail(error.what());
    } catch (const Json::exception &error) {
        fail(fmt::format("the histories are damaged: {}", error.what()).c_str());
    }
}

} // namespace

bool restore_kept(const fs::path &folder, LineStore &store, Simulation &simulation) {
    const std::optional<std::string> state = store.text(simulation_text);
    if (state)
        read_kept(folder, [&] { simulation.restore(*state); });
    return state.has_value();
}

LineRun::LineRun(const fs::path &folder, RunSettings settings)
    : folder_(folder), line_(line_of_folder(folder)), lock_(folder), settings_(std::move(settings)),
      store_(folder, true), simulation_(line_, seed_of(settings_)),
      amplifier_histories_(simulation_.amplifiers().size(), PortHistory(amplifier_quantities)),
      channel_histories_(simulation_.channels().size(), PortHistory(channel_quantities)) {
    if (store_.was_replaced())
        warn(fmt::format("{}: {} was damaged and begins anew: line time, histories and events that waited are lost",
                         folder_.string(), line_database_name));
    restore();
    warn_of_past_events();
    for (std::size_t node = 0; node < line_.nodes.size(); ++node) {
        nodes_.push_back(std::make_unique<NodeLink>(*this, node));
        if (nodes_.back()->was_replaced())
            warn(fmt::format("{}: {} was damaged and begins anew", nodes_.back()->folder().string(), live_name));
    }
}

LineRun::~LineRun() = default;

void LineRun::restore() {
    if (!restore_kept(folder_, store_, simulation_))
        return;
    read_kept(folder_, [&] {
        const Json open = parse_json(store_.text(open_text).value_or("{}"), nesting_limit);
        restore_open(open.at("amplifiers"), amplifier_histories_);
        restore_open(open.at("channels"), channel_histories_);
        if (const std::optional<std::string> closed = store_.text(closed_text)) {
            const Json histories = parse_json(*closed, nesting_limit);
            restore_closed(histories.at("amplifiers"), amplifier_histories_);
            restore_closed(histories.at("channels"), channel_histories_);
        }
    });
    if (settings_.seed)
        simulation_.reseed(*settings_.seed);
}

std::vector<fs::path> LineRun::node_folders() const {
    std::vector<fs::path> folders;
    for (const std::unique_ptr<NodeLink> &node : nodes_)
        folders.push_back(node->folder());
    return folders;
}

void LineRun::tell(const std::string &text) const {
    if (settings_.tell)
        settings_.tell(fmt::format("second {}: {}", second(), text));
}

void LineRun::warn(const std::string &text) const {
    if (settings_.warn)
        settings_.warn(text);
}

void LineRun::warn_of_past_events() const {
    const auto is_past = [&](const ScriptedEvent &event) { return event.at < second(); };
    const auto first = std::find_if(settings_.script.begin(), settings_.script.end(), is_past);
    if (first == settings_.script.end())
        return;
    warn(fmt::format("{} of the script's {} events are before second {} and do not happen, from '{} {}' on",
                     std::count_if(first, settings_.script.end(), is_past), settings_.script.size(), second(),
                     first->at, first->words));
}

// As any client's edit. False when the node refuses it, which is no failure of the line.
bool LineRun::edit(const std::string &words, const LineEvent &event) {
    try {
        Service service({.node = nodes_[event.node]->folder(), .plugin = settings_.plugin});
        service.edit(EditRequest::set_leaf(openconfig_schema(), event.path, event.value));
        return true;
    } catch (const RequestError &error) {
        tell(fmt::format("'{}' is refused: {}", words, error.what()));
        return false;
    }
}

void LineRun::apply(const std::string &words, const LineEvent &event) {
    if (event.kind == LineEvent::Kind::set && !edit(words, event))
        return;
    simulation_.apply(event);
    if (event.kind == LineEvent::Kind::pull) {
        // A card takes its histories with it.
        const auto clear = [&](const auto &cards, std::vector<PortHistory> &histories) {
            for (std::size_t i = 0; i < cards.size(); ++i)
                if (cards[i].node == event.node && line_.nodes[event.node].slots[cards[i].slot].number == event.slot)
                    histories[i].clear();
        };
        clear(simulation_.amplifiers(), amplifier_histories_);
        clear(simulation_.channels(), channel_histories_);
        closed_changed_ = true;
    }
    tell(words);
    to_tell_.push_back(words);
}

// Events of this second, those of the script first.
void LineRun::happen() {
    for (const ScriptedEvent &scripted : settings_.script)
        if (scripted.at == second())
            apply(scripted.words, scripted.event);
    happened_.clear();
    for (const WaitingEvent &waiting : store_.events()) {
        if (waiting.at && *waiting.at > second())
            continue;
        happened_.push_back(waiting.id);
        try {
            apply(waiting.words, parse_event(line_, waiting.words));
        } catch (const InputError &error) {
            // Checked when it was given; the file may have been changed since.
            tell(fmt::format("'{}' is dropped: {}", waiting.words, error.what()));
        }
    }
}

void LineRun::add_readings() {
    for (std::size_t i = 0; i < amplifier_histories_.size(); ++i) {
        const SimulatedAmplifier &amplifier = simulation_.amplifiers()[i];
        PortHistory &history = amplifier_histories_[i];
        if (simulation_.is_pulled(amplifier.node, amplifier.slot))
            continue;
        const AmplifierReading &reading = amplifier.reading;
        const int readings[amplifier_quantities] = {reading.output, reading.input, reading.gain, reading.tilt};
        for (std::size_t quantity = 0; quantity < amplifier_quantities; ++quantity)
            history.open[quantity].add(readings[quantity]);
        if (at_boundary())
            history.close();
    }
    closed_changed_ = closed_changed_ || at_boundary();
    for (std::size_t i = 0; i < channel_histories_.size(); ++i) {
        const SimulatedChannel &channel = simulation_.channels()[i];
        PortHistory &history = channel_histories_[i];
        if (simulation_.is_pulled(channel.node, channel.slot))
            continue;
        history.open[0].add(channel.reading.output);
        history.open[1].add(channel.reading.input);
        if (at_boundary())
            history.close();
    }
}

void LineRun::step() {
    happen();
    for (const std::unique_ptr<NodeLink> &node : nodes_)
        node->configure();
    simulation_.step();
    add_readings();
    for (const std::unique_ptr<NodeLink> &node : nodes_)
        node->write();
    for (const std::string &words : std::exchange(to_tell_, {})) {
        if (settings_.on_event)
            settings_.on_event(second() - 1, words); // the second that it was given for
    }
    const auto both = [](Json amplifiers, Json channels) {
        return Json{{"amplifiers", std::move(amplifiers)}, {"channels", std::move(channels)}}.dump();
    };
    const std::string simulation = simulation_.state();
    const std::string open = both(open_json(amplifier_histories_), open_json(channel_histories_));
    if (!closed_changed_) {
        store_.save({{simulation_text, simulation}, {open_text, open}}, happened_);
        return;
    }
    const std::string closed = both(closed_json(amplifier_histories_), closed_json(channel_histories_));
    store_.save({{simulation_text, simulation}, {open_text, open}, {closed_text, closed}}, happened_);
    closed_changed_ = false;
}

std::string Lag::words() const {
    return fmt::format("second {} is {:.1f} s late: line time goes at {:.3g} seconds a second, not at {:g}", second,
                       late, speed, asked);
}

void run_at_pace(LineRun &run, const Pace &pace) {
    using Clock = std::chrono::steady_clock;
    using Seconds = std::chrono::duration<double>;
    constexpr std::chrono::milliseconds longest_nap{50};
    constexpr std::chrono::seconds made_up_for{1};
    const auto ended = [&] { return (pace.until && run.second() >= *pace.until) || (pace.stop && pace.stop()); };
    const Clock::time_point begin = Clock::now();
    const std::uint64_t first = run.second();
    Clock::time_point due = begin;
    bool lag_is_told = !pace.on_lag;
    while (!ended()) {
        run.step();
        if (pace.speed <= 0)
            continue;
        const Clock::time_point now = Clock::now();
        if (now - due > made_up_for && !std::exchange(lag_is_told, true))
            pace.on_lag({.second = run.second(),
                         .late = Seconds(now - due).count(),
                         .speed = static_cast<double>(run.second() - first) / Seconds(now - begin).count(),
                         .asked = pace.speed});
        due += std::chrono::duration_cast<Clock::duration>(Seconds(1 / pace.speed));
        due = std::max(due, now - made_up_for);
        while (Clock::now() < due && !(pace.stop && pace.stop()))
            std::this_thread::sleep_for(std::min<Clock::duration>(longest_nap, due - Clock::now()));
    }
}

} // namespace ocamp
