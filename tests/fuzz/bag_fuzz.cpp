// Hands arbitrary bytes to the record decoder: as a whole record, and as the tokens behind a header that holds, because
// no fuzzer guesses checksums.
#include "sysdb/bag_record.h"
#include "sysdb/crc32.h"

#include <cstdint>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

void decode(const Bytes &record) {
    bag_walk_td walk = {};
    bag_header_td header = {};
    bag_token_td token = {};
    if (bag_generic_init(record.data(), static_cast<uint32_t>(record.size()), &walk) != CERR_SUCCESS)
        return;
    bag_header_info(record.data(), &header);
    while (bag_generic_token(&walk, &token) == CERR_SUCCESS && token.type != BAG_TOKEN_END)
        bag_generic_free_token_allocations(&token);
    bag_generic_destroy(&walk);
}

void put(Bytes &record, size_t at, size_t number) {
    for (size_t i = 0; i < sizeof(uint32_t); ++i)
        record[at + i] = static_cast<uint8_t>(number >> (8 * i));
}

// docs/bag-records.md has the offsets.
Bytes behind_a_header(const Bytes &tokens) {
    const Bytes empty = ocamp::encode_bag({.name = "fuzzed", .tokens = {}});
    Bytes record(empty.begin(), empty.end() - 1); // without its end token
    record.insert(record.end(), tokens.begin(), tokens.end());
    put(record, 8, record.size());
    put(record, 20, ocamp::crc32(std::span(record).subspan(28)));
    put(record, 24, ocamp::crc32(std::span(record).first(24)));
    return record;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const Bytes bytes(data, data + size);
    decode(bytes);
    decode(behind_a_header(bytes));
    return 0;
}
