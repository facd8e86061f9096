// Converters from the native optics configuration to OpenConfig: gain and tilt from tenths, enable from its opposite.
#include "converters.h"
#include "ymap_models.h"
#include "ymap_values.h"

using ymap::add_leaf;
using ymap::Value;

const char *oc_opt_amp_cfg_enabled_to_high(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {
    YMAP_BEGIN(ctx, in, out, nullptr);
    return ymap::inverted(in->value);
}

namespace {

// Whom the shared steps speak for: each converter has message sites of its own.
struct Gain {
    static constexpr const char *function = "oc_opt_amp_cfg_target_gain_to_high";
};
struct Tilt {
    static constexpr const char *function = "oc_opt_amp_cfg_target_gain_tilt_to_high";
};

ymap::RequestKey requested_amplifier(yfw_map_ctx ctx) {
    return {ctx, ymap::request_tree(ctx), AMPLIFIER_PATH "/name"};
}

/// False when the request names an amplifier that the system database does not know. A request without a key passes.
template <class Row>
bool requested_amplifier_exists(yfw_map_ctx ctx, const ymap::RequestKey &key) {
    if (key.empty())
        return true;
    char controller[ymap::value_size] = "";
    ampli_key_to_sysdb_ots_ctrl_key(key.text, controller);
    if (sysdb_key_is_defined(ctx, controller) != 0)
        return true;
    ymap_trc_at(Row::function, ctx, "key %s is not defined in sysdb! ",
                controller); // the blank at the end is relied on
    return false;
}

/// Converts the native text; both leaves are traced with the words of the gain, which clients rely on.
template <class Row>
void convert(yfw_map_ctx ctx, const char *native, Value &value) {
    value.copy_from(Row::function, native);
    ymap_trc_at(Row::function, ctx, "gain-native = %s", value.text);
    value.to_openconfig(ymap::NativeDecimals::tenths);
    ymap_trc_at(Row::function, ctx, "gain-oc = %s", value.text);
}

/// Writes the gain: configuration first, then state.
cerrno add_gain(yfw_map_ctx ctx, yfw_datatree *out, const Value &value) {
    cerrno result = CERR_SUCCESS;
    if (ymap::writes_config(ctx))
        result = add_leaf(ctx, out, AMPLIFIER_PATH "/config/target-gain", OPENCONFIG_NS, value.text);
    if (ymap::reads_state(ctx))
        result = add_leaf(ctx, out, AMPLIFIER_PATH "/state/target-gain", OPENCONFIG_NS, value.text);
    return result;
}

/// Writes the tilt: state first, then configuration, the other way round than the gain; clients rely on the order.
cerrno add_tilt(yfw_map_ctx ctx, yfw_datatree *out, const Value &value) {
    cerrno result = CERR_SUCCESS;
    if (ymap::reads_state(ctx))
        result = add_leaf(ctx, out, AMPLIFIER_PATH "/state/target-gain-tilt", OPENCONFIG_NS, value.text);
    if (ymap::writes_config(ctx))
        result = add_leaf(ctx, out, AMPLIFIER_PATH "/config/target-gain-tilt", OPENCONFIG_NS, value.text);
    return result;
}

} // namespace

cerrno oc_opt_amp_cfg_target_gain_to_high(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {
    YMAP_BEGIN(ctx, in, out, YMAP_RC_INVALID_ARGS);
    const auto key = requested_amplifier(ctx);
    ymap_trc(ctx, " key= %s", key.text); // the blank in front is not in the tilt's trace; clients rely on both
    cerrno result = CERR_SUCCESS;
    if (requested_amplifier_exists<Gain>(ctx, key)) {
        if (in->value == nullptr) {
            ymap_trc(ctx, "input value is NULL");
        } else {
            Value value;
            convert<Gain>(ctx, in->value, value);
            result = add_gain(ctx, out, value);
        }
    }
    ymap_trc(ctx, "End");
    return result;
}

cerrno oc_opt_amp_cfg_target_gain_tilt_to_high(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {
    YMAP_BEGIN(ctx, in, out, YMAP_RC_INVALID_ARGS);
    const auto key = requested_amplifier(ctx);
    ymap_trc(ctx, "key= %s", key.text);
    cerrno result = CERR_SUCCESS;
    if (requested_amplifier_exists<Tilt>(ctx, key)) {
        Value value; // a tilt without value is written empty, where a gain is not written; clients rely on it
        if (in->value != nullptr)
            convert<Tilt>(ctx, in->value, value);
        result = add_tilt(ctx, out, value);
    }
    ymap_trc(ctx, "End");
    return result;
}
