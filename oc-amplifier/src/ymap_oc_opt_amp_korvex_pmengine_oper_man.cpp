// Converters from the thirty-second performance history to the OpenConfig statistics of amplifiers and channels.
// Values pass as text. An amplifier's input power is not in its own history: it comes from the system database.
#include "native_modules.h"
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
    ymap_trc_at(Row::converter, ctx, "key: %s", key.text);
    Port port = {};
    memcpy(port.name, key.text, sizeof port.name);
    return port;
}

/// The leaf's value without white space around it; empty when it has none. Points into `value`.
const char *stripped_copy(const char *function, const yfw_datatree *in, Value &value) {
    if (in->value != nullptr)
        value.copy_from(function, in->value);
    return strstrip(value.text);
}

/// Input power of an amplifier: it is measured on the other side of the line, so the system database holds it in the
/// record of the slot's other amplifier. Fills `value`; returns the text in it.
template <class Row>
const char *read_input_power(yfw_map_ctx ctx, const Port &port, Value &value) {
    char amplifier[ymap::key_size] = "";
    ots_ctrl_key_to_ampli_key(port.name, amplifier);
    ymap_trc_at(Row::converter, ctx, "ampli_key:  %s ", amplifier);
    char controller[ymap::value_size] = "";
    ampli_key_to_sysdb_ots_ctrl_key(amplifier, controller);
    ymap_trc_at(Row::converter, ctx, "zq_stsdb_ctrl_name:  %s ", controller);
    swap_controller(controller);
    ymap_trc_at(Row::converter, ctx, "zq_stsdb_ctrl_name swapped:  %s ", controller);
    Value power;
    Row::answer.of_partner.read(ctx, controller, power.text);
    ymap_trc_at(Row::converter, ctx, "power_val  %s ", power.text);
    if (power.empty())
        return value.text;
    value.copy_from(Row::converter, power.text);
    return strstrip(value.text);
}

template <class Row>
bool is_wanted_amplifier(yfw_map_ctx ctx, ymap::RequestScope wanted) {
    return wanted.amplifiers && find_port<Row, Amplifier>(ctx).is_amplifier();
}

template <class Row>
bool is_wanted_channel(yfw_map_ctx ctx, ymap::RequestScope wanted) {
    if constexpr (Row::answer.channel != nullptr)
        return wanted.channels && find_port<Row, Channel>(ctx).is_channel();
    return false;
}

/// A statistic that the port's own history holds.
template <class Row>
cerrno add_own_value(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out, ymap::RequestScope wanted) {
    Value value;
    const char *text = stripped_copy(Row::converter, in, value);
    cerrno result = CERR_SUCCESS;
    if (is_wanted_amplifier<Row>(ctx, wanted))
        result = add_leaf(ctx, out, Row::answer.amplifier, OPENCONFIG_NS, text);
    if (is_wanted_channel<Row>(ctx, wanted))
        result = add_leaf(ctx, out, Row::answer.channel, OPENCONFIG_NS, text);
    return result;
}

/// Input power. A channel's own value is stripped where it stands, in the native tree.
template <class Row>
cerrno add_partner_value(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out, ymap::RequestScope wanted) {
    cerrno result = CERR_SUCCESS;
    if (wanted.amplifiers) {
        if (const Port port = find_port<Row, Amplifier>(ctx); port.is_amplifier()) {
            Value value;
            result = add_leaf(ctx, out, Row::answer.amplifier, OPENCONFIG_NS, read_input_power<Row>(ctx, port, value));
        }
    }
    if (is_wanted_channel<Row>(ctx, wanted))
        result = add_leaf(ctx, out, Row::answer.channel, OPENCONFIG_NS, strstrip(in->value));
    return result;
}

template <class Row>
cerrno convert(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {
    const ymap::RequestScope wanted = ymap::wanted_lists(ctx);
    cerrno result = CERR_SUCCESS;
    if constexpr (Row::answer.of_partner.read != nullptr)
        result = add_partner_value<Row>(ctx, in, out, wanted);
    else
        result = add_own_value<Row>(ctx, in, out, wanted);
    ymap_trc_at(Row::converter, ctx, "End");
    return result;
}

} // namespace

#define XO_ROWS "korvex_pmengine_oper.def"
#include "ymap_native_converters.h"
