// Client documents, filters and edit requests: how they are read, what they ask of the plug-in, what they cut away.
#include "node/configuration_edit.h"
#include "node/edit_request.h"
#include "node/filter.h"
#include "node/node.h"
#include "yang/client_document.h"
#include "yang/models.h"
#include "yang/request_error.h"

#include <ctime>

#include <sys/resource.h>

#include <gmock/gmock.h>

using namespace ocamp;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

constexpr const char *openconfig_ns = "http://openconfig.net/yang/optical-amplfier";

std::vector<std::string> texts(const std::vector<RequestNode> &requests) {
    std::vector<std::string> shown;
    for (const RequestNode &request : requests)
        shown.push_back(tree_text(*DataTree(request).root()));
    return shown;
}

// Client documents

TEST(ClientDocument, XmlKeepsNamesNamespacesValuesAndOperations) {
    const auto nodes = read_document("<?xml version=\"1.0\"?>\n<a xmlns=\"urn:a\" "
                                     "xmlns:nc=\"urn:ietf:params:xml:ns:netconf:base:1.0\" nc:operation=\"replace\" "
                                     "kind=\"x\" nc:select=\"y\"><b> 1 </b><c xmlns=\"urn:c\"/></a>",
                                     DocumentFormat::xml, openconfig_schema());
    ASSERT_EQ(nodes.size(), 1U);
    EXPECT_EQ(nodes[0].name, "a");
    EXPECT_EQ(nodes[0].module, "urn:a");
    EXPECT_EQ(nodes[0].operation, "replace");
    EXPECT_THAT(nodes[0].attributes, ElementsAre("kind=x", "select=y"));
    ASSERT_EQ(nodes[0].children.size(), 2U);
    EXPECT_EQ(nodes[0].children[0].value, " 1 ");
    EXPECT_EQ(nodes[0].children[1].module, "urn:c");
}

TEST(ClientDocument, XmlMayLeaveNamespacesOutAndHaveSeveralRoots) {
    const auto nodes =
        read_document("\xEF\xBB\xBF <?xml version=\"1.0\"?><a/><b><c/></b>", DocumentFormat::xml, openconfig_schema());
    ASSERT_EQ(nodes.size(), 2U);
    EXPECT_EQ(nodes[1].children[0].name, "c");
    EXPECT_EQ(nodes[1].children[0].module, "");
}

TEST(ClientDocument, XmlKeepsTextBesideElementsUnlessItIsBlank) {
    const auto nodes = read_document("<a> text <b/></a><a> <b/> </a>", DocumentFormat::xml, openconfig_schema());
    ASSERT_EQ(nodes.size(), 2U);
    EXPECT_EQ(nodes[0].value, " text ");
    EXPECT_EQ(nodes[0].children.size(), 1U);
    EXPECT_EQ(nodes[1].value, "");
}

TEST(ClientDocument, JsonAnnotationsGoToTheirNodes) {
    const auto nodes = read_document(R"({"m:a": {"@": {"ietf-netconf:operation": "merge"}, "@leaf":
        {"ietf-netconf:operation": "delete"}, "leaf": 1.5, "@absent": {"ietf-netconf:operation": "remove"},
        "entry": [{"k": "x"}, {"@": {"ietf-netconf:operation": "create"}, "k": "y"}]}})",
                                     DocumentFormat::json, openconfig_schema());
    ASSERT_EQ(nodes.size(), 1U);
    EXPECT_EQ(nodes[0].operation, "merge");
    ASSERT_EQ(nodes[0].children.size(), 4U);
    for (const ClientNode &child : nodes[0].children) {
        EXPECT_EQ(child.module, "m");
        if (child.name == "leaf") {
            EXPECT_EQ(child.operation, "delete");
            EXPECT_EQ(child.value, "1.5");
        } else if (child.name == "absent") {
            EXPECT_EQ(child.operation, "remove");
            EXPECT_EQ(child.value, "");
            EXPECT_EQ(child.json, ClientNode::JsonForm::absent);
        } else {
            EXPECT_EQ(child.operation.value_or("none"), child.children[0].value == "y" ? "create" : "none");
        }
    }
}

TEST(ClientDocument, JsonAnnotationsOfALeafListGoToItsValues) {
    const auto nodes = read_document(R"({"m:a": ["x", "y", "z"], "@m:a": [null, {"ietf-netconf:operation": "merge",
        "m:hint": 3}]})",
                                     DocumentFormat::json, openconfig_schema());
    ASSERT_EQ(nodes.size(), 3U);
    EXPECT_EQ(nodes[0].operation, std::nullopt);
    EXPECT_EQ(nodes[1].operation, "merge");
    EXPECT_THAT(nodes[1].attributes, ElementsAre("m:hint=3"));
    EXPECT_EQ(nodes[2].operation, std::nullopt);
}

TEST(ClientDocument, JsonAnnotationsOfALeafListThatAreNoneAreToldByTheirNumber) {
    const auto first = read_document(R"({"m:a": ["x"], "@m:a": [{"ietf-netconf:operation": "merge"}]})",
                                     DocumentFormat::json, openconfig_schema());
    EXPECT_EQ(first.at(0).operation, "merge");
    for (const auto &[annotations, path] : {std::pair("[3]", "/@a[1]"), std::pair("[null, 3]", "/@a[2]")}) {
        const std::string document = std::string(R"({"m:a": ["x", "y"], "@m:a": )") + annotations + "}";
        EXPECT_THAT([&] { read_document(document, DocumentFormat::json, openconfig_schema()); },
                    testing::ThrowsMessage<RequestError>(std::string(path) +
                                                         ": is no annotation, expected an object [bad-attribute]"));
    }
    for (const char *annotations : {"3", "[null, null, null]"}) {
        const std::string document = std::string(R"({"m:a": ["x", "y"], "@m:a": )") + annotations + "}";
        EXPECT_THAT(
            [&] { read_document(document, DocumentFormat::json, openconfig_schema()); },
            testing::ThrowsMessage<RequestError>(HasSubstr("annotates an array, expected an array of at most 2")));
    }
    EXPECT_THAT(
        [] { read_document(R"({"m:a": [{"b": 1}], "@m:a": [null]})", DocumentFormat::json, openconfig_schema()); },
        testing::ThrowsMessage<RequestError>(HasSubstr("expected \"@\" inside each entry")));
}

