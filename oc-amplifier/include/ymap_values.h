// What converters of both directions do with values, requests and output: scaling, request scope, the test whether
// configuration is written, and the one way to write a node. Knows no leaf and no path of its own.
#pragma once

#include "decimal_text.h"
#include "short_text.h"
#include "utility.h"

namespace ymap {

/// Text buffer of a converter; starts empty.
struct Value {
    char text[value_size];

    Value() { text[0] = '\0'; }
    bool empty() const { return text[0] == '\0'; }
    /// `function`: the exported function that copies.
    void copy_from(const char *function, const char *value) { yfw_strcpy_s(function, text, sizeof text, value); }

    /// The number that the text starts with; 0 when there is none.
    double number() const {
        double number = 0.0;
        if (!short_decimal(text, number))
            sscanf(text, "%lf", &number);
        return number;
    }

    /// OpenConfig unit to native integer: truncated toward zero, low 32 bits.
    void to_native(NativeDecimals native) {
        const double scaled = number() * (native == NativeDecimals::hundredths ? 100.0 : 10.0);
        // A number that 64 bits cannot hold becomes the least of them, whose low 32 bits are zero.
        constexpr double bound = 9223372036854775808.0; // 2^63
        const int64_t whole = scaled >= -bound && scaled < bound ? static_cast<int64_t>(scaled) : INT64_MIN;
        TextWriter(text, sizeof text).number(static_cast<int32_t>(static_cast<uint32_t>(whole))).finish();
    }

    /// Native number to OpenConfig unit, two decimals.
    void to_openconfig(NativeDecimals native) {
        char divided[divided_integer_size] = {};
        if (divided_integer(text, native, divided)) {
            memcpy(text, divided, sizeof divided);
            return;
        }
        const double scaled = number() / (native == NativeDecimals::hundredths ? 100.0 : 10.0);
        snprintf(text, sizeof text, "%.2f", scaled);
    }
};

/// Fills `value` with a native number in the unit of OpenConfig and traces it before and after, as the row's answer
/// says. A template of the row, because each converter has message sites of its own.
template <class Row>
void convert_value(yfw_map_ctx ctx, const char *native, Value &value) {
    value.copy_from(Row::converter, native);
    ymap_trc_at(Row::converter, ctx, Row::answer.traced_as + FixedText("-native = %s"), value.text);
    value.to_openconfig(Row::answer.scale);
    ymap_trc_at(Row::converter, ctx, Row::answer.traced_as + FixedText("-oc = %s"), value.text);
}

/// The opposite of a boolean text, NULL for none: the native leaf says whether an amplifier is shut, OpenConfig
/// whether it is enabled. Only "true" is true, in both directions.
inline const char *inverted(const char *value) {
    if (value == nullptr)
        return nullptr;
    return strcmp(value, "true") == 0 ? "false" : "true";
}

/// Writes one node. `value` NULL: none. `source`: the request node that an edit carries out, or NULL.
inline cerrno add_leaf(yfw_map_ctx ctx, yfw_datatree *out, const char *path, const char *ns, const char *value,
                       const yfw_datatree *source = nullptr, uint32_t follow = 0) {
    return yfw_map_datatree_add_path_flagged(ctx, out, path, ns, value, source, 0, 0, follow);
}

/// Opens a new entry of a list.
inline cerrno open_list(yfw_map_ctx ctx, yfw_datatree *out, const char *path, const char *ns,
                        const yfw_datatree *source = nullptr, uint32_t follow = 0) {
    return yfw_map_datatree_add_path_flagged(ctx, out, path, ns, nullptr, source, 0, 1, follow);
}

/// The duplicate of the request tree, NULL without request state.
inline const yfw_datatree *request_tree(yfw_map_ctx ctx) {
    return ctx->req_ctx != nullptr ? &ctx->req_ctx->reg_dup_datatree : nullptr;
}

/// Which of the two OpenConfig lists a request names.
struct RequestScope {
    bool amplifiers;
    bool channels;
    bool neither() const { return !amplifiers && !channels; }
};

/// True when the request has no OpenConfig path at all.
inline bool has_no_path(yfw_map_ctx ctx) {
    const yfw_datatree *tree = request_tree(ctx);
    return tree == nullptr || tree->child_count == 0;
}

/// True when the request reaches the model at all, whatever it names below its root.
inline bool names_the_model(yfw_map_ctx ctx) {
    return check_request_type(ctx, request_tree(ctx), "/optical-amplifier") != 0;
}

/// The lists that the request names itself.
inline RequestScope named_lists(yfw_map_ctx ctx) {
    const yfw_datatree *tree = request_tree(ctx);
    return {check_request_type(ctx, tree, "/optical-amplifier/amplifiers") != 0,
            check_request_type(ctx, tree, "/optical-amplifier/supervisory-channels") != 0};
}

/// The lists that the request wants: those it names, or both when it names the model alone.
inline RequestScope wanted_lists(yfw_map_ctx ctx) {
    RequestScope scope = named_lists(ctx);
    if (scope.neither())
        scope.amplifiers = scope.channels = names_the_model(ctx);
    return scope;
}

/// The request's options let configuration through. Each mask is a group of options that is tested at once, in the
/// order of the record; what an option stands for is the framework's, and bits outside the masks do not matter.
inline bool request_options_clear(const yfw_request_options &options) {
    if (options.word_signed < 0)
        return false;
    if ((options.byte_flags & 0x01) != 0 || (options.byte_flags & 0x06) != 0)
        return false;
    for (const uint32_t word : options.words_low2)
        if ((word & 0x3) != 0)
            return false;
    if ((options.half & 0x1ff) != 0 || (options.half & 0x600) != 0 || (options.half & 0x3800) != 0)
        return false;
    for (const uint32_t word : options.words_low4)
        if ((word & 0xf) != 0)
            return false;
    return (options.word_bit2 & 0x4) == 0;
}

/// Whether OpenConfig `config` leaves are written for this request.
inline bool writes_config(yfw_map_ctx ctx) {
    constexpr uint32_t source_without_config = 2;
    const yfw_map_request *request = ctx->req_ctx;
    return request == nullptr || request_options_clear(request->options) ||
           request->request_source != source_without_config;
}

} // namespace ymap
