// No text of a client or of the node reaches a terminal with its control characters: every place that prints texts,
// with a delete character, an eight-bit control sequence, a line separator and a reversal of the direction in them.
#include "ocamp_program.h"

#include <algorithm>

#include <gmock/gmock.h>

using namespace e2e;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

constexpr const char *raw = "\x7f\xc2\x9b"
                            "31m\xe2\x80\xa8\xe2\x80\xae";
constexpr const char *escaped = "\\x7f\\xc2\\x9b31m\\xe2\\x80\\xa8\\xe2\\x80\\xae";
constexpr const char *in_json = "\\u007f\\u009b31m\\u2028\\u202e";
constexpr const char *in_xml = "&#x7F;&#x9B;31m&#x2028;&#x202E;";

bool is_control(unsigned char byte) {
    return (byte < 0x20 && byte != '\n') || byte == 0x7f;
}

// True when nothing of the text acts on a terminal.
bool is_harmless(const std::string &text) {
    return std::none_of(text.begin(), text.end(), is_control) && text.find("\xc2\x9b") == std::string::npos &&
           text.find("\xe2\x80\xa8") == std::string::npos && text.find("\xe2\x80\xae") == std::string::npos;
}

void expect_harmless(const Outcome &outcome) {
    EXPECT_PRED1(is_harmless, outcome.out);
    EXPECT_PRED1(is_harmless, outcome.err);
}

// A node with such a text as the description of the first amplifier's interface.
class TerminalTexts : public NodeTest {
  protected:
    void SetUp() override {
        NodeTest::SetUp();
        std::filesystem::copy(EXAMPLE_NODE, folder() / "example", std::filesystem::copy_options::recursive);
        std::string running = read_file(folder() / "example/native/running.json");
        const std::string described = "line east, pre-amplifier";
        running.replace(running.find(described), described.size(), raw);
        write_file(folder() / "example/native/running.json", running);
        std::filesystem::remove_all(node());
        const Outcome made = run_ocamp({"node", "init", node(), "--from", (folder() / "example").string()});
        ASSERT_EQ(made.status, 0) << made.err;
    }
};

constexpr const char *amplifier = "/optical-amplifier/amplifiers/amplifier[name='0/1-AMP-PRE']";

TEST_F(TerminalTexts, NativeDataAreEscapedByTheRulesOfTheirFormat) {
    const std::string path = "/interface-configurations/interface-configuration/description";
    const Outcome json = ocamp({"native", "get"}, {path});
    EXPECT_THAT(json.out, HasSubstr(std::string("\"description\": \"") + in_json + "\""));
    expect_harmless(json);
    const Outcome xml = ocamp({"native", "get"}, {"--format", "xml", path});
    EXPECT_THAT(xml.out, HasSubstr(std::string("<description>") + in_xml + "</description>"));
    expect_harmless(xml);
}

TEST_F(TerminalTexts, ExplanationsAndLogsAreEscaped) {
    const Outcome outcome = ocamp({"explain", "get"}, {"--all", "--debug-log", "-", amplifier});
    EXPECT_THAT(outcome.out, HasSubstr(std::string("<description> \"") + escaped + "\""));
    expect_harmless(outcome);
    expect_harmless(ocamp({"explain", "get"}, {"--calls", amplifier}));
}

TEST_F(TerminalTexts, KeysInExplanationsAreEscaped) {
    const std::string key = std::string("0/1-AMP-PRE") + raw;
    const Outcome get = ocamp({"explain", "get"}, {"/optical-amplifier/amplifiers/amplifier[name='" + key + "']"});
    EXPECT_EQ(get.status, 0) << get.err;
    EXPECT_THAT(get.out, HasSubstr(std::string("0/1-AMP-PRE") + escaped));
    expect_harmless(get);
}

