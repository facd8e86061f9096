// Behaviour of the debug log, the lightweight trace, result texts and the observer of calls, as their callers see it.
// Knows nothing of the system database.
#include "log/log.h"
#include "seam/calls.h"
#include "seam/codes.h"
#include "seam/text.h"
#include "support/files.h"

#include <array>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <optional>
#include <set>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::uint64_t trace_flags = 0x10101000000U;

class LogFiles : public testing::Test {
  protected:
    std::string path(const char *name) const { return (folder_.path() / name).string(); }
    static std::string content(const std::string &file) { return support::read_file(file); }

    support::TemporaryFolder folder_;
};

using DebugLogFile = LogFiles;
using LightTraceFile = LogFiles;
using LogSessionFiles = LogFiles;

template <class... Arguments>
void log_message(yfw_log_handle *log, const char *format, Arguments... arguments) {
    std::uint32_t site_filter_word = 0xffffffffU;
    _xos_dt_log_filter_adv(log, 0, 0, 0, 0, 0, &site_filter_word, format, arguments...);
    EXPECT_EQ(site_filter_word, 0xffffffffU);
}

struct Recorder : ocamp::CallObserver {
    Recorder() { ocamp::set_call_observer(this); }
    ~Recorder() override { ocamp::set_call_observer(nullptr); }
    void on_call(std::string_view text) override { calls.emplace_back(text); }
    std::vector<std::string> calls;
};

struct ThrowingObserver : ocamp::CallObserver {
    ThrowingObserver() { ocamp::set_call_observer(this); }
    ~ThrowingObserver() override { ocamp::set_call_observer(nullptr); }
    void on_call(std::string_view) override { throw std::runtime_error("not now"); }
};

std::string escaped(std::string_view text) {
    std::string line;
    ocamp::append_escaped(line, text);
    return line;
}

TEST(LogLevels, AMessageIsWrittenUpToTheThreshold) {
    const yfw_log_filter errors{0}, traces{3}, nothing{-1};
    EXPECT_EQ(yfw_debug_should_log(&errors, 0), 1);
    EXPECT_EQ(yfw_debug_should_log(&errors, 3), 0);
    EXPECT_TRUE(yfw_debug_should_log(&traces, 0));
    EXPECT_TRUE(yfw_debug_should_log(&traces, 3));
    EXPECT_FALSE(yfw_debug_should_log(&traces, 4));
    EXPECT_FALSE(yfw_debug_should_log(&nothing, 0));
    EXPECT_FALSE(yfw_debug_should_log(&traces, -1));
    EXPECT_FALSE(yfw_debug_should_log(nullptr, 0));
}

TEST_F(DebugLogFile, MessagesAreFormattedOneALine) {
    ocamp::DebugLog log(path("debug"), 3);
    log_message(log.handle(), "ERR: YFW: ctx=%p,%s %d", static_cast<void *>(nullptr), "rc", 7);
    log_message(log.handle(), "%s", "second");
    EXPECT_EQ(content(path("debug")), "ERR: YFW: ctx=(nil),rc 7\nsecond\n");
}

// The "C" locale has no such character.
TEST_F(DebugLogFile, AMessageThatCannotBeFormattedIsTold) {
    ocamp::DebugLog log(path("debug"), 3);
    log_message(log.handle(), "name %ls", L"\u4e2d");
    log_message(log.handle(), "name %ls", L"x");
    EXPECT_EQ(content(path("debug")), "ERR: platform: a message could not be formatted\nname x\n");
}

TEST_F(DebugLogFile, TakesNoLevelBelowErrors) {
    const ocamp::DebugLog log(path("debug"), 3);
    EXPECT_TRUE(log.takes(ocamp::log_errors));
    EXPECT_FALSE(log.takes(ocamp::log_errors - 1));
}

