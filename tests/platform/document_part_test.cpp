// What a request leaves of a stored document: never less than what it selects, and nothing of a text that is none.
#include "node/document_part.h"
#include "node/native_data.h"
#include "yang/models.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace ocamp;

// One step to an entry, then its keys.
struct Key {
    std::string name, value;
};

OutputNode node(const std::string &tag, std::vector<OutputNode> children = {}) {
    return {.tag = tag, .ns = {}, .children = std::move(children)};
}

OutputNode entry(const std::string &tag, const std::vector<Key> &keys) {
    OutputNode entry = node(tag);
    for (const Key &key : keys)
        entry.children.push_back({.tag = key.name, .ns = {}, .value = key.value});
    return entry;
}

std::string part(const std::string &document, const OutputNode &request) {
    const lysc_node *root = native_schema().find(nullptr, request.tag);
    return document_part(native_schema(), document, *root, request).value_or("none");
}

const std::string head = R"({"Korvex-controller-orvo8-ots-oper:ots-oper":{"ots-ports":{"ots-port":[)";
const std::string ports =
    head + R"({"name":"Ots0/1/0/0","a":{"b":["]",{"c":"}\""}]}},{"name":"Ots0/2/0/0"},{"name":"x"}]}}})";

OutputNode port(const std::vector<Key> &keys) {
    return node("ots-oper", {node("ots-ports", {entry("ots-port", keys)})});
}

TEST(DocumentPart, HasTheEntriesThatAreNamed) {
    EXPECT_EQ(part(ports, port({{"name", "Ots0/2/0/0"}})), head + R"({"name":"Ots0/2/0/0"}]}}})");
    EXPECT_EQ(part(ports, port({{"name", "Ots0/1/0/0"}})),
              head + R"({"name":"Ots0/1/0/0","a":{"b":["]",{"c":"}\""}]}}]}}})");
    EXPECT_EQ(part(ports, port({{"name", "none"}})), head + "]}}}");
    EXPECT_EQ(part(ports, node("ots-oper", {node("ots-ports", {entry("ots-port", {{"name", "x"}}),
                                                               entry("ots-port", {{"name", "Ots0/2/0/0"}})})})),
              head + R"({"name":"Ots0/2/0/0"},{"name":"x"}]}}})");
}

TEST(DocumentPart, IsWholeWhereNothingIsNamed) {
    EXPECT_EQ(part(ports, port({})), ports);
    EXPECT_EQ(part(ports, node("ots-oper")), ports);
    EXPECT_EQ(part(ports, port({{"other", "x"}})), ports) << "no key";
    const OutputNode named = entry("ots-port", {{"name", "x"}});
    EXPECT_EQ(part(ports, node("ots-oper", {node("ots-ports", {named, node("ots-port")})})), ports);
}

TEST(DocumentPart, HasEveryKeyOfAnEntry) {
    const std::string begin = R"({"Korvex-ifmgr-cfg:interface-configurations":{"interface-configuration":[)";
    const std::string first = R"({"active":"act","interface-name":"a","mtus":{}})";
    const std::string second = R"({"active":"pre","interface-name":"b"})";
    const std::string document = begin + first + "," + second + "]}}";
    const auto interface = [](const std::vector<Key> &keys) {
        return node("interface-configurations", {entry("interface-configuration", keys)});
    };
    EXPECT_EQ(part(document, interface({{"interface-name", "b"}})), begin + second + "]}}");
    EXPECT_EQ(part(document, interface({{"active", "act"}})), begin + first + "]}}");
    EXPECT_EQ(part(document, interface({{"active", "act"}, {"interface-name", "b"}})), begin + "]}}");
}

TEST(DocumentPart, HasTheOneRoot) {
    const std::string root = R"("Korvex-ifmgr-cfg:interface-configurations":{"interface-configuration":[]})";
    const std::string other = R"("Korvex-ifmgr-cfg:global-interface-configuration":{"link-status":"physical"})";
    const std::string foreign = R"("other:interface-configurations":{})";
    std::string document = "{";
    document.append(other).append(",").append(foreign).append(",").append(root).append(",").append(other).append("}");
    EXPECT_EQ(part(document, node("interface-configurations")), "{" + root + "}");
    EXPECT_EQ(part("{" + other + "}", node("interface-configurations")), "none");
    EXPECT_EQ(part("{}", node("interface-configurations")), "none");
}

TEST(DocumentPart, KeepsEntriesWhoseKeysAreNoPlainTexts) {
    for (const std::string key : {R"("name":"\u0078")", R"("name":"x:y")", R"("name":7)", R"("other":"y")"}) {
        const std::string document = head + "{" + key + "}]}}}";
        EXPECT_EQ(part(document, port({{"name", "x"}})), document);
    }
}

TEST(DocumentPart, IsNothingOfATextThatIsCutShortOrLonger) {
    for (std::size_t size = 0; size < ports.size(); ++size)
        EXPECT_EQ(part(ports.substr(0, size), port({{"name", "x"}})), "none") << ports.substr(0, size);
    EXPECT_EQ(part(ports + " ", port({{"name", "x"}})), "none");
    for (const std::string text : {"[]", "7", "{7}", "{\"a\"}", "{\"a\":}", "{\"a\":1,}", " {}"})
        EXPECT_EQ(part(text, port({})), "none") << text;
    EXPECT_EQ(
        part(R"({"Korvex-controller-orvo8-ots-oper:ots-oper":{"ots-ports":{"ots-port":{}}}})", port({{"name", "x"}})),
        "none")
        << "a list that is none";
}

TEST(DocumentPart, PassesOverValuesOfEveryLength) {
    const std::string root =
        R"("Korvex-ifmgr-cfg:interface-configurations":{"number":-17.5,"interface-configuration":[)"
        R"({"active":"act","interface-name":"a"}],"flag":true,"none":null})";
    std::string document = R"({"other:number":1234,"other:flag":false,)";
    document.append(root).append(R"(,"other:last":[10,20]})");
    EXPECT_EQ(part(document, node("interface-configurations", {entry("interface-configuration", {{"active", "act"}})})),
              "{" + root + "}");
}

TEST(DocumentPart, HasLeavesAndEmptyContainersAsTheyStand) {
    const std::string document = R"({"Korvex-ifmgr-cfg:global-interface-configuration":{"link-status":"all"}})";
    EXPECT_EQ(part(document, node("global-interface-configuration", {node("link-status")})), document);
    const std::string empty = R"({"Korvex-controller-orvo8-ots-oper:ots-oper":{}})";
    EXPECT_EQ(part(empty, port({{"name", "x"}})), empty);
}

} // namespace
