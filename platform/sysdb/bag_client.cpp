// The bag record calls of the seam, over the decoder. They turn its errors into codes and debug-log lines; texts go
// out as pointers into the record. Knows nothing of where records come from.
#include "seam/calls.h"
#include "seam/data_flow.h"
#include "seam/guard.h"
#include "seam/handle_table.h"
#include "sysdb/bag_record.h"

#include <string>

#include <arpa/inet.h>

#include <fmt/format.h>

namespace {

using ocamp::BagReader;
using ocamp::BagType;
using ocamp::Code;
using ocamp::Quoted;

ocamp::HandleTable<BagReader> &open_walks() {
    static ocamp::HandleTable<BagReader> walks;
    return walks;
}

template <class Body>
cerrno guarded_decoding(const char *function, Body body) noexcept {
    return ocamp::guarded(function, [&]() -> cerrno {
        try {
            return body();
        } catch (const ocamp::BagError &error) {
            return ocamp::fail(function, ocamp::rc_malformed_record, error.what());
        }
    });
}

// Puts a decoded value where the seam has it for the type.
struct SeamValue {
    bag_token_td &token;

    void operator()(std::monostate) const noexcept {}
    void operator()(bool value) const noexcept { token.value.first.u32 = value ? 1 : 0; }
    void operator()(std::string_view text) const noexcept {
        (token.type == BAG_TOKEN_LONG_TEXT ? token.value.second : token.value.first.text) = text.data();
    }
    void operator()(std::int64_t value) const noexcept {
        switch (static_cast<BagType>(token.type)) {
        case BagType::int8:
            token.value.first.i8 = static_cast<std::int8_t>(value);
            break;
        case BagType::int16:
            token.value.first.i16 = static_cast<std::int16_t>(value);
            break;
        case BagType::int64:
            token.value.first.raw = static_cast<std::uint64_t>(value);
            break;
        default:
            token.value.first.i32 = static_cast<std::int32_t>(value);
        }
    }
    void operator()(std::uint64_t value) const noexcept {
        switch (static_cast<BagType>(token.type)) {
        case BagType::uint8:
            token.value.first.u8 = static_cast<std::uint8_t>(value);
            break;
        case BagType::uint16:
            token.value.first.u16 = static_cast<std::uint16_t>(value);
            break;
        case BagType::uint64:
            token.value.first.raw = value;
            break;
        case BagType::ipv4:
            token.value.first.u32 = htonl(static_cast<std::uint32_t>(value));
            break;
        default:
            token.value.first.u32 = static_cast<std::uint32_t>(value);
        }
    }
};

// The value as a text, the way the plug-in writes it.
struct TokenText {
    BagType type;

    std::string operator()(std::monostate) const { return {}; }
    std::string operator()(bool value) const { return value ? "TRUE" : "FALSE"; }
    std::string operator()(std::string_view text) const { return std::string(text); }
    std::string operator()(std::int64_t value) const { return std::to_string(value); }
    std::string operator()(std::uint64_t value) const {
        if (type != BagType::ipv4)
            return std::to_string(value);
        return fmt::format("{}.{}.{}.{}", value >> 24U & 0xffU, value >> 16U & 0xffU, value >> 8U & 0xffU,
                           value & 0xffU);
    }
};

ocamp::SeenToken::Kind kind_of(BagType type) {
    using enum ocamp::SeenToken::Kind;
    switch (type) {
    case BagType::structure:
    case BagType::sequence:
        return opens;
    case BagType::structure_end:
    case BagType::sequence_end:
        return closes;
    case BagType::end:
        return end;
    default:
        return value;
    }
}

void tell_token(const ocamp::BagItem &item) noexcept {
    ocamp::tell_data_flow([&](ocamp::DataFlowObserver &observer) {
        const std::string text = std::visit(TokenText{item.type}, item.value);
        observer.on_token({kind_of(item.type), item.name, text});
    });
}

void clear_value(bag_token_td &token) noexcept {
    token.name = nullptr;
    token.value.first.raw = 0;
    token.value.second = nullptr;
}

cerrno next_token(const char *function, bag_walk_td *walk, bag_token_td *token) {
    if (token != nullptr)
        *token = {BAG_TOKEN_END, nullptr, {{}, nullptr}};
    if (walk == nullptr || token == nullptr)
        return ocamp::refuse(function, ocamp::rc_invalid_argument, "no walk or no token");
    BagReader *reader = open_walks().find(walk->state);
    if (reader == nullptr)
        return ocamp::refuse(function, ocamp::rc_bad_handle, "the walk is not open");
    if (reader->ended())
        return ocamp::refuse(function, ocamp::rc_walk_ended, "the end token was given already");
    const ocamp::BagItem item = reader->next();
    clear_value(*token);
    token->type = static_cast<bag_token_type_td>(item.type);
    token->name = item.name.data();
    std::visit(SeamValue{*token}, item.value);
    tell_token(item);
    walk->offset = static_cast<std::uint32_t>(reader->offset());
    return CERR_SUCCESS;
}

} // namespace

