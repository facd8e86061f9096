// Requests, hellos and refusals as they go over the wire, without a session.
#include "server/netconf/models.h"
#include "server/netconf/request.h"
#include "yang/client_document.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace ocamp;
using namespace ocamp::netconf;
using testing::HasSubstr;

Request request(const std::string &text) {
    return Request(text, {});
}

std::string rpc(const std::string &content) {
    return "<rpc xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\" message-id=\"1\">" + content + "</rpc>";
}

// "TYPE TAG NAME=VALUE...", or "taken".
std::string refusal(const std::string &message) {
    try {
        request(message).check();
        return "taken";
    } catch (const Refusal &refusal) {
        const RpcError &error = refusal.errors().front();
        std::string text = error.type == ErrorType::rpc        ? "rpc "
                           : error.type == ErrorType::protocol ? "protocol "
                                                               : "application ";
        text += word_of(error.tag);
        for (const auto &[name, value] : error.info)
            text += " " + name + "=" + value;
        return text;
    }
}

TEST(Request, IsAnRpcInItsNamespace) {
    EXPECT_EQ("taken", refusal(rpc("<get/>")));
    EXPECT_EQ("taken",
              refusal("<n:rpc xmlns:n='urn:ietf:params:xml:ns:netconf:base:1.0' message-id='1'><n:get/></n:rpc>"));
    EXPECT_EQ("rpc malformed-message", refusal("<rpc message-id='1'><get/></rpc>"));
    EXPECT_EQ("rpc malformed-message", refusal("<hello xmlns='urn:ietf:params:xml:ns:netconf:base:1.0'/>"));
    EXPECT_EQ("rpc malformed-message", refusal("<rpc"));
    EXPECT_EQ("rpc malformed-message", refusal("\xff"));
    EXPECT_EQ("rpc malformed-message", refusal("<!DOCTYPE rpc>" + rpc("<get/>")));
}

TEST(Request, HasAMessageIdAndOneOperation) {
    EXPECT_EQ("rpc missing-attribute bad-attribute=message-id bad-element=rpc",
              refusal("<rpc xmlns='urn:ietf:params:xml:ns:netconf:base:1.0'><get/></rpc>"));
    EXPECT_EQ("rpc missing-element bad-element=rpc", refusal(rpc("")));
    EXPECT_EQ("rpc bad-element bad-element=get-config", refusal(rpc("<get/><get-config/>")));
}

TEST(Request, NamesAnOperationThatThereIs) {
    EXPECT_EQ("protocol operation-not-supported", refusal(rpc("<reboot/>")));
    EXPECT_EQ("protocol operation-not-supported", refusal(rpc("<partial-lock/>")));
    EXPECT_EQ("protocol operation-not-supported",
              refusal(rpc("<delete-config><target><running/></target></delete-config>")));
    EXPECT_EQ("protocol unknown-namespace bad-element=get bad-namespace=urn:other",
              refusal(rpc("<get xmlns='urn:other'/>")));
    EXPECT_EQ("protocol operation-not-supported",
              refusal(rpc("<get xmlns='urn:ietf:params:xml:ns:yang:ietf-netconf-monitoring'/>")));
}

TEST(Request, HasTheParametersOfItsModel) {
    EXPECT_EQ("taken", refusal(rpc("<get-config><source><running/></source></get-config>")));
    EXPECT_EQ("taken", refusal(rpc("<get-config><source><candidate/></source><filter type='subtree'/></get-config>")));
    EXPECT_EQ("protocol missing-element bad-element=source", refusal(rpc("<get-config/>")));
    EXPECT_EQ("protocol missing-element bad-element=candidate", refusal(rpc("<get-config><source/></get-config>")));
    EXPECT_EQ("protocol unknown-element bad-element=startup",
              refusal(rpc("<get-config><source><startup/></source></get-config>")));
    EXPECT_EQ("protocol bad-element bad-element=candidate",
              refusal(rpc("<get-config><source><running/><candidate/></source></get-config>")));
    EXPECT_EQ("protocol bad-element bad-element=source",
              refusal(rpc("<get-config><source><running/></source><source><running/></source></get-config>")));
    EXPECT_EQ("protocol unknown-element bad-element=x",
              refusal(rpc("<get-config><source><running/></source><x/></get-config>")));
    EXPECT_EQ("protocol unknown-namespace bad-element=source bad-namespace=urn:other",
              refusal(rpc("<get-config><source xmlns='urn:other'><running/></source></get-config>")));
    EXPECT_EQ("protocol unknown-attribute bad-attribute=a bad-element=source",
              refusal(rpc("<get-config><source a='1'><running/></source></get-config>")));
    EXPECT_EQ("protocol bad-element bad-element=source",
              refusal(rpc("<get-config><source>running<running/></source></get-config>")));
    EXPECT_EQ("protocol unknown-element bad-element=url",
              refusal(rpc("<edit-config><target><running/></target><url>file:///x</url></edit-config>")));
    EXPECT_EQ("protocol missing-element bad-element=config",
              refusal(rpc("<edit-config><target><running/></target></edit-config>")));
    EXPECT_EQ("protocol missing-element bad-element=target", refusal(rpc("<edit-config><config/></edit-config>")));
}

