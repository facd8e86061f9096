// Nodes whose database is damaged, as clients see them: a message that names what is damaged, and status 1.
#include "ocamp_program.h"

#include <cstring>

#include <gmock/gmock.h>

using namespace e2e;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

class DamagedNode : public NodeTest {
  protected:
    void flip_at(const std::string &text, std::size_t offset) const {
        std::string bytes = data();
        const std::size_t at = bytes.find(text);
        ASSERT_NE(at, std::string::npos) << text;
        bytes[at + offset] ^= 0x04;
        write_file(folder() / "node" / "node.db", bytes);
    }
};

void expect_failure(const Outcome &outcome, const std::string &message) {
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr(message));
}

TEST_F(DamagedNode, DamagedRecordFailsTheRequestsThatMeetIt) {
    const std::string item = "0%2f1-AMP-PRE/attrib/inv_basic_bag";
    const std::string other = "/optical-amplifier/amplifiers/amplifier[name='0/2-AMP-BST']";
    const std::string intact = get({other}).out;
    flip_at(item, item.size() + 40);
    const std::string message = "node.db: record /oper/inventory/gl/entity/" + item + " is damaged: ";
    const std::string amplifier = "/optical-amplifier/amplifiers/amplifier[name='0/1-AMP-PRE']";
    const Outcome whole = get({});
    expect_failure(whole, message);
    EXPECT_EQ(whole.out, "");
    expect_failure(get({amplifier}), message);
    expect_failure(get({amplifier, "--debug-log", "-"}), "sysdb_item_get: " + node() + "/" + message);
    const Outcome explained = ocamp({"explain", "get"}, {"--calls", amplifier});
    expect_failure(explained, message);
    EXPECT_THAT(explained.out, HasSubstr("sysdb_item_get(\"" + item + "\") = 0x4f430120"));
    const std::string edit = "{\"openconfig-optical-amplifier:optical-amplifier\": {\"amplifiers\": {\"amplifier\": "
                             "[{\"name\": \"0/1-AMP-PRE\", \"config\": {\"target-gain\": \"12.0\"}}]}}}";
    const std::string before = data();
    expect_failure(ocamp({"edit"}, {"-"}, edit), message);
    expect_failure(ocamp({"explain", "edit"}, {"-"}, edit), message);
    EXPECT_TRUE(before == data());
    expect_failure(ocamp({"sysdb", "get"}, {"/oper/inventory/gl/entity/", item}), message);
    EXPECT_SAME_TEXT(get({other}).out, intact);
}

TEST_F(DamagedNode, DamagedDocumentIsNamed) {
    flip_at("\"Optics0/1/0/4\"", 3);
    for (const Outcome &outcome : {get({}), ocamp({"native", "get"}), ocamp({"explain", "get"})})
        expect_failure(outcome, "node.db: native data '");
}

// Every command that opens a node, with a debug log of its own: what it says of the node's damage stands there, too.
TEST_F(DamagedNode, DamageStandsInTheLogOfEveryRequest) {
    const std::string edit = "{\"openconfig-optical-amplifier:optical-amplifier\": {}}";
    const std::vector<std::string> commands[] = {
        {"get"}, {"edit", "-"}, {"explain", "get"}, {"explain", "edit", "-"}, {"native", "get"}, {"sysdb", "list"}};
    const std::string whole = data();
    flip_at("\"Optics0/1/0/4\"", 3);
    const std::string damaged = data();
    for (const std::string &bytes : {damaged, whole.substr(0, whole.size() / 2)}) {
        write_file(folder() / "node" / "node.db", bytes);
        for (const std::vector<std::string> &words : commands) {
            if (bytes == damaged && words.front() == "sysdb")
                continue; // it looks at no document
            const std::filesystem::path log = folder() / "log";
            std::filesystem::remove(log);
            const Outcome outcome = ocamp(words, {"--debug-log", log.string(), "--log-level", "0"}, edit);
            EXPECT_EQ(outcome.status, 1) << words.front();
            ASSERT_THAT(outcome.err, StartsWith("ocamp: " + node() + "/node.db: "));
            EXPECT_EQ(read_file(log), "ERR: platform: request failed: " + outcome.err.substr(strlen("ocamp: ")))
                << words.front();
        }
    }
}

TEST_F(DamagedNode, CutDatabaseIsNamed) {
    const std::string whole = data();
    for (std::size_t size : {std::size_t{4096}, whole.size() / 2, whole.size() - 4096}) {
        write_file(folder() / "node" / "node.db", whole.substr(0, size));
        expect_failure(get({}), "node.db: ");
    }
}

TEST_F(DamagedNode, DatabaseWithoutAWholeHeaderIsNotKnownAsANodes) {
    constexpr std::size_t header_size = 100;
    const std::string whole = data();
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{90}, header_size - 1, header_size}) {
        write_file(folder() / "node" / "node.db", whole.substr(0, size));
        const Outcome outcome = get({});
        EXPECT_EQ(outcome.status, size < header_size ? 2 : 1) << size;
        EXPECT_THAT(outcome.err, HasSubstr(size < header_size ? "node.db: no SQLite database" : "node.db: ")) << size;
    }
}

TEST_F(DamagedNode, PutMendsADamagedRecord) {
    const std::string item = "0%2f1-AMP-PRE/attrib/inv_basic_bag";
    const std::string answer = get({}).out;
    const std::string record = ocamp({"sysdb", "get"}, {"/oper/inventory/gl/entity/", item}).out;
    flip_at(item, item.size() + 40);
    ASSERT_EQ(get({}).status, 1);
    EXPECT_EQ(ocamp({"sysdb", "put"}, {"/oper/inventory/gl/entity/", item}, record).status, 0);
    EXPECT_SAME_TEXT(get({}).out, answer);
}

} // namespace
