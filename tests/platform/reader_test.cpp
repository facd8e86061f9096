// Reads through a plug-in in miniature: what a failing, a skipped and an unmapped native entry do to an answer, what
// the request state says of the native path, and which paths are refused before anything is read; and edits that it
// loses.
#include "node/editor.h"
#include "node/reader.h"
#include "node/slots.h"
#include "support/files.h"
#include "yang/models.h"
#include "yang/modules.h"

#include <filesystem>
#include <sstream>

#include <gmock/gmock.h>

using namespace ocamp;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

// A node with two amplifier interfaces, whose descriptions tell the plug-in what to do, and an OTS port.
NativeData node_with(const std::string &first_description, const std::string &second_description = "") {
    NativeData data;
    data.running = native_schema().parse(
        R"({"Korvex-ifmgr-cfg:interface-configurations": {"interface-configuration": [
            {"active": "act", "interface-name": "Ots0/1/0/0", "description": ")" +
            first_description + R"("},
            {"active": "act", "interface-name": "Ots0/1/0/1", "description": ")" +
            second_description + R"("}]}})",
        LYD_JSON);
    data.operational.push_back(native_schema().parse(
        R"({"Korvex-controller-orvo8-ots-oper:ots-oper": {"ots-ports": {"ots-port": [{"name": "Ots0/1/0/0"}]}}})",
        LYD_JSON));
    return data;
}

class ReaderTest : public testing::Test {
  protected:
    ReadResult read(const NativeData &data, const Filter &filter, std::uint32_t kind = YFW_KIND_GET) const {
        return Reader(plugin_, logs_).read(data, kind, filter, nullptr);
    }
    ReadResult read(const NativeData &data, const std::string &path, std::uint32_t kind = YFW_KIND_GET) const {
        return read(data, Filter::from_path(openconfig_schema(), path), kind);
    }
    // What the read of the path is refused with; empty when it is not.
    std::string refusal(const std::string &path) const {
        try {
            read(node_with(""), path);
        } catch (const RequestError &error) {
            return error.what();
        }
        return "";
    }
    std::string log() const { return support::read_file(log_file_); }
    const Plugin &plugin() const { return plugin_; }
    LogSession &logs() const { return logs_; }

  private:
    support::TemporaryFolder folder_;
    std::filesystem::path log_file_ = folder_.path() / "log";
    mutable LogSession logs_{{.debug_log = log_file_.string(), .level = log_errors, .trace = {}}};
    Plugin plugin_{SCRIPTED_PLUGIN};
};

std::string text(const ReadResult &result) {
    std::string text = result.answer.print(LYD_JSON);
    std::erase_if(text, [](char character) { return character == ' ' || character == '\n'; });
    return text;
}

constexpr const char *amplifiers = "/optical-amplifier/amplifiers";
constexpr const char *first_amplifier = "/optical-amplifier/amplifiers/amplifier[name='Ots0/1/0/0']";

TEST_F(ReaderTest, EntriesOfAllWalksAreAnswered) {
    EXPECT_EQ(text(read(node_with(""), amplifiers)),
              R"({"openconfig-optical-amplifier:optical-amplifier":{"amplifiers":{"amplifier":[)"
              R"({"name":"Ots0/1/0/0","config":{"target-gain":"1.0"}},)"
              R"({"name":"Ots0/1/0/1","config":{"target-gain":"1.0"}}]}}})");
}

TEST_F(ReaderTest, WalkerThatFailsOnANativeAnswerFailsTheRead) {
    const NativeData data = node_with("", "fails");
    try {
        read(data, amplifiers);
        FAIL() << "the read gave an answer";
    } catch (const RequestError &error) {
        EXPECT_EQ(error.code(), YMAP_RC_INVALID_ARGS);
        EXPECT_EQ(error.path(), "");
        EXPECT_THAT(error.what(), StartsWith("/: native data /Korvex-ifmgr-cfg:interface-configurations"));
        EXPECT_THAT(error.what(), HasSubstr("[interface-name='Ots0/1/0/1']: "));
    }
}

