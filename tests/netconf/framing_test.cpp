// How messages are taken out of a stream: whole, cut at every byte, malformed, and beyond the limit.
#include "server/netconf/framing.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace ocamp::netconf;

constexpr std::size_t limit = 100;

// The messages of a stream that comes in these parts, with "..." behind the last when it is not whole.
std::vector<std::string> messages(Framing framing, const std::vector<std::string> &parts) {
    MessageReader reader(limit);
    reader.set_framing(framing);
    std::vector<std::string> all;
    for (const std::string &part : parts) {
        std::string_view bytes = part;
        while (!bytes.empty()) {
            if (auto message = reader.next(bytes))
                all.push_back(*message);
        }
    }
    if (reader.within_message())
        all.emplace_back("...");
    return all;
}

std::vector<std::string> bytes_of(const std::string &text) {
    std::vector<std::string> parts;
    for (const char byte : text)
        parts.emplace_back(1, byte);
    return parts;
}

// What is wrong with the stream; "taken" for nothing.
std::string complaint(Framing framing, const std::string &text, FramingError::Kind kind) {
    std::string first;
    for (const auto &parts : {std::vector<std::string>{text}, bytes_of(text)}) {
        try {
            messages(framing, parts);
            return "taken";
        } catch (const FramingError &error) {
            EXPECT_EQ(kind, error.kind()) << text;
            // However it is cut, the same is said of it.
            EXPECT_TRUE(first.empty() || first == error.what()) << first << "\n" << error.what();
            first = error.what();
        }
    }
    return first;
}

std::string malformed(const std::string &text) {
    return complaint(Framing::chunked, text, FramingError::Kind::malformed);
}

using Messages = std::vector<std::string>;

TEST(EndOfMessage, EndsEachMessage) {
    EXPECT_EQ((Messages{"<a/>", "<b/>"}), messages(Framing::end_of_message, {"<a/>]]>]]><b/>]]>]]>"}));
    EXPECT_EQ((Messages{"<a/>", "..."}), messages(Framing::end_of_message, {"<a/>]]>]]><b/>]]>]]"}));
}

TEST(EndOfMessage, MayBeCutAnywhere) {
    const std::string stream = "<a>]]></a>]]>]]>]]]>]]>]]>";
    const Messages whole = messages(Framing::end_of_message, {stream});
    EXPECT_EQ((Messages{"<a>]]></a>", "]", "..."}), (Messages{whole[0], whole[1], "..."}));
    EXPECT_EQ(whole, messages(Framing::end_of_message, bytes_of(stream)));
    for (std::size_t at = 0; at <= stream.size(); ++at)
        EXPECT_EQ(whole, messages(Framing::end_of_message, {stream.substr(0, at), stream.substr(at)})) << at;
}

TEST(EndOfMessage, MayBeLeftForChunksByTheFirstMessage) {
    const std::string stream = "\n#4\n<a/>\n##\n\n#4\n<b/>\n##\n";
    EXPECT_EQ((Messages{"<a/>", "<b/>"}), messages(Framing::end_of_message, {stream}));
    EXPECT_EQ((Messages{"<a/>", "<b/>"}), messages(Framing::end_of_message, bytes_of(stream)));
    EXPECT_EQ((Messages{"\n<a/>", "<b/>"}), messages(Framing::end_of_message, bytes_of("\n<a/>]]>]]><b/>]]>]]>")));
    // The second is held to what the first came in.
    EXPECT_EQ((Messages{"<a/>", "\n#4\n<b/>"}), messages(Framing::end_of_message, {"<a/>]]>]]>\n#4\n<b/>]]>]]>"}));
    EXPECT_EQ("'<' in a chunk header, expected byte 0x0a",
              complaint(Framing::end_of_message, "\n#4\n<a/>\n##\n<b/>]]>]]>", FramingError::Kind::malformed));
}

TEST(EndOfMessage, HoldsToTheLimit) {
    const std::string most(limit, 'x');
    EXPECT_EQ(Messages{most}, messages(Framing::end_of_message, {most + "]]>]]>"}));
    EXPECT_EQ("message of more than 100 bytes",
              complaint(Framing::end_of_message, most + "x]]>]]>", FramingError::Kind::too_big));
    EXPECT_EQ("message of more than 100 bytes",
              complaint(Framing::end_of_message, std::string(1000, 'x'), FramingError::Kind::too_big));
}

TEST(Chunks, MakeOneMessage) {
    EXPECT_EQ((Messages{"<a/>", "xyz"}), messages(Framing::chunked, {"\n#4\n<a/>\n##\n\n#1\nx\n#2\nyz\n##\n"}));
    EXPECT_EQ((Messages{"\n##\n"}), messages(Framing::chunked, {"\n#4\n\n##\n\n##\n"}));
    EXPECT_EQ((Messages{"..."}), messages(Framing::chunked, {"\n#4\n<a/>\n##"}));
}

