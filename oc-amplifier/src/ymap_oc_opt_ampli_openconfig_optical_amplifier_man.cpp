// Converters from OpenConfig to native: list entries and keys, configuration values, state requests. They write
// native paths into the output tree; what the framework does with them is not their business.
#include "converters.h"
#include "ymap_models.h"
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

/// The controller that an amplifier's name stands for, on behalf of the converter `Speaker`.
template <class Speaker>
struct Controller {
    char name[ymap::value_size] = "";

    Controller(yfw_map_ctx ctx, const char *amplifier) {
        ampli_key_to_ots_ctrl_key(amplifier, name);
        ymap_trc_at(Speaker::function, ctx, "amplifier_name = %s", amplifier);
        ymap_trc_at(Speaker::function, ctx, "controller_name = %s", name);
    }
};

struct ListKey {
    static constexpr const char *function = "oc_opt_amp_cfg_amplifier_key_to_low";
};
struct ConfigName {
    static constexpr const char *function = "oc_opt_amp_cfg_get_amplifier_key_to_low";
};
struct StateName {
    static constexpr const char *function = "oc_opt_amp_state_get_amplifier_key_to_low";
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
    const char *function = __func__;
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
        const Controller<ListKey> controller(ctx, in->value);
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
        const Controller<ConfigName> controller(ctx, in->value);
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
        const Controller<StateName> controller(ctx, in->value);
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
            open_list(ctx, out, OPTICS_PORT_PATH, OPTICS_OPER_NS);
            add_leaf(ctx, out, OPTICS_PORT_PATH "/name", OPTICS_OPER_NS, *name, in, 1);
            add_leaf(ctx, out, OPTICS_LANE_PATH "/receive-power", OPTICS_OPER_NS, nullptr, nullptr, 1);
            add_leaf(ctx, out, OPTICS_LANE_PATH "/transmit-power", OPTICS_OPER_NS, nullptr, nullptr, 1);
            // The lane number carries no follow flag, unlike its neighbours; clients rely on it.
            add_leaf(ctx, out, OPTICS_LANE_PATH "/number", OPTICS_OPER_NS, "1");
            add_pm_select_field(ctx, in, out, *name);
        }
    }
    ymap_trc(ctx, "End");
    return result;
}