TEST_F(ReaderTest, WalkerThatFailsIsToldOfTheEntryThatTheClientNamed) {
    try {
        read(node_with("", "fails"), "/optical-amplifier/amplifiers/amplifier[name='Ots0/1/0/1']/config");
        FAIL() << "the read gave an answer";
    } catch (const RequestError &error) {
        EXPECT_EQ(error.path(), "/optical-amplifier/amplifiers/amplifier[name='Ots0/1/0/1']");
        EXPECT_EQ(error.code(), YMAP_RC_INVALID_ARGS);
        EXPECT_EQ(error.tag(), ErrorTag::operation_failed);
    }
}

TEST_F(ReaderTest, SkippedEntryHidesNoOther) {
    const std::string answer = text(read(node_with("skipped"), amplifiers));
    EXPECT_THAT(answer, Not(HasSubstr("Ots0/1/0/0")));
    EXPECT_THAT(answer, HasSubstr("Ots0/1/0/1"));
}

TEST_F(ReaderTest, EntryWithoutWalkerIsPassedOverAndTold) {
    EXPECT_THAT(text(read(node_with(""), amplifiers)), HasSubstr("Ots0/1/0/1"));
    EXPECT_THAT(log(), HasSubstr("the plug-in maps no data of Korvex-controller-orvo8-ots-oper"));
}

TEST_F(ReaderTest, DroppedLeavesReachTheCaller) {
    std::vector<std::string> dropped;
    for (const DroppedLeaf &leaf : read(node_with(""), first_amplifier).dropped)
        dropped.push_back(leaf.path + " '" + leaf.value + "': " + leaf.reason);
    const std::string entry = first_amplifier;
    EXPECT_THAT(dropped, ElementsAre(entry + "/config/target-gain-tilt '': empty text",
                                     HasSubstr(entry + "/state/type 'STEAM': Invalid identityref")));
}

TEST_F(ReaderTest, NativePathIsTheEntryThatTheClientNamed) {
    EXPECT_THAT(text(read(node_with(""), first_amplifier)), HasSubstr(R"("target-gain":"2.0")"));
    EXPECT_THAT(text(read(node_with(""), std::string(first_amplifier) + "/config")),
                HasSubstr(R"("target-gain":"2.0")"));
}

TEST_F(ReaderTest, NativePathIsNoneForARequestWithoutKey) {
    for (const char *path : {"/", amplifiers, "/optical-amplifier/amplifiers/amplifier",
                             "/optical-amplifier/amplifiers/amplifier/config/target-gain"}) {
        const std::string answer = text(read(node_with(""), path));
        EXPECT_THAT(answer, HasSubstr(R"("target-gain":"1.0")")) << path;
        EXPECT_THAT(answer, Not(HasSubstr(R"("target-gain":"2.0")"))) << path;
    }
}

// The data paths of all leaves that the deviations module takes away.
std::vector<std::string> unserved_paths() {
    std::vector<std::string> paths;
    for (const YangModule &module : yang_modules()) {
        if (module.name != "openconfig-optical-amplifier-deviations")
            continue;
        std::istringstream lines{std::string(module.text)};
        for (std::string line, path; std::getline(lines, line);) {
            if (const std::size_t at = line.find("deviation \"/"); at != std::string::npos)
                path = line.substr(at + 11, line.rfind('"') - at - 11);
            if (line.find("deviate not-supported") == std::string::npos)
                continue;
            for (std::size_t at = 0; (at = path.find("oc-opt-amp:")) != std::string::npos;)
                path.erase(at, std::string_view("oc-opt-amp:").size());
            paths.push_back(path);
        }
    }
    return paths;
}

