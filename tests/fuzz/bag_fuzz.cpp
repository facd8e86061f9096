// Hands arbitrary bytes to the record decoder, as they are and behind a header of the right length.
#include "sysdb/bag_record.h"

#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    bag_walk_td walk = {};
    bag_header_td header = {};
    bag_token_td token = {};
    const std::string record(reinterpret_cast<const char *>(data), size);
    if (bag_generic_init(record.data(), static_cast<uint32_t>(record.size()), &walk) != CERR_SUCCESS)
        return 0;
    bag_header_info(record.data(), &header);
    while (bag_generic_token(&walk, &token) == CERR_SUCCESS && token.type != BAG_TOKEN_END)
        bag_generic_free_token_allocations(&token);
    bag_generic_destroy(&walk);
    return 0;
}
