// Hands arbitrary streams to the reader of messages, cut in two ways: both must give the same messages and come to the
// same fault, and no message may be above the limit. What is read is framed again and read back.
#include "server/netconf/framing.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace ocamp::netconf;

constexpr std::size_t limit = 512;

struct Outcome {
    std::vector<std::string> messages;
    std::string fault;

    bool operator==(const Outcome &) const = default;
};

Outcome read(std::string_view stream, Framing framing, std::size_t part) {
    MessageReader reader(limit);
    reader.set_framing(framing);
    Outcome outcome;
    try {
        for (; !stream.empty(); stream.remove_prefix(std::min(part, stream.size()))) {
            std::string_view bytes = stream.substr(0, part);
            while (!bytes.empty()) {
                if (auto message = reader.next(bytes))
                    outcome.messages.push_back(std::move(*message));
            }
        }
    } catch (const FramingError &error) {
        outcome.fault = error.what();
    }
    return outcome;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0)
        return 0;
    // The first byte chooses the framing and how the stream is cut.
    const Framing framing = (data[0] & 1U) != 0 ? Framing::chunked : Framing::end_of_message;
    const std::size_t part = 1 + (data[0] >> 1U);
    const std::string_view stream(reinterpret_cast<const char *>(data) + 1, size - 1);
    const Outcome whole = read(stream, framing, stream.size() + 1);
    if (read(stream, framing, part) != whole)
        std::abort();
    for (const std::string &message : whole.messages) {
        if (message.size() > limit)
            std::abort();
        // Chunks carry every message but an empty one.
        if (!message.empty() && read(framed(message, Framing::chunked), Framing::chunked, part).messages !=
                                    std::vector<std::string>{message})
            std::abort();
    }
    return 0;
}