// With the keys of an entry of each list.
std::string with_keys(std::string path) {
    for (const auto &[list, key] : {std::pair("/amplifier/", "[name='0/1-AMP-PRE']"),
                                    std::pair("/supervisory-channel/", "[interface='Optics0/1/0/4']")}) {
        if (const std::size_t at = path.find(list); at != std::string::npos)
            path.insert(at + std::string_view(list).size() - 1, key);
    }
    return path;
}

TEST_F(ReaderTest, EveryUnservedLeafIsRefusedAlikeWhenAPathNamesIt) {
    const std::vector<std::string> paths = unserved_paths();
    ASSERT_EQ(paths.size(), 83U);
    for (const std::string &path : paths) {
        EXPECT_EQ(refusal(path), path + ": not served by this device [operation-not-supported]");
        EXPECT_EQ(refusal(with_keys(path)), with_keys(path) + ": not served by this device [operation-not-supported]");
    }
}

TEST_F(ReaderTest, ContainerWithoutAServedLeafIsRefusedAsItsLeavesAre) {
    const std::string entry = first_amplifier;
    for (const std::string &path : {entry + "/state/input-power-total", entry + "/state/output-power-l-band",
                                    std::string("/optical-amplifier/amplifiers/amplifier/state/input-power-total")})
        EXPECT_EQ(refusal(path), path + ": not served by this device [operation-not-supported]");
}

TEST_F(ReaderTest, ServedLeavesAndContainersAreNotRefused) {
    for (const char *path :
         {"/config/target-gain", "/state/actual-gain/instant", "/state/actual-gain", "/state", "/name"})
        EXPECT_EQ(refusal(std::string(first_amplifier) + path), "");
}

TEST_F(ReaderTest, PathToASlotThatThePlatformDoesNotHaveIsRefused) {
    for (const char *entry : {"/optical-amplifier/amplifiers/amplifier[name='0/4-AMP-PRE']",
                              "/optical-amplifier/supervisory-channels/supervisory-channel[interface='Optics0/4/0/4']"})
        for (const char *below : {"", "/state"})
            EXPECT_EQ(refusal(std::string(entry) + below),
                      std::string(entry) + ": this platform has slots 1 to 3 [invalid-value]");
}

TEST_F(ReaderTest, EntryThatIsMerelyNotThereGivesAnEmptyAnswer) {
    EXPECT_EQ(refusal("/optical-amplifier/amplifiers/amplifier[name='0/3-AMP-PRE']"), "");
    EXPECT_EQ(refusal("/optical-amplifier/amplifiers/amplifier[name='nothing']"), "");
}

TEST_F(ReaderTest, FilterForASlotThatThePlatformDoesNotHaveSelectsNothing) {
    const Filter filter = Filter::from_document(
        openconfig_schema(), "<optical-amplifier xmlns=\"http://openconfig.net/yang/optical-amplfier\"><amplifiers>"
                             "<amplifier><name>0/4-AMP-PRE</name></amplifier></amplifiers></optical-amplifier>");
    EXPECT_EQ(text(read(node_with(""), filter)), "");
}

TEST_F(ReaderTest, PluginWithoutTheWalkerOfARootIsNone) {
    EXPECT_THAT([&] { plugin().to_native("other-module", "root"); },
                testing::ThrowsMessage<PluginError>(
                    HasSubstr("libscripted_plugin.so: does not export ymap_ox_oc_opt_ampli_othermodule_lvla_root")));
    EXPECT_EQ(plugin().to_openconfig("other-module", "root"), nullptr);
}

