// Node handlers of the native performance history. The port history's handler decides whose history it is and makes
// the OpenConfig entry; the statistics hand over to their converters.
#include "native_modules.h"

#define XO_ROWS "korvex_pmengine_oper.def"
#include "ymap_native_handlers.h"

using Port = ymap::native::lvla_performancemanagementhistory_opticsporthistories_opticsporthistory;

cerrno PMENGINE_OPER(list_lvla_performancemanagementhistory_opticsporthistories_opticsporthistory)(
    yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {
    YMAP_BEGIN(ctx, in, out, YMAP_RC_INVALID_ARGS);
    const char *controller = nullptr;
    cerrno result = ymap::native::read_controller<Port>(ctx, __func__, in, controller);
    if (controller == nullptr)
        return YMAP_RC_SKIP;
    yfw_map_request *request = ctx->req_ctx;
    yfw_map_print_datatree_internal(ctx, request != nullptr ? &request->plist : nullptr, "plist");
    const ymap::RequestScope wanted = ymap::wanted_lists(ctx);
    char amplifier[ymap::key_size] = "";
    const bool is_amplifier = check_controller_name_ots_is_good(ctx, controller, amplifier) != 0;
    const bool is_channel = check_controller_name_optics_is_good(ctx, controller) != 0;
    const bool of_other_list = (wanted.amplifiers && !wanted.channels && !is_amplifier) ||
                               (wanted.channels && !wanted.amplifiers && !is_channel);
    if (of_other_list || (!is_amplifier && !is_channel))
        return YMAP_RC_SKIP;
    ymap_trc(ctx, "amplifier_name: %s", amplifier);
    ymap_trc(ctx, "ampli_request %d, ots_name_is_ok %d", int{wanted.amplifiers}, int{is_amplifier});
    ymap_trc(ctx, "supervisory_channel_request %d, optics_name_is_ok %d", int{wanted.channels}, int{is_channel});
    if (ymap::reads_state(ctx)) {
        if (wanted.amplifiers && is_amplifier)
            result =
                yfw_map_search_or_add_list(ctx, out, &request->plist, AMPLIFIER_PATH, amplifier, "name", OPENCONFIG_NS);
        if (wanted.channels && is_channel)
            result = yfw_map_search_or_add_list(ctx, out, &request->plist, CHANNEL_PATH, controller, "interface",
                                                OPENCONFIG_NS);
    }
    ymap_trc(ctx, "End");
    return result;
}
