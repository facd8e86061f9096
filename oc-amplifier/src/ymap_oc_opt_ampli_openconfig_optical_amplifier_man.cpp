// Converters from OpenConfig to native: list entries and keys, configuration values, state requests. They write
// native paths into the output tree; what the framework does with them is not their business.
#include "native_modules.h"
#include "openconfig_rows.h"
#include "ymap_values.h"

using ymap::add_leaf;
using ymap::open_list;
using ymap::shown;
using ymap::Value;

// ---- List entries and keys ---------------------------------------------------------------------------------------

namespace {

/// The key that the request itself gives for a list.
ymap::RequestKey requested_key(yfw_map_ctx ctx, const char *path) {
    const yfw_map_request *request = ctx->req_ctx;
    return {ctx, request != nullptr && request->node_data_count != 0 ? request->node_data : nullptr, path};
}

/// Keys of an interface's configuration; gives the result of the second, which is always "act".
cerrno add_interface_keys(yfw_map_ctx ctx, yfw_datatree *out, const char *controller, const yfw_datatree *source,
                          uint32_t follow) {
    add_leaf(ctx, out, INTERFACE_PATH "/interface-name", IFMGR_CFG_NS, controller, source, follow);
    return add_leaf(ctx, out, INTERFACE_PATH "/active", IFMGR_CFG_NS, "act", nullptr, follow);
}

/// Names the thirty-second history of a controller; gives the result of the last write.
cerrno add_history_keys(yfw_map_ctx ctx, yfw_datatree *out, const char *controller) {
    add_leaf(ctx, out, PORT_HISTORY_PATH "/name", PMENGINE_OPER_NS, controller);
    return add_leaf(ctx, out, TIME_LINE_PATH "/number", PMENGINE_OPER_NS, "1");
}

/// The controller that an amplifier's name stands for, on behalf of the converter of `Row`.
template <class Row>
struct Controller {
    char name[ymap::value_size] = "";

    Controller(yfw_map_ctx ctx, const char *amplifier) {
        ampli_key_to_ots_ctrl_key(amplifier, name);
        ymap_trc_at(Row::converter, ctx, "amplifier_name = %s", amplifier);
        ymap_trc_at(Row::converter, ctx, "controller_name = %s", name);
    }
};

/// Calls `visit` with every amplifier controller of the node that exists. Each call asks the inventory anew.
template <class Visit>
void for_each_amplifier_controller(yfw_map_ctx ctx, Visit visit) {
    for (const char *const *name = controller_amp_ots_list; *name != nullptr; ++name) {
        char amplifier[ymap::key_size] = "";
        if (check_controller_name_ots_is_good(ctx, *name, amplifier) != 0)
            visit(*name);
    }
}

} // namespace

