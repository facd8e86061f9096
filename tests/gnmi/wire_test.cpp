// Which bytes are read as messages.
#include "server/gnmi/wire.h"

#include "messages.h"

using namespace gnmi_tests;

namespace {

// A field with a message or text in it.
std::string field(int number, const std::string &content) {
    std::string bytes(1, static_cast<char>(number << 3 | 2));
    for (std::size_t size = content.size();; size >>= 7) {
        bytes += static_cast<char>((size & 0x7f) | (size > 0x7f ? 0x80 : 0));
        if (size <= 0x7f)
            return bytes + content;
    }
}

std::string times(std::size_t count, const std::string &text) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i)
        all += text;
    return all;
}

void read(const std::string &bytes) {
    ::gnmi::GetRequest request;
    read_message(bytes, request);
}

TEST(GnmiWire, AMessageIsReadAsItWasWritten) {
    ::gnmi::SetRequest sent, read;
    *sent.add_delete_() = path_of("a/b[k=v]/c");
    sent.add_update()->mutable_val()->set_json_val("{}");
    read_message(sent.SerializeAsString(), read);
    EXPECT_EQ(read.SerializeAsString(), sent.SerializeAsString());
    read_message("", read);
    EXPECT_EQ(read.ByteSizeLong(), 0U);
    read_message(field(15, "of a later version"), read);
    EXPECT_EQ(read.ByteSizeLong(), 0U);
}

TEST(GnmiWire, FieldsAreCountedWhereverTheyStand) {
    const auto too_many = refused_with(Code::resource_exhausted, "more than 200000 fields");
    const std::string empty_path = field(2, ""), empty_element = field(3, "");
    read(times(most_fields, empty_path));
    EXPECT_THAT([&] { read(times(most_fields + 1, empty_path)); }, too_many);
    // The path itself is one, too.
    read(field(2, times(most_fields - 1, empty_element)));
    EXPECT_THAT([&] { read(field(2, times(most_fields, empty_element))); }, too_many);
    // Numbers, and fields that nobody knows.
    read(times(most_fields, "\x28\x01"));
    EXPECT_THAT([&] { read(times(most_fields + 1, "\x28\x01")); }, too_many);
    EXPECT_THAT([&] { read(times(most_fields + 1, field(15, "x"))); }, too_many);
    // What a text holds is no field.
    read(field(2, field(3, field(1, times(most_fields, "xxxx")))));
}

TEST(GnmiWire, LevelsAreBounded) {
    // A value that is a list with a value in it, and so on: two levels each.
    const auto nested = [](int levels) {
        std::string value;
        for (int i = 0; i < levels; ++i)
            value = field(8, field(1, value));
        return field(4, field(3, value)); // the value of an update
    };
    ::gnmi::SetRequest request;
    read_message(nested(23), request);
    EXPECT_THAT([&] { read_message(nested(24), request); },
                refused_with(Code::invalid_argument, "deeper than 50 levels"));
    EXPECT_THAT([&] { read_message(nested(2000), request); },
                refused_with(Code::invalid_argument, "deeper than 50 levels"));
}

TEST(GnmiWire, BytesThatAreNoMessageAreRefused) {
    const auto refusal = refused_with(Code::invalid_argument, "expected a GetRequest");
    for (const std::string &bytes : {
             std::string("\x12"),                // a path without a length
             std::string("\x12\x05\x1a"),        // one that is cut short
             std::string("\x12\x7f\x1a\x00", 4), // one longer than the message
             std::string("\x28\xff"),            // a number that does not end
             std::string("\x12\x02\x0a\x05", 4), // an element's name longer than its path
             std::string("\x0f"),                // a wire type that there is not
             std::string("\x12\x02\x1a\xff\xff\xff\xff\xff\xff\xff\xff\xff\x01"), std::string("\x00", 1),
             std::string("\x0c"),            // the end of a group that has not begun
             std::string("\x7b\x7c"),        // a group
             field(2, field(1, "\xff\xfe")), // a text that is no UTF-8
         })
        EXPECT_THAT([&] { read(bytes); }, refusal) << testing::PrintToString(bytes);
}

} // namespace
