// Hands arbitrary GetRequests to their reader and answers them from a tree.
#include "gnmi_message.h"
#include "gnmi_requests.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    ::gnmi::GetRequest request;
    if (read_message(data, size, request))
        fuzzed::use(request);
    return 0;
}
