// Converters from native interface configuration to OpenConfig: an amplifier's interface becomes an amplifier entry,
// a supervisory channel's a channel entry; other interfaces produce nothing.
#include "native_modules.h"
#include "ymap_values.h"

using ymap::add_leaf;
using ymap::shown;

namespace {

/// True unless the request reaches into the configuration of an interface that is not an amplifier's.
bool may_hold_amplifier(yfw_map_ctx ctx, const char *function) {
    constexpr uint32_t depth_of_an_entry = 2;
    const yfw_map_request *request = ctx->req_ctx;
    if (request == nullptr || request->native_path_depth < depth_of_an_entry)
        return true;
    const ymap::RequestKey interface(ctx, request->native_path, "interface-configuration/interface-name");
    ymap_trc_at(function, ctx, "interface_key: %s", interface.text);
    char amplifier[ymap::value_size] = "";
    if (check_controller_name_ots_is_good(ctx, interface.text, amplifier) != 0)
        return true;
    ymap_trc_at(function, ctx, "amp_name: %s", amplifier);
    return false;
}

/// The lists whose configuration the request wants; a request without any path wants both.
ymap::RequestScope wanted_configuration(yfw_map_ctx ctx) {
    ymap::RequestScope scope = ymap::named_lists(ctx);
    if (scope.neither())
        scope.amplifiers = scope.channels = ymap::has_no_path(ctx) || ymap::names_the_model(ctx);
    return scope;
}

/// Writes the keys of the amplifier whose interface this is. False when that settles the leaf: it is another
/// amplifier than the request names, or none at all.
bool add_amplifier(yfw_map_ctx ctx, const char *function, const char *interface, yfw_datatree *out, cerrno &result) {
    const ymap::RequestKey key(ctx, ymap::request_tree(ctx), AMPLIFIER_PATH "/name");
    ymap_trc_at(function, ctx, "controller_name = %s", interface);
    char amplifier[ymap::value_size] = "";
    if (check_controller_name_ots_is_good(ctx, interface, amplifier) == 0) {
        result = YMAP_RC_SKIP;
        return false;
    }
    ymap_trc_at(function, ctx, "reg_dup_datatree key: %s", key.text);
    if (!key.empty() && strcmp(key.text, amplifier) != 0) {
        ymap_err_at(function, ctx, "amplifier_name [%s] does not match with key [%s], discard it!", amplifier,
                    key.text);
        return false;
    }
    result = add_leaf(ctx, out, AMPLIFIER_PATH "/name", OPENCONFIG_NS, amplifier);
    if (ymap::writes_config(ctx))
        result = add_leaf(ctx, out, AMPLIFIER_PATH "/config/name", OPENCONFIG_NS, amplifier);
    return true;
}

/// Writes the keys of a supervisory channel, named as its interface.
cerrno add_channel(yfw_map_ctx ctx, const char *interface, yfw_datatree *out) {
    cerrno result = add_leaf(ctx, out, CHANNEL_PATH "/interface", OPENCONFIG_NS, interface);
    // The slash in front is missing, and clients rely on it.
    constexpr char path_without_slash[] =
        "optical-amplifier/supervisory-channels/supervisory-channel/interface/config/name";
    if (ymap::writes_config(ctx))
        result = add_leaf(ctx, out, path_without_slash, OPENCONFIG_NS, interface);
    return result;
}

} // namespace

cerrno oc_opt_amp_if_list_cfg_to_high(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {
    YMAP_BEGIN(ctx, in, out, YMAP_RC_INVALID_ARGS);
    cerrno result = CERR_SUCCESS;
    if (may_hold_amplifier(ctx, __func__) && wanted_configuration(ctx).amplifiers)
        result =
            ymap::open_list(ctx, out, AMPLIFIER_PATH, OPENCONFIG_NS, yfw_map_is_request_delete(in) != 0 ? in : nullptr);
    ymap_trc(ctx, "End");
    return result;
}

cerrno oc_opt_amp_cfg_interface_key_to_high(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out) {
    YMAP_BEGIN(ctx, in, out, YMAP_RC_INVALID_ARGS);
    yfw_map_print_datatree_internal(ctx, ymap::request_tree(ctx), "reg_dup_datatree");
    const ymap::RequestScope wanted = wanted_configuration(ctx);
    const char *interface = in->value;
    ymap_trc(ctx, "value = %s", shown(interface));
    cerrno result = CERR_SUCCESS;
    if (interface != nullptr) {
        const bool goes_on = !wanted.amplifiers || add_amplifier(ctx, __func__, interface, out, result);
        if (goes_on && wanted.channels && check_controller_name_optics_is_good(ctx, interface) == 1)
            result = add_channel(ctx, interface, out);
    }
    ymap_trc(ctx, "End");
    return result;
}