TEST_F(DebugLogFile, AValueCannotForgeALine) {
    ocamp::DebugLog log(path("debug"), 3);
    log_message(log.handle(), "name %s", "x\nERR: YFW: forged\r\n\x1b[2J\\n\t");
    EXPECT_EQ(content(path("debug")), "name x\\nERR: YFW: forged\\r\\n\\x1b[2J\\\\n\\t\n");
}

TEST_F(DebugLogFile, AMessageOfAnyLengthIsWrittenUpToTheLimit) {
    for (const std::size_t length : {std::size_t{1022}, std::size_t{1023}, std::size_t{1024}, std::size_t{1025},
                                     ocamp::log_message_limit - 1, ocamp::log_message_limit}) {
        const std::string file = path(std::to_string(length).c_str());
        const std::string text(length, 'a');
        ocamp::DebugLog log(file, 3);
        log_message(log.handle(), "%s", text.c_str());
        EXPECT_EQ(content(file), text + "\n") << length;
    }
    for (const std::size_t length : {ocamp::log_message_limit + 1, 4 * ocamp::log_message_limit}) {
        const std::string file = path(std::to_string(length).c_str());
        ocamp::DebugLog log(file, 3);
        log_message(log.handle(), "%s", std::string(length, 'a').c_str());
        EXPECT_EQ(content(file), std::string(ocamp::log_message_limit, 'a') + " [cut at 65536 bytes]\n") << length;
    }
}

TEST_F(DebugLogFile, AnExistingFileIsAppendedTo) {
    std::ofstream(path("debug")) << "before\n";
    ocamp::DebugLog(path("debug"), 3).write("after");
    EXPECT_EQ(content(path("debug")), "before\nafter\n");
}

TEST_F(DebugLogFile, AFileThatCannotBeOpenedIsNamed) {
    try {
        ocamp::DebugLog log(path("no/such/folder"), 0);
        FAIL() << "opened";
    } catch (const ocamp::LogError &error) {
        EXPECT_NE(std::string(error.what()).find(path("no/such/folder")), std::string::npos) << error.what();
        EXPECT_NE(std::string(error.what()).find("No such file"), std::string::npos) << error.what();
    }
    EXPECT_THROW(ocamp::LightTrace{folder_.path().string()}, ocamp::LogError);
}

TEST_F(DebugLogFile, AFullDiskIsToldOnce) {
    testing::internal::CaptureStderr();
    {
        ocamp::DebugLog log("/dev/full", 0);
        log.write("one");
        log.write("two");
    }
    const std::string told = testing::internal::GetCapturedStderr();
    EXPECT_EQ(told, "log file /dev/full: No space left on device; lines are being lost\n");
}

TEST_F(DebugLogFile, ADashIsStandardError) {
    testing::internal::CaptureStderr();
    ocamp::DebugLog("-", 0).write("to standard error");
    ocamp::DebugLog("-", 0).write("which stays open");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "to standard error\nwhich stays open\n");
    EXPECT_FALSE(std::filesystem::exists("-"));
}

TEST_F(DebugLogFile, AFileIsClosedWithItsLog) {
    const int next = dup(STDERR_FILENO);
    close(next);
    ocamp::DebugLog(path("debug"), 0).write("a line");
    const int again = dup(STDERR_FILENO);
    close(again);
    EXPECT_EQ(again, next);
}

