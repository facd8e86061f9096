// Messages as elements: what is kept, what is handed on as text, and what is refused.
#include "server/netconf/message.h"

#include <string>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace ocamp::netconf;
using testing::HasSubstr;

Element read(std::string_view message) {
    return read_message(message, {.depth = 20, .elements = 50});
}

std::string complaint(std::string_view message) {
    try {
        read(message);
        return "taken";
    } catch (const MessageError &error) {
        return error.what();
    }
}

TEST(Message, HasNamesAttributesAndText) {
    const std::string text =
        " \n<?xml version='1.0'?><n:rpc xmlns:n='u' xmlns='v' n:a='1' b='2'>t<c>x&amp;y</c>u</n:rpc>\n";
    const Element root = read(text);
    EXPECT_EQ("rpc", root.name);
    EXPECT_EQ("u", root.ns);
    EXPECT_EQ("tu", root.text);
    ASSERT_EQ(2U, root.attributes.size());
    EXPECT_EQ("u", root.attributes[0].ns);
    EXPECT_EQ("2", root.attribute("b")->value);
    EXPECT_EQ(nullptr, root.attribute("a"));
    ASSERT_EQ(1U, root.children.size());
    EXPECT_EQ("v", root.children[0].ns);
    EXPECT_EQ("x&y", root.children[0].text);
    EXPECT_EQ("<c>x&amp;y</c>", root.children[0].source);
    EXPECT_EQ("n:rpc", root.written_name());
    EXPECT_EQ(" xmlns:n='u' xmlns='v' n:a='1' b='2'", root.written_attributes());
}

TEST(Message, TagsEndBehindTheirAttributes) {
    const std::string text = "<rpc a='>' b=\"/>'\" />";
    EXPECT_EQ(" a='>' b=\"/>'\" ", read(text).written_attributes());
}

TEST(Element, IsADocumentWithTheNamespacesThatItHas) {
    const std::string text = "<rpc xmlns='base' xmlns:a='A' xmlns:ab='AB' xmlns:q='&quot;'><config xmlns:ab='other' "
                             "xmlns:c='C'><x/></config></rpc>";
    const Element root = read(text);
    const std::string document = root.children[0].document();
    EXPECT_EQ("<config xmlns=\"base\" xmlns:a=\"A\" xmlns:q=\"&quot;\" xmlns:ab='other' xmlns:c='C'><x/></config>",
              document);
    EXPECT_EQ("base", read(document).ns);
}

TEST(Element, KeepsADefaultNamespaceThatItTakesAway) {
    const std::string text = "<rpc xmlns='base'><filter xmlns=''><x/></filter><empty/></rpc>";
    const Element root = read(text);
    EXPECT_EQ("<filter xmlns=''><x/></filter>", root.children[0].document());
    EXPECT_EQ("<empty xmlns=\"base\"/>", root.children[1].document());
}

TEST(Element, IsKeptDownToTheLevelOfTheProtocol) {
    const std::string text = "<a><b><c><d><e>t<f>u<g/></f></e></d></c></b></a>";
    const Element root = read(text);
    const Element &deepest = root.children[0].children[0].children[0].children[0];
    EXPECT_EQ("e", deepest.name);
    EXPECT_EQ("t", deepest.text);
    EXPECT_TRUE(deepest.children.empty());
    EXPECT_EQ("<e>t<f>u<g/></f></e>", deepest.source);
}

TEST(Message, IsRefusedWhenItIsNone) {
    EXPECT_THAT(complaint(""), HasSubstr("no element found"));
    EXPECT_THAT(complaint("rpc"), HasSubstr("not well-formed XML: line 1"));
    EXPECT_THAT(complaint("<a>"), HasSubstr("not well-formed XML"));
    EXPECT_THAT(complaint("<a></b>"), HasSubstr("mismatched tag"));
    EXPECT_THAT(complaint("<a/><b/>"), HasSubstr("junk after document element"));
    EXPECT_THAT(complaint("<p:a/>"), HasSubstr("unbound prefix"));
    EXPECT_THAT(complaint("<a b='1' b='2'/>"), HasSubstr("duplicate attribute"));
    EXPECT_THAT(complaint("<a>&b;</a>"), HasSubstr("undefined entity"));
    EXPECT_EQ("bytes that are no UTF-8", complaint("<a>\xff</a>"));
    EXPECT_EQ("bytes that are no UTF-8", complaint("<a>\xc3</a>"));
    EXPECT_THAT(complaint(std::string_view("<a>\0</a>", 8)), HasSubstr("not well-formed"));
    EXPECT_THAT(complaint("<a>&#0;</a>"), HasSubstr("reference to invalid character"));
}

TEST(Message, HasNoDocumentType) {
    EXPECT_EQ("a document type, expected none",
              complaint("<!DOCTYPE a [<!ENTITY b 'bbbbbbbb'><!ENTITY c '&b;&b;&b;'>]><a>&c;</a>"));
    EXPECT_EQ("a document type, expected none", complaint("<!DOCTYPE a SYSTEM 'file:///etc/passwd'><a/>"));
}

TEST(Message, IsUtf8AndSaysNothingElse) {
    EXPECT_EQ("taken", complaint("<?xml version='1.0' encoding='utf-8'?><a>\xc3\xa4</a>"));
    EXPECT_EQ("the encoding 'ISO-8859-1', expected UTF-8",
              complaint("<?xml version='1.0' encoding='ISO-8859-1'?><a>\xc3\xa4</a>"));
    EXPECT_EQ("the encoding 'UTF-16', expected UTF-8", complaint("<?xml version='1.0' encoding='UTF-16'?><a/>"));
}

TEST(Message, HoldsToItsLimits) {
    const auto nested = [](int levels) {
        std::string text;
        for (int i = 0; i < levels; ++i)
            text += "<a>";
        for (int i = 0; i < levels; ++i)
            text += "</a>";
        return text;
    };
    EXPECT_EQ("taken", complaint(nested(20)));
    EXPECT_EQ("nested more than 20 levels deep, expected at most 20", complaint(nested(21)));
    const auto flat = [](int elements) {
        std::string text = "<a>";
        for (int i = 1; i < elements; ++i)
            text += "<b/>";
        return text + "</a>";
    };
    EXPECT_EQ("taken", complaint(flat(50)));
    EXPECT_EQ("more than 50 elements, expected at most 50", complaint(flat(51)));
    const auto declaring = [](int namespaces) {
        std::string text = "<a xmlns:x='u'><b";
        for (int i = 1; i < namespaces; ++i)
            text += fmt::format(" xmlns:n{}='u'", i);
        // Those of elements that have ended are none of the next one's.
        return text + "/><b xmlns='u'/><b xmlns='u'><c><c><c><c xmlns='v'/></c></c></c></b></a>";
    };
    EXPECT_EQ("taken", complaint(declaring(256)));
    EXPECT_EQ("more than 256 namespaces declared around one place, expected at most 256", complaint(declaring(257)));
}

TEST(Text, IsEscaped) {
    EXPECT_EQ("a&amp;b&lt;c&gt;d&quot;e\n\xc3\xa4", xml_text("a&b<c>d\"e\n\xc3\xa4"));
    EXPECT_EQ("\xef\xbf\xbd&#xD;\xef\xbf\xbd", xml_text("\x01\r\xff"));
    EXPECT_EQ("\ta~\xef\xbf\xbd", xml_text("\ta~\xff"));
}

} // namespace
