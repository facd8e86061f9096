// Hands arbitrary bytes to the reader of messages as they come off the wire, and what it takes to the readers of
// requests. The first byte chooses the message: G, S or W for Get, Set and Subscribe.
#include "gnmi_requests.h"

#include "server/gnmi/wire.h"

#include <cstdint>
#include <string_view>

namespace {

// What was taken is within the bounds: it is taken again as it is written.
template <class Message>
void read_and_use(std::string_view bytes) {
    fuzzed::refusable([&] {
        Message message, again;
        ocamp::gnmi::read_message(bytes, message);
        const std::string written = message.SerializeAsString();
        try {
            ocamp::gnmi::read_message(written, again);
        } catch (const ocamp::gnmi::RpcError &) {
            std::abort();
        }
        fuzzed::use(message);
    });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    if (size == 0)
        return 0;
    const std::string_view bytes(reinterpret_cast<const char *>(data) + 1, size - 1);
    switch (data[0]) {
    case 'G':
        read_and_use<::gnmi::GetRequest>(bytes);
        break;
    case 'S':
        read_and_use<::gnmi::SetRequest>(bytes);
        break;
    case 'W':
        read_and_use<::gnmi::SubscribeRequest>(bytes);
        break;
    default:
        break;
    }
    return 0;
}
