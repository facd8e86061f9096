// Bytes of clients to messages, with a bound on the memory that they take. Knows neither gRPC nor what is asked.
#pragma once

#include <cstddef>
#include <string_view>

#include <google/protobuf/message.h>

namespace ocamp::gnmi {

/// Fields that one message of a client may have, those of messages in it included. Few bytes make a message that takes
/// a hundred: 4 MiB of empty paths would take 200 MiB.
inline constexpr std::size_t most_fields = 200000;
/// Levels of messages within messages.
inline constexpr int most_message_levels = 50;

/// Reads a message; fields that it does not have are dropped. Throws RpcError: INVALID_ARGUMENT for bytes that are none
/// or too deep, RESOURCE_EXHAUSTED for one with too many fields, before it takes memory for them.
void read_message(std::string_view bytes, google::protobuf::Message &message);

} // namespace ocamp::gnmi