namespace {

/// The channel's key is the native controller name as it stands. True when a read of state asks for one.
bool requested_channel(yfw_map_ctx ctx, const char *caller, const yfw_datatree *in, Value &controller) {
    if (in->value != nullptr)
        controller.copy_from(caller, in->value);
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

/// Fills `native` with the leaf's value in native units; a leaf without value leaves it empty.
template <class Row>
void convert(yfw_map_ctx ctx, const yfw_datatree *in, Value &native) {
    if (in->value == nullptr)
        return;
    native.copy_from(Row::function, in->value);
    ymap_trc_at(Row::function, ctx, Row::word + ymap::FixedText("-oc = %s"), native.text);
    native.to_native(Row::factor);
    ymap_trc_at(Row::function, ctx, Row::word + ymap::FixedText("-native = %s"), native.text);
}

template <class Row>
cerrno write_config_value(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {
    Value native;
    convert<Row>(ctx, in, native);
    if constexpr (Row::announces)
        ymap_trc_at(Row::function, ctx, Row::word + ymap::FixedText("-native"));
    constexpr uint32_t follow = 1;
    cerrno result = CERR_SUCCESS;
    if (ymap::is_read(ctx)) {
        result = add_leaf(ctx, out, Row::path, OPTICS_CFG_NS, native.text, nullptr, follow);
    } else {
        const char *value = yfw_map_is_request_delete(in) != 0 ? nullptr : native.text;
        result = add_leaf(ctx, out, Row::path, OPTICS_CFG_NS, value, in, follow);
    }
    ymap_trc_at(Row::function, ctx, "End");
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
cerrno request_state_value(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {
    Value native;
    convert<Row>(ctx, in, native);
    if (is_edit_of_state(ctx, in))
        return CERR_SUCCESS;
    if constexpr (sizeof Row::what.text > 1)
        ymap_trc_at(Row::function, ctx, ymap::FixedText("getting ") + Row::what);
    cerrno result = add_leaf(ctx, out, Row::path, Row::ns, native.text, nullptr, Row::follow);
    if constexpr (Row::second_path != nullptr)
        result = add_leaf(ctx, out, Row::second_path, Row::ns,
                          Row::second_value != nullptr ? Row::second_value : native.text);
    ymap_trc_at(Row::function, ctx, Row::word + ymap::FixedText("-native = %s"), native.text);
    ymap_trc_at(Row::function, ctx, "End");
    return result;
}

/// Asks for a leaf of the first instance of the thirty-second time line.
cerrno request_statistic(yfw_map_ctx ctx, const char *path, const char *value, yfw_datatree *out) {
    add_leaf(ctx, out, path, PMENGINE_OPER_NS, value);
    return add_leaf(ctx, out, TIME_LINE_PATH "/number", PMENGINE_OPER_NS, "1");
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

// The row behind a converter, as a type.
#define VALUE_ROW(converter, row_word, row_factor, row_path)                                                           \
    static constexpr const char *function = #converter;                                                                \
    static constexpr ymap::FixedText word = row_word;                                                                  \
    static constexpr double factor = row_factor;                                                                       \
    static constexpr const char *path = row_path;

#define CONFIG_VALUE(converter, word, row_announces, factor, path)                                                     \
    struct converter##_row {                                                                                           \
        VALUE_ROW(converter, word, factor, path)                                                                       \
        static constexpr bool announces = row_announces;                                                               \
    };                                                                                                                 \
    cerrno converter(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {                                     \
        YMAP_BEGIN(ctx, in, out, YMAP_RC_INVALID_ARGS);                                                                \
        return write_config_value<converter##_row>(ctx, in, out);                                                      \
    }
#define STATE_VALUE(converter, word, row_what, factor, row_follow, row_ns, path, row_second_path, row_second_value)    \
    struct converter##_row {                                                                                           \
        VALUE_ROW(converter, word, factor, path)                                                                       \
        static constexpr ymap::FixedText what = row_what;                                                              \
        static constexpr uint32_t follow = row_follow;                                                                 \
        static constexpr const char *ns = row_ns;                                                                      \
        static constexpr const char *second_path = row_second_path;                                                    \
        static constexpr const char *second_value = row_second_value;                                                  \
    };                                                                                                                 \
    cerrno converter(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {                                     \
        YMAP_BEGIN(ctx, in, out, YMAP_RC_INVALID_ARGS);                                                                \
        return request_state_value<converter##_row>(ctx, in, out);                                                     \
    }
#define STATE_STATISTIC(converter, leaf)                                                                               \
    cerrno converter(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {                                     \
        YMAP_BEGIN(ctx, in, out, YMAP_RC_INVALID_ARGS);                                                                \
        if (is_edit_of_state(ctx, in))                                                                                 \
            return CERR_SUCCESS;                                                                                       \
        const cerrno result = request_statistic(ctx, TIME_LINE_PATH leaf, in->value, out);                             \
        ymap_trc(ctx, "End");                                                                                          \
        return result;                                                                                                 \
    }
#define STATE_COPIED_STATISTIC(converter, leaf)                                                                        \
    cerrno converter(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {                                     \
        YMAP_BEGIN(ctx, in, out, YMAP_RC_INVALID_ARGS);                                                                \
        Value value;                                                                                                   \
        if (in->value != nullptr)                                                                                      \
            value.copy_from(__func__, in->value);                                                                      \
        if (is_edit_of_state(ctx, in))                                                                                 \
            return CERR_SUCCESS;                                                                                       \
        const cerrno result = request_statistic(ctx, TIME_LINE_PATH leaf, value.text, out);                            \
        ymap_trc(ctx, "End");                                                                                          \
        return result;                                                                                                 \
    }
#define STATE_CONSTANT(converter)                                                                                      \
    cerrno converter(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {                                     \
        YMAP_BEGIN(ctx, in, out, YMAP_RC_INVALID_ARGS);                                                                \
        if (is_edit_of_state(ctx, in))                                                                                 \
            return CERR_SUCCESS;                                                                                       \
        ymap_trc(ctx, "End");                                                                                          \
        return CERR_SUCCESS;                                                                                           \
    }
#include "value_requests.def"
