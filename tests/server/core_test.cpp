// What sessions may do and what they get: reads of both sides, edits, roles, locks, limits, ends of sessions, and the
// feed of changes.
#include "served_node.h"

#include "node/attribute_error.h"
#include "server/held_error.h"
#include "server/log_in.h"
#include "server/served_modules.h"
#include "server/users.h"
#include "support/program.h"
#include "yang/client_document.h"
#include "yang/models.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <ctime>
#include <fstream>
#include <future>
#include <new>
#include <regex>
#include <sstream>
#include <thread>

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

using namespace server_tests;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

namespace {

class Reads : public ServedNode {
  protected:
    std::string read(Read asked) {
        Outcome outcome = core().carry_out(session(), std::move(asked));
        const auto *refused = std::get_if<Refusal>(&outcome);
        return refused != nullptr ? fmt::format("{}: {}", word_of(refused->tag), refused->reason)
                                  : std::get<Result>(outcome).data.print(LYD_XML);
    }
};

constexpr const char *both_sides_filter =
    R"(<filter><optical-amplifier xmlns="http://openconfig.net/yang/optical-amplfier"><amplifiers><amplifier>)"
    R"(<name>0/1-AMP-BST</name><config><target-gain/></config></amplifier></amplifiers></optical-amplifier>)"
    R"(<interface-configurations xmlns="http://korvex.example/ns/yang/Korvex-ifmgr-cfg"><interface-configuration>)"
    R"(<interface-name>Loopback0</interface-name><description/></interface-configuration></interface-configurations>)"
    R"(</filter>)";

TEST_F(Reads, SubtreeFilterSelectsOnBothSides) {
    EXPECT_EQ(read({.filter = SubtreeFilter{both_sides_filter}}),
              R"(<interface-configurations xmlns="http://korvex.example/ns/yang/Korvex-ifmgr-cfg">
  <interface-configuration>
    <active>act</active>
    <interface-name>Loopback0</interface-name>
    <description>node address</description>
  </interface-configuration>
</interface-configurations>
<optical-amplifier xmlns="http://openconfig.net/yang/optical-amplfier">
  <amplifiers>
    <amplifier>
      <name>0/1-AMP-BST</name>
      <config>
        <target-gain>13.1</target-gain>
      </config>
    </amplifier>
  </amplifiers>
</optical-amplifier>
)");
}

TEST_F(Reads, OneSideAlone) {
    EXPECT_THAT(read({.models = Models::openconfig, .filter = SubtreeFilter{both_sides_filter}}),
                Not(HasSubstr("interface-configurations")));
    EXPECT_THAT(read({.models = Models::native, .filter = SubtreeFilter{both_sides_filter}}),
                Not(HasSubstr("optical-amplifier")));
}

TEST_F(Reads, NamesOfOtherModulesSelectNothing) {
    EXPECT_EQ(read({.filter = SubtreeFilter{R"(<filter><netconf-state xmlns="urn:x"/></filter>)"}}), "");
    EXPECT_EQ(read({.filter = SubtreeFilter{"<filter/>"}}), "");
}

TEST_F(Reads, XPathSelectsOnBothSides) {
    const std::map<std::string, std::string> prefixes{
        {"o", "http://openconfig.net/yang/optical-amplfier"},
        {"i", "http://korvex.example/ns/yang/Korvex-ifmgr-cfg"},
        {"c", "http://korvex.example/ns/yang/Korvex-controller-optics-cfg"},
        {"m", "urn:ietf:params:xml:ns:yang:none-of-ours"}};
    const auto select = [&](const std::string &expression) {
        return read({.filter = ExpressionFilter{expression, prefixes}});
    };
    const std::string both = select("//o:amplifier[o:name='0/1-AMP-BST']/o:config/o:target-gain | "
                                    "//c:optics-ots-amplifier-gain[. > 200] | /m:netconf-state");
    EXPECT_THAT(both, HasSubstr("<target-gain>13.1</target-gain>"));
    EXPECT_THAT(both, HasSubstr("<optics-ots-amplifier-gain>232</optics-ots-amplifier-gain>"));
    EXPECT_THAT(both, HasSubstr("<interface-name>Ots0/2/0/0</interface-name>"));
    EXPECT_THAT(both, Not(HasSubstr("175")));
    EXPECT_EQ(select("/m:netconf-state"), "");
    EXPECT_THAT(select("/o:optical-amplifier["), HasSubstr("invalid-value"));
    EXPECT_THAT(select("/x:optical-amplifier"), HasSubstr("the prefix 'x' stands for no namespace"));
    EXPECT_THAT(select(std::string(100, '(') + "1" + std::string(100, ')')), HasSubstr("levels"));
}

TEST_F(Reads, XPathIsNoMoreThanOneWalkANode) {
    const auto select = [&](const std::string &expression) {
        return read({.filter = ExpressionFilter{expression, {{"o", "http://openconfig.net/yang/optical-amplfier"}}}});
    };
    for (const char *costly : {"//*[//*]",
                               "//*[/*/*]",
                               "//*[count( / / *)]",
                               "//*[.//* and .//*]",
                               "//*[../*]",
                               "//*[.//* or ../o:name]",
                               "//*[*[*]]",
                               "//*[o:name[../o:name]]",
                               "//*[o:name[/o:x]]",
                               "//*[descendant::o:name[descendant::o:name]]",
                               "//*[preceding::o:name]",
                               "//*[following :: o:name]",
                               "//*[ancestor::*]",
                               "//*[count(current()//o:name)]",
                               "//*[node()[node()]]",
                               "//*[1][o:name[.//o:name]]",
                               "//*[1 * 2 = 2 and //o:name]",
                               "//*[o:name | //o:name]",
                               "//*/preceding::*/following::*",
                               "//*[o:*[o:*]]",
                               "//*['//'][//*]",
                               "//*[deref(.)//o:name]",
                               "//*[\t.//o:name\r\n|\t.//o:name]"})
        EXPECT_THAT(select(costly), HasSubstr("again for every node")) << costly;
    for (const char *cheap :
         {"//*[.//o:target-gain]", "//o:config[../o:name = '0/1-AMP-BST']/o:target-gain",
          "//o:config[o:target-gain * 2 > 20]", "//o:amplifier[o:config[o:name = '0/1-AMP-BST']]",
          "//o:amplifier[o:name = '//*[//*]' or o:config/o:target-gain]",
          "//o:config[ancestor::o:amplifier]/o:target-gain", "/o:optical-amplifier/*/*/*[o:target-gain]",
          "//o:target-gain[. > 10 and . < 30]", "//o:amplifier[*]", "//o:amplifier[3 div 3 = 1]",
          "//o:amplifier[\r\n\to:config/o:target-gain mod 3 >= 0]", "//o:config[o:name = \"0/1-AMP-BST\"]"})
        EXPECT_THAT(select(cheap), HasSubstr("<target-gain>13.1</target-gain>")) << cheap;
}

TEST_F(Reads, XPathThatIsNoneIsRefused) {
    const auto select = [&](const std::string &expression) {
        return read({.filter = ExpressionFilter{expression, {}}});
    };
    EXPECT_EQ(select(std::string("//*\0", 4)), "invalid-value: XPath: not UTF-8 text");
    EXPECT_EQ(select("//*['\xff']"), "invalid-value: XPath: not UTF-8 text");
    EXPECT_EQ(select(std::string(8193, ' ')), "invalid-value: XPath: 8193 bytes, expected at most 8192");
    for (const char *cut_off : {"//*['a", "//*[\"a", "//*[", "//*]", "//*)", "//", "1x"})
        EXPECT_THAT(select(cut_off), testing::StartsWith("invalid-value: XPath: ")) << cut_off;
}

TEST_F(Reads, StateAndConfigurationOrConfigurationAlone) {
    EXPECT_THAT(read({.configuration_only = false}), HasSubstr("ots-oper"));
    EXPECT_THAT(read({.configuration_only = false}), HasSubstr("<actual-gain>"));
    EXPECT_THAT(read({.configuration_only = true}), Not(HasSubstr("ots-oper")));
    EXPECT_THAT(read({.source = Datastore::candidate, .configuration_only = false}), HasSubstr("invalid-value"));
}

TEST_F(Reads, PathsOfBothSides) {
    EXPECT_EQ(value(session(), gain_path), "13.1");
    EXPECT_EQ(value(session(), native_gain_path), "131");
    EXPECT_EQ(value(session(), std::string("/Korvex-ifmgr-cfg:") + (native_gain_path + 1)), "131");
    EXPECT_THAT(value(session(), "/no-such-root/leaf"), HasSubstr("no node 'no-such-root'"));
    EXPECT_THAT(value(session(), "/interface-configurations/no-such"), HasSubstr("no node 'no-such'"));
    EXPECT_THAT(value(session(), "optical-amplifier"), HasSubstr("expected"));
    EXPECT_EQ(value(session(), "/openconfig-optical-amplifier:" + std::string(gain_path).substr(1)), "13.1");
    EXPECT_EQ(value(session(), "/Korvex-ifmgr-cfg:" + std::string(native_gain_path).substr(1)), "131");
    EXPECT_EQ(read({.filter = PathFilter{"/"}}), read({}));
    EXPECT_EQ(read({.models = Models::openconfig, .filter = PathFilter{native_gain_path}}), "");
    EXPECT_EQ(read({.models = Models::native, .filter = PathFilter{gain_path}}), "");
}

TEST_F(Reads, EntriesOfOneNativeListAreReadTogether) {
    const auto entry = [](const std::string &name) {
        return "<interface-configuration><active>act</active><interface-name>" + name +
               "</interface-name><description/></interface-configuration>";
    };
    EXPECT_EQ(
        read({.filter =
                  SubtreeFilter{R"(<interface-configurations xmlns="http://korvex.example/ns/yang/Korvex-ifmgr-cfg">)" +
                                entry("Loopback0") + entry("Optics0/1/0/4") + "</interface-configurations>"}}),
        R"(<interface-configurations xmlns="http://korvex.example/ns/yang/Korvex-ifmgr-cfg">
  <interface-configuration>
    <active>act</active>
    <interface-name>Loopback0</interface-name>
    <description>node address</description>
  </interface-configuration>
  <interface-configuration>
    <active>act</active>
    <interface-name>Optics0/1/0/4</interface-name>
    <description>line east, supervisory channel</description>
  </interface-configuration>
</interface-configurations>
)");
}

TEST_F(Reads, ANodeWithoutConfigurationHasNone) {
    const SessionId admin = session();
    const std::string gone = R"( n:operation="delete" xmlns="http://korvex.example/ns/yang/Korvex-ifmgr-cfg"/>)";
    EXPECT_EQ(edit(admin, R"(<config xmlns="urn:ietf:params:xml:ns:netconf:base:1.0" )"
                          R"(xmlns:n="urn:ietf:params:xml:ns:netconf:base:1.0"><interface-configurations)" +
                              gone + "<global-interface-configuration" + gone + "</config>"),
              "ok");
    EXPECT_EQ(read({.models = Models::native}), "");
    EXPECT_EQ(value(admin, native_gain_path), "none");
}

TEST(RefusalsOfExceptions, SayWhatKindOfFailureItWas) {
    const auto told = [](const std::exception &error) {
        const Refusal refusal = refusal_of(error);
        return fmt::format("{}: {} {}", word_of(refusal.tag), refusal.reason,
                           refusal.holder ? std::to_string(*refusal.holder) : "-");
    };
    EXPECT_EQ(told(RequestError(error_tag::lock_denied, "", "locked")), "lock-denied: locked 0");
    EXPECT_EQ(told(RequestError(error_tag::in_use, "", "used")), "in-use: used 0");
    EXPECT_EQ(told(RequestError(error_tag::too_big, "", "big")), "too-big: big -");
    EXPECT_EQ(told(HeldError(error_tag::in_use, "used", 7)), "in-use: used 7");
    EXPECT_EQ(told(DocumentError("not XML")), "malformed-message: not XML -");
    EXPECT_EQ(told(InputError("no path")), "invalid-value: no path -");
    EXPECT_EQ(told(std::bad_alloc()), "resource-denied: out of memory -");
    EXPECT_EQ(told(std::runtime_error("disk")), "operation-failed: disk -");
    EXPECT_EQ(refusal_of(AttributeError(error_tag::bad_attribute, "/a", "operation", "is wrong")).attribute,
              "operation");
    EXPECT_EQ(refusal_of(RequestError(error_tag::bad_attribute, "/a", "is wrong")).attribute, "");
    EXPECT_EQ(refusal_of(RequestError(error_tag::bad_element, R"(/optical-amplifier/x["/"]/y)", "")).path,
              R"(/openconfig-optical-amplifier:optical-amplifier/x["/"]/y)");
}

TEST(ServedModels, HaveNoDefaultsSoThatWithDefaultsMakesNoDifference) {
    for (const ServedModule &module : served_modules()) {
        if (module.implemented) {
            EXPECT_THAT(module.text, Not(testing::ContainsRegex("\n *default "))) << module.name;
        }
    }
}

TEST(ServedModels, AreTheModelItsDeviationsAndTheFiveNativeOnes) {
    std::vector<std::string> implemented;
    for (const ServedModule &module : served_modules()) {
        if (module.implemented)
            implemented.push_back(module.name + "@" + module.revision);
        EXPECT_THAT(module.text, HasSubstr("module " + module.name));
        EXPECT_THAT(module.text, HasSubstr(module.ns));
    }
    EXPECT_THAT(implemented,
                ElementsAre("openconfig-optical-amplifier@2019-12-06",
                            "openconfig-optical-amplifier-deviations@2026-11-21", "Korvex-ifmgr-cfg@2024-05-13",
                            "Korvex-controller-optics-cfg@2024-05-13", "Korvex-controller-orvo8-ots-oper@2024-05-13",
                            "Korvex-controller-optics-oper@2024-05-13", "Korvex-pmengine-oper@2024-05-13"));
    EXPECT_THAT(served_modules().front().deviated_by, ElementsAre("openconfig-optical-amplifier-deviations"));
}

TEST(ServedModels, HaveThoseThatTheyImport) {
    std::vector<std::string> names;
    for (const ServedModule &module : served_modules())
        names.push_back(module.name);
    const std::regex import(R"(\bimport ([a-z][\w.-]*))", std::regex::icase);
    std::size_t imports = 0;
    for (const ServedModule &module : served_modules()) {
        for (std::sregex_iterator at(module.text.begin(), module.text.end(), import), end; at != end; ++at, ++imports)
            EXPECT_THAT(names, testing::Contains((*at)[1].str())) << module.name;
    }
    EXPECT_EQ(imports, 4U);
}

class Edits : public ServedNode {};

TEST_F(Edits, OfEitherSideShowOnBoth) {
    const SessionId admin = session();
    EXPECT_EQ(edit(admin, gain_edit("15.56")), "ok");
    EXPECT_EQ(value(admin, native_gain_path), "155");
    EXPECT_EQ(edit(admin, native_gain_edit("99")), "ok");
    EXPECT_EQ(gain(admin), "9.9");
}

// One document with both sides; the native part of an edit changes another leaf than the OpenConfig part.
std::string both_sides(const std::string &gain, const std::string &native) {
    std::string document = native_gain_edit(native);
    const std::string openconfig =
        fmt::format(R"(<optical-amplifier xmlns="http://openconfig.net/yang/optical-amplfier"><amplifiers><amplifier>)"
                    R"(<name>0/2-AMP-BST</name><config><target-gain>{}</target-gain></config>)"
                    R"(</amplifier></amplifiers></optical-amplifier></config>)",
                    gain);
    return document.replace(document.rfind("</config>"), 9, openconfig);
}

TEST_F(Edits, OfBothSidesAreOneTransaction) {
    const SessionId admin = session();
    EXPECT_EQ(edit(admin, both_sides("15.5", "88")), "ok");
    EXPECT_EQ(value(admin, native_gain_path), "88");
    EXPECT_EQ(value(admin, "/optical-amplifier/amplifiers/amplifier[name='0/2-AMP-BST']/config/target-gain"), "15.5");
    // The OpenConfig side is refused, so the native side is not made.
    EXPECT_EQ(edit(admin, both_sides("77.7", "99")), "invalid-value");
    EXPECT_EQ(value(admin, native_gain_path), "88");
}

TEST_F(Edits, ThatContradictThemselvesAreRefused) {
    const SessionId admin = session();
    std::string contradiction = both_sides("15.5", "88");
    contradiction.replace(contradiction.find("0/2-AMP-BST"), 11, "0/1-AMP-BST");
    const Refusal refused = refusal(admin, Edit{.steps = {{.document = contradiction}}});
    EXPECT_EQ(refused.reason, "the same edit asks for '88' here and for '155' on the other side of the mapping");
    EXPECT_EQ(gain(admin), "13.1");
}

TEST_F(Edits, StepsAreOneTransaction) {
    const SessionId admin = session();
    EXPECT_EQ(answer(admin, Edit{.steps = {{gain_edit("11.0")}, {gain_edit("12.0")}}}), "ok");
    EXPECT_EQ(gain(admin), "12.0");
    EXPECT_EQ(answer(admin, Edit{.steps = {{gain_edit("14.0")}, {gain_edit("99.0")}}}), "invalid-value");
    EXPECT_EQ(gain(admin), "12.0");
}

TEST_F(Edits, TestOnlyChangesNothing) {
    const SessionId admin = session();
    EXPECT_EQ(answer(admin, Edit{.steps = {{gain_edit("11.0")}}, .test_only = true}), "ok");
    EXPECT_EQ(answer(admin, Edit{.steps = {{gain_edit("99.0")}}, .test_only = true}), "invalid-value");
    EXPECT_EQ(gain(admin), "13.1");
    const Datastore candidate = Datastore::candidate;
    EXPECT_EQ(answer(admin, Edit{.target = candidate, .steps = {{gain_edit("11.0")}}, .test_only = true}), "ok");
    EXPECT_EQ(gain(admin, candidate), "13.1");
}

TEST_F(Edits, ACandidateWithoutChangesIsCopiedToNoEffect) {
    const SessionId admin = session();
    EXPECT_EQ(edit(admin, gain_edit("11.0")), "ok");
    EXPECT_EQ(answer(admin, CopyConfig{.source = Datastore::candidate}), "ok");
    EXPECT_EQ(gain(admin), "11.0");
}

TEST_F(Edits, RefusalsNameTheNodeWithItsModule) {
    const Refusal refused = refusal(session(), Edit{.steps = {{gain_edit("99.0")}}});
    EXPECT_EQ(refused.path, "/openconfig-optical-amplifier:optical-amplifier/amplifiers/amplifier[name='0/1-AMP-BST']/"
                            "config/target-gain");
    EXPECT_THAT(refused.reason, HasSubstr("the node holds 0.0 to 40.0 dB"));
}

// The native edit with an operation on the gain.
std::string native_gain_operation(const std::string &operation) {
    std::string document = native_gain_edit("88");
    return document.replace(
        document.find("<optics-ots-amplifier-gain>"), 26,
        fmt::format(R"(<optics-ots-amplifier-gain xmlns:n="urn:ietf:params:xml:ns:netconf:base:1.0" n:operation="{}")",
                    operation));
}

TEST_F(Edits, NativeOperations) {
    const SessionId admin = session();
    EXPECT_EQ(edit(admin, native_gain_operation("create")), "data-exists");
    EXPECT_EQ(edit(admin, native_gain_operation("delete")), "ok");
    EXPECT_EQ(value(admin, native_gain_path), "none");
    EXPECT_EQ(edit(admin, native_gain_operation("delete")), "data-missing");
    EXPECT_EQ(edit(admin, native_gain_operation("remove")), "ok");
    EXPECT_EQ(edit(admin, native_gain_operation("create")), "ok");
    EXPECT_EQ(value(admin, native_gain_path), "88");
    EXPECT_EQ(edit(admin, native_gain_edit("401")), "invalid-value");
    EXPECT_EQ(edit(admin, native_gain_edit("88\"")), "invalid-value");
}

TEST_F(Edits, EmptyLeavesOfJsonAreArraysOfNull) {
    const SessionId admin = session();
    const auto shutdown = [](const std::string &written) {
        return fmt::format(R"({{"Korvex-ifmgr-cfg:interface-configurations":{{"interface-configuration":[)"
                           R"({{"active":"act","interface-name":"Loopback0","shutdown":{}}}]}}}})",
                           written);
    };
    EXPECT_EQ(edit(admin, shutdown("[null]")), "ok");
    for (const char *wrong : {"null", "\"\"", "true", "[]", "[true]"})
        EXPECT_EQ(edit(admin, shutdown(wrong)), "invalid-value") << wrong;
}

TEST_F(Edits, NativeReplaceOfTheWholeLeavesNothingElse) {
    const SessionId admin = session();
    EXPECT_EQ(answer(admin, CopyConfig{.source = EditStep{.document = native_gain_edit("88")}}), "ok");
    EXPECT_EQ(value(admin, native_gain_path), "88");
    EXPECT_EQ(value(admin, "/interface-configurations/interface-configuration[interface-name='Loopback0']/description"),
              "none");
}

TEST_F(Edits, WhatWasReadCanBeCopiedBack) {
    const SessionId admin = session();
    const auto whole = [&] {
        Outcome outcome = core().carry_out(admin, Read{});
        return std::get<Result>(outcome).data.print(LYD_XML);
    };
    const std::string before = whole();
    const std::string document = "<config xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\">" + before + "</config>";
    const Outcome copied = core().carry_out(admin, CopyConfig{.source = EditStep{.document = document}});
    const auto *refused = std::get_if<Refusal>(&copied);
    EXPECT_EQ(refused, nullptr) << refused->path << ": " << refused->reason;
    EXPECT_EQ(whole(), before);
}

class Roles : public ServedNode {};

TEST_F(Roles, ReadersReadAndNothingElse) {
    const SessionId reader = session(Role::reader);
    EXPECT_EQ(gain(reader), "13.1");
    EXPECT_EQ(answer(reader, Validate{Datastore::running}), "ok");
    EXPECT_EQ(answer(reader, Wait{}), "ok");
    for (const Operation &operation :
         {Operation(Edit{.steps = {{gain_edit("11.0")}}}), Operation(CopyConfig{.source = Datastore::candidate}),
          Operation(Lock{}), Operation(Unlock{}), Operation(Commit{}), Operation(CancelCommit{}),
          Operation(DiscardChanges{}), Operation(KillSession{1})})
        EXPECT_EQ(answer(reader, operation), "access-denied") << word_of(operation);
    EXPECT_EQ(gain(reader), "13.1");
}

TEST_F(Roles, OperatorsEditOpenConfigAlone) {
    const SessionId operating = session(Role::operator_);
    EXPECT_EQ(edit(operating, gain_edit("11.0")), "ok");
    EXPECT_EQ(edit(operating, native_gain_edit("88")), "access-denied");
    EXPECT_EQ(edit(operating, both_sides("15.5", "88")), "access-denied");
    EXPECT_EQ(gain(operating), "11.0");
    EXPECT_EQ(answer(operating, KillSession{session()}), "access-denied");
    EXPECT_EQ(answer(operating, Lock{}), "ok");
}

TEST_F(Roles, OperatorsDoNotCommitNativeEditsOfOthers) {
    const SessionId operating = session(Role::operator_), admin = session();
    EXPECT_EQ(edit(admin, native_gain_edit("88"), Datastore::candidate), "ok");
    EXPECT_EQ(answer(operating, Commit{}), "access-denied");
    const std::string first = refusal(operating, Commit{}).path;
    EXPECT_EQ(edit(admin, R"({"Korvex-ifmgr-cfg:global-interface-configuration":{"link-status":"physical"}})",
                   Datastore::candidate),
              "ok");
    EXPECT_EQ(refusal(operating, Commit{}).path, first) << "it names the first of them";
    EXPECT_EQ(answer(operating, CopyConfig{.source = Datastore::candidate}), "access-denied");
    EXPECT_EQ(answer(operating, DiscardChanges{}), "access-denied");
    EXPECT_EQ(value(admin, native_gain_path), "131");
    EXPECT_EQ(answer(admin, Commit{}), "ok");
    EXPECT_EQ(value(admin, native_gain_path), "88");
    EXPECT_EQ(edit(operating, gain_edit("11.0"), Datastore::candidate), "ok");
    EXPECT_EQ(answer(operating, Commit{}), "ok");
}

class Locks : public ServedNode {};

TEST_F(Locks, KeepOthersOutAndNameTheHolder) {
    const SessionId one = session(), other = session();
    EXPECT_EQ(answer(one, Lock{}), "ok");
    const Refusal refused = refusal(other, Lock{});
    EXPECT_EQ(refused.tag, ErrorTag::lock_denied);
    EXPECT_EQ(refused.holder, one);
    EXPECT_EQ(edit(other, gain_edit("11.0")), "in-use");
    EXPECT_EQ(answer(other, Unlock{}), "operation-failed");
    EXPECT_EQ(edit(one, gain_edit("11.0")), "ok");
    EXPECT_THAT(core().locks(), SizeIs(1));
    EXPECT_EQ(answer(one, Unlock{}), "ok");
    EXPECT_EQ(edit(other, gain_edit("12.0")), "ok");
    EXPECT_THAT(core().locks(), IsEmpty());
}

TEST_F(Locks, EndWithTheirSession) {
    const SessionId one = session(), other = session();
    EXPECT_EQ(answer(one, Lock{}), "ok");
    EXPECT_EQ(answer(one, Lock{Datastore::candidate}), "ok");
    EXPECT_EQ(edit(one, gain_edit("11.0"), Datastore::candidate), "ok");
    core().close_session(one, SessionEnd::dropped);
    EXPECT_EQ(answer(other, Lock{}), "ok");
    // The candidate's lock has taken the changes with it.
    EXPECT_EQ(gain(other, Datastore::candidate), "13.1");
    EXPECT_EQ(answer(other, Lock{Datastore::candidate}), "ok");
}

TEST_F(Locks, OfTheCandidateNeedItUnchanged) {
    const SessionId one = session(), other = session();
    EXPECT_EQ(edit(one, gain_edit("11.0"), Datastore::candidate), "ok");
    EXPECT_EQ(refusal(other, Lock{Datastore::candidate}).holder, no_session);
    EXPECT_EQ(answer(one, DiscardChanges{}), "ok");
    EXPECT_EQ(answer(other, Lock{Datastore::candidate}), "ok");
}

support::Outcome ocamp_edit(const std::filesystem::path &node, const std::string &gain) {
    return support::run({.words = {OCAMP_PROGRAM, "edit", "--node", node.string(), "-"}, .input = gain_edit(gain)});
}

TEST_F(Locks, KeepOtherProcessesOut) {
    const SessionId one = session();
    EXPECT_EQ(answer(one, Lock{}), "ok");
    const support::Outcome refused = ocamp_edit(folder(), "11.0");
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.err, HasSubstr("another process has locked the configuration [in-use]"));
    EXPECT_EQ(answer(one, Unlock{}), "ok");
    EXPECT_THAT(ocamp_edit(folder(), "11.0").out, testing::EndsWith("11.0 dB\nok\n"));
    EXPECT_EQ(gain(one), "11.0");
}