TEST(ClientDocument, JsonValuesKeepTheirForm) {
    using Form = ClientNode::JsonForm;
    const auto nodes = read_document(R"({"m:a": {"s": "\ud83d\ude00", "n": -1.50, "i": 7, "b": true, "e": [null]}})",
                                     DocumentFormat::json, openconfig_schema());
    std::vector<std::pair<std::string, Form>> shown;
    for (const ClientNode &child : nodes[0].children)
        shown.emplace_back(child.value, *child.json);
    EXPECT_THAT(shown,
                ElementsAre(std::pair("\xF0\x9F\x98\x80", Form::string), std::pair("-1.50", Form::number),
                            std::pair("7", Form::number), std::pair("true", Form::boolean), std::pair("", Form::null)));
    EXPECT_TRUE(nodes[0].children.back().in_array);
}

TEST(ClientDocument, JsonNumbersThatAreTooLargeAreToldWithTheirPlace) {
    for (const auto &[document, path] :
         {std::pair(R"({"m:a": 1e400})", "/a: "), std::pair(R"({"m:a": [1, 1e400]})", "/a[2]: "),
          std::pair(R"({"m:a": [{"b": 1}, {"b": 1e400}]})", "/a[2]/b: ")}) {
        const std::string text = document;
        EXPECT_THAT([&] { read_document(text, DocumentFormat::json, openconfig_schema()); },
                    testing::ThrowsMessage<RequestError>(
                        std::string(path) + "the number 1e400 is larger than any that is read [invalid-value]"));
    }
}

TEST(ClientDocument, JsonTextsMayHoldWhiteSpaceAndNoOtherControlCharacter) {
    const auto nodes = read_document(R"({"m:a": "x\ty\r\n"})", DocumentFormat::json, openconfig_schema());
    EXPECT_EQ(nodes.at(0).value, "x\ty\r\n");
    EXPECT_THROW(read_document(R"({"m:a": "x\u0007"})", DocumentFormat::json, openconfig_schema()), RequestError);
}

TEST(ClientDocument, PrefixesOfValuesStandForTheModulesOfTheirNamespaces) {
    const auto nodes = read_document(std::string("<a xmlns:x=\"") + openconfig_ns +
                                         "\"><b> x:EDFA </b><b xmlns:x=\"urn:y\">x:EDFA</b><b>y:EDFA</b><b>EDFA</b>"
                                         "<b>x:EDFA</b><b xmlns:z=\"" +
                                         openconfig_ns + "\"/><b>z:EDFA</b></a>",
                                     DocumentFormat::xml, openconfig_schema());
    std::vector<std::optional<std::string>> modules;
    for (const ClientNode &child : nodes[0].children)
        modules.push_back(child.value_module);
    const std::optional<std::string> ours = "openconfig-optical-amplifier";
    EXPECT_THAT(modules, ElementsAre(ours, "", "", std::nullopt, ours, std::nullopt, ""));
}

TEST(ClientDocument, WhatIsNoDocumentIsRefused) {
    EXPECT_THROW(format_of("  "), DocumentError);
    EXPECT_THROW(format_of("[]"), DocumentError);
    EXPECT_THROW(read_document("<a xmlns=\"urn:a\"><b></a>", DocumentFormat::xml, openconfig_schema()), DocumentError);
    EXPECT_THROW(read_document("<a></document><document>", DocumentFormat::xml, openconfig_schema()), DocumentError);
    EXPECT_THROW(read_document("[1]", DocumentFormat::json, openconfig_schema()), DocumentError);
    EXPECT_THROW(read_document("{\"m:a\": ", DocumentFormat::json, openconfig_schema()), DocumentError);
    EXPECT_THROW(read_document("{\"m:a\": \"\\ud83d\"}", DocumentFormat::json, openconfig_schema()), DocumentError);
    EXPECT_THROW(read_document("<!DOCTYPE a [<!ENTITY e \"x\">]><a>&e;</a>", DocumentFormat::xml, openconfig_schema()),
                 DocumentError);
    EXPECT_THROW(read_document(std::string("<a\0/>", 5), DocumentFormat::xml, openconfig_schema()), DocumentError);
}

TEST(ClientDocument, DeepDocumentsAreRefusedBeforeTheyAreRead) {
    std::string xml, json = "{\"m:a\":";
    for (int i = 0; i < 100000; ++i) {
        xml += "<a>";
        json += "{\"a\":";
    }
    EXPECT_THROW(read_document(xml, DocumentFormat::xml, openconfig_schema()), DocumentError);
    EXPECT_THROW(read_document(json, DocumentFormat::json, openconfig_schema()), DocumentError);
}

TEST(ClientDocument, ManySiblingsAreReadInTimeThatGrowsWithThem) {
    std::string xml, json = "{\"m:a\":0";
    for (int i = 0; i < 100000; ++i) {
        xml += "<a" + std::to_string(i) + "/>";
        json += ",\"m:a" + std::to_string(i) + "\":1";
    }
    const std::clock_t begin = std::clock();
    EXPECT_EQ(read_document(xml, DocumentFormat::xml, openconfig_schema()).size(), 100000U);
    EXPECT_EQ(read_document(json + "}", DocumentFormat::json, openconfig_schema()).size(), 100001U);
    // It takes a second; in quadratic time it takes fifty and more.
    EXPECT_LT((std::clock() - begin) / CLOCKS_PER_SEC, 10);
}

// Filters

