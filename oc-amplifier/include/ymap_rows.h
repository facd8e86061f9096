// What rows say of their nodes, in named fields. A request is the way of an OpenConfig leaf to native leaves, an answer
// the way of a native leaf to OpenConfig ones. Knows no node.
#pragma once

#include "decimal_text.h"
#include "utility.h"
#include "ymap_models.h"

namespace ymap {

using enum NativeDecimals;

/// What a row is a row of, as its YANG statement says.
enum class NodeKind { container, list, leaf };

/// What a native module holds. Configuration is walked for every request, operational data only for a read of state;
/// for other requests its children count as unknown. A list entry of operational data with a broken child array is
/// reported as an entry without keys; of configuration it is one without children, which is walked all the same.
enum class ModuleData { configuration, operational };

/// A native module, and what its walkers do where modules differ.
struct NativeModule {
    const char *name;
    const char *ns;    ///< children of this namespace are the module's own
    const char *above; ///< the path that its roots hang under; empty: none
    ModuleData data;
    bool unknown_tag_is_named; ///< the message about an unknown child names its tag
    /// A walker whose list handler skipped the entry returns success; otherwise it passes YMAP_RC_SKIP up.
    bool skip_becomes_success;
};

/// A word of traces.
using Word = FixedText<20>;

/// A leaf of a native model, as requests write it.
struct NativeLeaf {
    const char *ns = nullptr;
    const char *path = nullptr; ///< NULL: none
};

// ---- Requests ------------------------------------------------------------------------------------------------------

/// An edit or read of a configuration leaf writes the native leaf.
struct ConfigRequest {
    NativeLeaf native;
    NativeDecimals scale;   ///< of the native integer, truncated toward zero
    Word traced_as;         ///< begins the traces of the value before and after conversion
    bool announced = false; ///< a bare trace is written before the leaf
};

/// A read of a state leaf asks for the native leaf, and for a second one if there is one.
struct StateRequest {
    NativeLeaf native;
    NativeLeaf and_for = {};
    const char *with_value = nullptr; ///< of the second leaf; NULL: the same as the first
    NativeDecimals scale;
    Word traced_as;
    Word asked_as = {};  ///< the word of the "getting" trace; empty: none
    uint32_t follow = 0; ///< the follow flag of the first leaf's write: 1 where configuration is read
};

/// A read of a statistic asks for a leaf of the thirty-second time line with the request's value as it stands.
struct StatisticRequest {
    NativeLeaf native;
    bool copied = false; ///< a missing value is asked for as the empty text
};

/// A leaf whose converter gives the text of the native leaf: configuration, which edits write too, or state.
struct ConfigTextRequest {
    NativeLeaf native;
};
struct StateTextRequest {
    NativeLeaf native;
};

/// State that comes with the entry, whose converter is `answered_by`; nothing is asked for.
struct ComesWithEntry {
    const char *answered_by;
    const char *unit;
};

/// A key, whose converters of both directions are written out by hand.
struct KeyRequest {
    const char *asks_for[3];
    const char *answered_by[2];
    const char *unit;
};

// ---- Answers -------------------------------------------------------------------------------------------------------
// `unit` is the OpenConfig leaf's. `selected` is the leaf's place among the select fields of its module, from 1, and 0
// when it is none of them. The places follow no order of the nodes, so each leaf states its own.

/// A configuration leaf, which answers OpenConfig configuration and state.
struct ConfigAnswer {
    const char *config;
    const char *state;
    const char *unit;
    NativeDecimals scale;
    Word traced_as;
    Word key_traced_as;
    bool state_first = false;           ///< state is written before configuration
    bool written_without_value = false; ///< a leaf without value is answered with the empty text
    int selected = 0;
};

/// A value of an amplifier.
struct AmplifierAnswer {
    const char *openconfig;
    const char *unit;
    NativeDecimals scale;
    Word traced_as;
    bool shows_key = false; ///< the key of the entry being filled is printed and traced
    int selected = 0;
};

/// A value of a supervisory channel.
struct ChannelAnswer {
    const char *openconfig;
    const char *unit;
    NativeDecimals scale;
    Word traced_as;
    bool shows_hierarchy = false; ///< the depth of the node hierarchy is traced
    int selected = 0;
};

/// Reads a value of an amplifier from the system database; `name` is the getter's own.
struct DatabaseGetter {
    const char *name = nullptr;
    cerrno (*read)(yfw_map_ctx ctx, const char *controller_key, char *out) = nullptr;
};
#define YMAP_GETTER(function)                                                                                          \
    { #function, function }

/// A thirty-second statistic, which passes as text.
struct StatisticAnswer {
    const char *amplifier;
    const char *channel = nullptr; ///< NULL: only amplifiers have it
    const char *unit;
    /// An amplifier's value is that of the slot's other amplifier in the system database.
    DatabaseGetter of_partner = {};
    int selected = 0;
};

/// A leaf whose converter gives the text of the OpenConfig leaf.
struct TextAnswer {
    const char *openconfig;
    const char *unit;
    int selected = 0;
    const char *selected_as = nullptr; ///< the leaf selected in its place
};

/// The converter is written out by hand.
struct AnswerByHand {};

} // namespace ymap