// What the refusal of a request says, with the session that holds what it asked for.
class RefusalTexts : public ServedNode {
  protected:
    std::string told(SessionId by, Operation operation) {
        const Refusal refused = refusal(by, std::move(operation));
        return std::string(word_of(refused.tag)) + ": " + refused.reason +
               (refused.holder ? " (" + std::to_string(*refused.holder) + ")" : "");
    }
};

TEST_F(RefusalTexts, OfLocksNameSessionAndDatastore) {
    const SessionId one = session(), other = session();
    const std::string number = std::to_string(one), holder = " (" + number + ")";
    EXPECT_EQ(answer(one, Lock{}), "ok");
    EXPECT_EQ(told(other, Lock{}), "lock-denied: session " + number + " has locked the running datastore" + holder);
    EXPECT_EQ(told(other, Edit{.steps = {{.document = gain_edit("11.0")}}}),
              "in-use: session " + number + " has locked the running datastore" + holder);
    EXPECT_EQ(told(other, Unlock{}), "operation-failed: this session has no lock on the running datastore");
    EXPECT_EQ(told(other, Unlock{Datastore::candidate}),
              "operation-failed: this session has no lock on the candidate datastore");
    EXPECT_EQ(answer(one, Lock{Datastore::candidate}), "ok");
    EXPECT_EQ(told(other, Commit{}), "in-use: session " + number + " has locked the candidate datastore" + holder);
    EXPECT_EQ(answer(one, Unlock{Datastore::candidate}), "ok");
    EXPECT_EQ(edit(other, gain_edit("11.0"), Datastore::candidate), "ok");
    EXPECT_EQ(told(one, Lock{Datastore::candidate}),
              "lock-denied: the candidate has changes, expected a commit or discard-changes first (0)");
}

