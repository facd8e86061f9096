// What the calls of the seam share: how the run behind a handle is found, and how nodes look to an observer of calls.
// Knows nothing of what the single calls do.
#pragma once

#include "framework/mapping_run.h"
#include "seam/calls.h"
#include "seam/codes.h"
#include "seam/data_flow.h"
#include "seam/guard.h"

#include <string_view>

namespace ocamp {

/// A node as argument or result of an observed call.
struct NodeWord {
    const yfw_datatree *node;
};

/// In the place of the context and of the output node, which are the same in every call of a walk.
inline constexpr std::string_view context_word = "ctx";
inline constexpr std::string_view output_word = "out";

/// Result of `body(run)` for the run behind `ctx`; a handle without run is refused.
template <class Body>
cerrno with_run(const char *function, yfw_map_ctx ctx, Body body) noexcept {
    return guarded(function, [&]() -> cerrno {
        MappingRun *run = MappingRun::from_handle(ctx);
        if (run == nullptr)
            return refuse(function, rc_bad_handle, "not the context of a mapping run");
        return body(*run);
    });
}

} // namespace ocamp

template <>
struct fmt::formatter<ocamp::NodeWord> : fmt::formatter<std::string_view> {
    auto format(ocamp::NodeWord word, fmt::format_context &context) const {
        std::string text;
        ocamp::append_node_text(text, word.node);
        return fmt::formatter<std::string_view>::format(text, context);
    }
};
