// gNMI's messages from the text form of protobuf, in which seeds can be read and dictionaries written.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include <google/protobuf/io/tokenizer.h>
#include <google/protobuf/text_format.h>

/// False for what is no such message.
template <class Message>
bool read_message(const std::uint8_t *data, std::size_t size, Message &message) {
    struct Silent : google::protobuf::io::ErrorCollector {
        void AddError(int, google::protobuf::io::ColumnNumber, const std::string &) override {}
    } silent;
    google::protobuf::TextFormat::Parser parser;
    parser.RecordErrorsTo(&silent);
    return parser.ParseFromString(std::string(reinterpret_cast<const char *>(data), size), &message);
}
