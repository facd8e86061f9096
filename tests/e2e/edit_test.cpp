// Edits of the example node through ocamp: what is read back, what is stored natively, and that a refused edit changes
// not one byte.
#include "ocamp_program.h"

#include <gmock/gmock.h>

using namespace e2e;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

// RFC 7951 document around the content of the root container.
std::string json(const std::string &content) {
    return "{\"openconfig-optical-amplifier:optical-amplifier\": {" + content + "}}";
}

// One amplifier entry with what stands in it beside its name.
std::string amplifier(const std::string &name, const std::string &content) {
    return "{\"name\": \"" + name + "\"" + (content.empty() ? "" : ", " + content) + "}";
}

std::string amplifiers(const std::string &entries) {
    return json("\"amplifiers\": {\"amplifier\": [" + entries + "]}");
}

// Configuration of 0/2-AMP-BST.
std::string booster(const std::string &leaves) {
    return amplifiers(amplifier("0/2-AMP-BST", "\"config\": {" + leaves + "}"));
}

std::string operation(const std::string &word) {
    return "\"@\": {\"ietf-netconf:operation\": \"" + word + "\"}";
}

std::string leaf_operation(const std::string &leaf, const std::string &word) {
    return "\"@" + leaf + "\": {\"ietf-netconf:operation\": \"" + word + "\"}";
}

std::string xml(const std::string &content) {
    return "<config xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\" "
           "xmlns:nc=\"urn:ietf:params:xml:ns:netconf:base:1.0\">"
           "<optical-amplifier xmlns=\"http://openconfig.net/yang/optical-amplfier\">" +
           content + "</optical-amplifier></config>";
}

class Edits : public NodeTest {
  protected:
    Outcome edit(const std::string &document, const std::vector<std::string> &arguments = {}) const {
        std::vector<std::string> words = arguments;
        words.emplace_back("-");
        return ocamp({"edit"}, words, document);
    }
    void expect_done(const std::string &document, const std::vector<std::string> &arguments = {}) const {
        const Outcome outcome = edit(document, arguments);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_THAT(outcome.out, testing::EndsWith("\nok\n"));
        EXPECT_EQ(outcome.err, "");
    }
    std::string configuration() const { return get({"--config"}).out; }
    std::string native(const std::string &interface) const {
        return ocamp({"native", "get"},
                     {"/interface-configurations/interface-configuration[interface-name='" + interface + "']"})
            .out;
    }
    std::string interfaces() const {
        return ocamp({"native", "get"}, {"/interface-configurations/interface-configuration/interface-name"}).out;
    }
    // The interfaces that are no amplifier's, with all their settings.
    std::string other_interfaces() const {
        std::string all;
        for (const char *name : {"MgmtEth0/RP0/CPU0/0", "GigabitEthernet0/0/0/1", "TenGigE0/0/0/2", "Loopback0",
                                 "Optics0/1/0/4", "Optics0/2/0/4", "Optics0/3/0/4", "Ots0/3/0/0", "Ots0/3/0/1"})
            all += native(name);
        return all;
    }
};

TEST_F(Edits, ValuesAreStoredInTenthsAndReadBackFromThem) {
    expect_done(booster("\"name\": \"0/2-AMP-BST\", \"target-gain\": \"15.56\", \"target-gain-tilt\": \"-1.25\", "
                        "\"enabled\": false"));
    EXPECT_SAME_TEXT(configuration(), expected("edit_values.json"));
    EXPECT_SAME_TEXT(native("Ots0/2/0/1"), expected("edit_values_native.json"));
    EXPECT_THAT(get({"/optical-amplifier/amplifiers/amplifier[name='0/2-AMP-BST']/state/target-gain"}).out,
                HasSubstr("\"15.5\""));
}

TEST_F(Edits, XmlDoesTheSame) {
    expect_done(xml("<amplifiers><amplifier><name>0/2-AMP-BST</name><config><name>0/2-AMP-BST</name>"
                    "<target-gain> 15.56 </target-gain><target-gain-tilt>-1.25</target-gain-tilt>"
                    "<enabled>false</enabled></config></amplifier></amplifiers>"));
    EXPECT_SAME_TEXT(configuration(), expected("edit_values.json"));
}

TEST_F(Edits, TwoAmplifiersAtOnce) {
    expect_done(amplifiers(amplifier("0/1-AMP-PRE", "\"config\": {\"target-gain\": \"16.10\"}") + "," +
                           amplifier("0/2-AMP-PRE", "\"config\": {\"enabled\": false}")));
    EXPECT_SAME_TEXT(configuration(), expected("edit_two.json"));
}

TEST_F(Edits, DeleteOfALeaf) {
    expect_done(booster("\"target-gain\": \"0\", " + leaf_operation("target-gain", "delete")));
    EXPECT_SAME_TEXT(configuration(), expected("edit_delete_leaf.json"));
    EXPECT_THAT(native("Ots0/2/0/1"), Not(HasSubstr("optics-ots-amplifier-gain\"")));
}