TEST(FilterDocument, ManySiblingsBecomeRequestsInTimeThatGrowsWithThem) {
    std::string document = "<optical-amplifier><amplifiers>";
    for (int i = 0; i < 50000; ++i)
        document += "<amplifier><name>a" + std::to_string(i) + "</name></amplifier>";
    const Filter filter = Filter::from_document(openconfig_schema(), document + "</amplifiers></optical-amplifier>");
    const std::clock_t begin = std::clock();
    EXPECT_EQ(filter.requests().size(), 50000U);
    EXPECT_LT((std::clock() - begin) / CLOCKS_PER_SEC, 5);
}

Filter path(const std::string &text) {
    return Filter::from_path(openconfig_schema(), text);
}

Filter filter(const std::string &content) {
    return Filter::from_document(openconfig_schema(), std::string("<optical-amplifier xmlns=\"") + openconfig_ns +
                                                          "\">" + content + "</optical-amplifier>");
}

TEST(FilterRequests, WholeModelIsTheBareRoot) {
    EXPECT_THAT(texts(Filter(openconfig_schema()).requests()), ElementsAre("<optical-amplifier>\n"));
    EXPECT_THAT(texts(path("/").requests()), ElementsAre("<optical-amplifier>\n"));
    EXPECT_THAT(texts(filter("").requests()), ElementsAre("<optical-amplifier>\n"));
}

TEST(FilterRequests, NamesMayHaveTheirModule) {
    const auto plain = texts(path("/optical-amplifier/amplifiers/amplifier/state").requests());
    for (const char *text : {"/openconfig-optical-amplifier:optical-amplifier/amplifiers/amplifier/state",
                             "openconfig-optical-amplifier:/optical-amplifier/amplifiers/amplifier/state",
                             "openconfig-optical-amplifier:optical-amplifier/amplifiers/amplifier/state"})
        EXPECT_EQ(texts(path(text).requests()), plain) << text;
}

TEST(FilterRequests, NamesThatAreNoneAreAnsweredWithThoseThatThereAre) {
    try {
        path("/optical-amplifier/no-such");
        ADD_FAILURE() << "taken";
    } catch (const FilterError &error) {
        EXPECT_THAT(error.what(), HasSubstr("no node 'no-such' in 'optical-amplifier', expected one of: amplifiers, "
                                            "supervisory-channels"));
    }
}

TEST(FilterRequests, KeyIsALeafThatSaysSo) {
    const auto requests = path("/optical-amplifier/amplifiers/amplifier[name='0/1-AMP-PRE']/state").requests();
    ASSERT_EQ(requests.size(), 1U);
    const RequestNode &entry = requests[0].children[0].children[0];
    ASSERT_EQ(entry.children.size(), 2U);
    EXPECT_TRUE(entry.children[0].key);
    EXPECT_EQ(entry.children[0].value, "0/1-AMP-PRE");
    EXPECT_EQ(entry.children[0].ns, openconfig_ns);
    EXPECT_EQ(entry.children[1].tag, "state");
    EXPECT_FALSE(entry.children[1].key);
    EXPECT_EQ(entry.children[1].value, std::nullopt);
}

TEST(FilterRequests, KeysStandInQuotes) {
    EXPECT_THAT([] { path("/optical-amplifier/amplifiers/amplifier[name=xax]"); },
                testing::ThrowsMessage<PathError>(HasSubstr("expected a value in quotes")));
}

TEST(FilterRequests, KeyWithAZeroByteIsRefused) {
    const std::string key("0/9-\0AMP", 8);
    EXPECT_THROW(path("/optical-amplifier/amplifiers/amplifier[name='" + key + "']"), FilterError);
}

TEST(FilterRequests, EntriesNamedByKeyHaveRunsOfTheirOwn) {
    const Filter several = filter("<amplifiers><amplifier><name>a</name></amplifier>"
                                  "<amplifier><name>b</name><config/></amplifier></amplifiers><supervisory-channels/>");
    EXPECT_THAT(texts(several.requests()),
                ElementsAre("<optical-amplifier>\n  <amplifiers>\n    <amplifier name=\"a\">\n      <name> \"a\"\n",
                            "<optical-amplifier>\n  <amplifiers>\n    <amplifier name=\"b\">\n      <name> \"b\"\n"
                            "      <config>\n",
                            "<optical-amplifier>\n  <supervisory-channels>\n"));
}

TEST(FilterRequests, RequestsForOnePlaceBecomeOne) {
    const Filter twice =
        filter("<amplifiers><amplifier><config/></amplifier><amplifier><state/></amplifier></amplifiers>");
    EXPECT_THAT(texts(twice.requests()), ElementsAre("<optical-amplifier>\n  <amplifiers>\n    <amplifier>\n"));
}

TEST(FilterRequests, TheSameLeafTwiceIsAskedForOnce) {
    EXPECT_THAT(
        texts(filter("<amplifiers><amplifier><name>a</name><name> a </name></amplifier></amplifiers>").requests()),
        ElementsAre("<optical-amplifier>\n  <amplifiers>\n    <amplifier name=\"a\">\n      <name> \"a\"\n"));
    EXPECT_THAT(texts(filter("<amplifiers><amplifier><name/><name/></amplifier></amplifiers>").requests()),
                ElementsAre("<optical-amplifier>\n  <amplifiers>\n    <amplifier>\n      <name>\n"));
}

TEST(FilterRequests, LeavesThatAreNotServedAskForNothing) {
    EXPECT_THAT(filter("<amplifiers><amplifier><state><component/></state></amplifier></amplifiers>").requests(),
                IsEmpty());
    EXPECT_THAT(
        texts(filter("<amplifiers><amplifier><config><min-gain/><enabled/></config></amplifier></amplifiers>")
                  .requests()),
        ElementsAre("<optical-amplifier>\n  <amplifiers>\n    <amplifier>\n      <config>\n        <enabled>\n"));
}

