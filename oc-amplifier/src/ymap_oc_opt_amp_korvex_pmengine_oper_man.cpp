// Converters from the thirty-second performance history to the OpenConfig statistics of amplifiers and channels.
// Values pass as text. An amplifier's input power is not in its own history: it comes from the system database.
#include "converters.h"
#include "ymap_models.h"
#include "ymap_values.h"

using ymap::add_leaf;
using ymap::Value;

namespace {

// What a port is looked up for.
struct Amplifier;
struct Channel;

/// The port whose history is being walked.
struct Port {
    char name[ymap::key_size];
    bool is_amplifier() const { return strncmp(name, "Ots", strlen("Ots")) == 0; }
    bool is_channel() const { return strncmp(name, "Optics", strlen("Optics")) == 0; }
};

/// `For` tells apart the message sites of a converter that looks twice.
template <class Row, class For>
Port find_port(yfw_map_ctx ctx) {
    const yfw_datatree *history = ctx->req_ctx != nullptr ? ctx->req_ctx->native_list : nullptr;
    const ymap::RequestKey key(ctx, history, "optics-port-history/name");
    ymap_trc_at(Row::function, ctx, "key: %s", key.text);
    Port port = {};
    memcpy(port.name, key.text, sizeof port.name);
    return port;
}

/// The leaf's value without white space around it; empty when it has none. Points into `value`.
const char *stripped_copy(const char *caller, const yfw_datatree *in, Value &value) {
    if (in->value != nullptr)
        value.copy_from(caller, in->value);
    return strstrip(value.text);
}

using PowerGetter = cerrno(yfw_map_ctx ctx, const char *controller_key, char *out);

/// Input power of an amplifier: it is measured on the other side of the line, so the system database holds it in the
/// record of the slot's other amplifier. Fills `value`; returns the text in it.
template <class Row>
const char *read_input_power(yfw_map_ctx ctx, const Port &port, PowerGetter *get, Value &value) {
    char amplifier[ymap::key_size] = "";
    ots_ctrl_key_to_ampli_key(port.name, amplifier);
    ymap_trc_at(Row::function, ctx, "ampli_key:  %s ", amplifier);
    char controller[ymap::value_size] = "";
    ampli_key_to_sysdb_ots_ctrl_key(amplifier, controller);
    ymap_trc_at(Row::function, ctx, "zq_stsdb_ctrl_name:  %s ", controller);
    swap_controller(controller);
    ymap_trc_at(Row::function, ctx, "zq_stsdb_ctrl_name swapped:  %s ", controller);
    Value power;
    get(ctx, controller, power.text);
    ymap_trc_at(Row::function, ctx, "power_val  %s ", power.text);
    if (power.empty())
        return value.text;
    value.copy_from(Row::function, power.text);
    return strstrip(value.text);
}

} // namespace

// The converter that the shared steps speak for.
#define HISTORY_ROW(converter)                                                                                         \
    struct converter##_row {                                                                                           \
        static constexpr const char *function = #converter;                                                            \
    };

#define HISTORY_OUTPUT_POWER(converter, statistic)                                                                     \
    HISTORY_ROW(converter)                                                                                             \
    cerrno converter(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {                                     \
        YMAP_BEGIN(ctx, in, out, YMAP_RC_INVALID_ARGS);                                                                \
        const ymap::RequestScope wanted = ymap::wanted_lists(ctx);                                                     \
        Value value;                                                                                                   \
        const char *power = stripped_copy(__func__, in, value);                                                        \
        cerrno result = CERR_SUCCESS;                                                                                  \
        if (wanted.amplifiers && find_port<converter##_row, Amplifier>(ctx).is_amplifier())                            \
            result = add_leaf(ctx, out, AMPLIFIER_PATH "/state/output-power-c-band/" statistic, OPENCONFIG_NS, power); \
        if (wanted.channels && find_port<converter##_row, Channel>(ctx).is_channel())                                  \
            result = add_leaf(ctx, out, CHANNEL_PATH "/state/output-power/" statistic, OPENCONFIG_NS, power);          \
        ymap_trc(ctx, "End");                                                                                          \
        return result;                                                                                                 \
    }
// A channel's own value is stripped where it stands, in the native tree.
#define HISTORY_INPUT_POWER(converter, statistic, getter)                                                              \
    HISTORY_ROW(converter)                                                                                             \
    cerrno converter(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {                                     \
        YMAP_BEGIN(ctx, in, out, YMAP_RC_INVALID_ARGS);                                                                \
        const ymap::RequestScope wanted = ymap::wanted_lists(ctx);                                                     \
        cerrno result = CERR_SUCCESS;                                                                                  \
        if (wanted.amplifiers) {                                                                                       \
            if (const Port port = find_port<converter##_row, Amplifier>(ctx); port.is_amplifier()) {                   \
                Value value;                                                                                           \
                result = add_leaf(ctx, out, AMPLIFIER_PATH "/state/input-power-c-band/" statistic, OPENCONFIG_NS,      \
                                  read_input_power<converter##_row>(ctx, port, getter, value));                        \
            }                                                                                                          \
        }                                                                                                              \
        if (wanted.channels && find_port<converter##_row, Channel>(ctx).is_channel())                                  \
            result =                                                                                                   \
                add_leaf(ctx, out, CHANNEL_PATH "/state/input-power/" statistic, OPENCONFIG_NS, strstrip(in->value));  \
        ymap_trc(ctx, "End");                                                                                          \
        return result;                                                                                                 \
    }
#define HISTORY_AMPLIFIER(converter, path)                                                                             \
    HISTORY_ROW(converter)                                                                                             \
    cerrno converter(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {                                     \
        YMAP_BEGIN(ctx, in, out, YMAP_RC_INVALID_ARGS);                                                                \
        const ymap::RequestScope wanted = ymap::wanted_lists(ctx);                                                     \
        Value value;                                                                                                   \
        const char *statistic = stripped_copy(__func__, in, value);                                                    \
        cerrno result = CERR_SUCCESS;                                                                                  \
        if (wanted.amplifiers && find_port<converter##_row, Amplifier>(ctx).is_amplifier())                            \
            result = add_leaf(ctx, out, path, OPENCONFIG_NS, statistic);                                               \
        ymap_trc(ctx, "End");                                                                                          \
        return result;                                                                                                 \
    }
#include "history_values.def"