extern "C" {

cerrno bag_header_info(const void *bag_data, bag_header_td *header) {
    const char *const function = __func__;
    if (header != nullptr)
        *header = {};
    const cerrno rc = guarded_decoding(function, [&]() -> cerrno {
        if (bag_data == nullptr || header == nullptr)
            return ocamp::refuse(function, ocamp::rc_invalid_argument, "no record or no header");
        const ocamp::BagHeader read = ocamp::read_bag_header(static_cast<const std::uint8_t *>(bag_data));
        *header = {read.length, read.name.data(), read.version_major, read.version_minor};
        ocamp::tell_data_flow([&](ocamp::DataFlowObserver &observer) { observer.on_record(read.name); });
        return CERR_SUCCESS;
    });
    ocamp::record_call(function, Code{rc}, Quoted{header == nullptr ? nullptr : header->name});
    return rc;
}

cerrno bag_generic_init(const void *bag_data, uint32_t bag_len, bag_walk_td *walk) {
    const char *const function = __func__;
    if (walk != nullptr)
        *walk = {};
    const cerrno rc = guarded_decoding(function, [&]() -> cerrno {
        if (bag_data == nullptr || walk == nullptr)
            return ocamp::refuse(function, ocamp::rc_invalid_argument, "no record or no walk");
        BagReader *reader =
            open_walks().open(std::span(static_cast<const std::uint8_t *>(bag_data), std::size_t{bag_len}));
        *walk = {bag_data, bag_len, static_cast<std::uint32_t>(reader->offset()), reader};
        return CERR_SUCCESS;
    });
    ocamp::record_call(function, Code{rc}, bag_len);
    return rc;
}

cerrno bag_generic_token(bag_walk_td *walk, bag_token_td *token) {
    const char *const function = __func__;
    const cerrno rc = guarded_decoding(function, [&] { return next_token(function, walk, token); });
    if (rc == CERR_SUCCESS)
        ocamp::record_call(function, Code{rc}, token->type, Quoted{token->name});
    else
        ocamp::record_call(function, Code{rc});
    return rc;
}

// Tokens own nothing; the pointers are cleared so that a use after this call shows.
void bag_generic_free_token_allocations(bag_token_td *token) {
    if (token != nullptr)
        clear_value(*token);
    ocamp::record_call(__func__, ocamp::NoResult{});
}

void bag_generic_destroy(bag_walk_td *walk) {
    if (walk != nullptr) {
        if (walk->state != nullptr && !open_walks().close(walk->state))
            ocamp::refuse(__func__, ocamp::rc_bad_handle, "the walk is not open");
        *walk = {};
    }
    ocamp::record_call(__func__, ocamp::NoResult{});
}

char *inet_ntoa_r(uint32_t address_network_order, char *buffer) {
    const in_addr address{address_network_order};
    if (buffer == nullptr)
        ocamp::refuse(__func__, ocamp::rc_invalid_argument, "no buffer");
    else
        inet_ntop(AF_INET, &address, buffer, INET_ADDRSTRLEN);
    ocamp::record_call(__func__, Quoted{buffer});
    return buffer;
}

} // extern "C"