TEST(FilterRequests, UnknownNamesAskForNothing) {
    EXPECT_THAT(filter("<attenuators/>").requests(), IsEmpty());
    EXPECT_THAT(filter("<amplifiers><amplifier><colour/></amplifier></amplifiers>").requests(), IsEmpty());
    EXPECT_THAT(filter("<amplifiers xmlns=\"urn:other\"/>").requests(), IsEmpty());
    EXPECT_THAT(filter("<amplifiers>text</amplifiers>").requests(), IsEmpty());
    EXPECT_THAT(
        filter("<amplifiers><amplifier><config><enabled>maybe</enabled></config></amplifier></amplifiers>").requests(),
        IsEmpty());
    EXPECT_THAT(texts(filter("<attenuators/><amplifiers/>").requests()),
                ElementsAre("<optical-amplifier>\n  <amplifiers>\n"));
}

TEST(FilterRequests, KeysWithoutAValueGoWhereRequestsBecomeOne) {
    EXPECT_THAT(texts(filter("<amplifiers><amplifier><name/></amplifier><amplifier><config/></amplifier></amplifiers>")
                          .requests()),
                ElementsAre("<optical-amplifier>\n  <amplifiers>\n    <amplifier>\n"));
}

TEST(FilterRequests, WhatCarriesAnOperationOrBothAValueAndElementsSelectsNothing) {
    EXPECT_THAT(
        filter("<amplifiers xmlns:nc='urn:ietf:params:xml:ns:netconf:base:1.0' nc:operation='merge'/>").requests(),
        IsEmpty());
    EXPECT_THAT(filter("<amplifiers><amplifier><name>a<x/></name></amplifier></amplifiers>").requests(), IsEmpty());
}

TEST(FilterRequests, FilterElementsOfOtherModulesAreNone) {
    const std::string content = std::string("<optical-amplifier xmlns='") + openconfig_ns + "'/>";
    const auto requests = [&](const std::string &attributes) {
        return Filter::from_document(openconfig_schema(), "<filter" + attributes + ">" + content + "</filter>")
            .requests();
    };
    EXPECT_EQ(requests("").size(), 1U);
    EXPECT_EQ(requests(" xmlns='urn:ietf:params:xml:ns:netconf:base:1.0'").size(), 1U);
    EXPECT_THAT(requests(" xmlns='urn:other'"), IsEmpty());
}

TEST(FilterRequests, PathThatEndsWithinAKeyIsRefused) {
    for (const auto &[end, reason] :
         {std::pair("[name=", "expected a value in quotes"), std::pair("[name", "expected '='"),
          std::pair("[name='a", "expected the closing '"), std::pair("[name='a'", "expected ']'"),
          std::pair("[", "expected a name")}) {
        try {
            path(std::string("/optical-amplifier/amplifiers/amplifier") + end);
            ADD_FAILURE() << end;
        } catch (const PathError &error) {
            EXPECT_THAT(error.reason(), testing::EndsWith(std::string(": ") + reason));
        }
    }
}

class FilterCut : public testing::Test {
  protected:
    std::string cut(const Filter &by) const {
        YangTree tree = openconfig_schema().parse(R"({"openconfig-optical-amplifier:optical-amplifier": {"amplifiers":
            {"amplifier": [
              {"name": "a", "config": {"name": "a", "enabled": true}, "state": {"type": "EDFA", "actual-gain":
                {"instant": "1.5"}}},
              {"name": "b", "config": {"name": "b", "enabled": false}}]}}})",
                                                  LYD_JSON);
        by.cut(tree);
        std::string text = tree.print(LYD_JSON);
        std::erase_if(text, [](char character) { return character == ' ' || character == '\n'; });
        constexpr std::string_view head = "{\"openconfig-optical-amplifier:optical-amplifier\":{\"amplifiers\":";
        return text.starts_with(head) ? text.substr(head.size(), text.size() - head.size() - 2) : text;
    }
};

TEST_F(FilterCut, KeepsWhatIsSelectedAndTheKeysOfItsEntries) {
    EXPECT_EQ(cut(path("/optical-amplifier/amplifiers/amplifier/state/actual-gain")),
              R"({"amplifier":[{"name":"a","state":{"actual-gain":{"instant":"1.5"}}}]})");
    EXPECT_EQ(cut(filter("<amplifiers><amplifier><name/></amplifier></amplifiers>")),
              R"({"amplifier":[{"name":"a"},{"name":"b"}]})");
}

TEST_F(FilterCut, ContentMatchesAloneSelectTheWholeElement) {
    EXPECT_EQ(cut(filter("<amplifiers><amplifier><name> b </name></amplifier></amplifiers>")),
              R"({"amplifier":[{"name":"b","config":{"name":"b","enabled":false}}]})");
    EXPECT_EQ(cut(filter("<amplifiers><amplifier><config><enabled>false</enabled></config></amplifier></amplifiers>")),
              R"({"amplifier":[{"name":"b","config":{"name":"b","enabled":false}}]})");
}

TEST_F(FilterCut, ContentMatchBesideASelectionRestrictsAndIsShown) {
    EXPECT_EQ(
        cut(filter("<amplifiers><amplifier><config><enabled>true</enabled><name/></config></amplifier></amplifiers>")),
        R"({"amplifier":[{"name":"a","config":{"name":"a","enabled":true}}]})");
    EXPECT_EQ(cut(filter("<amplifiers><amplifier><name>a</name><colour/></amplifier></amplifiers>")),
              R"({"amplifier":[{"name":"a"}]})");
}

TEST_F(FilterCut, IdentitiesMatchByTheModuleOfTheirPrefix) {
    EXPECT_EQ(cut(filter("<amplifiers><amplifier><state><type>x:EDFA</type></state></amplifier></amplifiers>")), "");
    EXPECT_EQ(cut(filter("<amplifiers><amplifier><state><type xmlns:x=\"urn:y\">x:EDFA</type></state></amplifier>"
                         "</amplifiers>")),
              "");
    EXPECT_EQ(cut(filter("<amplifiers><amplifier><state><type xmlns:x=\"" + std::string(openconfig_ns) +
                         "\">x:EDFA</type></state></amplifier></amplifiers>")),
              R"({"amplifier":[{"name":"a","state":{"type":"openconfig-optical-amplifier:EDFA","actual-gain":)"
              R"({"instant":"1.5"}}}]})");
}