TEST_F(Edits, DeleteOfALeafInXmlNeedsNoValue) {
    expect_done(xml("<amplifiers><amplifier><name>0/2-AMP-BST</name><config>"
                    "<target-gain nc:operation=\"delete\"/></config></amplifier></amplifiers>"));
    EXPECT_SAME_TEXT(configuration(), expected("edit_delete_leaf.json"));
}

TEST_F(Edits, DeleteOfAnAmplifiersConfiguration) {
    expect_done(amplifiers(amplifier("0/2-AMP-BST", "\"config\": {" + operation("delete") + "}")));
    EXPECT_SAME_TEXT(configuration(), expected("edit_delete_config.json"));
    EXPECT_SAME_TEXT(native("Ots0/2/0/1"), expected("edit_delete_config_native.json"));
}

TEST_F(Edits, DeleteOfAnAmplifier) {
    const std::string others = other_interfaces();
    expect_done(amplifiers("{" + operation("delete") + ", \"name\": \"0/2-AMP-BST\"}"));
    EXPECT_SAME_TEXT(configuration(), expected("edit_delete_entry.json"));
    EXPECT_EQ(native("Ots0/2/0/1"), "{}\n");
    EXPECT_SAME_TEXT(other_interfaces(), others);
}

TEST_F(Edits, DeleteOfEverythingTouchesNoOtherInterface) {
    const std::string others = other_interfaces();
    for (const std::string &document :
         {json(operation("delete")), json("\"amplifiers\": {" + operation("delete") + "}"),
          json("\"amplifiers\": {" + operation("remove") + "}")}) {
        SetUp();
        expect_done(document);
        EXPECT_EQ(configuration(), "{}\n");
        EXPECT_SAME_TEXT(interfaces(), expected("edit_delete_all_interfaces.json"));
        EXPECT_SAME_TEXT(other_interfaces(), others);
        TearDown();
    }
    SetUp();
}

TEST_F(Edits, AmplifierThatWasDeletedCanBeCreated) {
    expect_done(amplifiers("{" + operation("delete") + ", \"name\": \"0/2-AMP-BST\"}"));
    const std::string create = amplifiers("{" + operation("create") +
                                          ", \"name\": \"0/2-AMP-BST\", \"config\": {\"name\": \"0/2-AMP-BST\", "
                                          "\"target-gain\": \"12.5\"}}");
    expect_done(create);
    EXPECT_THAT(get({"--config", "/optical-amplifier/amplifiers/amplifier[name='0/2-AMP-BST']"}).out,
                HasSubstr("\"target-gain\": \"12.5\""));
    EXPECT_EQ(edit(create).status, 1);
}

TEST_F(Edits, ContentOfWhatIsDeletedGoesWithIt) {
    expect_done(amplifiers(
        "{" + operation("delete") + ", " +
        amplifier("0/2-AMP-BST", "\"config\": {\"name\": \"0/2-AMP-BST\", \"min-gain\": \"1.0\"}").substr(1)));
    EXPECT_SAME_TEXT(configuration(), expected("edit_delete_entry.json"));
}

TEST_F(Edits, ReplaceByNothingRemovesEveryAmplifier) {
    const std::string others = other_interfaces();
    for (const char *document : {"{}", "<config xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\"/>"}) {
        SetUp();
        expect_done(document, {"--default-operation", "replace"});
        EXPECT_EQ(configuration(), "{}\n");
        EXPECT_SAME_TEXT(interfaces(), expected("edit_delete_all_interfaces.json"));
        EXPECT_SAME_TEXT(other_interfaces(), others);
        TearDown();
    }
    SetUp();
}

TEST_F(Edits, ReplaceOfOneAmplifierLeavesTheOthers) {
    const std::string others = other_interfaces();
    expect_done(amplifiers("{" + operation("replace") +
                           ", \"name\": \"0/1-AMP-BST\", \"config\": {\"name\": \"0/1-AMP-BST\", "
                           "\"target-gain\": \"12.5\"}}"));
    EXPECT_SAME_TEXT(configuration(), expected("edit_replace_entry.json"));
    EXPECT_SAME_TEXT(other_interfaces(), others);
}

TEST_F(Edits, ReplaceOfOneConfigurationKeepsTheInterface) {
    expect_done(amplifiers(amplifier("0/2-AMP-PRE", "\"config\": {" + operation("replace") +
                                                        ", \"name\": \"0/2-AMP-PRE\", \"target-gain\": \"22.5\"}")));
    EXPECT_THAT(get({"--config", "/optical-amplifier/amplifiers/amplifier[name='0/2-AMP-PRE']"}).out,
                Not(HasSubstr("target-gain-tilt")));
    EXPECT_THAT(native("Ots0/2/0/0"), HasSubstr("\"description\": \"line west, pre-amplifier\""));
}