// Edits that a mapping takes and loses. What is there reads back all the same.
class LostEdits : public ReaderTest {
  protected:
    static std::string amplifier(const std::string &name, const std::string &content) {
        return R"({"openconfig-optical-amplifier:optical-amplifier": {"amplifiers": {"amplifier": [{"name": ")" + name +
               "\"" + content + "}]}}}";
    }
    static std::string config(const std::string &content) {
        return amplifier("Ots0/1/0/0", R"(, "config": {)" + content + "}");
    }
    // The refusal, or what is told of the edit: changes and roundings.
    std::string edit(const std::string &document, DefaultOperation operation = DefaultOperation::merge) const {
        NativeData data = node_with("");
        try {
            const EditRequest request(openconfig_schema(), document, operation);
            const EditOutcome outcome = Editor(plugin(), logs()).edit(data, request, nullptr);
            std::string told = std::to_string(outcome.changed.size()) + " changed";
            for (const Rounding &rounding : outcome.rounded)
                told += ", " + rounding.asked + " held as " + rounding.held;
            return told;
        } catch (const RequestError &error) {
            return error.what();
        }
    }
    static inline const std::string gain = std::string(first_amplifier) + "/config/target-gain",
                                    deleted = R"({"ietf-netconf:operation": "delete"})";
};

TEST_F(LostEdits, OfValuesAreRoundingsOrRefused) {
    EXPECT_EQ(edit(config(R"("target-gain": "1.0")")), "0 changed");
    EXPECT_EQ(edit(config(R"("target-gain": "2.0")")), "0 changed, 2.0 held as 1.0");
    EXPECT_EQ(edit(config(R"("target-gain": "2.1")")),
              gain + ": the node cannot hold '2.1': it would read back as '1.0' [invalid-value]");
    EXPECT_EQ(edit(config(R"("enabled": true)")), std::string(first_amplifier) +
                                                      "/config/enabled: the node does not keep this value "
                                                      "[operation-not-supported]");
}

TEST_F(LostEdits, OfDeletesAreRefusedButForContainers) {
    EXPECT_EQ(edit(config(R"("@target-gain": )" + deleted)), gain + ": cannot be deleted [operation-not-supported]");
    EXPECT_EQ(edit(amplifier("Ots0/1/0/0", R"(, "@": )" + deleted)),
              std::string(first_amplifier) + ": cannot be deleted [operation-not-supported]");
    EXPECT_EQ(edit(config(R"("@": )" + deleted)), "0 changed") << "what is left may be there by itself";
    EXPECT_EQ(edit("{}", DefaultOperation::replace), "0 changed") << "likewise";
}

TEST_F(LostEdits, OfEntriesAreRefused) {
    EXPECT_EQ(edit(amplifier("bogus", "")),
              "/optical-amplifier/amplifiers/amplifier[name='bogus']: the node has no such entry to configure: the "
              "'name' of none is 'bogus' [invalid-value]");
}

// What stands there is the plug-in's to say, and this one says nothing.
TEST_F(LostEdits, OfNodesOfOtherModulesAreThePlugins) {
    EXPECT_EQ(edit(config(R"("other:colour": "red")")), "0 changed");
    EXPECT_EQ(edit(config(R"("other:group": {"@": )" + deleted + "}")), "0 changed");
    EXPECT_EQ(edit(config(R"("other:colour": "red")"), DefaultOperation::none), "0 changed");
}

TEST(Slots, KeysOfOtherSlotsCanNeverBeThere) {
    for (const char *key : {"0/0-AMP-PRE", "0/4-AMP-PRE", "0/4-AMP-BST", "0/17-AMP-PRE", "0/99999999999999-AMP-PRE",
                            "Optics0/0/0/4", "Optics0/4/0/4"})
        EXPECT_EQ(why_never_there(key), "this platform has slots 1 to 3") << key;
}

TEST(Slots, KeysOfItsSlotsAndOfNoSlotSayNothing) {
    for (const char *key : {"0/1-AMP-PRE", "0/3-AMP-BST", "Optics0/1/0/4", "Optics0/3/0/4", "", "0/", "0/x-AMP-PRE",
                            "0/4", "0/4-EDFA-PRE", "GigabitEthernet0/4/0/1"})
        EXPECT_EQ(why_never_there(key), std::nullopt) << key;
}

} // namespace