TEST(Request, HasNoAttributesButThoseOfFiltersAndOfOthers) {
    const std::string filtered = "<get-config><source><running/></source><filter ";
    EXPECT_EQ("taken", refusal(rpc(filtered + "xmlns:n='urn:ietf:params:xml:ns:netconf:base:1.0' n:type='xpath' "
                                              "n:select='/*'/></get-config>")));
    EXPECT_EQ("taken", refusal(rpc(filtered + "xmlns:x='urn:x' x:type='xpath'/></get-config>")));
    EXPECT_EQ("taken", refusal(rpc("<get xmlns:x='urn:x' x:a='1'/>")));
    EXPECT_EQ("taken", refusal(rpc("<get-config><source xmlns:x='urn:x' x:a='1'><running/></source></get-config>")));
    EXPECT_EQ("protocol unknown-attribute bad-attribute=a bad-element=get", refusal(rpc("<get a='1'/>")));
    EXPECT_EQ("protocol unknown-attribute bad-attribute=type bad-element=identifier",
              refusal(rpc("<get-schema xmlns='urn:ietf:params:xml:ns:yang:ietf-netconf-monitoring'>"
                          "<identifier type='xpath'>x</identifier></get-schema>")));
}

TEST(Request, OfASubscriptionMayHaveItsFilterInEitherNamespace) {
    const auto subscribe = [](const std::string &content) {
        return rpc("<create-subscription xmlns='urn:ietf:params:xml:ns:netconf:notification:1.0'>" + content +
                   "</create-subscription>");
    };
    EXPECT_EQ("taken", refusal(subscribe("<filter/>")));
    EXPECT_EQ("taken", refusal(subscribe("<filter xmlns='urn:ietf:params:xml:ns:netconf:base:1.0'/>")));
    EXPECT_EQ("protocol unknown-element bad-element=stream",
              refusal(subscribe("<stream xmlns='urn:ietf:params:xml:ns:netconf:base:1.0'>NETCONF</stream>")));
    EXPECT_EQ("protocol unknown-namespace bad-element=filter bad-namespace=urn:other",
              refusal(subscribe("<filter xmlns='urn:other'/>")));
}

TEST(Request, HasValuesOfTheirTypes) {
    EXPECT_EQ("taken", refusal(rpc("<kill-session><session-id>4294967295</session-id></kill-session>")));
    EXPECT_EQ("protocol invalid-value bad-element=session-id",
              refusal(rpc("<kill-session><session-id>0</session-id></kill-session>")));
    EXPECT_EQ("protocol invalid-value bad-element=session-id",
              refusal(rpc("<kill-session><session-id>x</session-id></kill-session>")));
    EXPECT_EQ("protocol invalid-value bad-element=default-operation",
              refusal(rpc("<edit-config><target><running/></target><default-operation>delete</default-operation>"
                          "<config/></edit-config>")));
    EXPECT_EQ("protocol invalid-value bad-element=confirm-timeout",
              refusal(rpc("<commit><confirmed/><confirm-timeout>0</confirm-timeout></commit>")));
    const auto schema = [](const std::string &format) {
        return rpc("<get-schema xmlns='urn:ietf:params:xml:ns:yang:ietf-netconf-monitoring' "
                   "xmlns:m='urn:ietf:params:xml:ns:yang:ietf-netconf-monitoring' "
                   "xmlns:u='urn:u'><identifier>x</identifier><format>" +
                   format + "</format></get-schema>");
    };
    EXPECT_EQ("taken", refusal(schema("yang")));
    EXPECT_EQ("taken", refusal(schema("m:yin")));
    EXPECT_EQ("protocol invalid-value bad-element=format", refusal(schema("pdf")));
    EXPECT_EQ("protocol invalid-value bad-element=format", refusal(schema("n:yang")));
    EXPECT_EQ("protocol invalid-value bad-element=format", refusal(schema("u:yang")));
    // Of no default namespace, an identity without a prefix is the model's own.
    EXPECT_EQ("taken", refusal("<n:rpc xmlns:n='urn:ietf:params:xml:ns:netconf:base:1.0' message-id='1' "
                               "xmlns:m='urn:ietf:params:xml:ns:yang:ietf-netconf-monitoring'><m:get-schema>"
                               "<m:identifier>x</m:identifier><m:format>yang</m:format></m:get-schema></n:rpc>"));
    EXPECT_EQ("protocol unknown-element bad-element=x",
              refusal(rpc("<kill-session><session-id>1<x/></session-id></kill-session>")));
}