TEST_F(Edits, ReplaceOfTheWholeContainer) {
    const std::string others = other_interfaces();
    const std::string content =
        "\"amplifiers\": {\"amplifier\": [" +
        amplifier("0/2-AMP-PRE", "\"config\": {\"name\": \"0/2-AMP-PRE\", \"target-gain\": \"19.5\"}") + "," +
        amplifier("0/2-AMP-BST", "\"config\": {\"name\": \"0/2-AMP-BST\", \"target-gain\": \"14.8\"}") + "]}";
    expect_done(json(operation("replace") + ", " + content));
    EXPECT_SAME_TEXT(configuration(), expected("edit_replace_all.json"));
    EXPECT_SAME_TEXT(other_interfaces(), others);

    SetUp();
    expect_done(json(content), {"--default-operation", "replace"});
    EXPECT_SAME_TEXT(configuration(), expected("edit_replace_all.json"));
    TearDown();
    SetUp();
}

TEST_F(Edits, WithoutDefaultOperationOnlyMarkedNodesChange) {
    expect_done(booster("\"target-gain\": \"10.5\", \"target-gain-tilt\": \"0.5\", " +
                        leaf_operation("target-gain-tilt", "merge")),
                {"--default-operation", "none"});
    const std::string now = get({"--config", "/optical-amplifier/amplifiers/amplifier[name='0/2-AMP-BST']"}).out;
    EXPECT_THAT(now, HasSubstr("\"target-gain\": \"14.2\""));
    EXPECT_THAT(now, HasSubstr("\"target-gain-tilt\": \"0.5\""));
}

TEST_F(Edits, MergeOfAKeyChangesNothing) {
    const std::string before = ocamp({"native", "get"}, {}).out;
    expect_done(xml("<amplifiers><amplifier><name nc:operation=\"merge\">0/2-AMP-BST</name></amplifier></amplifiers>"));
    EXPECT_SAME_TEXT(ocamp({"native", "get"}, {}).out, before);
}

TEST_F(Edits, RemoveOfWhatIsNotThereIsDoneAndChangesNothing) {
    const std::string before = data();
    expect_done(amplifiers("{" + operation("remove") + ", \"name\": \"0/3-AMP-PRE\"}"));
    expect_done(json("\"supervisory-channels\": {" + operation("remove") + "}"));
    EXPECT_TRUE(before == data());
}

TEST_F(Edits, ExplanationShowsTheEditWithoutDoingIt) {
    const std::string before = data();
    const Outcome outcome =
        ocamp({"explain", "edit"}, {"-"}, booster("\"target-gain\": \"15.56\", \"enabled\": false"));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_SAME_TEXT(outcome.out, expected("explain_edit.txt"));
    EXPECT_TRUE(before == data());
}

TEST_F(Edits, ExplanationOfSeveralRequestsShowsEachRun) {
    const Outcome outcome = ocamp({"explain", "edit"}, {"-"},
                                  amplifiers(amplifier("0/1-AMP-PRE", "\"config\": {\"target-gain\": \"16.1\"}") + "," +
                                             amplifier("0/2-AMP-PRE", "\"config\": {\"enabled\": false}")));
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("  run 1 of 2: edit (kind 1)\n    <optical-amplifier>\n"));
    EXPECT_THAT(outcome.out, HasSubstr("  run 2 of 2: edit (kind 1)\n    <optical-amplifier>\n"));
    EXPECT_THAT(outcome.out, HasSubstr("  run 1 of 2\n    <interface-configurations>\n"));
    EXPECT_THAT(outcome.out, HasSubstr("  run 2 of 2\n    <interface-configurations>\n"));
}

TEST_F(Edits, ExplanationOfARefusedEditShowsHowFarItCame) {
    const Outcome outcome = ocamp({"explain", "edit"}, {"-"}, booster("\"target-gain\": \"99.9\""));
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.out, HasSubstr("<optics-ots-amplifier-gain> \"999\""));
    EXPECT_THAT(outcome.out, HasSubstr("\n3. Refused: nothing would change ---"));
    EXPECT_THAT(outcome.out, Not(HasSubstr("the node holds"))) << "the reason is told once";
    EXPECT_THAT(outcome.out, Not(HasSubstr("4. ")));
    EXPECT_THAT(outcome.err, HasSubstr("/config/target-gain: '99.9': the node holds 0.0 to 40.0 dB [invalid-value]\n"));
}

// An edit that is refused, with the beginning and a later part of the message.
struct Refusal {
    const char *test_name;
    std::string document;
    const char *place;
    const char *reason;
    std::vector<std::string> arguments = {};
    int status = 1;
};

void PrintTo(const Refusal &shown, std::ostream *to) {
    *to << shown.test_name;
}

class RefusedEdits : public Edits, public testing::WithParamInterface<Refusal> {};

TEST_P(RefusedEdits, NameThePlaceAndChangeNothing) {
    const std::string before = data();
    const Outcome outcome = edit(GetParam().document, GetParam().arguments);
    EXPECT_EQ(outcome.status, GetParam().status);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, StartsWith(std::string("ocamp: ") + GetParam().place));
    EXPECT_THAT(outcome.err, HasSubstr(GetParam().reason));
    EXPECT_TRUE(before == data());
}

#define BOOSTER "/optical-amplifier/amplifiers/amplifier[name='0/2-AMP-BST']"

