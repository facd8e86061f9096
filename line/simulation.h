// The light on a line, second by second: what each amplifier makes of what reaches it, and what its card reads. Knows
// neither nodes nor where its settings come from.
#pragma once

#include "line/description.h"
#include "line/event.h"
#include "line/physics.h"

#include <cstdint>
#include <string>
#include <vector>

namespace ocamp {

inline constexpr int ticks_a_second = 10;
inline constexpr double ramp = 1.0;        ///< dB a second that gains move by
inline constexpr int hold_ticks = 5;       ///< that a signal is lost, or is back, before the amplifier follows
inline constexpr double darkness = -40;    ///< dBm; detectors read nothing below it
inline constexpr int dark_reading = -4000; ///< the same as a reading

/// What the node's configuration says of an amplifier. None: what the line's description says.
struct AmplifierSettings {
    std::optional<double> gain, tilt; ///< dB
    bool shut = false;
    bool extended_range = false; ///< taken up when the amplifier next starts
    bool operator==(const AmplifierSettings &) const = default;
};

/// The same of a supervisory channel.
struct ChannelSettings {
    std::optional<double> power; ///< dBm
    bool shut = false;
    bool operator==(const ChannelSettings &) const = default;
};

/// What a card reads at the end of a second, in hundredths of dBm and dB.
struct AmplifierReading {
    int input = dark_reading, output = dark_reading; ///< of the signal band
    int total_input = dark_reading;                  ///< supervisory channel included
    int gain = 0, tilt = 0;
};
/// Likewise of a supervisory channel, in hundredths of dBm.
struct ChannelReading {
    int input = dark_reading, output = dark_reading;
};

/// An amplifier of the line.
struct SimulatedAmplifier {
    std::size_t node;
    std::size_t slot; ///< index among the node's
    bool booster;
    AmplifierDescription built;
    AmplifierSettings settings;

    double gain;         ///< dB, that the control asks for; on its way to the one that is set
    bool extended_range; ///< in use
    bool emitting = true;
    bool input_lost = false; ///< for long enough that the amplifier has shut down
    int ticks_of_change = 0; ///< that the input is otherwise than input_lost says
    double pump_loss = 0;    ///< dB, that the maximum output has fallen by
    physics::Light input, output;
    double actual_gain = 0; ///< dB; less than `gain` when the output is limited
    AmplifierReading reading;

    /// dB, that the gain moves to: within the range in use.
    double target_gain() const noexcept;
};

/// The supervisory channel of a slot.
struct SimulatedChannel {
    std::size_t node;
    std::size_t slot;     ///< index among the node's
    double built_power;   ///< dBm
    bool sends, receives; ///< fibres are connected
    ChannelSettings settings;
    double input = 0, output = 0; ///< mW
    ChannelReading reading;
};

/// The supervisory light over one fibre: indexes of the channels at its ends, where there are some.
struct SupervisoryHop {
    DirectionIndex from, to;
};

/// One fibre of one direction.
struct SimulatedFibre {
    physics::SpanLoss loss;
    bool cut = false;
    double now = 0; ///< dB, in the present second
};

/// A state that was kept of a line with other nodes, cards or directions.
class OtherLineError : public JsonError {
  public:
    using JsonError::JsonError;
};

/// The state of a line. The same description, seed, settings and events at the same seconds give the same values.
class Simulation {
  public:
    /// As if it had run with the settings of its description for long. `line` outlives the simulation.
    Simulation(const LineDescription &line, std::uint64_t seed);

    /// Computes the next second.
    void step();
    /// Takes effect in the next second.
    void apply(const LineEvent &event);
    /// The same. Noise and drift are those of the seed from now on.
    void reseed(std::uint64_t seed);
    /// The same.
    void configure_amplifier(std::size_t index, const AmplifierSettings &settings);
    void configure_channel(std::size_t index, const ChannelSettings &settings);

    const LineDescription &line() const noexcept { return line_; }
    std::uint64_t second() const noexcept { return second_; }
    std::uint64_t seed() const noexcept { return seed_; }
    /// In the order of nodes and slots, pre-amplifiers first.
    const std::vector<SimulatedAmplifier> &amplifiers() const noexcept { return amplifiers_; }
    const std::vector<SimulatedChannel> &channels() const noexcept { return channels_; }
    const SimulatedFibre &fibre(std::size_t direction, std::size_t span) const {
        return fibres_[direction * line_.spans.size() + span];
    }
    const SupervisoryHop &supervision(std::size_t direction, std::size_t span) const {
        return hops_[direction * line_.spans.size() + span];
    }
    /// Channels at the terminal.
    unsigned channel_count(std::size_t direction) const { return channel_counts_[direction]; }
    bool is_pulled(std::size_t node, std::size_t slot) const { return pulled_[node][slot]; }

    /// One thing that light passes in a direction, the terminal's first.
    struct Passage {
        enum class Kind { amplifier, span } kind;
        std::size_t index; ///< of the amplifier, or of the span
    };
    const std::vector<Passage> &path(std::size_t direction) const { return paths_[direction]; }

    /// The state as JSON, and a simulation of that state. Throws OtherLineError for that of a line of another
    /// structure, JsonError for what is no state; the simulation is not to be used then.
    std::string state() const;
    void restore(std::string_view state);

  private:
    void make_cards(std::size_t node);
    void make_path(std::size_t direction);
    void pass_amplifiers(std::size_t node, std::size_t direction);
    /// A node's supervisory channels of one direction.
    struct NodeChannels {
        DirectionIndex receiver, sender;
    };
    NodeChannels channels_of(std::size_t node, std::size_t direction) const;
    void tick(SimulatedAmplifier &amplifier, physics::Light &light) const;
    void pass(std::size_t direction);
    void pass_supervisory_light();
    void read();
    int reading_of(double level, std::uint64_t source) const noexcept;
    int power_reading(double power, std::uint64_t source) const noexcept;
    template <class Change>
    void change_fibres(const LineEvent &event, Change change);
    void reset_card(std::size_t node, std::size_t slot);
    SimulatedAmplifier &amplifier_of(const LineEvent &event);

    const LineDescription &line_;
    std::uint32_t structure_; // of the line
    std::uint64_t seed_;
    std::uint64_t second_ = 0;
    std::vector<SimulatedAmplifier> amplifiers_;
    std::vector<SimulatedChannel> channels_;
    std::vector<SimulatedFibre> fibres_; // by direction, then span
    std::vector<unsigned> channel_counts_;
    std::vector<std::vector<bool>> pulled_; // by node, then slot
    std::vector<std::vector<Passage>> paths_;
    std::vector<SupervisoryHop> hops_; // as the fibres
};

} // namespace ocamp