TEST(Reply, HasTheAttributesOfItsRequest) {
    const Request asked = request("<n:rpc xmlns:n='urn:ietf:params:xml:ns:netconf:base:1.0' xmlns:x='urn:x' "
                                  "x:user=\"a&amp;'b\" n:message-id='7' message-id='a>b'><n:get/></n:rpc>");
    const std::string reply = asked.reply("<ok xmlns='urn:ietf:params:xml:ns:netconf:base:1.0'/>");
    const Element root = read_message(reply, {});
    EXPECT_EQ("rpc-reply", root.name);
    EXPECT_EQ(netconf_namespace, root.ns);
    ASSERT_EQ(3U, root.attributes.size());
    EXPECT_EQ("urn:x", root.attributes[0].ns);
    EXPECT_EQ("a&'b", root.attributes[0].value);
    EXPECT_EQ("a>b", root.attribute("message-id")->value);
    EXPECT_NE(nullptr, root.child("ok"));
}

std::string hello(const std::string &content) {
    return "<hello xmlns='urn:ietf:params:xml:ns:netconf:base:1.0'>" + content + "</hello>";
}

std::string hello_refusal(const std::string &message) {
    try {
        return read_hello(message, {}).chunks ? "chunks" : "marks";
    } catch (const MessageError &error) {
        return error.what();
    }
}

TEST(Hello, SaysWhichFraming) {
    EXPECT_EQ("marks", hello_refusal(hello("<capabilities><capability> urn:ietf:params:netconf:base:1.0 "
                                           "</capability></capabilities>")));
    EXPECT_EQ("chunks",
              hello_refusal(hello("<capabilities><capability>urn:ietf:params:netconf:base:1.0</capability>"
                                  "<capability>urn:ietf:params:netconf:base:1.1</capability></capabilities>")));
}

TEST(Hello, IsChecked) {
    EXPECT_THAT(hello_refusal(rpc("<get/>")), HasSubstr("expected 'hello'"));
    EXPECT_THAT(hello_refusal("<hello/>"), HasSubstr("expected 'hello'"));
    EXPECT_THAT(hello_refusal(hello("")), HasSubstr("without capabilities"));
    EXPECT_THAT(hello_refusal(hello("<capabilities xmlns='urn:x'/>")), HasSubstr("without capabilities"));
    EXPECT_THAT(hello_refusal(hello("<capabilities/>")), HasSubstr("expected one of them"));
    EXPECT_THAT(hello_refusal(hello("<session-id>4</session-id><capabilities><capability>"
                                    "urn:ietf:params:netconf:base:1.1</capability></capabilities>")),
                HasSubstr("session-id"));
    EXPECT_THAT(hello_refusal("<hello"), HasSubstr("not well-formed"));
}

