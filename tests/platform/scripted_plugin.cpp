// A plug-in in miniature for tests of the reader. A read of all asks for two interfaces, a read of an amplifier by key
// for the interface of that name, both for every OTS port, which it does not map. What becomes of an interface is told
// by its description. It takes every edit and loses all of it.
#include "yfw_platform.h"

#include <cstring>

namespace {

constexpr const char *openconfig_ns = "http://openconfig.net/yang/optical-amplfier";
constexpr const char *native_ns = "http://korvex.example/ns/yang/Korvex-ifmgr-cfg";

#define INTERFACE "/interface-configurations/interface-configuration"
#define AMPLIFIER "/optical-amplifier/amplifiers/amplifier"

const char *value_below(const yfw_datatree *node, const char *tag) {
    for (uint32_t i = 0; i < node->child_count; ++i) {
        const yfw_datatree &child = node->children[i];
        if (std::strcmp(child.tag, tag) == 0 && child.value != nullptr)
            return child.value;
        if (const char *value = value_below(&child, tag); value != nullptr)
            return value;
    }
    return nullptr;
}

cerrno write(yfw_map_ctx ctx, yfw_datatree *out, const char *path, const char *value, uint32_t opens_list = 0) {
    return yfw_map_datatree_add_path_flagged(ctx, out, path, openconfig_ns, value, nullptr, 0, opens_list, 0);
}

cerrno ask_for(yfw_map_ctx ctx, yfw_datatree *out, const char *interface) {
    cerrno result = yfw_map_datatree_add_path_flagged(ctx, out, INTERFACE, native_ns, nullptr, nullptr, 0, 1, 0);
    if (result == CERR_SUCCESS)
        result = write(ctx, out, INTERFACE "/interface-name", interface);
    return result != CERR_SUCCESS ? result : write(ctx, out, INTERFACE "/active", "act");
}

} // namespace

extern "C" {

__attribute__((visibility("default"))) cerrno
ymap_ox_oc_opt_ampli_openconfigopticalamplifier_lvla_opticalamplifier(yfw_map_ctx ctx, const yfw_datatree *in,
                                                                      yfw_datatree *out) {
    if (*ctx->req_ctx->request_kind == YFW_KIND_EDIT)
        return CERR_SUCCESS;
    const char *name = value_below(in, "name");
    const cerrno result = ask_for(ctx, out, name != nullptr ? name : "Ots0/1/0/0");
    if (result == CERR_SUCCESS && name == nullptr)
        ask_for(ctx, out, "Ots0/1/0/1");
    return result != CERR_SUCCESS ? result : write(ctx, out, "/ots-oper/ots-ports/ots-port", nullptr, 1);
}

// Writes the gain 2.0 for a request that reaches an entry by its key, else 1.0; a tilt without text; and a type that
// the model does not know.
__attribute__((visibility("default"))) cerrno
ymap_xo_oc_opt_amp_korvexifmgrcfg_lvla_interfaceconfigurations(yfw_map_ctx ctx, const yfw_datatree *in,
                                                               yfw_datatree *out) {
    const char *description = value_below(in, "description");
    if (description != nullptr && std::strcmp(description, "fails") == 0)
        return YMAP_RC_INVALID_ARGS;
    write(ctx, out, AMPLIFIER, nullptr, 1);
    write(ctx, out, AMPLIFIER "/name", value_below(in, "interface-name"));
    write(ctx, out, AMPLIFIER "/config/target-gain", ctx->req_ctx->native_path != nullptr ? "2.0" : "1.0");
    write(ctx, out, AMPLIFIER "/config/target-gain-tilt", "");
    write(ctx, out, AMPLIFIER "/state/type", "STEAM");
    return description != nullptr && std::strcmp(description, "skipped") == 0 ? YMAP_RC_SKIP : CERR_SUCCESS;
}

} // extern "C"