TEST_F(FilterCut, WhatMatchesNothingLeavesNothing) {
    EXPECT_EQ(cut(path("/optical-amplifier/amplifiers/amplifier[name='b']/state")), "");
    EXPECT_EQ(cut(path("/optical-amplifier/supervisory-channels")), "");
    EXPECT_EQ(cut(filter("<amplifiers><amplifier><name>c</name></amplifier></amplifiers>")), "");
    // Nor what stands beside a match that can never hold.
    EXPECT_EQ(cut(filter("<amplifiers><amplifier><state><type>nothing</type><actual-gain/></state></amplifier>"
                         "</amplifiers>")),
              "");
}

TEST_F(FilterCut, ContentMatchOfALeafThatIsNotThereDoesNotHold) {
    EXPECT_EQ(cut(filter("<amplifiers><amplifier><config><target-gain>1.5</target-gain></config></amplifier>"
                         "</amplifiers>")),
              "");
}

TEST(FilterOfNativeData, KeepsEntriesThatAreKeysAlone) {
    YangTree tree = native_schema().parse_valid(
        R"({"Korvex-controller-orvo8-ots-oper:ots-oper": {"ots-ports": {"ots-port": [{"name": "Ots0/1/0/0"}]}}})",
        LYD_JSON);
    const std::string before = tree.print(LYD_JSON);
    Filter::from_path(native_schema(), "/ots-oper/ots-ports/ots-port/name").cut(tree);
    EXPECT_EQ(tree.print(LYD_JSON), before);
    Filter::from_path(native_schema(), "/").remove_selected(tree);
    EXPECT_TRUE(tree.empty());
}

TEST_F(FilterCut, SeveralFiltersOfOneListAddUp) {
    EXPECT_EQ(cut(filter("<amplifiers><amplifier><name>b</name><config><enabled/></config></amplifier>"
                         "<amplifier><state><type/></state></amplifier></amplifiers>")),
              R"({"amplifier":[{"name":"a","state":{"type":"openconfig-optical-amplifier:EDFA"}},)"
              R"({"name":"b","config":{"enabled":false}}]})");
}

// Edit requests

std::vector<std::string> edit(const std::string &content, DefaultOperation operation = DefaultOperation::merge) {
    return texts(EditRequest(openconfig_schema(),
                             R"({"openconfig-optical-amplifier:optical-amplifier": )" + content + "}", operation)
                     .requests());
}

TEST(EditRequests, OneRunForEachEntryAndTheReplaceAboveThemOnce) {
    EXPECT_THAT(edit(R"({"amplifiers": {"@": {"ietf-netconf:operation": "replace"},
                         "amplifier": [{"name": "a"}, {"name": "b"}]}})"),
                ElementsAre("<optical-amplifier>\n  <amplifiers>  operation replace\n    <amplifier name=\"a\">\n"
                            "      <name> \"a\"\n",
                            "<optical-amplifier>\n  <amplifiers>\n    <amplifier name=\"b\">\n      <name> \"b\"\n"));
}

TEST(EditRequests, OperationsAreInheritedAndReplaceIsNot) {
    EXPECT_THAT(edit(R"({"amplifiers": {"amplifier": [{"@": {"ietf-netconf:operation": "create"}, "name": "a",
                         "config": {"name": "a"}}]}})"),
                ElementsAre(HasSubstr("<config>  operation create\n        <name> \"a\"  operation create\n")));
    EXPECT_THAT(edit(R"({"amplifiers": {"amplifier": [{"@": {"ietf-netconf:operation": "replace"}, "name": "a",
                         "config": {"name": "a"}}]}})"),
                ElementsAre(HasSubstr("      <config>\n        <name> \"a\"\n")));
}

TEST(EditRequests, KeyOfADeletedEntryIsNotDeleted) {
    EXPECT_THAT(edit(R"({"amplifiers": {"amplifier": [{"@": {"ietf-netconf:operation": "delete"}, "name": "a"}]}})"),
                ElementsAre("<optical-amplifier>\n  <amplifiers>\n    <amplifier name=\"a\">  operation delete\n"
                            "      <name> \"a\"\n"));
}

TEST(EditRequests, ContentOfWhatIsDeletedGoesWithIt) {
    const std::string content = R"("name": "a", "config": {"name": "a", "target-gain": "x", "min-gain": "1.0"})";
    const std::string entry = R"([{"@": {"ietf-netconf:operation": "delete"}, )" + content + "}]";
    EXPECT_THAT(edit(R"({"amplifiers": {"amplifier": )" + entry + "}}"),
                ElementsAre("<optical-amplifier>\n  <amplifiers>\n    <amplifier name=\"a\">  operation delete\n"
                            "      <name> \"a\"\n"));
    EXPECT_THAT(edit(R"({"amplifiers": {"@": {"ietf-netconf:operation": "remove"}, "amplifier": )" + entry + "}}"),
                ElementsAre("<optical-amplifier>\n  <amplifiers>  operation remove\n"));
}

// An answer that is sent back, with an attribute of its own on a leaf of state.
std::string answer_with(const std::string &attribute) {
    return std::string("<data xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\" "
                       "xmlns:nc=\"urn:ietf:params:xml:ns:netconf:base:1.0\"><optical-amplifier xmlns=\"") +
           openconfig_ns +
           "\"><amplifiers><amplifier><name>a</name><config><target-gain>1</target-gain></config><state>"
           "<name>a</name><actual-gain><instant " +
           attribute +
           ">1</instant><avg>2</avg></actual-gain></state></amplifier></amplifiers></optical-amplifier></data>";
}