TEST(ErrorPath, HasPrefixesBeforeEveryName) {
    const PrefixedPath path = prefixed(
        "/openconfig-optical-amplifier:optical-amplifier/amplifiers/amplifier[name='0/1:a/b']/config/target-gain");
    EXPECT_EQ("/oc-opt-amp:optical-amplifier/oc-opt-amp:amplifiers/oc-opt-amp:amplifier[oc-opt-amp:name='0/1:a/b']"
              "/oc-opt-amp:config/oc-opt-amp:target-gain",
              path.text);
    EXPECT_EQ((Namespaces{{"oc-opt-amp", "http://openconfig.net/yang/optical-amplfier"}}), path.namespaces);
    EXPECT_EQ(path.text, prefixed("/optical-amplifier/amplifiers/amplifier[name='0/1:a/b']/config/target-gain").text);
    EXPECT_EQ(R"(/oc-opt-amp:optical-amplifier/oc-opt-amp:list[.="/a"])",
              prefixed(R"(/optical-amplifier/list[.="/a"])").text);
    EXPECT_EQ("/oc-opt-amp:optical-amplifier/oc-opt-amp:list[oc-opt-amp:name='/a",
              prefixed("/optical-amplifier/list[name='/a").text);
    EXPECT_EQ("/oc-opt-amp:optical-amplifier/oc-opt-amp:list[oc-opt-amp:a-b_c.d=1]/",
              prefixed("/optical-amplifier/list[a-b_c.d=1]/").text);
    EXPECT_EQ(R"(/oc-opt-amp:optical-amplifier/oc-opt-amp:list[oc-opt-amp:name='"]/x'])",
              prefixed(R"(/optical-amplifier/list[openconfig-optical-amplifier:name='"]/x'])").text);
    EXPECT_EQ("", prefixed("/nothing-of-ours/x").text);
    EXPECT_EQ("", prefixed("/no-such-module:x/y").text);
    EXPECT_EQ("/oc-opt-amp:optical-amplifier", prefixed("/openconfig-optical-amplifier:optical-amplifier").text);
    EXPECT_EQ("", prefixed("/").text);
    EXPECT_EQ("", prefixed("").text);
}

TEST(RpcError, IsWritten) {
    const RpcError error{.tag = ErrorTag::invalid_value,
                         .message = "a < b",
                         .path = "/optical-amplifier/amplifiers",
                         .app_tag = "too-few-elements",
                         .info = {{"bad-element", "x&y"}}};
    EXPECT_EQ("<rpc-error xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\"><error-type>application</error-type>"
              "<error-tag>invalid-value</error-tag><error-severity>error</error-severity>"
              "<error-app-tag>too-few-elements</error-app-tag><error-path xmlns:oc-opt-amp="
              "\"http://openconfig.net/yang/optical-amplfier\">/oc-opt-amp:optical-amplifier/oc-opt-amp:amplifiers"
              "</error-path><error-message xml:lang=\"en\">a &lt; b</error-message>"
              "<error-info><bad-element>x&amp;y</bad-element></error-info></rpc-error>",
              written(error));
    EXPECT_EQ("<rpc-error xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\"><error-type>rpc</error-type>"
              "<error-tag>too-big</error-tag><error-severity>error</error-severity></rpc-error>",
              written(RpcError{.tag = ErrorTag::too_big, .type = ErrorType::rpc}));
}

TEST(Capabilities, AreThoseOfTheOperations) {
    EXPECT_THAT(capabilities(),
                testing::IsSupersetOf({"urn:ietf:params:netconf:base:1.0", "urn:ietf:params:netconf:base:1.1"}));
    for (const std::string word :
         {"writable-running:1.0", "candidate:1.0", "confirmed-commit:1.1", "rollback-on-error:1.0", "validate:1.1",
          "xpath:1.0", "notification:1.0", "interleave:1.0",
          "with-defaults:1.0?basic-mode=explicit&also-supported=report-all,trim"})
        EXPECT_THAT(capabilities(), testing::Contains("urn:ietf:params:netconf:capability:" + word));
    EXPECT_THAT(capabilities(), Not(testing::Contains(HasSubstr("startup"))));
    EXPECT_THAT(capabilities(), Not(testing::Contains(HasSubstr(":url:"))));
    EXPECT_THAT(capabilities(),
                testing::Contains(HasSubstr("features=writable-running,candidate,confirmed-commit,rollback-on-error,"
                                            "validate,xpath")));
    EXPECT_THAT(capabilities(), testing::Contains(HasSubstr("&deviations=openconfig-optical-amplifier-deviations")));
}

TEST(Schemas, HaveTheirTextsInBothForms) {
    for (const ModuleEntry &module : all_modules()) {
        EXPECT_THAT(module_text(module.name, module.revision, SchemaFormat::yang).value_or(""),
                    HasSubstr("module " + module.name));
        EXPECT_THAT(module_text(module.name, "", SchemaFormat::yin).value_or(""),
                    HasSubstr("<module name=\"" + module.name + "\""));
        EXPECT_FALSE(module_text(module.name, "1999-01-01", SchemaFormat::yang));
    }
    EXPECT_GT(all_modules().size(), 15U);
    EXPECT_FALSE(module_text("no-such-module", "", SchemaFormat::yang));
}

} // namespace
