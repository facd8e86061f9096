// Node handlers of the native optics operational model. The port's handler makes the OpenConfig channel entry.
#include "native_modules.h"

#define XO_ROWS "korvex_controller_optics_oper.def"
#include "ymap_native_handlers.h"

namespace {

using Port = ymap::native::lvla_opticsoper_opticsports_opticsport;

/// True unless the client asked for another channel than `controller`.
bool is_requested_channel(yfw_map_ctx ctx, const char *function, const char *controller) {
    const ymap::RequestKey key(ctx, ymap::request_tree(ctx), CHANNEL_PATH "/interface");
    ymap_trc_at(function, ctx, "reg_dup_datatree key: %s", key.text);
    if (key.empty() || strcmp(key.text, controller) == 0)
        return true;
    ymap_err_at(function, ctx, "controller_name [%s] does not match with key [%s], discard it!", controller, key.text);
    return false;
}

} // namespace

cerrno OPTICS_OPER(list_lvla_opticsoper_opticsports_opticsport)(yfw_map_ctx ctx, const yfw_datatree *in,
                                                                yfw_datatree *out) {
    YMAP_BEGIN(ctx, in, out, YMAP_RC_INVALID_ARGS);
    const char *controller = nullptr;
    cerrno result = ymap::native::read_controller<Port>(ctx, __func__, in, controller);
    if (controller == nullptr)
        return YMAP_RC_SKIP;
    const ymap::RequestScope wanted = ymap::wanted_lists(ctx);
    const bool is_channel = check_controller_name_optics_is_good(ctx, controller) != 0;
    if (wanted.channels && !wanted.amplifiers && !is_channel)
        return YMAP_RC_SKIP;
    ymap_trc(ctx, "amplifier_name: %s", ""); // a port names no amplifier; clients rely on the line
    if (ymap::reads_state(ctx) && wanted.channels && is_channel) {
        if (!is_requested_channel(ctx, __func__, controller))
            return YMAP_RC_SKIP;
        result = yfw_map_search_or_add_list(ctx, out, &ctx->req_ctx->plist, CHANNEL_PATH, controller, "interface",
                                            OPENCONFIG_NS);
    }
    ymap_trc(ctx, "End");
    return result;
}