// The sanitizers open descriptors for their checks.
#ifndef OCAMP_SANITIZE
TEST_F(DebugLogFile, WantOfDescriptorsIsNoFaultOfTheFile) {
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit none{.rlim_cur = 0, .rlim_max = before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    EXPECT_THROW(ocamp::DebugLog(path("debug"), 0), std::system_error);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
}
#endif

TEST_F(DebugLogFile, APipeWithoutReaderIsRefused) {
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
    try {
        const ocamp::DebugLog log(path("pipe"), 0);
        ADD_FAILURE() << "opened";
    } catch (const ocamp::LogError &error) {
        EXPECT_EQ(error.what(), "cannot open log file " + path("pipe") + ": not a regular file, and nobody reads it");
    }
}

TEST_F(DebugLogFile, APipeIsWaitedForOnceItHasAReader) {
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
    const int pipe = open(path("pipe").c_str(), O_RDONLY | O_NONBLOCK);
    ASSERT_GE(pipe, 0);
    const int spare = dup(pipe); // the log's number is that of none of fcntl's commands then
    ASSERT_GE(spare, 0);
    const std::string text(60'000, 'a'); // two do not fit into a pipe
    std::jthread writer([&] {
        ocamp::DebugLog log(path("pipe"), 0);
        log.write(text);
        log.write(text);
    });
    pollfd readable{.fd = pipe, .events = POLLIN, .revents = 0};
    ASSERT_EQ(poll(&readable, 1, 10'000), 1);
    std::this_thread::sleep_for(std::chrono::milliseconds(20)); // the writer comes to its end, or waits
    ASSERT_EQ(fcntl(pipe, F_SETFL, 0), 0);
    std::size_t taken = 0;
    std::array<char, 65'536> part{};
    for (ssize_t length = 1; length > 0; taken += static_cast<std::size_t>(length))
        length = read(pipe, part.data(), part.size());
    close(pipe);
    close(spare);
    EXPECT_EQ(taken, 2 * (text.size() + 1));
}

TEST_F(DebugLogFile, AWrongHandleOrNoFormatIsRefused) {
    ocamp::LogSession session({path("session"), 0, ""});
    std::optional<ocamp::DebugLog> gone(std::in_place, path("gone"), 3);
    yfw_log_handle *stale = gone->handle();
    gone.reset();
    int other = 0;
    log_message(stale, "%s", "stale");
    log_message(reinterpret_cast<yfw_log_handle *>(&other), "%s", "stray");
    log_message(nullptr, "%s", "none");
    ocamp::DebugLog log(path("debug"), 3);
    log_message(log.handle(), nullptr, "no format");
    EXPECT_EQ(content(path("gone")), "");
    EXPECT_EQ(content(path("debug")), "");
    const std::string line = "ERR: platform: _xos_dt_log_filter_adv: not an open log; a message is dropped\n";
    EXPECT_EQ(content(path("session")),
              line + line + line + "ERR: platform: _xos_dt_log_filter_adv: no format; a message is dropped\n");
}

TEST_F(LightTraceFile, ALineIsWrittenEscaped) {
    ocamp::LightTrace trace(path("trace"));
    _lstrace(trace.handle(), trace_flags, "#1: ERR: f:2 ctx=0x1,value a\nb");
    EXPECT_EQ(content(path("trace")), "#1: ERR: f:2 ctx=0x1,value a\\nb\n");
}

TEST_F(LightTraceFile, ALineIsCutAtTheLimit) {
    ocamp::LightTrace trace(path("trace"));
    const std::string longest(ocamp::log_message_limit, 'a');
    _lstrace(trace.handle(), trace_flags, longest.c_str());
    _lstrace(trace.handle(), trace_flags, (longest + 'a').c_str());
    EXPECT_EQ(content(path("trace")), longest + "\n" + longest + " [cut at 65536 bytes]\n");
}

TEST_F(LightTraceFile, AWrongFlagsWordHandleOrLineIsRefused) {
    ocamp::LogSession session({path("session"), 0, ""});
    ocamp::LightTrace trace(path("trace"));
    ocamp::DebugLog log(path("debug"), 3);
    _lstrace(trace.handle(), trace_flags + 1, "flags");
    _lstrace(trace.handle(), 0, "no flags");
    _lstrace(nullptr, trace_flags, "no trace");
    _lstrace(reinterpret_cast<yfw_ltrace_handle *>(log.handle()), trace_flags, "a debug log");
    _lstrace(trace.handle(), trace_flags, nullptr);
    EXPECT_EQ(content(path("trace")), "");
    EXPECT_EQ(content(path("debug")), "");
    EXPECT_EQ(content(path("session")),
              "ERR: platform: _lstrace: flags word 0x10101000001, expected 0x10101000000; a line is dropped\n"
              "ERR: platform: _lstrace: flags word 0x0, expected 0x10101000000; a line is dropped\n"
              "ERR: platform: _lstrace: not an open trace; a line is dropped\n"
              "ERR: platform: _lstrace: not an open trace; a line is dropped\n"
              "ERR: platform: _lstrace: no line\n");
}

TEST(LightTraceIndex, EveryCallGivesTheNextNumber) {
    const std::uint32_t first = ret_nc_yfw_trace_index_incr();
    EXPECT_EQ(ret_nc_yfw_trace_index_incr(), first + 1);
    EXPECT_EQ(ret_nc_yfw_trace_index_incr(), first + 2);
}

TEST_F(LogSessionFiles, AContextGetsTheOpenedLogs) {
    ocamp::LogSession session({path("debug"), 3, path("trace")});
    yfw_map_ctx_s ctx{};
    session.attach(ctx);
    EXPECT_EQ(ctx.debug_filter.threshold, 3);
    EXPECT_EQ(ctx.ltrace_enabled, 1U);
    log_message(ctx.error_log, "%s", "an error");
    log_message(ctx.trace_log, "%s", "a trace");
    _lstrace(ctx.ltrace_handle, trace_flags, "a line");
    EXPECT_EQ(content(path("debug")), "an error\na trace\n");
    EXPECT_EQ(content(path("trace")), "a line\n");
}

TEST_F(LogSessionFiles, WithoutSinksAContextLogsNothing) {
    ocamp::LogSession session({});
    yfw_map_ctx_s ctx{};
    ctx.ltrace_enabled = 7;
    session.attach(ctx);
    EXPECT_FALSE(yfw_debug_should_log(&ctx.debug_filter, 0));
    EXPECT_EQ(ctx.error_log, nullptr);
    EXPECT_EQ(ctx.trace_log, nullptr);
    EXPECT_EQ(ctx.ltrace_handle, nullptr);
    EXPECT_EQ(ctx.ltrace_enabled, 0U);
}

TEST_F(LogSessionFiles, ThePlatformsOwnLinesFollowTheCurrentSession) {
    ocamp::debug_log_line(0, "nowhere to go");
    ocamp::LogSession outer({path("outer"), 0, ""});
    ocamp::debug_log_line(0, "first");
    {
        ocamp::LogSession inner({path("inner"), 3, ""});
        ocamp::debug_log_line(3, "second");
    }
    ocamp::debug_log_line(0, "third\nline");
    ocamp::debug_log_line(3, "above the threshold");
    EXPECT_EQ(content(path("outer")), "ERR: platform: first\nERR: platform: third\\nline\n");
    EXPECT_EQ(content(path("inner")), "TRC: platform: second\n");
}

TEST_F(LogSessionFiles, ARequestThatFailsIsTold) {
    ocamp::LogSession session({path("debug"), 0, ""});
    EXPECT_EQ(ocamp::logged([] { return 7; }), 7);
    EXPECT_THROW(ocamp::logged([]() -> int { throw std::runtime_error("no light"); }), std::runtime_error);
    EXPECT_EQ(content(path("debug")), "ERR: platform: request failed: no light\n");
}

TEST(LogText, WellFormedTextPassesAndTheRestIsShownInHex) {
    EXPECT_EQ(escaped("plain -12.5 dBm"), "plain -12.5 dBm");
    EXPECT_EQ(escaped("\xc3\xa9 \xe2\x82\xac \xf0\x9f\x98\x80"), "\xc3\xa9 \xe2\x82\xac \xf0\x9f\x98\x80");
    EXPECT_EQ(escaped("\x7f"), "\\x7f");
    EXPECT_EQ(escaped("\xc2\x85"), "\\xc2\\x85");                   // next line, a C1 control
    EXPECT_EQ(escaped("\xe2\x80\xa8"), "\\xe2\\x80\\xa8");          // line separator
    EXPECT_EQ(escaped("\xe2\x80\xa9"), "\\xe2\\x80\\xa9");          // paragraph separator
    EXPECT_EQ(escaped("\xef\xbb\xbf"), "\\xef\\xbb\\xbf");          // byte order mark
    EXPECT_EQ(escaped("\xd8\x9c"), "\\xd8\\x9c");                   // a mark of the direction
    EXPECT_EQ(escaped("\xc0\x8a"), "\\xc0\\x8a");                   // overlong newline
    EXPECT_EQ(escaped("\xed\xa0\x80"), "\\xed\\xa0\\x80");          // surrogate
    EXPECT_EQ(escaped("\xf4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80"); // behind the last character
    EXPECT_EQ(escaped("\xe2\x82"), "\\xe2\\x82");                   // cut
    EXPECT_EQ(escaped("\x9b"
                      "31m"),
              "\\x9b31m");
    EXPECT_EQ(escaped(std::string_view("a\0b", 3)), "a\\x00b");
    EXPECT_EQ(escaped(std::string_view("\xc3\xa4").substr(0, 1)), "\\xc3"); // what follows is not its own
}

// The first byte's bits, and how many follow.
std::string in_form(std::uint32_t value, unsigned lead, int following) {
    std::string text(1, static_cast<char>(lead | value >> (6 * following)));
    for (int i = following - 1; i >= 0; --i)
        text += static_cast<char>(0x80U | (value >> (6 * i) & 0x3fU));
    return text;
}

TEST(Utf8, IsEveryCharacterInItsShortestFormAndNothingElse) {
    struct Form {
        unsigned lead;
        int following;
        std::uint32_t first, last;
    };
    for (const Form &form :
         {Form{0xc0, 1, 0x80, 0x7ff}, Form{0xe0, 2, 0x800, 0xffff}, Form{0xf0, 3, 0x10000, 0x10ffff}}) {
        const auto check = [&](std::uint32_t value) {
            const bool surrogate = value >= 0xd800 && value <= 0xdfff;
            EXPECT_EQ(ocamp::is_utf8(in_form(value, form.lead, form.following)),
                      value >= form.first && value <= form.last && !surrogate)
                << value << " with " << form.following;
        };
        // Of the longest form some of each kind.
        for (std::uint32_t value = 0; value < 1U << (6 + 5 * form.following); value += form.following == 3 ? 61 : 1)
            check(value);
        for (const std::uint32_t edge : {form.first - 1, form.first, form.last, form.last + 1})
            check(edge);
        const std::string whole = in_form(form.last, form.lead, form.following);
        for (std::size_t at = 1; at < whole.size(); ++at) {
            EXPECT_FALSE(ocamp::is_utf8(std::string_view(whole).substr(0, at))) << "what follows is not its own";
            for (const char wrong : {'\x3f', '\xc0', '\0'})
                EXPECT_FALSE(ocamp::is_utf8(std::string(whole).replace(at, 1, 1, wrong))) << at;
        }
    }
    for (unsigned byte = 0; byte < 256; ++byte)
        EXPECT_EQ(ocamp::is_utf8(std::string(1, static_cast<char>(byte))), byte < 0x80) << byte;
    for (unsigned lead = 0xf8; lead < 256; ++lead)
        EXPECT_FALSE(ocamp::is_utf8(static_cast<char>(lead) + std::string(5, '\x80'))) << lead;
    EXPECT_TRUE(ocamp::is_utf8(""));
}

TEST(EscapedDocuments, KeepLinesAndNumberWhatATerminalWouldObey) {
    const std::string text = "a\tb\n\u00e4\x1b[2J\u202e\xff\xc3z\u2028";
    EXPECT_EQ(ocamp::escaped_json(text), "a\tb\n\u00e4\\u001b[2J\\u202e\\ufffd\\ufffdz\\u2028");
    EXPECT_EQ(ocamp::escaped_xml(text), "a\tb\n\u00e4&#x1B;[2J&#x202E;&#xFFFD;&#xFFFD;z&#x2028;");
}

TEST(EscapedText, NoMarkOfTheDirectionIsShown) {
    const auto utf8 = [](unsigned value) {
        return std::string{char(0xe0 | value >> 12U), char(0x80 | (value >> 6U & 0x3fU)), char(0x80 | (value & 0x3fU))};
    };
    for (const unsigned mark :
         {0x200eU, 0x200fU, 0x202aU, 0x202bU, 0x202cU, 0x202dU, 0x202eU, 0x2066U, 0x2067U, 0x2068U, 0x2069U})
        EXPECT_NE(escaped(utf8(mark)), utf8(mark)) << mark;
    for (const unsigned other : {0x200dU, 0x2010U, 0x2027U, 0x202fU, 0x2065U, 0x206aU, 0xfefeU})
        EXPECT_EQ(escaped(utf8(other)), utf8(other)) << other;
}

TEST(ResultText, EveryCodeHasATextOfItsOwn) {
    const cerrno seam_codes[] = {
        CERR_SUCCESS,       YMAP_RC_BAD_SUBTREE, YMAP_RC_INVALID_ARGS,        YMAP_RC_UNSUPPORTED, YMAP_RC_BAD_KEY,
        YMAP_RC_KEY_DELETE, YMAP_RC_SKIP,        YMAP_RC_AUGMENT_UNSUPPORTED, SYSDB_RC_UNAVAILABLE};
    std::set<std::string> texts;
    for (const cerrno code : seam_codes)
        EXPECT_TRUE(texts.insert(cerr_strerror(code)).second) << code;
#define EXPECT_OWN_TEXT(name, value, text)                                                                             \
    EXPECT_STREQ(cerr_strerror(ocamp::name), text);                                                                    \
    EXPECT_TRUE(texts.insert(text).second) << text;
    OCAMP_PLATFORM_CODES(EXPECT_OWN_TEXT)
#undef EXPECT_OWN_TEXT
    EXPECT_STREQ(cerr_strerror(CERR_SUCCESS), "Success");
    EXPECT_EQ(texts.count("Unknown error"), 0U);
    EXPECT_STREQ(cerr_strerror(0xffffffffU), "Unknown error");
    EXPECT_STREQ(cerr_strerror(0x4f430100U), "Unknown error");
}

TEST(CallObserver, SeesOneLineACall) {
    Recorder recorder;
    cerr_strerror(SYSDB_RC_UNAVAILABLE);
    ocamp::record_call("f", ocamp::Code{0}, ocamp::Quoted{"a\"b\n"}, 7, ocamp::Quoted{nullptr}, -1);
    ocamp::record_call("g", ocamp::NoResult{});
    ASSERT_EQ(recorder.calls.size(), 3U);
    EXPECT_EQ(recorder.calls[0], "cerr_strerror(0x8081c200) = \"System database is not available\"");
    EXPECT_EQ(recorder.calls[1], "f(\"a\\\"b\\n\", 7, NULL, -1) = 0");
    EXPECT_EQ(recorder.calls[2], "g()");
}

TEST(CallObserver, WhatItThrowsDoesNotReachTheCaller) {
    ThrowingObserver observer;
    EXPECT_STREQ(cerr_strerror(CERR_SUCCESS), "Success");
}

TEST(CallObserver, MessagesAreNotReported) {
    Recorder recorder;
    log_message(nullptr, "%s", "x");
    _lstrace(nullptr, trace_flags, "x");
    ret_nc_yfw_trace_index_incr();
    EXPECT_TRUE(recorder.calls.empty());
}

} // namespace