TEST_F(RefusalTexts, OfCommitsSayWhatIsPending) {
    const SessionId one = session(), other = session();
    const std::string holder = " (" + std::to_string(one) + ")";
    EXPECT_EQ(told(one, CancelCommit{}), "operation-failed: no confirmed commit is pending");
    EXPECT_EQ(told(one, Commit{.candidate = false}), "operation-failed: no confirmed commit is pending");
    EXPECT_EQ(told(one, Commit{.persist_id = "word"}), "invalid-value: persist-id: no confirmed commit is pending");
    EXPECT_EQ(told(one, Commit{.persist = "word"}), "invalid-value: persist: expected with a confirmed commit alone");
    EXPECT_EQ(told(one, Commit{.confirmed = true, .timeout = std::chrono::seconds(0)}),
              "invalid-value: confirm-timeout: expected at least 1 second");
    EXPECT_EQ(edit(one, gain_edit("11.0"), Datastore::candidate), "ok");
    EXPECT_EQ(answer(one, Commit{.confirmed = true}), "ok");
    const std::string pending = "a confirmed commit of another session is pending" + holder;
    EXPECT_EQ(told(other, Commit{}), "in-use: " + pending);
    EXPECT_EQ(told(other, Edit{.steps = {{.document = gain_edit("11.0")}}}), "in-use: " + pending);
    EXPECT_EQ(told(other, Lock{}), "lock-denied: " + pending);
    EXPECT_EQ(answer(one, Commit{.confirmed = true, .persist = "word"}), "ok");
    EXPECT_EQ(told(one, Commit{}),
              "in-use: the confirmed commit that is pending persists, expected its persist-id" + holder);
    EXPECT_EQ(told(one, CancelCommit{.persist_id = "other"}),
              "invalid-value: persist-id: not that of the confirmed commit that is pending");
}