TEST(EditRequests, StateInAnAnswerIsPassedOverUnlessItHasAnOperation) {
    const EditRequest request(openconfig_schema(), answer_with(""), DefaultOperation::merge, StateInEdit::passed_over);
    EXPECT_EQ(request.passed_over(), 3U) << "leaves";
    EXPECT_THAT(texts(request.requests()), ElementsAre(testing::Not(HasSubstr("state"))));
    EXPECT_THROW(EditRequest(openconfig_schema(), answer_with("nc:operation=\"merge\""), DefaultOperation::merge,
                             StateInEdit::passed_over),
                 RequestError);
}

TEST(EditRequests, ReplaceOfTheWholeConfigurationRemovesTheRootsThatAreNotGiven) {
    for (const char *document : {"{}", "<config xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\"/>"}) {
        EXPECT_THAT(texts(EditRequest(openconfig_schema(), document, DefaultOperation::replace).requests()),
                    ElementsAre("<optical-amplifier>  operation remove\n"));
        EXPECT_THAT(EditRequest(openconfig_schema(), document, DefaultOperation::merge).requests(), IsEmpty());
    }
}

TEST(EditRequests, ManySiblingsAreReadInTimeThatGrowsWithThem) {
    std::string document = R"({"amplifiers": {"amplifier": [{"name": "a")";
    for (int i = 0; i < 100000; ++i)
        document += ", \"m:a" + std::to_string(i) + "\": 1";
    const std::clock_t begin = std::clock();
    EXPECT_EQ(edit(document + "}]}}").size(), 1U);
    EXPECT_LT((std::clock() - begin) / CLOCKS_PER_SEC, 10);
}

// The most memory that this process has had so far, in KiB.
long most_memory() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

TEST(EditRequests, LongKeyTakesMemoryOnceHoweverMuchStandsBelow) {
    const std::string key(200000, 'k');
    std::string document = R"({"amplifiers": {"amplifier": [{"name": ")" + key + "\"";
    for (int i = 0; i < 4000; ++i)
        document += ", \"m:a" + std::to_string(i) + "\": 1";
    const long before = most_memory();
    EXPECT_EQ(edit(document + "}]}}").size(), 1U);
    // Once for each node it would be 800 MB. (Sanitizers keep what is freed for a while.)
    EXPECT_LT(most_memory() - before, 400L * 1024);
}

TEST(EditRequests, ManyKeysOfOneEntryAreRefusedInMemoryThatGrowsWithThem) {
    std::string document = R"(<config xmlns="urn:ietf:params:xml:ns:netconf:base:1.0"><optical-amplifier xmlns=")" +
                           std::string(openconfig_ns) + "\"><amplifiers><amplifier>";
    for (int i = 0; i < 30000; ++i)
        document += "<name>0/1-AMP-PRE</name>";
    document += "</amplifier></amplifiers></optical-amplifier></config>";
    const long before = most_memory();
    EXPECT_THROW(EditRequest(openconfig_schema(), document, DefaultOperation::merge), RequestError);
    EXPECT_LT(most_memory() - before, 100L * 1024);
}

TEST(EditRequests, SecondKeyOfAnEntryIsABadElement) {
    try {
        edit(R"({"amplifiers": {"amplifier": [{"name": "a", "openconfig-optical-amplifier:name": "b"}]}})");
        FAIL();
    } catch (const RequestError &error) {
        EXPECT_EQ(error.path(), "/optical-amplifier/amplifiers/amplifier[name='a']/name");
        EXPECT_EQ(error.tag(), error_tag::bad_element);
    }
}

TEST(EditRequests, DeletedLeafHasNoValue) {
    EXPECT_THAT(edit(R"({"amplifiers": {"amplifier": [{"name": "a", "config": {"enabled": true,
                         "@enabled": {"ietf-netconf:operation": "remove"}}}]}})"),
                ElementsAre(HasSubstr("<enabled>  operation remove\n")));
}

TEST(EditRequests, OneLeafIsSetOrDeleted) {
    const std::string path = "/optical-amplifier/amplifiers/amplifier[name='a']/config/target-gain";
    EXPECT_THAT(texts(EditRequest::set_leaf(openconfig_schema(), path, "+5.50").requests()),
                ElementsAre(HasSubstr("<target-gain> \"5.5\"\n")));
    EXPECT_THAT(texts(EditRequest::delete_leaf(openconfig_schema(), path).requests()),
                ElementsAre(HasSubstr("<target-gain>  operation delete\n")));
}

TEST(EditRequests, PathsThatLeadToNoLeafAreToldWhereTheyLead) {
    const auto refusal = [](const std::string &path) -> std::string {
        try {
            EditRequest::set_leaf(openconfig_schema(), path, "1");
        } catch (const PathError &error) {
            return error.what();
        }
        return "taken";
    };
    const std::string entry = "/optical-amplifier/amplifiers/amplifier[name='a']";
    EXPECT_EQ(refusal("/"), "/: leads to the whole model, expected a leaf [invalid-value]");
    EXPECT_EQ(refusal("/optical-amplifier/amplifiers"),
              "/optical-amplifier/amplifiers: leads to a container, expected a leaf [invalid-value]");
    EXPECT_EQ(refusal(entry), entry + ": leads to a list entry, expected a leaf [invalid-value]");
    EXPECT_EQ(refusal(entry + "/name"),
              entry + "/name: leads to the key of an entry, expected another leaf [invalid-value]");
}

TEST(EditRequests, ValuesAreCanonical) {
    EXPECT_THAT(edit(R"({"amplifiers": {"amplifier": [{"name": "a", "config": {"target-gain": "+15.50",
                         "type": "openconfig-optical-amplifier:EDFA"}}]}})"),
                ElementsAre(HasSubstr("<target-gain> \"15.5\"\n        <type> \"EDFA\"\n")));
}

TEST(EditRequests, WithoutDefaultOperationTheRestIsLeftOut) {
    EXPECT_THAT(edit(R"({"amplifiers": {"amplifier": [{"name": "a", "config": {"target-gain": "1",
                         "enabled": true, "@enabled": {"ietf-netconf:operation": "merge"}}}, {"name": "b"}]}})",
                     DefaultOperation::none),
                ElementsAre("<optical-amplifier>\n  <amplifiers>\n    <amplifier name=\"a\">\n      <name> \"a\"\n"
                            "      <config>\n        <enabled> \"true\"\n"));
    EXPECT_THAT(edit(R"({"amplifiers": {"amplifier": [{"name": "b"}]}})", DefaultOperation::none), IsEmpty());
}

