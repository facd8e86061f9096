// What kinds of functions the plug-in exports for its rows. A kind is a function type by the name that the lists of
// exports (openconfig_exports.h, native_exports.h) give it.
#pragma once

#include "ymap_frame.h"

namespace ymap::exported {

/// All take the node being handled and the output tree; a missing one is YMAP_RC_INVALID_ARGS, or NULL where text is
/// returned. Texts are constants.
using NodeFunction = cerrno(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out);
using ContainerFunction = cerrno(yfw_map_ctx ctx, const yfw_datatree *in, unsigned int children, yfw_datatree *out);
using TextFunction = const char *(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out);

// Walkers, and what takes children of other models. Quiet ones write no trace.
using Walker = NodeFunction;
using AugmentParser = NodeFunction;
using QuietAugmentParser = NodeFunction;
using AugmentParserByHand = NodeFunction;

// Handlers. An alias is another name of the module's default handler, which the framework may override.
using ContainerHandler = ContainerFunction;
using ListHandler = NodeFunction;
using LeafHandler = NodeFunction;
using TracedLeafHandler = NodeFunction; ///< between "Start" and "End"
using TextLeafHandler = NodeFunction;
using ListHandlerByHand = NodeFunction;
using DefaultContainerHandler = ContainerFunction;
using DefaultHandler = NodeFunction;
using QuietDefaultContainerHandler = ContainerFunction;
using QuietDefaultHandler = NodeFunction;
using ContainerAlias = ContainerFunction;
using ListAlias = NodeFunction;
using LeafAlias = NodeFunction;

// Converters.
using Converter = NodeFunction;
using ConverterByHand = NodeFunction;
using TextConverterByHand = TextFunction;

} // namespace ymap::exported

// Name of the OpenConfig side's exported function `name`.
#define OC_NAME(name) ymap_ox_oc_opt_ampli_openconfigopticalamplifier_##name

// A name as text, after macros in it are expanded.
#define YMAP_TEXT_OF(name) #name
#define YMAP_TEXT(name) YMAP_TEXT_OF(name)

// Declares an exported function; for EXPORT.
#define YMAP_DECLARE(kind, name, row) YMAP_EXPORT ymap::exported::kind name;

// The parameters of a NodeFunction, as definitions spell them.
#define YMAP_NODE_PARAMETERS yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out
#define YMAP_CONTAINER_PARAMETERS yfw_map_ctx ctx, const yfw_datatree *in, unsigned int /*children*/, yfw_datatree *out