TEST_F(RefusalTexts, OfReadsCopiesAndKills) {
    const SessionId one = session();
    EXPECT_EQ(told(one, Read{.source = Datastore::candidate, .configuration_only = false}),
              "invalid-value: the candidate has no state, expected the running datastore");
    EXPECT_EQ(told(one, CopyConfig{.source = Datastore::candidate, .target = Datastore::candidate}),
              "invalid-value: source and target are one, expected two datastores");
    EXPECT_EQ(told(one, KillSession{one}), "invalid-value: a session cannot kill itself, expected another's number");
    EXPECT_EQ(told(one, KillSession{4711}), "invalid-value: no session 4711");
}

TEST_F(RefusalTexts, OfSessionsSayHowManyThereMayBe) {
    restart({.sessions = 2, .sessions_per_user = 1});
    const auto refused = [&](const std::string &user) -> std::string {
        try {
            session(Role::reader, user);
        } catch (const SessionRefused &refusal) {
            return refusal.what();
        }
        return "taken";
    };
    EXPECT_EQ(refused("ada"), "taken");
    EXPECT_EQ(refused("ada"), "1 sessions of user ada are open, expected at most that");
    EXPECT_EQ(refused("bob"), "taken");
    EXPECT_EQ(refused("eve"), "2 sessions are open, expected at most that");
}