TEST(EditRequests, ForeignNodesGoToThePluginAsTheyAre) {
    EXPECT_THAT(edit(R"({"amplifiers": {"amplifier": [{"name": "a", "config": {"other:group": {"colour": "red"}}}]}})"),
                ElementsAre(HasSubstr("      <config>\n        <group>\n          <colour> \"red\"\n")));
}

TEST(EditRequests, RefusalsCarryPathAndTag) {
    try {
        edit(R"({"amplifiers": {"amplifier": [{"name": "a", "config": {"gain": "1"}}]}})");
        FAIL();
    } catch (const RequestError &error) {
        EXPECT_EQ(error.path(), "/optical-amplifier/amplifiers/amplifier[name='a']/config/gain");
        EXPECT_EQ(error.tag(), error_tag::unknown_element);
        EXPECT_EQ(error.code(), CERR_SUCCESS);
    }
}

constexpr const char *config_begin = "<config xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\">";

// "TAG PATH: REASON" of a document that is refused.
std::string refusal_of_edit(const std::string &document) {
    try {
        EditRequest(openconfig_schema(), document, DefaultOperation::merge);
    } catch (const RequestError &error) {
        return std::string(word_of(error.tag())) + " " + error.path() + ": " + error.reason();
    }
    return "taken";
}

TEST(EditRequests, NamesThatAreNoneAreRefused) {
    EXPECT_EQ(refusal_of_edit(R"({"": 1})"), "unknown-element /: is no name");
    EXPECT_EQ(refusal_of_edit(R"({"openconfig-optical-amplifier:optical-amplifier": {"a\u0001": 1}})"),
              "unknown-element /optical-amplifier/a\x01: is no name");
    EXPECT_EQ(refusal_of_edit(R"({"colour": 1})"),
              "unknown-namespace /colour: has no namespace, expected that of its module");
    EXPECT_EQ(refusal_of_edit(std::string(config_begin) + "<colour xmlns=\"\"/></config>"),
              "unknown-namespace /colour: has no namespace, expected that of its module");
}

TEST(EditRequests, OperationsOnKeysAreRefusedUnlessTheyMerge) {
    const auto operation = [](const std::string &word) {
        return R"({"openconfig-optical-amplifier:optical-amplifier": {"amplifiers": {"amplifier": [{"name": "a",
                   "@name": {"ietf-netconf:operation": ")" +
               word + R"("}}]}}})";
    };
    EXPECT_EQ(refusal_of_edit(operation("merge")), "taken");
    for (const std::string word : {"delete", "create", "replace"})
        EXPECT_EQ(refusal_of_edit(operation(word)),
                  "bad-attribute /optical-amplifier/amplifiers/amplifier[name='a']/name: operation '" + word +
                      "' on a key, expected it on the entry");
}

TEST(EditRequests, LeavesHoldNoElements) {
    const std::string ns = openconfig_ns;
    EXPECT_EQ(refusal_of_edit(config_begin + ("<optical-amplifier xmlns=\"" + ns) +
                              "\"><amplifiers><amplifier><name>a</name><config><target-gain><x/></target-gain></config>"
                              "</amplifier></amplifiers></optical-amplifier></config>"),
              "invalid-value /optical-amplifier/amplifiers/amplifier[name='a']/config/target-gain: is a leaf, expected "
              "a value without elements");
}

// "TAG PATH: REASON" of an edit of OpenConfig data in JSON that is refused.
std::string refusal_of_content(const std::string &content) {
    return refusal_of_edit(R"({"openconfig-optical-amplifier:optical-amplifier": )" + content + "}");
}

TEST(EditRequests, WhatIsNoEditElementIsNoDocument) {
    for (const std::string document :
         {"<config xmlns='urn:other'/>", "<data xmlns='urn:ietf:params:xml:ns:netconf:base:1.0'/>",
          "<config xmlns='urn:ietf:params:xml:ns:netconf:base:1.0'/><config/>"}) {
        EXPECT_THROW(EditRequest(openconfig_schema(), document, DefaultOperation::merge), DocumentError) << document;
    }
    for (const std::string document :
         {"<data xmlns='urn:other'/>", "<data xmlns='urn:ietf:params:xml:ns:netconf:base:1.0'/><data/>"}) {
        EXPECT_THROW(EditRequest(openconfig_schema(), document, DefaultOperation::merge, StateInEdit::passed_over),
                     DocumentError)
            << document;
    }
}

TEST(EditRequests, ContainersAndListsAreWrittenAsObjects) {
    EXPECT_EQ(refusal_of_content(R"({"amplifiers": 5})"),
              "invalid-value /optical-amplifier/amplifiers: is a container, expected an object");
    EXPECT_EQ(refusal_of_content(R"({"amplifiers": [{}]})"),
              "invalid-value /optical-amplifier/amplifiers: is a container, expected an object");
    EXPECT_EQ(refusal_of_content(R"({"amplifiers": {"amplifier": ["a"]}})"),
              "invalid-value /optical-amplifier/amplifiers/amplifier: is a list, expected an array of objects");
}

