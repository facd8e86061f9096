// Hands arbitrary messages to the readers of requests and hellos. They may refuse them, and only as they say that they
// do; what they take has a reply that is a message again, and parameters that are documents.
#include "server/netconf/request.h"

#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

using namespace ocamp::netconf;

constexpr MessageLimits limits{.depth = 30, .elements = 200};

void check_documents(const Element &element, int levels) {
    read_message(element.document(), limits);
    if (levels > 0) {
        for (const Element &child : element.children)
            check_documents(child, levels - 1);
    }
}

void use_request(const std::string &text) {
    try {
        const Request request(text, limits);
        const Element reply = read_message(request.reply("<ok/>"), limits);
        if (reply.name != "rpc-reply")
            std::abort();
        request.check();
        check_documents(request.operation(), 3);
    } catch (const Refusal &refusal) {
        // A refusal is a message, too, whatever was refused.
        read_message(reply_without_request(written(refusal.errors())), limits);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string text(reinterpret_cast<const char *>(data), size);
    use_request(text);
    try {
        read_hello(text, limits);
    } catch (const MessageError &) { // no hello
    }
    return 0;
}