class Sessions : public ServedNode {};

TEST_F(Sessions, AreKilledByAdmins) {
    std::promise<std::pair<SessionEnd, SessionId>> ended;
    const SessionId admin = session();
    const SessionId victim = session(Role::operator_, "bob", [&](SessionEnd end, SessionId by) {
        ended.set_value({end, by});
    });
    EXPECT_EQ(answer(victim, Lock{}), "ok");
    EXPECT_EQ(answer(admin, KillSession{admin}), "invalid-value");
    EXPECT_EQ(answer(admin, KillSession{4711}), "invalid-value");
    EXPECT_EQ(answer(admin, KillSession{victim}), "ok");
    EXPECT_EQ(ended.get_future().get(), std::pair(SessionEnd::killed, admin));
    EXPECT_THAT(core().locks(), IsEmpty());
    EXPECT_THAT(core().sessions(), SizeIs(1));
    EXPECT_EQ(refusal(victim, Wait{}).reason, "the session has ended");
}

TEST_F(Sessions, AreBounded) {
    restart({.sessions = 3, .sessions_per_user = 2});
    session(Role::reader, "ada");
    const SessionId second = session(Role::reader, "ada");
    EXPECT_THROW(session(Role::reader, "ada"), SessionRefused);
    session(Role::reader, "bob");
    EXPECT_THROW(session(Role::reader, "eve"), SessionRefused);
    core().close_session(second, SessionEnd::closed);
    session(Role::reader, "eve");
}

TEST_F(Sessions, RequestsThatWaitAreBoundedAndDroppedWithTheirSession) {
    restart({.requests_in_flight = 2});
    const SessionId busy = session(), one = session();
    // Holds the worker until it is let go.
    std::promise<void> go;
    std::promise<void> held;
    core().submit(busy, Wait{}, [&](const Outcome &) {
        held.set_value();
        go.get_future().wait();
    });
    held.get_future().wait();
    std::atomic<int> answered = 0;
    std::vector<std::string> refused;
    for (int i = 0; i < 3; ++i)
        core().submit(one, Wait{}, [&](const Outcome &outcome) {
            if (const auto *refusal = std::get_if<Refusal>(&outcome))
                refused.emplace_back(word_of(refusal->tag));
            else
                ++answered;
        });
    EXPECT_THAT(refused, ElementsAre("resource-denied"));
    core().close_session(one, SessionEnd::dropped);
    go.set_value();
    EXPECT_EQ(answer(busy, Wait{}), "ok");
    EXPECT_EQ(answered, 0);
}

TEST_F(Sessions, TakeTurns) {
    const SessionId busy = session(), greedy = session(), modest = session();
    std::promise<void> go;
    std::promise<void> held;
    core().submit(busy, Wait{}, [&](const Outcome &) {
        held.set_value();
        go.get_future().wait();
    });
    held.get_future().wait();
    std::string order; // written in the worker's thread alone
    const auto post = [&](SessionId id, char word) {
        core().submit(id, Wait{}, [&order, word](const Outcome &) { order += word; });
    };
    for (int i = 0; i < 4; ++i)
        post(greedy, 'g');
    post(modest, 'm');
    post(modest, 'm');
    go.set_value();
    EXPECT_EQ(answer(greedy, Wait{}), "ok");
    EXPECT_EQ(order, "gmgmgg");
}

TEST_F(Sessions, OfAdaptersAreNobodysToKill) {
    const SessionId admin = session(), own = core().open_own_session("test", {});
    EXPECT_EQ(answer(admin, KillSession{own}), "invalid-value");
    // Nor are they a user's that is gone, as this admin is: nobody is among the users.
    core().reload_users();
    EXPECT_EQ(refusal(admin, Wait{}).reason, "the session has ended");
    EXPECT_EQ(answer(own, Read{}), "ok");
}

TEST_F(Sessions, EndWithTheServer) {
    std::promise<SessionEnd> ended;
    session(Role::reader, "ada", [&](SessionEnd end, SessionId) { ended.set_value(end); });
    core().stop();
    EXPECT_EQ(ended.get_future().get(), SessionEnd::shutdown);
    EXPECT_THROW(session(), SessionRefused);
}

TEST_F(Sessions, OneServerServesANode) {
    EventLog log(LogFormat::text, -1);
    EXPECT_THROW(Core(settings(), log), StateError);
    stop();
    Core(settings(), log).stop();
}

class Changes : public ServedNode {
  protected:
    // The OpenConfig leaf that an event tells of first: "path before after".
    static std::string first_change(const std::shared_ptr<const Event> &event) {
        const auto *change = std::get_if<DataChange>(&event->what);
        if (change == nullptr || change->openconfig.empty())
            return "none";
        const LeafChange &leaf = change->openconfig.front();
        return fmt::format("{} {} {}", leaf.path, leaf.before.value_or("-"), leaf.after.value_or("-"));
    }
    static constexpr const char *gain_in_event =
        "/openconfig-optical-amplifier:optical-amplifier/amplifiers/amplifier[name='0/1-AMP-BST']/config/target-gain";
};

TEST_F(Changes, OfASessionAreToldWithItsName) {
    const SessionId admin = session();
    Events events;
    const Subscription subscription = core().subscribe(Interest::configuration, events.change_listener());
    EXPECT_EQ(edit(admin, gain_edit("11.0")), "ok");
    const auto told = events.wait_for(1);
    ASSERT_THAT(told, SizeIs(1));
    EXPECT_EQ(first_change(told.front()), std::string(gain_in_event) + " 13.1 11.0");
    const auto &change = std::get<DataChange>(told.front()->what);
    EXPECT_EQ(change.author.session, admin);
    EXPECT_EQ(change.author.user, "ada");
    EXPECT_FALSE(change.author.foreign);
    ASSERT_THAT(change.native, SizeIs(1));
    EXPECT_EQ(change.native.front().after, "110");
}

TEST_F(Changes, AroundTheNodeAreToldAsTheyAreGiven) {
    Events events;
    const Subscription subscription = core().subscribe(Interest::sessions_and_commits, events.listener());
    core().tell(PlantEvent{.second = 7, .words = "cut a/b 0"});
    const auto told = events.wait_for(1);
    ASSERT_THAT(told, SizeIs(1));
    EXPECT_EQ(std::get<PlantEvent>(told.front()->what).second, 7U);
    EXPECT_EQ(std::get<PlantEvent>(told.front()->what).words, "cut a/b 0");
}

