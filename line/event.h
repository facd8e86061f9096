// What happens to a line: cuts, failures, cards pulled, channels that come and go, and edits at a time. Knows how
// events are written, not what they do.
#pragma once

#include "line/description.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ocamp {

/// One event with what it is about; the other members mean nothing.
struct LineEvent {
    enum class Kind { cut, repair, added_loss, pump_failure, pump_repair, pull, insert, channels, set };

    Kind kind;
    std::size_t span = 0;     ///< cut, repair, added_loss
    DirectionIndex direction; ///< of these, the one fibre that is meant; none: all of the cable. Of channels: which
    std::size_t node = 0;     ///< pump_*, pull, insert, set
    unsigned slot = 0;        ///< pump_*, pull, insert
    bool booster = false;     ///< pump_*: the booster, or the pre-amplifier
    double decibels = 0;      ///< added_loss: in all; pump_failure: what the maximum output falls by
    unsigned channels = 0;    ///< channels: how many there are from now on
    std::string path, value;  ///< set: of a leaf of the node's OpenConfig configuration, and what it is set to
};

/// The words of an event, one line each, for people:
///
///     cut SPAN [DIRECTION]            repair SPAN [DIRECTION]         add-loss SPAN DB [DIRECTION]
///     pump-failure NODE AMPLIFIER DB  pump-repair NODE AMPLIFIER      channels DIRECTION NUMBER
///     pull NODE SLOT                  insert NODE SLOT                set NODE PATH VALUE
///
/// Throws InputError for what is no event, or none of this line.
LineEvent parse_event(const LineDescription &line, std::string_view words);

/// An event and the second of line time that it happens at, before the next one is computed.
struct ScriptedEvent {
    std::uint64_t at;
    std::string words;
    LineEvent event;
};

/// Lines "SECOND EVENT...", in the order of time; empty ones and those that begin with "#" say nothing. Throws
/// InputError with the number of the line.
std::vector<ScriptedEvent> parse_script(const LineDescription &line, std::string_view script);

} // namespace ocamp