TEST(Chunks, MayBeCutAnywhere) {
    const std::string stream = "\n#4\n<a/>\n##\n\n#1\nx\n#12\n\n#3\nabc\n##\n\n\n##\n";
    const Messages whole = messages(Framing::chunked, {stream});
    EXPECT_EQ(2U, whole.size());
    EXPECT_EQ(whole, messages(Framing::chunked, bytes_of(stream)));
    for (std::size_t at = 0; at <= stream.size(); ++at)
        EXPECT_EQ(whole, messages(Framing::chunked, {stream.substr(0, at), stream.substr(at)})) << at;
}

TEST(Chunks, AreRefusedWhenMalformed) {
    EXPECT_EQ("'<' in a chunk header, expected byte 0x0a", malformed("<a/>"));
    EXPECT_EQ("'4' in a chunk header, expected '#'", malformed("\n4\n<a/>"));
    EXPECT_EQ("byte 0x0a in a chunk header, expected '#'", malformed("\n\n#4\n"));
    EXPECT_EQ("'#' in a chunk size, expected a number from 1 to 4294967295", malformed("\n##\n"));
    EXPECT_EQ("'0' in a chunk size, expected a number from 1 to 4294967295", malformed("\n#0\n"));
    EXPECT_EQ("'0' in a chunk size, expected a number from 1 to 4294967295", malformed("\n#04\n"));
    EXPECT_EQ("'-' in a chunk size, expected a number from 1 to 4294967295", malformed("\n#-1\n"));
    EXPECT_EQ("'+' in a chunk size, expected a number from 1 to 4294967295", malformed("\n#+1\n"));
    EXPECT_EQ("byte 0x20 in a chunk size, expected a number from 1 to 4294967295", malformed("\n# 1\n"));
    EXPECT_EQ("byte 0x0d in a chunk size, expected a number from 1 to 4294967295", malformed("\n#4\r\n"));
    EXPECT_EQ("byte 0x7f in a chunk size, expected a number from 1 to 4294967295", malformed("\n#4\x7f"));
    EXPECT_EQ("'x' in a chunk size, expected a number from 1 to 4294967295", malformed("\n#4x\n"));
    EXPECT_EQ("byte 0x0a in a chunk size, expected a number from 1 to 4294967295", malformed("\n#\n"));
    EXPECT_EQ("chunk size above 4294967295", malformed("\n#4294967296\n"));
    EXPECT_EQ("chunk size above 4294967295", malformed("\n#99999999999999999999\n"));
    EXPECT_EQ("'>' in a chunk header, expected byte 0x0a", malformed("\n#3\n<a/>\n##\n"));
    EXPECT_EQ("'x' in a chunk header, expected '#'", malformed("\n#4\n<a/>\nx"));
    EXPECT_EQ("byte 0x20 in a chunk header, expected byte 0x0a", malformed("\n#4\n<a/>\n## \n"));
}

TEST(Chunks, HoldToTheLimitBeforeTheirContentComes) {
    EXPECT_EQ("message of more than 100 bytes", complaint(Framing::chunked, "\n#101\n", FramingError::Kind::too_big));
    EXPECT_EQ("message of more than 100 bytes",
              complaint(Framing::chunked, "\n#99\n" + std::string(99, 'x') + "\n#2\n", FramingError::Kind::too_big));
    EXPECT_EQ("message of more than 100 bytes",
              complaint(Framing::chunked, "\n#4294967295\n", FramingError::Kind::too_big));
    EXPECT_EQ(1U, messages(Framing::chunked, {"\n#99\n" + std::string(99, 'x') + "\n#1\nx\n##\n"}).size());
}

TEST(Stream, IsGivenUpAfterAFault) {
    MessageReader reader(limit);
    reader.set_framing(Framing::chunked);
    std::string_view bytes = "x";
    EXPECT_THROW(reader.next(bytes), FramingError);
    bytes = "\n#4\n<a/>\n##\n";
    EXPECT_THROW(reader.next(bytes), FramingError);
}

TEST(Framed, IsReadBack) {
    for (const Framing framing : {Framing::end_of_message, Framing::chunked}) {
        for (const std::size_t size : {1U, 65535U, 65536U, 65537U, 200000U}) {
            const std::string message(size, 'x');
            MessageReader reader(message.size());
            reader.set_framing(framing);
            const std::string stream = framed(message, framing);
            std::string_view bytes = stream;
            EXPECT_EQ(message, reader.next(bytes));
            EXPECT_TRUE(bytes.empty());
        }
    }
}

} // namespace