TEST_F(Changes, AroundTheNodeAreNotToldAfterTheEnd) {
    Events events;
    const Subscription subscription = core().subscribe(Interest::sessions_and_commits, events.listener());
    core().tell(PlantEvent{.second = 7, .words = "cut a/b 0"});
    core().stop();
    core().tell(PlantEvent{.second = 8, .words = "restore a/b 0"});
    EXPECT_THAT(events.wait_for(1), SizeIs(1));
}

TEST_F(Changes, OfTheNativeSideAloneAreToldToo) {
    const SessionId admin = session();
    Events events;
    const Subscription subscription = core().subscribe(Interest::configuration, events.change_listener());
    EXPECT_EQ(edit(admin, R"({"Korvex-ifmgr-cfg:interface-configurations":{"interface-configuration":[)"
                          R"({"active":"act","interface-name":"Loopback0","description":"other"}]}})"),
              "ok");
    const auto told = events.wait_for(1);
    ASSERT_THAT(told, SizeIs(1));
    const auto &change = std::get<DataChange>(told.front()->what);
    EXPECT_THAT(change.openconfig, IsEmpty());
    ASSERT_THAT(change.native, SizeIs(1));
    EXPECT_EQ(change.native.front().after, "other");
}

TEST_F(Changes, OfOtherProcessesAreForeign) {
    const SessionId admin = session();
    Events events;
    const Subscription subscription = core().subscribe(Interest::configuration, events.change_listener());
    EXPECT_EQ(answer(admin, Wait{}), "ok");
    EXPECT_THAT(ocamp_edit(folder(), "11.0").out, testing::EndsWith("11.0 dB\nok\n"));
    const auto told = events.wait_for(1);
    ASSERT_THAT(told, SizeIs(1));
    EXPECT_EQ(first_change(told.front()), std::string(gain_in_event) + " 13.1 11.0");
    EXPECT_TRUE(std::get<DataChange>(told.front()->what).author.foreign);
}

TEST_F(Changes, OfStateAreToldToThoseWhoWantToKnowOfWrites) {
    const SessionId admin = session();
    Events configuration, writes;
    const Subscription one = core().subscribe(Interest::configuration, configuration.change_listener());
    EXPECT_EQ(answer(admin, Wait{}), "ok");
    // The look that this asks for has been when the answer is there.
    const Subscription two = core().subscribe(Interest::writes, writes.write_listener());
    EXPECT_EQ(answer(admin, Wait{}), "ok");
    const std::size_t before = writes.wait_for(1).size();
    EXPECT_GE(before, 1U);
    {
        Node node(folder(), Node::Access::write);
        Transaction transaction(node.database());
        NativeData data = load_native(node.database(), native_schema());
        for (NativeDocument &document : data.operational) {
            YangTree &tree = document.to_change();
            for (lyd_node *gain : tree.select("//Korvex-controller-orvo8-ots-oper:ampli-gain"))
                tree.set_leaf(lyd_parent(gain), *gain->schema, "1234");
            if (lyd_owner_module(tree.first())->name == std::string("Korvex-controller-orvo8-ots-oper"))
                store_operational(node.database(), "Korvex-controller-orvo8-ots-oper", tree);
        }
        transaction.commit();
    }
    EXPECT_THAT(writes.wait_for(before + 1), SizeIs(before + 1));
    EXPECT_EQ(edit(admin, gain_edit("11.0")), "ok");
    EXPECT_GE(writes.wait_for(before + 2).size(), before + 2);
    const auto told = configuration.wait_for(1);
    ASSERT_THAT(told, SizeIs(1));
    EXPECT_EQ(first_change(told.front()), std::string(gain_in_event) + " 13.1 11.0");
}

TEST_F(Changes, WhoeverListensLaterIsToldOfAWriteToo) {
    const SessionId admin = session();
    std::array<Events, 3> listeners;
    std::vector<Subscription> subscriptions;
    for (Events &events : listeners) {
        subscriptions.push_back(core().subscribe(Interest::writes, events.write_listener()));
        EXPECT_EQ(answer(admin, Wait{}), "ok");
        // It may have read before a write that the others have been told of already.
        EXPECT_THAT(events.wait_for(1), Not(IsEmpty()));
    }
}

TEST_F(Changes, SessionsAreTold) {
    Events events;
    const Subscription subscription = core().subscribe(Interest::sessions_and_commits, events.listener());
    const SessionId admin = session(), other = session();
    EXPECT_EQ(edit(admin, gain_edit("11.0")), "ok");
    EXPECT_EQ(answer(admin, KillSession{other}), "ok");
    core().close_session(admin, SessionEnd::timeout);
    const auto told = events.wait_for(4);
    ASSERT_THAT(told, SizeIs(4));
    EXPECT_EQ(std::get<SessionStarted>(told[0]->what).session.id, admin);
    EXPECT_EQ(std::get<SessionEnded>(told[2]->what).killed_by, admin);
    EXPECT_EQ(std::get<SessionEnded>(told[3]->what).reason, SessionEnd::timeout);
}

TEST_F(Changes, AreNotToldWhenTheListeningHasEnded) {
    Events events;
    { const Subscription subscription = core().subscribe(Interest::configuration, events.change_listener()); }
    EXPECT_EQ(edit(session(), gain_edit("11.0")), "ok");
    EXPECT_EQ(answer(session(), Wait{}), "ok");
    EXPECT_THAT(events.wait_for(0), IsEmpty());
}

TEST_F(Edits, MayHaveStepsThatDependOnWhatIsThere) {
    const SessionId admin = session(), operator_ = session(Role::operator_, "olga");
    EXPECT_EQ(edit(admin, gain_edit("11.0")), "ok");
    std::string seen;
    const auto next = [&](const std::string &step) {
        return [&seen, step](const YangTree &configuration) {
            seen = configuration.print(LYD_XML);
            return std::vector<EditStep>{{.document = step}};
        };
    };
    EXPECT_EQ(answer(operator_, Edit{.steps = {}, .steps_for = next(gain_edit("12.0"))}), "ok");
    EXPECT_THAT(seen, AllOf(HasSubstr("<target-gain>11.0<"), HasSubstr(">110<")));
    EXPECT_EQ(gain(admin), "12.0");
    // Of the candidate, what that holds.
    EXPECT_EQ(edit(admin, gain_edit("13.0"), Datastore::candidate), "ok");
    EXPECT_EQ(
        answer(operator_, Edit{.target = Datastore::candidate, .steps = {}, .steps_for = next(gain_edit("14.0"))}),
        "ok");
    EXPECT_THAT(seen, HasSubstr("<target-gain>13.0<"));
    EXPECT_EQ(gain(admin, Datastore::candidate), "14.0");
    EXPECT_EQ(gain(admin), "12.0");
    // Who may make them is asked of these steps, too.
    EXPECT_EQ(answer(operator_, Edit{.steps = {}, .steps_for = next(native_gain_edit("90"))}), "access-denied");
    EXPECT_EQ(answer(admin, Edit{.steps = {}, .steps_for = next(native_gain_edit("90"))}), "ok");
    EXPECT_EQ(answer(admin, Edit{.steps = {},
                                 .steps_for = [](const YangTree &) -> std::vector<EditStep> {
                                     throw RequestError(error_tag::invalid_value, "", "no");
                                 }}),
              "invalid-value");
    EXPECT_EQ(gain(admin), "9.0");
}