cerrno oc_opt_amp_cfg_amplifier_list_to_low(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {
    YMAP_BEGIN(ctx, in, out, YMAP_RC_INVALID_ARGS);
    const char *const function = __func__;
    const auto key = requested_key(ctx, "optical-amplifier/amplifiers/amplifier/name");
    ymap_trc(ctx, "node_data key: %s", key.text);
    cerrno result = CERR_SUCCESS;
    if (yfw_map_is_request_delete(in) != 0) {
        result = open_list(ctx, out, INTERFACE_PATH, IFMGR_CFG_NS, in);
    } else if (key.empty()) {
        for_each_amplifier_controller(ctx, [&](const char *controller) {
            open_list(ctx, out, INTERFACE_PATH, IFMGR_CFG_NS, in);
            result = add_interface_keys(ctx, out, controller, in, 1);
        });
    } else {
        result = open_list(ctx, out, INTERFACE_PATH, IFMGR_CFG_NS);
    }
    if (ymap::reads_state(ctx)) {
        if (!key.empty()) {
            open_list(ctx, out, OTS_PORT_PATH, OTS_OPER_NS);
            result = open_list(ctx, out, PORT_HISTORY_PATH, PMENGINE_OPER_NS);
        } else {
            for_each_amplifier_controller(ctx, [&](const char *controller) {
                ymap_trc_at(function, ctx, "controller_amp_ots: %s", controller);
                add_ots_select_field(ctx, in, out, controller);
                add_pm_select_field(ctx, in, out, controller);
            });
        }
    }
    ymap_trc(ctx, "End");
    return result;
}

cerrno oc_opt_amp_cfg_amplifier_key_to_low(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {
    YMAP_BEGIN(ctx, in, out, YMAP_RC_INVALID_ARGS);
    cerrno result = CERR_SUCCESS;
    if (in->value != nullptr) {
        const Controller<ymap::openconfig::lvla_opticalamplifier_amplifier_name> controller(ctx, in->value);
        if (ymap::is_read(ctx)) {
            result = add_interface_keys(ctx, out, controller.name, nullptr, 0);
        } else {
            if (yfw_map_is_request_delete(in) != 0)
                open_list(ctx, out, INTERFACE_PATH, IFMGR_CFG_NS, in);
            result = add_interface_keys(ctx, out, controller.name, in, 0);
        }
        if (ymap::reads_state(ctx)) {
            add_leaf(ctx, out, OTS_PORT_PATH "/name", OTS_OPER_NS, controller.name);
            result = add_history_keys(ctx, out, controller.name);
        }
    }
    ymap_trc(ctx, "End");
    return result;
}

cerrno oc_opt_amp_cfg_get_amplifier_key_to_low(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {
    YMAP_BEGIN(ctx, in, out, YMAP_RC_INVALID_ARGS);
    cerrno result = CERR_SUCCESS;
    if (in->value != nullptr) {
        const Controller<ymap::openconfig::lvla_opticalamplifier_config_name> controller(ctx, in->value);
        if (ymap::is_read(ctx))
            result = add_interface_keys(ctx, out, controller.name, nullptr, 0);
    }
    if (!ymap::is_read(ctx))
        yfw_map_is_request_delete(in); // the framework expects to be asked; the key leaf carries the edit
    ymap_trc(ctx, "End");
    return result;
}

cerrno oc_opt_amp_state_get_amplifier_key_to_low(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {
    YMAP_BEGIN(ctx, in, out, YMAP_RC_INVALID_ARGS);
    cerrno result = CERR_SUCCESS;
    if (in->value != nullptr) {
        const Controller<ymap::openconfig::lvla_opticalamplifier_state_name> controller(ctx, in->value);
        if (ymap::is_read(ctx))
            result = add_leaf(ctx, out, OTS_PORT_PATH "/name", OTS_OPER_NS, controller.name);
    }
    if (!ymap::is_read(ctx))
        yfw_map_is_request_delete(in); // the framework expects to be asked; state is never edited
    ymap_trc(ctx, "End");
    return result;
}

cerrno oc_opt_amp_super_ch_list_to_low(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {
    YMAP_BEGIN(ctx, in, out, YMAP_RC_INVALID_ARGS);
    const auto key = requested_key(ctx, "optical-amplifier/supervisory-channels/supervisory-channel/interface");
    cerrno result = CERR_SUCCESS;
    if (ymap::reads_state(ctx) && !key.empty()) {
        open_list(ctx, out, OPTICS_PORT_PATH, OPTICS_OPER_NS);
        result = open_list(ctx, out, PORT_HISTORY_PATH, PMENGINE_OPER_NS);
    } else if (ymap::reads_state(ctx)) {
        for (const char *const *name = controller_optics_list; *name != nullptr; ++name) {
            if (check_controller_name_optics_is_good(ctx, *name) == 0)
                continue;
            add_optics_select_field(ctx, in, out, *name);
            add_pm_select_field(ctx, in, out, *name);
        }
    }
    ymap_trc(ctx, "End");
    return result;
}

namespace {

/// The channel's key is the native controller name as it stands. True when a read of state asks for one.
bool requested_channel(yfw_map_ctx ctx, const char *function, const yfw_datatree *in, Value &controller) {
    if (in->value != nullptr)
        controller.copy_from(function, in->value);
    return ymap::reads_state(ctx) && !controller.empty();
}

} // namespace

cerrno oc_opt_amp_cfg_super_ch_key_to_low(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {
    YMAP_BEGIN(ctx, in, out, YMAP_RC_INVALID_ARGS);
    cerrno result = CERR_SUCCESS;
    Value controller;
    if (requested_channel(ctx, __func__, in, controller)) {
        add_leaf(ctx, out, OPTICS_PORT_PATH "/name", OPTICS_OPER_NS, controller.text);
        result = add_history_keys(ctx, out, controller.text);
    }
    ymap_trc(ctx, "End");
    return result;
}

cerrno oc_opt_amp_state_super_ch_key_to_low(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {
    YMAP_BEGIN(ctx, in, out, YMAP_RC_INVALID_ARGS);
    cerrno result = CERR_SUCCESS;
    Value controller;
    if (requested_channel(ctx, __func__, in, controller))
        result = add_leaf(ctx, out, OPTICS_PORT_PATH "/name", OPTICS_OPER_NS, controller.text);
    ymap_trc(ctx, "End");
    return result;
}

// ---- Values ------------------------------------------------------------------------------------------------------

namespace {

using ymap::FixedText;

/// Fills `native` with the leaf's value in native units; a leaf without value leaves it empty.
template <class Row>
void convert(yfw_map_ctx ctx, const yfw_datatree *in, Value &native) {
    if (in->value == nullptr)
        return;
    native.copy_from(Row::converter, in->value);
    ymap_trc_at(Row::converter, ctx, Row::request.traced_as + FixedText("-oc = %s"), native.text);
    native.to_native(Row::request.scale);
    ymap_trc_at(Row::converter, ctx, Row::request.traced_as + FixedText("-native = %s"), native.text);
}

template <class Row>
cerrno write_request(const ymap::ConfigRequest & /*kind*/, YMAP_NODE_PARAMETERS) {
    constexpr ymap::ConfigRequest wanted = Row::request;
    Value native;
    convert<Row>(ctx, in, native);
    if constexpr (wanted.announced)
        ymap_trc_at(Row::converter, ctx, Row::request.traced_as + FixedText("-native"));
    constexpr uint32_t follow = 1;
    cerrno result = CERR_SUCCESS;
    if (ymap::is_read(ctx)) {
        result = add_leaf(ctx, out, wanted.native.path, wanted.native.ns, native.text, nullptr, follow);
    } else {
        const char *value = yfw_map_is_request_delete(in) != 0 ? nullptr : native.text;
        result = add_leaf(ctx, out, wanted.native.path, wanted.native.ns, value, in, follow);
    }
    ymap_trc_at(Row::converter, ctx, "End");
    return result;
}

/// State is never edited: an edit asks whether it deletes, does nothing with the answer, and succeeds.
bool is_edit_of_state(yfw_map_ctx ctx, const yfw_datatree *in) {
    if (ymap::is_read(ctx))
        return false;
    yfw_map_is_request_delete(in);
    return true;
}

template <class Row>
cerrno write_request(const ymap::StateRequest & /*kind*/, YMAP_NODE_PARAMETERS) {
    constexpr ymap::StateRequest wanted = Row::request;
    Value native;
    convert<Row>(ctx, in, native);
    if (is_edit_of_state(ctx, in))
        return CERR_SUCCESS;
    if constexpr (!wanted.asked_as.empty())
        ymap_trc_at(Row::converter, ctx, FixedText("getting ") + Row::request.asked_as);
    cerrno result = add_leaf(ctx, out, wanted.native.path, wanted.native.ns, native.text, nullptr, wanted.follow);
    if constexpr (wanted.and_for.path != nullptr)
        result = add_leaf(ctx, out, wanted.and_for.path, wanted.and_for.ns,
                          wanted.with_value != nullptr ? wanted.with_value : native.text);
    ymap_trc_at(Row::converter, ctx, Row::request.traced_as + FixedText("-native = %s"), native.text);
    ymap_trc_at(Row::converter, ctx, "End");
    return result;
}

/// Asks for a leaf of the first instance of the thirty-second time line.
template <class Row>
cerrno write_request(const ymap::StatisticRequest & /*kind*/, YMAP_NODE_PARAMETERS) {
    constexpr ymap::StatisticRequest wanted = Row::request;
    const char *value = in->value;
    Value copy;
    if constexpr (wanted.copied) {
        if (value != nullptr)
            copy.copy_from(Row::converter, value);
        value = copy.text;
    }
    if (is_edit_of_state(ctx, in))
        return CERR_SUCCESS;
    add_leaf(ctx, out, wanted.native.path, wanted.native.ns, value);
    const cerrno result = add_leaf(ctx, out, TIME_LINE_PATH "/number", PMENGINE_OPER_NS, "1");
    ymap_trc_at(Row::converter, ctx, "End");
    return result;
}

template <class Row>
cerrno write_request(const ymap::ComesWithEntry & /*kind*/, yfw_map_ctx ctx, const yfw_datatree *in,
                     yfw_datatree * /*out*/) {
    if (!is_edit_of_state(ctx, in))
        ymap_trc_at(Row::converter, ctx, "End");
    return CERR_SUCCESS;
}

} // namespace

const char *oc_opt_amp_cfg_enabled_to_low(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {
    YMAP_BEGIN(ctx, in, out, nullptr);
    return ymap::inverted(in->value);
}

const char *oc_opt_amp_state_enabled_to_low(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {
    YMAP_BEGIN(ctx, in, out, nullptr);
    return ymap::inverted(in->value);
}

const char *oc_opt_amp_state_gain_range_to_low(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {
    YMAP_BEGIN(ctx, in, out, nullptr);
    ymap_trc(ctx, "gain_range = %s", shown(in->value));
    if (in->value == nullptr)
        return nullptr;
    if (strcmp(in->value, "LOW_GAIN_RANGE") == 0)
        return "amplifier-gain-range-normal";
    if (strcmp(in->value, "HIGH_GAIN_RANGE") == 0)
        return "amplifier-gain-range-ext-end-ed";
    return nullptr;
}

#define DEFINE_Converter(name, row)                                                                                    \
    cerrno name(YMAP_NODE_PARAMETERS) {                                                                                \
        YMAP_BEGIN(ctx, in, out, YMAP_RC_INVALID_ARGS);                                                                \
        return write_request<ymap::openconfig::row>(ymap::openconfig::row::request, ctx, in, out);                     \
    }
#include "openconfig_exports.h"

namespace {

/// No row calls the converter of the total power; it is part of the exported set.
struct TotalOutputPower {
    static constexpr const char *converter = "oc_opt_amp_state_instant_output_power_tot_to_low";
    static constexpr ymap::StateRequest request{.native = OTS_LANE("/transmit-power"),
                                                .and_for = OTS_LANE("/transmit-power-dbm"),
                                                .scale = ymap::tenths,
                                                .traced_as = "output_power",
                                                .asked_as = "output_power"};
};

} // namespace

cerrno oc_opt_amp_state_instant_output_power_tot_to_low(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {
    YMAP_BEGIN(ctx, in, out, YMAP_RC_INVALID_ARGS);
    return write_request<TotalOutputPower>(TotalOutputPower::request, ctx, in, out);
}
