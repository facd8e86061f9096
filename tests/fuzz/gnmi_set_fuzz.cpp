// Hands arbitrary SetRequests to their reader and makes steps of an edit of them.
#include "gnmi_message.h"
#include "gnmi_requests.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    ::gnmi::SetRequest request;
    if (read_message(data, size, request))
        fuzzed::use(request);
    return 0;
}