// Reads of eight sessions while one edits both sides: each answer has the two sides from one state.
TEST_F(Edits, AreNeverSeenInHalf) {
    const SessionId editor = session();
    std::atomic<bool> done = false;
    std::atomic<int> torn = 0, whole = 0;
    std::vector<std::thread> readers;
    for (int i = 0; i < 4; ++i)
        readers.emplace_back([&, id = session(Role::reader)] {
            while (!done) {
                Outcome outcome = core().carry_out(id, Read{.filter = SubtreeFilter{both_sides_filter}});
                const std::string text = std::get<Result>(outcome).data.print(LYD_XML);
                const bool first =
                    text.find("<target-gain>11.0<") != std::string::npos && text.find(">eleven<") != std::string::npos;
                const bool second =
                    text.find("<target-gain>12.0<") != std::string::npos && text.find(">twelve<") != std::string::npos;
                ++(first || second || text.find("13.1") != std::string::npos ? whole : torn);
            }
        });
    const auto pair = [](const std::string &gain, const std::string &word) {
        return fmt::format(
            R"(<config xmlns="urn:ietf:params:xml:ns:netconf:base:1.0">)"
            R"(<interface-configurations xmlns="http://korvex.example/ns/yang/Korvex-ifmgr-cfg">)"
            R"(<interface-configuration><active>act</active><interface-name>Loopback0</interface-name>)"
            R"(<description>{}</description></interface-configuration></interface-configurations>)"
            R"(<optical-amplifier xmlns="http://openconfig.net/yang/optical-amplfier"><amplifiers><amplifier>)"
            R"(<name>0/1-AMP-BST</name><config><target-gain>{}</target-gain></config>)"
            R"(</amplifier></amplifiers></optical-amplifier></config>)",
            word, gain);
    };
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(edit(editor, i % 2 == 0 ? pair("11.0", "eleven") : pair("12.0", "twelve")), "ok");
    done = true;
    for (std::thread &reader : readers)
        reader.join();
    EXPECT_EQ(torn, 0);
    EXPECT_GT(whole, 0);
}

// An event log that is read back, without the times.
class LogFile {
  public:
    explicit LogFile(LogFormat format = LogFormat::text, std::string node = {})
        : descriptor_(open(path().c_str(), O_CREAT | O_RDWR, 0600)), log(format, descriptor_, std::move(node)) {}
    ~LogFile() { close(descriptor_); }
    LogFile(const LogFile &) = delete;
    LogFile &operator=(const LogFile &) = delete;

