// Select fields: what a read asks for of a native list entry, so that it need not name every leaf. The leaves and their
// order are those of the native rows.
#include "native_modules.h"
#include "ymap_values.h"

#include <iterator>
#include <utility>

using ymap::add_leaf;
using ymap::open_list;

namespace ymap::native {
namespace {

/// A leaf's place among the select fields of its module, from 1; 0: none.
struct Selected {
    int place;
    const char *path;
};

consteval size_t length_of(const char *text) {
    size_t length = 0;
    while (text[length] != '\0')
        ++length;
    return length;
}

/// Length of the native path of Row when its last step is `step`.
template <class Row>
consteval size_t path_length(const char *step) {
    if constexpr (requires { Row::Parent::tag; })
        return path_length<typename Row::Parent>(Row::Parent::tag) + 1 + length_of(step);
    else
        return length_of(Row::Module::properties.above) + 1 + length_of(step);
}

/// Writes it; returns its end.
template <class Row>
consteval char *write_path(char *to, const char *step) {
    const auto append = [](char *end, const char *text) {
        for (; *text != '\0'; ++text)
            *end++ = *text;
        return end;
    };
    if constexpr (requires { Row::Parent::tag; })
        to = write_path<typename Row::Parent>(to, Row::Parent::tag);
    else
        to = append(to, Row::Module::properties.above);
    *to++ = '/';
    return append(to, step);
}

/// The last step of the path that is selected for a leaf.
template <class Row>
consteval const char *selected_step() {
    if constexpr (requires { Row::answer.selected_as; })
        if (Row::answer.selected_as != nullptr)
            return Row::answer.selected_as;
    return Row::tag;
}

template <class Row>
consteval auto path_to_select() {
    FixedText<path_length<Row>(selected_step<Row>()) + 1> path;
    write_path<Row>(path.text, selected_step<Row>());
    return path;
}

template <class Row>
constexpr auto selected_path = path_to_select<Row>();

template <class Row>
consteval Selected select_field() {
    if constexpr (requires { Row::answer.selected; })
        if (Row::answer.selected != 0)
            return {Row::answer.selected, selected_path<Row>.text};
    return {0, nullptr};
}

template <size_t Count>
consteval size_t last_place(const Selected (&leaves)[Count]) {
    size_t last = 0;
    for (const Selected &leaf : leaves)
        last = static_cast<size_t>(leaf.place) > last ? static_cast<size_t>(leaf.place) : last;
    return last;
}

template <size_t Count>
struct SelectFields {
    const char *paths[Count];
};

/// The leaves in the order of their places. Two leaves in one place, or a place without leaf, do not compile.
template <size_t Places, size_t Count>
consteval SelectFields<Places> in_order(const Selected (&leaves)[Count]) {
    SelectFields<Places> fields = {};
    size_t filled = 0;
    for (const Selected &leaf : leaves) {
        if (leaf.place == 0)
            continue;
        const char *&field = fields.paths[leaf.place - 1];
        if (field != nullptr)
            __builtin_unreachable();
        field = leaf.path;
        ++filled;
    }
    if (filled != Places)
        __builtin_unreachable();
    return fields;
}

namespace optics {
#define XO_ROWS "korvex_controller_optics_oper.def"
#include "ymap_native_select.h"
#undef XO_ROWS
} // namespace optics

namespace ots {
#define XO_ROWS "korvex_controller_orvo8_ots_oper.def"
#include "ymap_native_select.h"
#undef XO_ROWS
} // namespace ots

namespace history {
#define XO_ROWS "korvex_pmengine_oper.def"
#include "ymap_native_select.h"
#undef XO_ROWS
} // namespace history

/// Asks for each of the fields, by calls that stand one behind the other. Gives the result of the last.
template <auto &Fields>
cerrno add_fields(yfw_map_ctx ctx, yfw_datatree *out, const char *ns, uint32_t follow) {
    static constexpr auto wanted = Fields();
    return [&]<size_t... I>(std::index_sequence<I...>) {
        cerrno result = CERR_SUCCESS;
        ((result = add_leaf(ctx, out, wanted.paths[I], ns, nullptr, nullptr, follow)), ...);
        return result;
    }
    (std::make_index_sequence<std::size(wanted.paths)>());
}

} // namespace
} // namespace ymap::native

using namespace ymap::native;

cerrno add_optics_select_field(yfw_map_ctx ctx, const yfw_datatree *source, yfw_datatree *out, const char *controller) {
    open_list(ctx, out, OPTICS_PORT_PATH, OPTICS_OPER_NS);
    add_leaf(ctx, out, OPTICS_PORT_PATH "/name", OPTICS_OPER_NS, controller, source, 1);
    add_fields<optics::select_fields>(ctx, out, OPTICS_OPER_NS, 1);
    // The lane number carries no follow flag, unlike its neighbours; clients rely on it.
    return add_leaf(ctx, out, OPTICS_LANE_PATH "/number", OPTICS_OPER_NS, "1");
}

cerrno add_ots_select_field(yfw_map_ctx ctx, const yfw_datatree *source, yfw_datatree *out, const char *controller) {
    open_list(ctx, out, OTS_PORT_PATH, OTS_OPER_NS);
    add_leaf(ctx, out, OTS_PORT_PATH "/name", OTS_OPER_NS, controller, source, 1);
    return add_fields<ots::select_fields>(ctx, out, OTS_OPER_NS, 1);
}

cerrno add_pm_select_field(yfw_map_ctx ctx, const yfw_datatree *source, yfw_datatree *out, const char *controller) {
    open_list(ctx, out, PORT_HISTORY_PATH, PMENGINE_OPER_NS);
    open_list(ctx, out, SECOND30_PATH, PMENGINE_OPER_NS);
    add_leaf(ctx, out, SECOND30_PATH "/number", PMENGINE_OPER_NS, "1");
    open_list(ctx, out, TIME_LINE_PATH, PMENGINE_OPER_NS, nullptr, 1);
    add_leaf(ctx, out, TIME_LINE_PATH "/number", PMENGINE_OPER_NS, "1", nullptr, 1);
    // The leaves carry no follow flag and the name comes last, unlike in the other two; clients rely on it.
    add_fields<history::select_fields>(ctx, out, PMENGINE_OPER_NS, 0);
    return add_leaf(ctx, out, PORT_HISTORY_PATH "/name", PMENGINE_OPER_NS, controller, source, 1);
}