const Refusal refusals[] = {
    {"UnsupportedLeaf", booster("\"min-gain\": \"1.5\""),
     BOOSTER "/config/min-gain: ", "Node is not supported [operation-not-supported] (0xaaf2ee00)\n"},
    {"UnsupportedLeafAmongGoodOnes", booster("\"target-gain\": \"12.5\", \"type\": \"EDFA\""),
     BOOSTER "/config/type: ", "0xaaf2ee00"},
    {"ForeignNamesakeOfALeaf",
     xml("<amplifiers><amplifier><name>0/2-AMP-BST</name><config>"
         "<target-gain xmlns=\"urn:foreign\">11.0</target-gain></config></amplifier></amplifiers>"),
     BOOSTER "/config/target-gain: ", "is in the namespace 'urn:foreign', expected"},
    {"DeleteOfAForeignNamesake", xml("<amplifiers xmlns=\"urn:foreign\" nc:operation=\"delete\"/>"),
     "/optical-amplifier/amplifiers: ", "is in the namespace 'urn:foreign', expected"},
    {"KeyWithBlanks",
     xml("<amplifiers><amplifier nc:operation=\"delete\"><name> 0/2-AMP-BST </name></amplifier>"
         "</amplifiers>"),
     "/optical-amplifier/amplifiers/amplifier[name=' 0/2-AMP-BST ']: ", "does not exist"},
    {"UnknownLeaf", booster("\"mingain\": \"1.5\""),
     BOOSTER "/config/mingain: ", "expected one of: name, type, target-gain"},
    {"UnknownAmplifier", amplifiers(amplifier("0/9-AMP-BST", "\"config\": {\"target-gain\": \"1.5\"}")),
     "/optical-amplifier/amplifiers/amplifier[name='0/9-AMP-BST']: ",
     "this platform has slots 1 to 3 [invalid-value]\n"},
    {"SlotThatCannotBe", amplifiers(amplifier("0/4-AMP-PRE", "\"config\": {\"enabled\": true}")),
     "/optical-amplifier/amplifiers/amplifier[name='0/4-AMP-PRE']: ",
     "this platform has slots 1 to 3 [invalid-value]\n"},
    {"SlotThatNoInterfaceNameHolds", amplifiers(amplifier("0/4000-AMP-PRE", "\"config\": {\"enabled\": true}")),
     "/optical-amplifier/amplifiers/amplifier[name='0/4000-AMP-PRE']",
     "this platform has slots 1 to 3 [invalid-value]"},
    {"DeleteInASlotThatCannotBe", amplifiers("{" + operation("delete") + ", \"name\": \"0/4-AMP-PRE\"}"),
     "/optical-amplifier/amplifiers/amplifier[name='0/4-AMP-PRE']: ", "this platform has slots 1 to 3 [invalid-value]"},
    {"RemoveInASlotThatCannotBe", amplifiers("{" + operation("remove") + ", \"name\": \"0/4-AMP-PRE\"}"),
     "/optical-amplifier/amplifiers/amplifier[name='0/4-AMP-PRE']: ", "this platform has slots 1 to 3 [invalid-value]"},
    {"AmplifierOfSlotWithoutCard", amplifiers(amplifier("0/3-AMP-PRE", "\"config\": {\"target-gain\": \"1.5\"}")),
     "/optical-amplifier/amplifiers/amplifier[name='0/3-AMP-PRE']: ", "no such entry"},
    {"NameOfNoKind", amplifiers(amplifier("foo", "\"config\": {\"target-gain\": \"1.5\"}")),
     "/optical-amplifier/amplifiers/amplifier[name='foo']",
     ": 'foo': the native model refuses it: An interface name is a kind and a place"},
    {"KeyThatDiffersFromItsLeaf", booster("\"name\": \"0/1-AMP-BST\", \"target-gain\": \"1.5\""),
     BOOSTER "/name: ", "Key differs from the leaf it refers to"},
    {"ValueOutsideTheNativeRange", booster("\"target-gain\": \"155.5\""),
     BOOSTER "/config/target-gain: ", "'155.5': the node holds 0.0 to 40.0 dB [invalid-value]\n"},
    {"ValueBelowTheNativeRange", booster("\"target-gain-tilt\": \"-5.1\""),
     BOOSTER "/config/target-gain-tilt: ", "'-5.1': the node holds -5.0 to 5.0 dB [invalid-value]\n"},
    {"SecondOfTwoAmplifiersOutsideTheRange",
     amplifiers(amplifier("0/1-AMP-PRE", "\"config\": {\"target-gain\": \"16.1\"}") + "," +
                amplifier("0/2-AMP-BST", "\"config\": {\"target-gain\": \"99.9\"}")),
     BOOSTER "/config/target-gain: ", "'99.9': the node holds 0.0 to 40.0 dB"},
    {"ValueWhoseLowBitsWouldFit", booster("\"target-gain\": \"429496749.60\""),
     BOOSTER "/config/target-gain: ", "would read back as '20.0'"},
    {"ValueOfAnotherType", booster("\"target-gain\": \"abc\""), BOOSTER "/config/target-gain: ", "[invalid-value]"},
    {"NegativeGain", booster("\"target-gain\": \"-1.0\""),
     BOOSTER "/config/target-gain: ", "'-1.0': the model holds 0.00 to 92233720368547758.07 dB [invalid-value]\n"},
    {"GainBeyondItsType", booster("\"target-gain\": \"99999999999999999999.0\""), BOOSTER "/config/target-gain: ",
     "'99999999999999999999.0': the model holds 0.00 to 92233720368547758.07 dB [invalid-value]\n"},
    {"TiltBeyondItsType", booster("\"target-gain-tilt\": \"-99999999999999999999.0\""),
     BOOSTER "/config/target-gain-tilt: ",
     "': the model holds -92233720368547758.08 to 92233720368547758.07 dB [invalid-value]\n"},
    {"TooManyFractionDigits", booster("\"target-gain\": \"1.234\""),
     BOOSTER "/config/target-gain: ", "[invalid-value]"},
    {"EnabledInCapitals", booster("\"enabled\": \"TRUE\""), BOOSTER "/config/enabled: ", "[invalid-value]"},
    {"ForeignAugment", booster("\"other-module:colour\": \"red\""),
     BOOSTER "/config/colour: ", "[operation-not-supported] (0xaaf2f800)\n"},
    {"State", amplifiers(amplifier("0/2-AMP-BST", "\"state\": {\"target-gain\": \"1.5\"}")),
     BOOSTER "/state: ", "is state"},
    {"ConfigurationOfAChannel",
     json("\"supervisory-channels\": {\"supervisory-channel\": [{\"interface\": \"Optics0/1/0/4\", "
          "\"config\": {\"interface\": \"Optics0/1/0/4\"}}]}"),
     "/optical-amplifier/supervisory-channels/supervisory-channel[interface='Optics0/1/0/4']/config: ", "0xaaf2ee00"},
    {"DeleteOfAnAbsentAmplifier", amplifiers("{" + operation("delete") + ", \"name\": \"0/3-AMP-PRE\"}"),
     "/optical-amplifier/amplifiers/amplifier[name='0/3-AMP-PRE']: ", "[data-missing]"},
    {"DeleteOfAnAbsentLeaf", booster(leaf_operation("fiber-type-profile", "delete")),
     BOOSTER "/config/fiber-type-profile: ", "[data-missing]"},
    {"CreateOfAnExistingAmplifier",
     amplifiers("{" + operation("create") + ", \"name\": \"0/2-AMP-BST\", \"config\": {\"name\": \"0/2-AMP-BST\"}}"),
     BOOSTER ": ", "[data-exists]"},
    {"CreateOfAnExistingLeaf", booster("\"target-gain\": \"12.5\", " + leaf_operation("target-gain", "create")),
     BOOSTER "/config/target-gain: ", "[data-exists]"},
    {"CreateOfAKey", amplifiers(amplifier("0/2-AMP-BST", leaf_operation("name", "create"))),
     BOOSTER "/name: ", "operation 'create' on a key, expected it on the entry [bad-attribute]\n"},
    {"DeleteOfAKey", amplifiers(amplifier("0/2-AMP-BST", leaf_operation("name", "delete"))),
     BOOSTER "/name: ", "operation 'delete' on a key, expected it on the entry [bad-attribute]\n"},
    {"RemoveOfTheKeyOfADeletedEntry",
     amplifiers("{" + operation("delete") + ", \"name\": \"0/2-AMP-BST\", " + leaf_operation("name", "remove") + "}"),
     BOOSTER "/name: ", "operation 'remove' on a key, expected it on the entry [bad-attribute]\n"},
    {"ReplaceOfAKey",
     xml("<amplifiers><amplifier><name nc:operation=\"replace\">0/2-AMP-BST</name></amplifier></amplifiers>"),
     BOOSTER "/name: ", "operation 'replace' on a key, expected it on the entry [bad-attribute]\n"},
    {"DeleteOfTheLeafThatTheKeyRefersTo", booster("\"name\": \"0/2-AMP-BST\", " + leaf_operation("name", "delete")),
     BOOSTER "/config/name: ",
     "cannot be deleted alone: the key refers to it, expected the operation on the entry [bad-attribute]"},
    {"DeleteOfAnEntryWithoutKey", amplifiers("{\"@\": {\"ietf-netconf:operation\": \"remove\"}}"),
     "/optical-amplifier/amplifiers/amplifier: ", "names no entry, expected the key 'name' [missing-element]"},
    {"EntryWithoutKey", amplifiers("{\"config\": {\"target-gain\": \"1.5\"}}"),
     "/optical-amplifier/amplifiers/amplifier: ", "names no entry, expected the key 'name' [missing-element]"},
    {"OperationInsideADelete",
     json("\"amplifiers\": {" + operation("delete") + ", \"amplifier\": [{" + operation("merge") +
          ", \"name\": \"0/1-AMP-PRE\"}]}"),
     "/optical-amplifier/amplifiers/amplifier[name='0/1-AMP-PRE']: ", "operation 'merge' inside what is deleted"},
    // Annotations that are none at their place
    {"AnnotationsBesideAList",
     json("\"amplifiers\": {\"@amplifier\": [{\"ietf-netconf:operation\": \"merge\"}, {\"ietf-netconf:operation\": "
          "\"remove\"}], \"amplifier\": [" +
          amplifier("0/1-AMP-PRE", "") + "," + amplifier("0/2-AMP-BST", "") + "]}"),
     "/optical-amplifier/amplifiers/@amplifier: ", "expected \"@\" inside each entry [bad-attribute]"},
    {"AnnotationsBesideAListThatIsNotGiven", json("\"amplifiers\": {" + leaf_operation("amplifier", "delete") + "}"),
     "/optical-amplifier/amplifiers/amplifier: ", "expected \"@\" inside the entry [bad-attribute]"},
    {"AnnotationBesideAContainer", json(leaf_operation("amplifiers", "delete") + ", \"amplifiers\": {}"),
     "/optical-amplifier/@amplifiers: ", "expected \"@\" inside it [bad-attribute]"},
    {"AnnotationBesideAContainerThatIsNotGiven", json(leaf_operation("amplifiers", "delete")),
     "/optical-amplifier/amplifiers: ", "expected \"@\" inside the container [bad-attribute]"},
    {"AnnotationOfTheDocument", "{" + operation("delete") + "}", "/@: ", "[bad-attribute]"},
    {"AnnotationThatIsAnArray",
     booster("\"target-gain\": \"1.5\", \"@target-gain\": [{\"ietf-netconf:operation\": \"merge\"}]"),
     BOOSTER "/config/@target-gain: ", "is no annotation, expected an object"},
    {"AnnotationsOfMoreThanThereIs", "{\"m:a\": [1], \"@m:a\": [null, {\"ietf-netconf:operation\": \"merge\"}]}",
     "/@a: ", "expected an array of at most 1"},
    {"AnnotationWhoseOperationIsNoString", booster("\"@\": {\"ietf-netconf:operation\": 3}"),
     BOOSTER "/config/@: ", "'ietf-netconf:operation' is no string [bad-attribute]"},
    {"AnnotationOfAnotherModule", booster("\"@\": {\"other:operation\": \"delete\"}"),
     BOOSTER "/config: ", "attribute 'other:operation=delete'"},
    {"AnnotationWithoutModule", booster("\"@\": {\"operation\": \"delete\"}"),
     BOOSTER "/config: ", "attribute 'operation=delete'"},
    {"AnnotationAsAPlainMember", json("\"amplifiers\": {\"ietf-netconf:operation\": \"delete\"}"),
     "/optical-amplifier/amplifiers/operation: ", "expected an attribute in XML and a member of \"@\" in JSON"},
    {"AnnotationAsAnElement", xml("<nc:operation>delete</nc:operation>"),
     "/optical-amplifier/operation: ", "[unknown-element]"},
    {"AnnotationThatNeedsAValue", booster(leaf_operation("target-gain", "merge")),
     BOOSTER "/config/target-gain: ", "needs a value"},
    {"EmptyAnnotationWithoutAValue", booster("\"@target-gain\": {}"),
     BOOSTER "/config/target-gain: ", "is annotated and has no value, expected one beside the annotation"},
    {"TwoAnnotationsOfOneNode", booster(operation("merge") + ", " + operation("delete")),
     BOOSTER "/config/@: ", "is given twice"},
    {"TwoAnnotationsOfOneLeaf",
     booster(leaf_operation("enabled", "merge") + ", " + leaf_operation("enabled", "delete")),
     BOOSTER "/config/@enabled: ", "is given twice"},
    {"TwoOperationsOnOneNodeInJson",
     booster("\"target-gain\": \"10.0\", \"@target-gain\": {\"ietf-netconf:operation\": \"delete\", "
             "\"ietf-netconf:operation\": \"merge\"}"),
     BOOSTER "/config/@target-gain: ", "holds 'ietf-netconf:operation' twice, expected it once [bad-attribute]"},
    {"TwoOperationsOnOneNode",
     xml("<amplifiers><amplifier><name>0/2-AMP-BST</name><config>"
         "<target-gain nc:operation=\"delete\" "
         "nc:operation=\"merge\">10.0</target-gain></config></amplifier></amplifiers>"),
     "standard input: ",
     "line 1: duplicate attribute",
     {},
     2},
    {"OperationOfTheDocument",
     "<config xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\" "
     "xmlns:nc=\"urn:ietf:params:xml:ns:netconf:base:1.0\" nc:operation=\"delete\"/>",
     "/config: ", "carries an operation, expected it on the elements inside [bad-attribute]"},
    {"AttributeOfTheDocument", "<config xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\" operation=\"delete\"/>",
     "/config: ", "attribute 'operation=delete'"},
    {"TextInTheDocument", "<config xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\">all</config>",
     "/config: ", "holds the text 'all'"},
    // Forms of values
    {"SignAlone", booster("\"target-gain\": \"-\""), BOOSTER "/config/target-gain: ", "Invalid decimal64 value \"-\""},
    {"PlusAlone",
     xml("<amplifiers><amplifier><name>0/2-AMP-BST</name><config><target-gain-tilt>+</target-gain-tilt></config>"
         "</amplifier></amplifiers>"),
     BOOSTER "/config/target-gain-tilt: ", "Invalid decimal64 value \"+\""},
    {"PointWithoutDigits", booster("\"target-gain\": \"1.\""),
     BOOSTER "/config/target-gain: ", "Invalid decimal64 value \"1.\""},
    {"NumberLargerThanAny", booster("\"target-gain\": 1e400"),
     BOOSTER "/config/target-gain: ", "the number 1e400 is larger than any that is read [invalid-value]"},
    {"NumberForADecimal", booster("\"target-gain\": 15.5"),
     BOOSTER "/config/target-gain: ", "is a number, expected a string as RFC 7951 writes it [invalid-value]"},
    {"StringForABoolean", booster("\"enabled\": \"true\""),
     BOOSTER "/config/enabled: ", "is a string, expected true or false"},
    {"NullForAValue", booster("\"enabled\": null"), BOOSTER "/config/enabled: ", "is null, expected true or false"},
    {"SurrogatePairForANumber", booster("\"target-gain\": \"\\ud83d\\ude00\""),
     BOOSTER "/config/target-gain: ", "Invalid decimal64 value \"\xF0\x9F\x98\x80\""},
    {"HalfASurrogatePair",
     booster("\"target-gain\": \"\\ud83d\""),
     "standard input: ",
     "surrogate U+D800..U+DBFF must be followed by U+DC00..U+DFFF",
     {},
     2},
    {"ControlCharacterInAValue", booster("\"target-gain\": \"1\\u0000\""),
     BOOSTER "/config/target-gain: ", "holds a control character"},
    {"EmptyArrayForAList", amplifiers(""), "/optical-amplifier/amplifiers/amplifier: ", "is an empty array"},
    {"EmptyArrayForALeaf", booster("\"target-gain\": []"), BOOSTER "/config/target-gain: ", "is an empty array"},
    {"ArrayForALeaf", booster("\"target-gain\": [\"1.5\"]"),
     BOOSTER "/config/target-gain: ", "is an array, expected one value"},
    {"ArrayInAnArray", amplifiers("[" + amplifier("0/2-AMP-BST", "") + "]"),
     "/optical-amplifier/amplifiers/amplifier[1]: ", "is an array inside an array"},
    {"ControlCharacterInAnEntryWithoutKey", amplifiers("{\"config\": {\"target-gain\": \"1\\u0000\"}}"),
     "/optical-amplifier/amplifiers/amplifier[1]/config/target-gain: ", "holds a control character"},
    {"NumberLargerThanAnyBeforeTheKey", amplifiers("{\"config\": {\"target-gain\": 1e400}, \"name\": \"x\"}"),
     "/optical-amplifier/amplifiers/amplifier[1]/config/target-gain: ", "is larger than any"},
    {"ArrayOfMixedKinds", amplifiers(amplifier("0/2-AMP-BST", "") + ", 1"),
     "/optical-amplifier/amplifiers/amplifier[2]: ", "is not of the kind of the array's first"},
    {"ArrayForAContainer", json("\"amplifiers\": [{}]"), "/optical-amplifier/amplifiers: ", "expected an object"},
    {"ObjectForAList", json("\"amplifiers\": {\"amplifier\": " + amplifier("0/2-AMP-BST", "") + "}"), BOOSTER ": ",
     "expected an array of objects"},
    {"ObjectForALeaf", booster("\"enabled\": {}"), BOOSTER "/config/enabled: ", "is an object, expected one value"},
    {"UnknownModuleOfAnIdentity", booster("\"type\": \"other:EDFA\""), BOOSTER "/config/type: ", "[invalid-value]"},
    {"UnknownPrefixOfAnIdentity",
     xml("<amplifiers><amplifier><name>0/2-AMP-BST</name><config><type>x:EDFA</type></config></amplifier></"
         "amplifiers>"),
     BOOSTER "/config/type: ", "the prefix 'x' stands for no module of the model [invalid-value]"},
    // What is given twice
    {"LeafGivenTwiceInJson", booster("\"target-gain\": \"1.5\", \"target-gain\": \"2.5\""),
     BOOSTER "/config/target-gain: ", "is given twice"},
    {"RootGivenTwiceInJson",
     "{\"openconfig-optical-amplifier:optical-amplifier\": {}, \"openconfig-optical-amplifier:optical-amplifier\": {}}",
     "/optical-amplifier: ", "is given twice"},
    {"RootGivenTwice",
     xml("</optical-amplifier><optical-amplifier xmlns=\"http://openconfig.net/yang/optical-amplfier\">"),
     "/optical-amplifier: ", "is given twice"},
    // Names that the node does not give
    {"CreateUnderAnotherSpellingOfTheKey",
     amplifiers("{" + operation("create") +
                ", \"name\": \"0/01-AMP-PRE\", \"config\": {\"name\": \"0/01-AMP-PRE\", "
                "\"target-gain\": \"15.5\"}}"),
     "/optical-amplifier/amplifiers/amplifier[name='0/01-AMP-PRE']: ",
     "the 'name' of none is '0/01-AMP-PRE' [invalid-value]"},
    {"KeyGivenTwice",
     xml("<amplifiers><amplifier nc:operation=\"remove\"><name>0/2-AMP-BST</name><name>0/2-AMP-BST</name>"
         "</amplifier></amplifiers>"),
     BOOSTER "/name: ", "is given twice, expected once [bad-element]\n"},
    {"TwoKeysOfAnEntry",
     xml("<amplifiers><amplifier nc:operation=\"delete\"><name>0/2-AMP-BST</name><name>0/1-AMP-PRE</name>"
         "</amplifier></amplifiers>"),
     BOOSTER "/name: ", "is given twice, expected once [bad-element]\n"},
    {"KeyGivenTwiceWithoutDefaultOperation",
     xml("<amplifiers><amplifier><name>0/2-AMP-BST</name><name>0/2-AMP-BST</name></amplifier></amplifiers>"),
     BOOSTER "/name: ",
     "is given twice, expected once [bad-element]\n",
     {"--default-operation", "none"}},
    {"KeyGivenTwiceInJson",
     amplifiers("{" + operation("remove") +
                ", \"name\": \"0/2-AMP-BST\", \"openconfig-optical-amplifier:name\": \"0/2-AMP-BST\"}"),
     BOOSTER "/name: ", "is given twice, expected once [bad-element]\n"},
    {"EntryGivenTwice", amplifiers(amplifier("0/2-AMP-BST", "") + "," + amplifier("0/2-AMP-BST", "")), BOOSTER ": ",
     "given twice"},
    {"UnknownOperation", json("\"amplifiers\": {" + operation("destroy") + "}"),
     "/optical-amplifier/amplifiers: ", "operation 'destroy', expected one of: merge, replace, create, delete, remove"},
    {"AbsentAmplifierWithoutDefaultOperation",
     amplifiers(amplifier("0/3-AMP-PRE", "")),
     "/optical-amplifier/amplifiers/amplifier[name='0/3-AMP-PRE']: ",
     "[data-missing]",
     {"--default-operation", "none"}},
    {"OperationWithoutNamespace", xml("<amplifiers operation=\"delete\"/>"),
     "/optical-amplifier/amplifiers: ", "attribute 'operation=delete'"},
    {"OtherModel", "{\"other-module:root\": {}}", "/root: ", "module 'other-module' is none of the model's"},
    {"PrefixForAModuleName", "{\"oc-opt-amp:optical-amplifier\": {}}",
     "/optical-amplifier: ", "module 'oc-opt-amp' is none of the model's [unknown-namespace]"},
    {"ModuleNameForANamespace",
     "<config xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\">"
     "<optical-amplifier xmlns=\"openconfig-optical-amplifier\"/></config>",
     "/optical-amplifier: ", "namespace 'openconfig-optical-amplifier' is none of the model's [unknown-namespace]"},
    {"ModuleNameForTheNamespaceOfALeaf",
     xml("<amplifiers><amplifier><name>0/2-AMP-BST</name><config>"
         "<target-gain xmlns=\"openconfig-optical-amplifier\">11.0</target-gain></config></amplifier></amplifiers>"),
     BOOSTER "/config/target-gain: ", "is in the namespace 'openconfig-optical-amplifier', expected 'http"},
    {"ModuleNameForTheNamespaceOfAnIdentity",
     xml("<amplifiers><amplifier><name>0/2-AMP-BST</name><config>"
         "<type xmlns:x=\"openconfig-optical-amplifier\">x:EDFA</type></config></amplifier></amplifiers>"),
     BOOSTER "/config/type: ", "the prefix 'x' stands for no module of the model [invalid-value]"},
    {"TextAmongElements", xml("<amplifiers>all</amplifiers>"), "/optical-amplifier/amplifiers: ", "expected elements"},
    {"NoConfigElement",
     "<optical-amplifier xmlns=\"http://openconfig.net/yang/optical-amplfier\"/>",
     "standard input: ",
     "expected one element <config",
     {},
     2},
    {"BrokenXml", "<config xmlns=\"urn", "standard input: ", "not well-formed XML", {}, 2},
    {"BrokenJson", "{\"a\": ", "standard input: ", "not well-formed JSON", {}, 2},
    {"NeitherXmlNorJson", "target-gain = 5", "standard input: ", "neither XML nor JSON", {}, 2},
    {"NothingAtAll", "", "standard input: ", "neither XML nor JSON", {}, 2},
};

INSTANTIATE_TEST_SUITE_P(Edits, RefusedEdits, testing::ValuesIn(refusals),
                         [](const auto &refusal) { return std::string(refusal.param.test_name); });

} // namespace
