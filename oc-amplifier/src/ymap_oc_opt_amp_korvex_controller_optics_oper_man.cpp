// Converters from the native optics operational model to OpenConfig supervisory channels.
#include "native_modules.h"
#include "ymap_values.h"

using ymap::add_leaf;
using ymap::shown;
using ymap::Value;

cerrno oc_opt_amp_state_super_ch_key_to_high(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {
    YMAP_BEGIN(ctx, in, out, YMAP_RC_INVALID_ARGS);
    yfw_map_print_datatree_internal(ctx, ymap::request_tree(ctx), "reg_dup_datatree");
    const bool wanted = ymap::wanted_lists(ctx).channels;
    const char *controller = in->value;
    ymap_trc(ctx, "value = %s", shown(controller));
    cerrno result = CERR_SUCCESS;
    if (wanted && check_controller_name_optics_is_good(ctx, controller) != 0 && ymap::reads_state(ctx)) {
        add_leaf(ctx, out, CHANNEL_PATH "/interface", OPENCONFIG_NS, controller);
        result = add_leaf(ctx, out, CHANNEL_PATH "/state/interface", OPENCONFIG_NS, controller);
    }
    ymap_trc(ctx, "End");
    return result;
}

namespace {

constexpr uint8_t level_of_the_port = 3; // optics-oper, optics-ports, optics-port

/// A request that names the model alone meets ports of every sort; only optics ports have a lane power.
template <class Row>
bool is_on_optics_port(yfw_map_ctx ctx, const yfw_map_request *request) {
    const yfw_datatree *port = request->hierarchy != nullptr ? request->hierarchy[level_of_the_port - 1] : nullptr;
    const ymap::RequestKey interface(ctx, port, "optics-port/name");
    ymap_trc_at(Row::converter, ctx, "interface_key: %s", interface.text);
    return strstr(interface.text, "Optics") != nullptr;
}

template <class Row>
cerrno convert(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {
    const ymap::RequestScope named = ymap::named_lists(ctx);
    ymap_trc_at(Row::converter, ctx, "ampli_request %d, supervisory_channel_request %d", int{named.amplifiers},
                int{named.channels});
    const yfw_map_request *request = ctx->req_ctx;
    const uint8_t depth = request != nullptr ? request->hierarchy_len : 0;
    if constexpr (Row::answer.shows_hierarchy)
        ymap_trc_at(Row::converter, ctx, "ctx->req_ctx->hierarchy_len %d", int{depth});
    if (named.neither() && ymap::names_the_model(ctx) && depth >= level_of_the_port &&
        !is_on_optics_port<Row>(ctx, request)) {
        ymap_trc_at(Row::converter, ctx, "End");
        return CERR_SUCCESS;
    }
    Value value;
    if (in->value != nullptr)
        ymap::convert_value<Row>(ctx, in->value, value);
    const cerrno result = add_leaf(ctx, out, Row::answer.openconfig, OPENCONFIG_NS, value.text);
    ymap_trc_at(Row::converter, ctx, "End");
    return result;
}

} // namespace

#define XO_ROWS "korvex_controller_optics_oper.def"
#include "ymap_native_converters.h"
