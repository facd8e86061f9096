// What the cards of one node read, as the node's native models and its system database hold it. Knows nothing of how it
// was measured or where it is kept.
#pragma once

#include "line/history.h"
#include "line/simulation.h"
#include "sysdb/bag_record.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace ocamp {

/// One amplifier of the node, as it stands.
struct AmplifierPort {
    unsigned slot;
    const SimulatedAmplifier *amplifier; ///< never NULL
    const PortHistory *history;          ///< quantities: power sent, power received, gain, tilt
};
/// One supervisory channel.
struct ChannelPort {
    unsigned slot;
    const SimulatedChannel *channel; ///< never NULL
    const PortHistory *history;      ///< quantities: power sent, power received
};

inline constexpr std::size_t amplifier_quantities = 4, channel_quantities = 2;

/// The ports of the cards that are there. What is pointed at outlives this.
struct NodePorts {
    std::vector<AmplifierPort> amplifiers;
    std::vector<ChannelPort> channels;
};

/// "0/1-AMP-PRE" and "Ots0/1/0/0"; `separator` '_' for the name in the system database.
std::string amplifier_name(unsigned slot, bool booster);
std::string amplifier_controller(unsigned slot, bool booster, char separator = '/');
/// "Optics0/1/0/4".
std::string channel_controller(unsigned slot);

/// The native modules whose operational data a node measures.
inline constexpr std::string_view amplifier_module = "Korvex-controller-orvo8-ots-oper";
inline constexpr std::string_view channel_module = "Korvex-controller-optics-oper";
inline constexpr std::string_view history_module = "Korvex-pmengine-oper";
/// The document of the module of that name, as it is stored: JSON with every leaf that the module's readings have.
std::string amplifier_document(const NodePorts &ports);
std::string channel_document(const NodePorts &ports);
std::string history_document(const NodePorts &ports);

/// Where records are kept.
inline constexpr const char *controllers_bind_point = "/oper/ots/if/";
inline constexpr const char *inventory_bind_point = "/oper/inventory/gl/entity/";
inline constexpr const char *history_bind_point = "/oper/perfmgmt/gl/periodic/optics/interface/";

/// One item of the system database.
struct NodeRecord {
    const char *bind_point;
    std::string item;
    BagRecord record;
};

/// What the controller of an amplifier reads now.
NodeRecord controller_record(unsigned slot, bool booster, const AmplifierReading &reading, bool emitting);
/// The card's entry in the inventory; `node` makes up its serial number.
NodeRecord inventory_record(std::size_t node, unsigned slot, bool booster);
/// The latest interval in the record of an amplifier's controller: power sent is the amplifier's own, power received
/// that of its partner in the slot, as the mapping expects it. Either may be NULL. It is marked as valid when every
/// second of the interval was read. `start`: of the interval, since 1970.
NodeRecord history_record(unsigned slot, bool booster, const PortHistory *own, const PortHistory *partner,
                          std::int64_t start);

/// The configuration that a node of a line begins with, as RFC 7951 JSON.
std::string first_configuration(const LineDescription &line, std::size_t node);

} // namespace ocamp
