// Defines the node handlers of one native module, XO_ROWS. Included once by the module's handlers.
#pragma once

#include "native_modules.h"
#include "ymap_values.h"

#include <type_traits>

namespace ymap::native {
namespace {

#include "ymap_native_rows.h"

/// What a leaf's handler does: the converter does all, or gives the text that is written here.
template <class Row>
cerrno answer(YMAP_NODE_PARAMETERS) {
    if constexpr (std::is_same_v<decltype(Row::answer), const TextAnswer>) {
        const char *text = Row::convert(ctx, in, out);
        if (Row::Module::properties.data == ModuleData::configuration && !writes_config(ctx))
            return CERR_SUCCESS;
        return add_leaf(ctx, out, Row::answer.openconfig, OPENCONFIG_NS, text);
    } else {
        return Row::convert(ctx, in, out);
    }
}

/// Begins the handler of a port's list: reads the controller's name, the key of `entry`, and traces it. `controller`
/// stays NULL when the entry has none. Gives the result of the reading. `function`: the handler, which reports; a
/// template of the row, because each has message sites of its own.
template <class Row>
cerrno read_controller(yfw_map_ctx ctx, const char *function, const yfw_datatree *entry, const char *&controller) {
    const cerrno result = yfw_map_get_node_info(ctx, entry, Row::path, "name", &controller);
    ymap_trc_at(function, ctx, "controller_name: %s", shown(controller));
    if (controller == nullptr)
        ymap_trc_at(function, ctx, "ERROR controller_name is NULL");
    return result;
}

} // namespace
} // namespace ymap::native

#define DEFINE_ContainerHandler(name, row)                                                                             \
    cerrno name(YMAP_CONTAINER_PARAMETERS) {                                                                           \
        YMAP_CHECK_ONLY(ctx, in, out);                                                                                 \
    }
// A list has nothing to do: its key leaf makes the OpenConfig entry.
#define DEFINE_ListHandler(name, row)                                                                                  \
    cerrno name(YMAP_NODE_PARAMETERS) {                                                                                \
        YMAP_HAND_TO(ymap::native::nothing, ctx, in, out);                                                             \
    }
#define DEFINE_LeafHandler(name, row)                                                                                  \
    cerrno name(YMAP_NODE_PARAMETERS) {                                                                                \
        YMAP_HAND_TO(ymap::native::answer<ymap::native::row>, ctx, in, out);                                           \
    }
#define DEFINE_TracedLeafHandler(name, row)                                                                            \
    cerrno name(YMAP_NODE_PARAMETERS) {                                                                                \
        YMAP_START_CONVERT_END(ymap::native::answer<ymap::native::row>, ctx, in, out);                                 \
    }

#define DEFINE_DefaultContainerHandler(name, row)                                                                      \
    cerrno name(YMAP_CONTAINER_PARAMETERS) {                                                                           \
        YMAP_START_AND_END(ctx, in, out);                                                                              \
    }
#define DEFINE_DefaultHandler(name, row)                                                                               \
    cerrno name(YMAP_NODE_PARAMETERS) {                                                                                \
        YMAP_START_AND_END(ctx, in, out);                                                                              \
    }
#define DEFINE_QuietDefaultContainerHandler(name, row)                                                                 \
    cerrno name(YMAP_CONTAINER_PARAMETERS) {                                                                           \
        YMAP_SUCCEED(ctx, in, out);                                                                                    \
    }
#define DEFINE_QuietDefaultHandler(name, row)                                                                          \
    cerrno name(YMAP_NODE_PARAMETERS) {                                                                                \
        YMAP_SUCCEED(ctx, in, out);                                                                                    \
    }

// Another exported name of a default handler, which the framework may override.
#define NATIVE_ALIAS(kind, name, handler)                                                                              \
    extern "C" __attribute__((weak, visibility("default"), alias(YMAP_TEXT(handler)))) ymap::exported::kind name;
#define DEFINE_ContainerAlias(name, row) NATIVE_ALIAS(ContainerAlias, name, XO_NAME(duck_map_container))
#define DEFINE_ListAlias(name, row) NATIVE_ALIAS(ListAlias, name, XO_NAME(duck_map_list))
#define DEFINE_LeafAlias(name, row) NATIVE_ALIAS(LeafAlias, name, XO_NAME(duck_map_leaf))
#include "native_exports.h"
