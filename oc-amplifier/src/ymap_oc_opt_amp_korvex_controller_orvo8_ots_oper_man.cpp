// Converters from the native OTS operational model to OpenConfig amplifier state. The key converter makes the
// amplifier's entry and what never changes in it.
#include "native_modules.h"
#include "ymap_values.h"

using ymap::add_leaf;
using ymap::shown;
using ymap::Value;

namespace {

/// Prints and traces the key of the entry being filled. Diagnostics only.
template <class Row>
void show_key(yfw_map_ctx ctx) {
    const yfw_datatree *plist = ctx->req_ctx != nullptr ? &ctx->req_ctx->plist : nullptr;
    yfw_map_print_datatree_internal(ctx, plist, "plist");
    const ymap::RequestKey key(ctx, plist, "amplifier/name");
    ymap_trc_at(Row::converter, ctx, "key:  %s ", key.text);
    ymap_trc_at(Row::converter, ctx, "controller_name:  %s ", key.path);
}

template <class Row>
cerrno convert(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {
    constexpr ymap::AmplifierAnswer answer = Row::answer;
    if constexpr (answer.shows_key)
        show_key<Row>(ctx);
    Value value;
    if (in->value != nullptr)
        ymap::convert_value<Row>(ctx, in->value, value);
    const cerrno result = add_leaf(ctx, out, answer.openconfig, OPENCONFIG_NS, value.text);
    ymap_trc_at(Row::converter, ctx, "End");
    return result;
}

} // namespace

#define XO_ROWS "korvex_controller_orvo8_ots_oper.def"
#include "ymap_native_converters.h"

const char *oc_opt_amp_state_enabled_to_high(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {
    YMAP_BEGIN(ctx, in, out, nullptr);
    return ymap::inverted(in->value);
}

const char *oc_opt_amp_state_gain_range_to_high(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {
    YMAP_BEGIN(ctx, in, out, nullptr);
    ymap_trc(ctx, "gain_range = %s", shown(in->value));
    if (in->value == nullptr || strcmp(in->value, "amplifier-gain-range-normal") == 0)
        return "LOW_GAIN_RANGE";
    if (strcmp(in->value, "amplifier-gain-range-ext-end-ed") == 0)
        return "HIGH_GAIN_RANGE";
    return nullptr;
}

namespace {

/// Writes the amplifier's entry with its fixed state; gives the result of the last write.
cerrno add_amplifier(yfw_map_ctx ctx, const char *function, yfw_datatree *out, const char *amplifier) {
    yfw_map_search_or_add_list(ctx, out, &ctx->req_ctx->plist, AMPLIFIER_PATH, amplifier, "name", OPENCONFIG_NS);
    add_leaf(ctx, out, AMPLIFIER_PATH "/state/name", OPENCONFIG_NS, amplifier);
    ymap_trc_at(function, ctx, "state_type EDFA");
    add_leaf(ctx, out, AMPLIFIER_PATH "/state/type", OPENCONFIG_NS, "EDFA");
    ymap_trc_at(function, ctx, "state_amp-mode CONSTANT_GAIN");
    add_leaf(ctx, out, AMPLIFIER_PATH "/state/amp-mode", OPENCONFIG_NS, "CONSTANT_GAIN");
    Value ingress;
    convert_amplifier_key_to_otsctrl_port(amplifier, ingress.text, 0);
    add_leaf(ctx, out, AMPLIFIER_PATH "/state/ingress-port", OPENCONFIG_NS, ingress.text);
    Value egress;
    convert_amplifier_key_to_otsctrl_port(amplifier, egress.text, 1);
    return add_leaf(ctx, out, AMPLIFIER_PATH "/state/egress-port", OPENCONFIG_NS, egress.text);
}

} // namespace

cerrno oc_opt_amp_state_get_amplifier_key_to_high(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {
    YMAP_BEGIN(ctx, in, out, YMAP_RC_INVALID_ARGS);
    yfw_map_print_datatree_internal(ctx, ymap::request_tree(ctx), "reg_dup_datatree");
    const bool wanted = ymap::wanted_lists(ctx).amplifiers;
    ymap_trc(ctx, "value = %s", shown(in->value));
    cerrno result = CERR_SUCCESS;
    if (wanted && in->value != nullptr) {
        char amplifier[ymap::value_size] = "";
        const bool is_amplifier = check_controller_name_ots_is_good(ctx, in->value, amplifier) != 0;
        if (is_amplifier && ymap::reads_state(ctx))
            result = add_amplifier(ctx, __func__, out, amplifier);
    }
    ymap_trc(ctx, "End");
    return result;
}