    std::vector<std::string> lines() const {
        std::vector<std::string> all;
        std::istringstream text(support::read_file(path()));
        for (std::string line; std::getline(text, line);)
            all.push_back(std::regex_replace(
                line, std::regex(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z|(milliseconds=)\d+)"), "$1T"));
        return all;
    }

  private:
    std::filesystem::path path() const { return folder_.path() / "log"; }

    support::TemporaryFolder folder_;
    int descriptor_;

  public:
    EventLog log;
};

TEST(EventLogs, AreTextForPeople) {
    LogFile file;
    file.log.write(Severity::info, "plain");
    file.log.write(Severity::warning, "values",
                   {{"word", "a-Z0_9.,:;/+@%[]"}, {"words", "a b"}, {"none", ""}, {"number", -7}, {"flag", true}});
    file.log.write(Severity::error, "marks", {{"quoted", "a\"b\nc=d"}, {"flag", false}});
    file.log.write(Severity::info, "long", {{"value", std::string(1025, 'v')}});
    EXPECT_THAT(file.lines(),
                ElementsAre("T info plain",
                            R"(T warning values word=a-Z0_9.,:;/+@%[] words="a b" none="" number=-7 flag=true)",
                            R"(T error marks quoted="a\"b\nc=d" flag=false)",
                            "T info long value=\"" + std::string(768, 'v') + " ... [1025 bytes] ... " +
                                std::string(256, 'v') + '"'));
}

TEST(EventLogs, ThatCannotBeWrittenHoldNobodyUp) {
    LogFile file;
    EventLog lost(LogFormat::text, -1);
    lost.write(Severity::info, "lost");
    file.log.write(Severity::info, "kept");
    EXPECT_THAT(file.lines(), ElementsAre("T info kept"));
}

TEST(EventLogs, AreJsonForPrograms) {
    LogFile file(LogFormat::json, "node-1");
    file.log.write(Severity::error, "values", {{"text", "\u00e4\xff\n"}, {"number", 7}, {"flag", true}});
    EXPECT_THAT(file.lines(), ElementsAre(R"({"time":"T","severity":"error","event":"values","node":"node-1",)"
                                          R"("text":"\u00e4\ufffd\n","number":7,"flag":true})"));
}

class Logged : public ServedNode {};

TEST_F(Logged, SessionsAndWhatTheyDoAreInTheLogInOrder) {
    stop();
    LogFile file;
    {
        Core logged(settings(), file.log);
        const auto open = [&](Role role, const std::string &user) {
            return logged.open_session({user, role}, {"test", "127.0.0.1", 1}, {});
        };
        const SessionId ada = open(Role::admin, "ada"), rob = open(Role::reader, "rob");
        const auto gain = [](const std::string &decibels) -> std::vector<EditStep> {
            return {{.document = gain_edit(decibels)}};
        };
        logged.carry_out(ada, Edit{.steps = gain("11.0")});
        logged.carry_out(rob, Edit{.steps = gain("12.0")});
        logged.carry_out(ada, CancelCommit{});
        logged.carry_out(ada, Edit{.target = Datastore::candidate, .steps = gain("13.0")});
        logged.carry_out(ada, Commit{.confirmed = true, .timeout = std::chrono::seconds(60)});
        logged.carry_out(ada, Commit{.confirmed = true, .timeout = std::chrono::seconds(70)});
        logged.carry_out(ada, Commit{});
        logged.carry_out(ada, Edit{.target = Datastore::candidate, .steps = gain("14.0")});
        logged.carry_out(ada, CopyConfig{.source = Datastore::candidate});
        logged.carry_out(ada, KillSession{rob});
        logged.close_session(ada, SessionEnd::closed);
    }
    const std::string by_ada = "session=1 user=ada address=127.0.0.1", by_rob = "session=2 user=rob address=127.0.0.1";
    EXPECT_THAT(
        file.lines(),
        ElementsAre("T info session-start session=1 user=ada role=admin protocol=test address=127.0.0.1",
                    "T info session-start session=2 user=rob role=reader protocol=test address=127.0.0.1",
                    "T info edit " + by_ada + " changes=1",
                    "T warning access-denied " + by_rob +
                        " operation=edit tag=access-denied path=\"\" "
                        "reason=\"edit is for the role operator, and this user has the role reader\" milliseconds=T",
                    "T info refused " + by_ada +
                        " operation=cancel-commit tag=operation-failed path=\"\" "
                        "reason=\"no confirmed commit is pending\" milliseconds=T",
                    "T info edit-candidate " + by_ada, "T info commit-confirmed " + by_ada + " changes=1",
                    "T info confirmed-commit-pending session=1 user=ada timeout=60",
                    "T info commit-confirmed " + by_ada + " changes=0",
                    "T info confirmed-commit-extended session=1 user=ada timeout=70",
                    "T info commit " + by_ada + " changes=0", "T info confirmed-commit-confirmed session=1 user=ada",
                    "T info edit-candidate " + by_ada, "T info copy-config " + by_ada + " changes=1",
                    "T info session-end " + by_rob + " reason=killed by=1",
                    "T info session-end " + by_ada + " reason=closed by=0"));
}

// As if the disk had gone wrong under the server.
void damage(const std::filesystem::path &node) {
    std::fstream file(node / "node.db", std::ios::in | std::ios::out | std::ios::binary);
    file << std::string(8192, 'x');
}

template <class Condition>
bool comes_true(Condition condition) {
    for (int i = 0; i < 1000 && !condition(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return condition();
}

TEST_F(Logged, AFailureToSeeChangesIsToldOnce) {
    stop();
    LogFile file;
    Events events;
    Core logged(settings(), file.log);
    const Subscription subscription = logged.subscribe(Interest::configuration, events.change_listener());
    logged.carry_out(logged.open_session({"ada", Role::admin}, {"test", "127.0.0.1", 1}, {}), Wait{});
    const auto told = [&] {
        return std::ranges::count_if(file.lines(), [](const std::string &line) {
            return line.starts_with("T error changes-not-seen reason=") && line.find("node.db") != std::string::npos;
        });
    };
    EXPECT_EQ(told(), 0);
    damage(folder());
    EXPECT_TRUE(comes_true([&] { return told() > 0; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(told(), 1);
}

TEST_F(Logged, CommitsThatCannotBeTakenBackAreToldAndStayPending) {
    stop();
    LogFile file;
    const auto told = [&] {
        return std::ranges::count_if(file.lines(), [](const std::string &line) {
            return line.starts_with("T error roll-back-failed reason=") && line.find("node.db") != std::string::npos;
        });
    };
    {
        Core logged(settings(), file.log);
        const SessionId ada = logged.open_session({"ada", Role::admin}, {"test", "127.0.0.1", 1}, {});
        logged.carry_out(ada, Commit{.confirmed = true, .timeout = std::chrono::seconds(1)});
        damage(folder());
        EXPECT_TRUE(comes_true([&] { return told() > 0; }));
    }
    EXPECT_GT(told(), 1) << "tried again by the end of the server";
    EXPECT_TRUE(std::filesystem::exists(folder() / "server" / "confirmed-commit.json"));
}

TEST_F(Logged, CommitsThatCouldNotBeTakenBackAreTakenBackBeforeTheNextEdit) {
    stop();
    LogFile file;
    Core logged(settings(), file.log);
    const SessionId ada = logged.open_session({"ada", Role::admin}, {"test", "127.0.0.1", 1}, {}),
                    bob = logged.open_session({"bob", Role::admin}, {"test", "127.0.0.1", 1}, {});
    logged.carry_out(ada, Edit{.target = Datastore::candidate, .steps = {{.document = gain_edit("11.0")}}});
    logged.carry_out(ada, Commit{.confirmed = true});
    Service another(settings().service);
    another.lock_configuration();
    logged.close_session(ada, SessionEnd::dropped);
    const auto is_told = [&] {
        return std::ranges::any_of(
            file.lines(), [](const std::string &line) { return line.starts_with("T error roll-back-failed reason="); });
    };
    EXPECT_TRUE(comes_true(is_told));
    // It is tried again in a second; whoever comes before that does not build on it.
    another.unlock_configuration();
    const Outcome locked = logged.carry_out(bob, Lock{});
    EXPECT_TRUE(std::holds_alternative<Result>(locked));
    Outcome outcome = logged.carry_out(bob, Read{.filter = PathFilter{gain_path}});
    EXPECT_THAT(std::get<Result>(outcome).data.print(LYD_XML), HasSubstr("<target-gain>13.1</target-gain>"));
}

TEST_F(Logged, LogInsAreToldWithTheirMethodAndRole) {
    stop();
    const std::string blob = "AAAAB3NzaC1yc2EA";
    Users users;
    users.add({"bob", Role::reader, "", {public_key_of("ssh-rsa " + blob)}});
    users.write(StateFolder(folder()));
    LogFile file;
    {
        Core logged(settings(), file.log);
        const Peer peer{"test", "192.0.2.1", 7};
        LogIns &log_ins = logged.log_ins();
        EXPECT_TRUE(log_ins.certificate(peer, "bob"));
        EXPECT_FALSE(log_ins.certificate(peer, "eve"));
        EXPECT_TRUE(log_ins.public_key(peer, "bob", "ssh-rsa", blob, true));
        EXPECT_TRUE(log_ins.public_key(peer, "bob", "ssh-rsa", blob, false)) << "asks whether it would do";
        EXPECT_FALSE(log_ins.public_key(peer, "bob", "ssh-rsa", "AAAA", true));
        EXPECT_FALSE(log_ins.public_key(peer, "bob", "ssh-ed25519", blob, false));
    }
    const std::string from = " address=192.0.2.1 port=7 protocol=test method=";
    EXPECT_THAT(file.lines(), ElementsAre("T info log-in user=bob" + from + "certificate role=reader",
                                          "T warning log-in-refused user=eve" + from + "certificate role=none",
                                          "T info log-in user=bob" + from + "public-key role=reader",
                                          "T warning log-in-refused user=bob" + from + "public-key role=none",
                                          "T warning log-in-refused user=bob" + from + "public-key role=none"));
}

TEST_F(Logged, AFloodOfRefusedLogInsIsNoFloodOfLines) {
    stop();
    constexpr int attempts = 200;
    LogFile file;
    const auto begin = std::chrono::steady_clock::now();
    {
        Core logged(settings(), file.log);
        const auto refuse = [&] { EXPECT_FALSE(logged.log_ins().certificate({"test", "192.0.2.1", 7}, "eve")); };
        for (int i = 1; i < attempts; ++i)
            refuse();
        std::this_thread::sleep_for(std::chrono::milliseconds(1100));
        refuse();
    }
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - begin);
    const std::vector<std::string> lines = file.lines();
    const auto told = std::ranges::count_if(
        lines, [](const std::string &line) { return line.find("log-in-refused") != std::string::npos; });
    EXPECT_GE(told, LogIns::most_refusals_told_a_second + 1);
    EXPECT_LE(told, LogIns::most_refusals_told_a_second * (seconds.count() + 1));
    EXPECT_EQ(lines.at(lines.size() - 2), "T warning log-ins-refused count=" + std::to_string(attempts - told));
}

TEST_F(Logged, ALogInForWhichThereIsNoPlaceIsTold) {
    stop();
    LogFile file;
    Core logged(settings(), file.log);
    const Peer peer{"test", "192.0.2.1", 7};
    for (int failures = 0; failures < 8; ++failures)
        EXPECT_FALSE(logged.log_ins().public_key(peer, "eve", "ssh-rsa", "AAAA", true));
    const auto attempt = [&](const std::string &user) {
        return logged.log_ins().password(
            peer, user, "wrong", [] { return true; }, [](const LogInAnswer &) {});
    };
    for (std::size_t i = 0; i < LogIns::most_waiting_of_address; ++i)
        EXPECT_TRUE(attempt("eve"));
    EXPECT_FALSE(attempt("bob"));
    EXPECT_EQ(file.lines().back(),
              "T warning log-in-refused user=bob address=192.0.2.1 port=7 protocol=test method=password role=none");
}

class Idle : public ServedNode {
  protected:
    // A thread that comes round at once, again and again, takes all of a processor that it is given.
    static void expect_no_processor_time() {
        const std::clock_t before = std::clock();
        std::this_thread::sleep_for(std::chrono::milliseconds(400));
        EXPECT_LT(std::clock() - before, CLOCKS_PER_SEC / 25);
    }
};

TEST_F(Idle, ACoreTakesNoProcessorTime) {
    EXPECT_EQ(gain(session()), "13.1");
    expect_no_processor_time();
}

// It looks twenty times whether somebody has written, and not at what.
TEST_F(Idle, ACoreThatIsListenedToTakesHardlyAny) {
    const Subscription subscription =
        core().subscribe(Interest::configuration, [](const std::shared_ptr<const Event> &) {});
    EXPECT_EQ(edit(session(), gain_edit("14.0")), "ok");
    expect_no_processor_time();
}

} // namespace
