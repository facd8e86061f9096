// Converters from the native optics configuration to OpenConfig: gain and tilt from tenths, enable from its opposite.
#include "native_modules.h"
#include "ymap_values.h"

using ymap::add_leaf;
using ymap::Value;

const char *oc_opt_amp_cfg_enabled_to_high(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {
    YMAP_BEGIN(ctx, in, out, nullptr);
    return ymap::inverted(in->value);
}

namespace {

/// False when the request names an amplifier that the system database does not know. A request without a key passes.
template <class Row>
bool requested_amplifier_exists(yfw_map_ctx ctx, const ymap::RequestKey &key) {
    if (key.empty())
        return true;
    char controller[ymap::value_size] = "";
    ampli_key_to_sysdb_ots_ctrl_key(key.text, controller);
    if (sysdb_key_is_defined(ctx, controller) != 0)
        return true;
    ymap_trc_at(Row::converter, ctx, "key %s is not defined in sysdb! ",
                controller); // the blank at the end is relied on
    return false;
}

/// Writes configuration and state, in the order that the row says; gives the result of the last write.
cerrno add_values(yfw_map_ctx ctx, yfw_datatree *out, const ymap::ConfigAnswer &answer, const Value &value) {
    cerrno result = CERR_SUCCESS;
    const auto add_state = [&] {
        if (ymap::reads_state(ctx))
            result = add_leaf(ctx, out, answer.state, OPENCONFIG_NS, value.text);
    };
    if (answer.state_first)
        add_state();
    if (ymap::writes_config(ctx))
        result = add_leaf(ctx, out, answer.config, OPENCONFIG_NS, value.text);
    if (!answer.state_first)
        add_state();
    return result;
}

template <class Row>
cerrno answer_request(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {
    Value value;
    if (in->value != nullptr) {
        ymap::convert_value<Row>(ctx, in->value, value);
    } else if constexpr (!Row::answer.written_without_value) {
        ymap_trc_at(Row::converter, ctx, "input value is NULL");
        return CERR_SUCCESS;
    }
    return add_values(ctx, out, Row::answer, value);
}

template <class Row>
cerrno convert(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {
    const ymap::RequestKey key(ctx, ymap::request_tree(ctx), AMPLIFIER_PATH "/name");
    ymap_trc_at(Row::converter, ctx, Row::answer.key_traced_as, key.text);
    cerrno result = CERR_SUCCESS;
    if (requested_amplifier_exists<Row>(ctx, key))
        result = answer_request<Row>(ctx, in, out);
    ymap_trc_at(Row::converter, ctx, "End");
    return result;
}

} // namespace

#define XO_ROWS "korvex_controller_optics_cfg.def"
#include "ymap_native_converters.h"