TEST_F(TerminalTexts, NativeEntriesAreEscaped) {
    // Short enough for the buffer of a key.
    const std::string name = "Optics0/1/0/4", end = "\x7f\xc2\x9b", escaped_end = "\\x7f\\xc2\\x9b";
    std::string optics = read_file(folder() / "example/native/optics.xml");
    optics.insert(optics.find(name) + name.size(), end);
    write_file(folder() / "example/native/optics.xml", optics);
    std::filesystem::remove_all(node());
    ASSERT_EQ(run_ocamp({"node", "init", node(), "--from", (folder() / "example").string()}).status, 0);
    const Outcome outcome =
        ocamp({"explain", "get"},
              {"/optical-amplifier/supervisory-channels/supervisory-channel[interface='" + name + end + "']"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("/optics-port[name='" + name + escaped_end + "']\n"));
    EXPECT_THAT(outcome.out, HasSubstr("\"interface\": \"" + name + "\\u007f\\u009b\""));
    expect_harmless(outcome);
}

TEST_F(TerminalTexts, RefusalsAreEscaped) {
    const std::string document = std::string("{\"openconfig-optical-amplifier:optical-amplifier\": {\"amplifiers\": "
                                             "{\"amplifier\": [{\"name\": \"") +
                                 raw + "\", \"config\": {\"target-gain\": \"1.0\"}}]}}}";
    for (const std::vector<std::string> &command : {std::vector<std::string>{"edit"}, {"explain", "edit"}}) {
        const Outcome outcome = ocamp(command, {"-"}, document);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_THAT(outcome.err,
                    StartsWith(std::string("ocamp: /optical-amplifier/amplifiers/amplifier[name='") + escaped + "']"));
        expect_harmless(outcome);
    }
}

TEST_F(TerminalTexts, WrongUseIsEscaped) {
    const Outcome outcome = get({std::string("/optical-amplifier/") + raw});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, HasSubstr(escaped));
    expect_harmless(outcome);
}

TEST_F(TerminalTexts, SystemDatabaseIsEscaped) {
    const std::string bind_point = "/oper/inventory/gl/entity/", item = std::string("0%2f1-AMP-PRE/") + raw;
    std::string record = ocamp({"sysdb", "get"}, {bind_point, "0%2f1-AMP-PRE/attrib/inv_basic_bag"}).out;
    const std::string described = "Erbium-doped pre-amplifier module";
    record.replace(record.find(described), described.size(), raw);
    ASSERT_EQ(ocamp({"sysdb", "put"}, {bind_point, item}, record).status, 0);
    const Outcome shown = ocamp({"sysdb", "get"}, {bind_point, item});
    EXPECT_THAT(shown.out, HasSubstr(std::string("\"value\": \"") + in_json + "\""));
    expect_harmless(shown);
    const Outcome list = ocamp({"sysdb", "list"}, {bind_point});
    EXPECT_THAT(list.out, HasSubstr(bind_point + " 0%2f1-AMP-PRE/" + escaped + "\n"));
    expect_harmless(list);
    const Outcome missing = ocamp({"sysdb", "rm"}, {bind_point, item + "x"});
    EXPECT_THAT(missing.err, HasSubstr(escaped));
    expect_harmless(missing);
}

TEST_F(TerminalTexts, LongValuesAreShortenedWithTheirLength) {
    const std::string gain(100000, '9');
    const Outcome outcome =
        ocamp({"edit"}, {"-"},
              "{\"openconfig-optical-amplifier:optical-amplifier\": {\"amplifiers\": {\"amplifier\": "
              "[{\"name\": \"0/2-AMP-BST\", \"config\": {\"target-gain\": \"" +
                  gain + "\"}}]}}}");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("9999 ... [100000 bytes] ... 9999"));
    EXPECT_LT(outcome.err.size(), 400U);
    const Outcome path = get({"/optical-amplifier/" + std::string(100000, 'x')});
    EXPECT_EQ(path.status, 2);
    EXPECT_THAT(path.err, StartsWith("ocamp: /optical-amplifier/xxx"));
    EXPECT_THAT(path.err, HasSubstr("expected one of: amplifiers, supervisory-channels"));
    EXPECT_LT(path.err.size(), 1000U);
}

} // namespace
