// Declarations of the converters, expanded from their rows. Every converter takes the node being handled and the
// output tree; a missing one is YMAP_RC_INVALID_ARGS (NULL from those that return text). Texts are constants.
#ifndef CONVERTERS_H
#define CONVERTERS_H

#include "ymap_frame.h"

#define CONVERTER(name) YMAP_EXPORT cerrno name(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out);
#define TEXT_CONVERTER(name) YMAP_EXPORT const char *name(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out);
#include "converters.def"

#define DECLARE_CONVERTER(name) YMAP_EXPORT cerrno name(yfw_map_ctx ctx, const yfw_datatree *in, yfw_datatree *out);
#define CONFIG_VALUE(converter, ...) DECLARE_CONVERTER(converter)
#define STATE_VALUE(converter, ...) DECLARE_CONVERTER(converter)
#define STATE_STATISTIC(converter, leaf) DECLARE_CONVERTER(converter)
#define STATE_COPIED_STATISTIC(converter, leaf) DECLARE_CONVERTER(converter)
#define STATE_CONSTANT(converter) DECLARE_CONVERTER(converter)
#include "value_requests.def"

#define OTS_VALUE(converter, ...) DECLARE_CONVERTER(converter)
#include "ots_values.def"
#define CHANNEL_POWER(converter, ...) DECLARE_CONVERTER(converter)
#include "channel_values.def"
#define HISTORY_OUTPUT_POWER(converter, statistic) DECLARE_CONVERTER(converter)
#define HISTORY_INPUT_POWER(converter, statistic, getter) DECLARE_CONVERTER(converter)
#define HISTORY_AMPLIFIER(converter, path) DECLARE_CONVERTER(converter)
#include "history_values.def"
#undef DECLARE_CONVERTER

#endif