TEST(EditRequests, NumbersOfTheNativeModelAreNumbers) {
    const auto refusal = [](const std::string &value) -> std::string {
        try {
            const EditRequest request(native_schema(),
                                      R"({"Korvex-ifmgr-cfg:interface-configurations":
                {"interface-configuration": [{"active": "act", "interface-name": "Ots0/1/0/0", "bandwidth": )" +
                                          value + "}]}}",
                                      DefaultOperation::merge);
        } catch (const RequestError &error) {
            return error.reason();
        }
        return "";
    };
    EXPECT_EQ(refusal("17"), "");
    for (const auto &[value, form] :
         {std::pair("\"17\"", "a string"), std::pair("true", "true or false"), std::pair("null", "null")})
        EXPECT_EQ(refusal(value), std::string("is ") + form + ", expected a number as RFC 7951 writes it");
    EXPECT_EQ(refusal("[17]"), "is an array, expected one value: it is a leaf");
}

TEST(EditRequests, KeyOfAnotherModuleIsNoKey) {
    EXPECT_EQ(
        refusal_of_content(R"({"amplifiers": {"amplifier": [{"name": "a", "other:name": "b"}]}})"),
        std::string("unknown-namespace /optical-amplifier/amplifiers/amplifier[name='a']/name: is in the namespace "
                    "'other', expected '") +
            openconfig_ns + "'");
}

TEST(EditRequests, ForeignNodesCarryTheirOperations) {
    EXPECT_THAT(edit(R"({"amplifiers": {"other:group": {"@": {"ietf-netconf:operation": "delete"}}, "amplifier": [
                         {"name": "a", "other:operation": "merge"}]}})"),
                ElementsAre("<optical-amplifier>\n  <amplifiers>\n    <group> \"\"  operation delete\n",
                            HasSubstr("      <name> \"a\"\n      <operation> \"merge\"\n")));
    EXPECT_EQ(refusal_of_content(R"({"amplifiers": {"other:group": {"@": {"ietf-netconf:operation": "mend"}}}})"),
              "bad-attribute /optical-amplifier/amplifiers/group: operation 'mend', expected one of: merge, replace, "
              "create, delete, remove");
}

TEST(EditRequests, ForeignNodesInsideWhatIsDeletedGoWithIt) {
    EXPECT_THAT(edit(R"({"amplifiers": {"amplifier": [{"@": {"ietf-netconf:operation": "delete"}, "name": "a",
                         "other:group": {"colour": "red"}}]}})"),
                ElementsAre("<optical-amplifier>\n  <amplifiers>\n    <amplifier name=\"a\">  operation delete\n"
                            "      <name> \"a\"\n"));
}

TEST(EditRequests, ForeignNodesWithoutAnOperationAreLeftOutWhereThereIsNoDefault) {
    EXPECT_THAT(edit(R"({"amplifiers": {"amplifier": [{"name": "a", "other:group": {"colour": "red"}}],
                         "other:group": {}}})",
                     DefaultOperation::none),
                IsEmpty());
    EXPECT_THAT(edit(R"({"amplifiers": {"amplifier": [{"name": "a", "other:group": {}, "config": {"enabled": true,
                         "@enabled": {"ietf-netconf:operation": "merge"}}}]}})",
                     DefaultOperation::none),
                ElementsAre(testing::AllOf(HasSubstr("<enabled>"), testing::Not(HasSubstr("group")))));
    EXPECT_THAT(edit(R"({"amplifiers": {"amplifier": [{"name": "a", "other:group": {"@": {"ietf-netconf:operation":
                         "merge"}}}]}})",
                     DefaultOperation::none),
                ElementsAre(HasSubstr("      <name> \"a\"\n      <group> \"\"\n")));
}

TEST(EditRequests, StateIsPassedOverBesideWhateverElseIsAskedFor) {
    const auto passed_over = [](const std::string &beside) {
        const EditRequest request(openconfig_schema(),
                                  R"({"openconfig-optical-amplifier:optical-amplifier": {"amplifiers": {"amplifier": [
                                      {"name": "a", "state": {"name": "a", "enabled": true})" +
                                      beside + "}]}}}",
                                  DefaultOperation::merge, StateInEdit::passed_over);
        return request.passed_over();
    };
    EXPECT_EQ(passed_over(R"(, "other:colour": "red")"), 2U) << "a node of another module";
    EXPECT_EQ(passed_over(R"(, "@": {"ietf-netconf:operation": "create"})"), 2U) << "an operation";
    EXPECT_THROW(passed_over(""), RequestError) << "nothing";
}

TEST(EditRequests, PathOfALeafLeadsToNothingElse) {
    const auto refusal = [](const std::string &path) -> std::string {
        try {
            EditRequest::set_leaf(openconfig_schema(), path, "1");
        } catch (const PathError &error) {
            return error.reason();
        }
        return "taken";
    };
    const std::string entry = "/optical-amplifier/amplifiers/amplifier[name='a']";
    EXPECT_EQ(refusal("/"), "leads to the whole model, expected a leaf");
    EXPECT_EQ(refusal(entry), "leads to a list entry, expected a leaf");
    EXPECT_EQ(refusal(entry + "/config"), "leads to a container, expected a leaf");
    EXPECT_EQ(refusal(entry + "/name"), "leads to the key of an entry, expected another leaf");
}

// Both sides of a node in one document

TEST(ConfigurationEdits, AreNativeWhereTheNamespaceIs) {
    const ConfigurationEdit both(R"({"openconfig-optical-amplifier:optical-amplifier": {},
        "Korvex-ifmgr-cfg:global-interface-configuration": {"link-status": "all"}})",
                                 DefaultOperation::merge);
    EXPECT_EQ(both.first_native_node(), "/global-interface-configuration");
    EXPECT_EQ(ConfigurationEdit("{}", DefaultOperation::merge).first_native_node(), std::nullopt);
    const std::string begin = std::string(config_begin) + "<global-interface-configuration xmlns='";
    EXPECT_EQ(
        ConfigurationEdit(begin + "http://korvex.example/ns/yang/Korvex-ifmgr-cfg'/></config>", DefaultOperation::merge)
            .first_native_node(),
        "/global-interface-configuration");
    EXPECT_THAT([&] { ConfigurationEdit(begin + "Korvex-ifmgr-cfg'/></config>", DefaultOperation::merge); },
                testing::ThrowsMessage<RequestError>(HasSubstr("/global-interface-configuration: namespace "
                                                               "'Korvex-ifmgr-cfg' is none of the model's")));
}

} // namespace
