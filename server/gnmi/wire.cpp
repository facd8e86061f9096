// How messages are counted before they are read.
#include "server/gnmi/wire.h"

#include "server/gnmi/rpc_error.h"

#include <cstdint>
#include <string>

#include <fmt/format.h>
#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/wire_format_lite.h>

namespace ocamp::gnmi {

namespace {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::internal::WireFormatLite;

RpcError not_a_message(const Descriptor &type) {
    return invalid("request", fmt::format("cannot be read, expected a {}", std::string(type.name())));
}

// Walks over a message as its type says, and keeps nothing of it.
class FieldCounter {
  public:
    FieldCounter(std::string_view bytes, const Descriptor &type)
        : in_(reinterpret_cast<const std::uint8_t *>(bytes.data()), static_cast<int>(bytes.size())), type_(type) {}

    void check() { walk(type_, 1); }

  private:
    void walk(const Descriptor &type, int level) {
        if (level > most_message_levels)
            throw invalid("request", fmt::format("has messages deeper than {} levels", most_message_levels));
        while (const std::uint32_t tag = in_.ReadTag()) {
            if (++fields_ > most_fields)
                throw refused(Code::resource_exhausted, "request",
                              fmt::format("has more than {} fields, expected fewer", most_fields));
            const FieldDescriptor *field = type.FindFieldByNumber(WireFormatLite::GetTagFieldNumber(tag));
            const WireFormatLite::WireType kind = WireFormatLite::GetTagWireType(tag);
            // No message here has groups, and what is in one would have to be counted.
            if (kind == WireFormatLite::WIRETYPE_START_GROUP)
                throw not_a_message(type_);
            if (kind == WireFormatLite::WIRETYPE_LENGTH_DELIMITED && field != nullptr &&
                field->type() == FieldDescriptor::TYPE_MESSAGE)
                walk_inner(*field->message_type(), level + 1);
            else if (!WireFormatLite::SkipField(&in_, tag))
                throw not_a_message(type_);
        }
        if (!in_.ConsumedEntireMessage())
            throw not_a_message(type_);
    }

    void walk_inner(const Descriptor &type, int level) {
        std::uint32_t size = 0;
        if (!in_.ReadVarint32(&size) || size > static_cast<std::uint32_t>(in_.BytesUntilLimit()))
            throw not_a_message(type_);
        const auto outer = in_.PushLimit(static_cast<int>(size));
        walk(type, level);
        in_.PopLimit(outer);
    }

    google::protobuf::io::CodedInputStream in_;
    const Descriptor &type_;
    std::size_t fields_ = 0;
};

} // namespace

void read_message(std::string_view bytes, google::protobuf::Message &message) {
    FieldCounter(bytes, *message.GetDescriptor()).check();
    if (!message.ParseFromArray(bytes.data(), static_cast<int>(bytes.size())))
        throw not_a_message(*message.GetDescriptor());
    message.DiscardUnknownFields();
}

} // namespace ocamp::gnmi
