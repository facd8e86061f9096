// What a Set asks of the core.
#include "server/gnmi/set.h"

#include "messages.h"

using namespace gnmi_tests;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

const std::string entry = "optical-amplifier/amplifiers/amplifier[name=a]";

std::vector<std::string> documents(const ::gnmi::SetRequest &request) {
    std::vector<std::string> all;
    for (const server::EditStep &step : SetEdit(request).steps(two_amplifiers()))
        all.push_back(step.document);
    return all;
}

void add(google::protobuf::RepeatedPtrField<::gnmi::Update> &updates, const std::string &path,
         const std::string &json) {
    ::gnmi::Update &update = *updates.Add();
    *update.mutable_path() = path_of(path);
    update.mutable_val()->set_json_val(json);
}

// The document of one entry whose content is this.
std::string edit_of_entry(const std::string &content) {
    return R"({"openconfig-optical-amplifier:optical-amplifier":{"amplifiers":{"amplifier":[{"name":"a",)" + content +
           "}]}}}";
}

TEST(GnmiSet, OperationsAreDoneInTheProtocolsOrder) {
    ::gnmi::SetRequest request;
    add(*request.mutable_update(), entry + "/config/target-gain", "1");
    add(*request.mutable_replace(), entry + "/config/target-gain", "2");
    add(*request.mutable_union_replace(), entry + "/config/target-gain", "3");
    *request.add_delete_() = path_of(entry + "/config/target-gain");
    const std::string marked = R"("config":{"@target-gain":{"ietf-netconf:operation":")";
    EXPECT_THAT(documents(request), ElementsAre(edit_of_entry(marked + R"(remove"}})"),
                                                edit_of_entry(marked + R"(replace"},"target-gain":"3"})"),
                                                edit_of_entry(marked + R"(replace"},"target-gain":"2"})"),
                                                edit_of_entry(R"("config":{"target-gain":"1"})")));
}

TEST(GnmiSet, UnionsGoByNodeHoweverItsPathIsWritten) {
    ::gnmi::SetRequest request;
    add(*request.mutable_union_replace(), entry + "/config", R"({"target-gain": 3})");
    add(*request.mutable_union_replace(), "openconfig-optical-amplifier:" + entry + "/config", R"({"enabled": true})");
    EXPECT_THAT(documents(request),
                ElementsAre(edit_of_entry(R"("config":{"target-gain":"3","@":{"ietf-netconf:operation":"replace"}})"),
                            edit_of_entry(R"("config":{"enabled":true})")));
}

TEST(GnmiSet, UnionsGoToModulesThatThereAre) {
    ::gnmi::SetRequest request;
    add(*request.mutable_union_replace(), "no-such-module:" + entry + "/config", R"({"enabled": true})");
    EXPECT_THAT([&] { SetEdit{request}; }, refused_with(Code::invalid_argument, "no-such-module"));
}

TEST(GnmiSet, UnionsOfPathsThatAreNotInTheModelAreToldSoFirst) {
    ::gnmi::SetRequest request;
    add(*request.mutable_union_replace(), entry + "/*/no-such-leaf", "1");
    EXPECT_THAT([&] { SetEdit{request}; }, refused_with(Code::invalid_argument, "is not in the model"));
    request.Clear();
    add(*request.mutable_union_replace(), entry + "/*/target-gain", "1");
    EXPECT_THAT([&] { SetEdit{request}; }, refused_with(Code::invalid_argument, "has a wildcard"));
}

TEST(GnmiSet, KeysOfPathsAreTakenByValueAndWithTheirModule) {
    const std::string lane_path = "interface-configurations/interface-configuration/optics/optics-lanes/optics-lane";
    const auto lane = [&](::gnmi::SetRequest &request, const std::string &key, const std::string &number) {
        add(*request.mutable_union_replace(), lane_path, R"({"index": 1})");
        ::gnmi::Path &path = *request.mutable_union_replace()->rbegin()->mutable_path();
        path.set_origin("native");
        auto &interface = *path.mutable_elem(1)->mutable_key();
        interface["active"] = "act";
        interface["interface-name"] = "Ots0/1/0/0";
        (*path.mutable_elem(4)->mutable_key())[key] = number;
    };
    ::gnmi::SetRequest request;
    lane(request, "index", "1");
    lane(request, "index", "01");
    lane(request, "Korvex-controller-optics-cfg:index", "001");
    const std::vector<std::string> all = documents(request);
    ASSERT_THAT(all, SizeIs(3));
    EXPECT_THAT(all[0], testing::HasSubstr(R"([{"index":1,"@":{"ietf-netconf:operation":"replace"}}])"));
    EXPECT_THAT(all[1], testing::HasSubstr(R"([{"index":1}])"));
    EXPECT_EQ(all[1], all[2]);
    for (const auto &[number, words] : {std::pair("x", "key 'index'"), std::pair("2", "'2' in the path")}) {
        request.clear_union_replace();
        lane(request, "index", number);
        EXPECT_THAT([&] { SetEdit{request}; }, refused_with(Code::invalid_argument, words)) << number;
    }
    request.clear_union_replace();
    lane(request, "index", "1");
    auto &keys = *request.mutable_union_replace(0)->mutable_path()->mutable_elem(4)->mutable_key();
    keys["Korvex-controller-optics-cfg:index"] = "1";
    EXPECT_THAT([&] { SetEdit{request}; }, refused_with(Code::invalid_argument, "twice"));
}

TEST(GnmiSet, UnionsHaveWhatIsBelowWhateverTheOrder) {
    const std::string above = edit_of_entry(R"("config":{"enabled":true,"@":{"ietf-netconf:operation":"replace"}})"),
                      below = edit_of_entry(R"("config":{"target-gain":"3"})");
    ::gnmi::SetRequest request;
    add(*request.mutable_union_replace(), entry + "/config/target-gain", "3");
    add(*request.mutable_union_replace(), entry + "/config", R"({"enabled": true})");
    EXPECT_THAT(documents(request), ElementsAre(above, below));
    request.mutable_union_replace()->SwapElements(0, 1);
    EXPECT_THAT(documents(request), ElementsAre(above, below));
    // Another entry, whose key begins alike, is another node.
    request.clear_union_replace();
    add(*request.mutable_union_replace(), entry + "/config", R"({"enabled": true})");
    add(*request.mutable_union_replace(), "optical-amplifier/amplifiers/amplifier[name=ab]/config",
        R"({"enabled": true})");
    EXPECT_THAT(documents(request), testing::Each(testing::HasSubstr("replace")));
}

TEST(GnmiSet, DeletesAreThoseOfWhatIsThere) {
    ::gnmi::SetRequest request;
    *request.add_delete_() = path_of("optical-amplifier/amplifiers/amplifier/config/target-gain");
    EXPECT_THAT(documents(request), SizeIs(2));
    // What another one takes away is not taken away twice.
    *request.add_delete_() = path_of(entry);
    *request.add_delete_() = path_of(entry + "/config");
    *request.add_delete_() = path_of("optical-amplifier/amplifiers/amplifier[name=nobody]");
    EXPECT_THAT(documents(request), SizeIs(3));
    *request.add_delete_() = path_of(entry + "/state");
    EXPECT_THAT([&] { SetEdit{request}; }, refused_with(Code::invalid_argument, "read-only"));
}

TEST(GnmiSet, WildcardsPassOverWhatNamesAnEntry) {
    const auto deletes = [](const std::string &path) {
        ::gnmi::SetRequest request;
        *request.add_delete_() = path_of(path);
        return documents(request);
    };
    EXPECT_THAT(deletes(entry + "/config/*"),
                testing::UnorderedElementsAre(testing::HasSubstr("@target-gain"), testing::HasSubstr("@enabled")));
    EXPECT_THAT(deletes(".../name"), IsEmpty());
    EXPECT_THAT(deletes(entry + "/*"), ElementsAre(testing::HasSubstr("config")));
    EXPECT_THAT(deletes(entry + "/config/name"), SizeIs(1));
    EXPECT_THAT(deletes("optical-amplifier/amplifiers/amplifier/name"), SizeIs(2));
}

TEST(GnmiSet, KeysOfPathAndValueAgree) {
    ::gnmi::SetRequest request;
    add(*request.mutable_update(), entry, R"({"name": "a", "config": {"enabled": true}})");
    EXPECT_THAT(documents(request), ElementsAre(edit_of_entry(R"("config":{"enabled":true})")));
    add(*request.mutable_update(), entry, R"({"name": "b"})");
    EXPECT_THAT([&] { SetEdit{request}; }, refused_with(Code::invalid_argument, "'a' in the path and 'b'"));
}

TEST(GnmiSet, TargetsAreSingleNodes) {
    for (const std::string path : {"optical-amplifier/amplifiers/amplifier/config/target-gain",
                                   "optical-amplifier/amplifiers/amplifier[name=*]/config/target-gain",
                                   "optical-amplifier/.../target-gain", "optical-amplifier/*"}) {
        ::gnmi::SetRequest request;
        add(*request.mutable_update(), path, "1");
        EXPECT_THAT([&] { SetEdit{request}; }, refused_with(Code::invalid_argument, "expected")) << path;
    }
}

TEST(GnmiSet, ReplacingTheRootTakesAwayWhatIsNotGiven) {
    ::gnmi::SetRequest request;
    add(*request.mutable_replace(), "", "{}");
    EXPECT_THAT(
        documents(request),
        ElementsAre(R"({"openconfig-optical-amplifier:optical-amplifier":{"@":{"ietf-netconf:operation":"remove"}}})"));
}

TEST(GnmiSet, ReplacingTheNativeRootLeavesWhatIsGivenAndPassesOverState) {
    ::gnmi::SetRequest request;
    add(*request.mutable_replace(), "",
        R"({"Korvex-ifmgr-cfg:interface-configurations": {"interface-configuration":
        [{"active": "act", "interface-name": "a"}]}})");
    request.mutable_replace(0)->mutable_path()->set_origin("native");
    EXPECT_THAT(documents(request),
                ElementsAre(R"({"Korvex-ifmgr-cfg:global-interface-configuration":)"
                            R"({"@":{"ietf-netconf:operation":"remove"}}})",
                            R"({"Korvex-ifmgr-cfg:interface-configurations":{"interface-configuration":)"
                            R"([{"active":"act","interface-name":"a"}],"@":{"ietf-netconf:operation":"replace"}}})"));
}

TEST(GnmiSet, UpdatesOfTheRootAreMerged) {
    ::gnmi::SetRequest request;
    add(*request.mutable_update(), "", R"({"optical-amplifier": {"amplifiers": {"amplifier": [{"name": "a"}]}}})");
    EXPECT_THAT(documents(request),
                ElementsAre(R"({"openconfig-optical-amplifier:optical-amplifier":{"amplifiers":{"amplifier":)"
                            R"([{"name":"a"}]}}})"));
}

TEST(GnmiSet, TheRootIsDeletedWithAllThatIsThere) {
    ::gnmi::SetRequest request;
    request.add_delete_();
    EXPECT_THAT(
        documents(request),
        ElementsAre(R"({"openconfig-optical-amplifier:optical-amplifier":{"@":{"ietf-netconf:operation":"remove"}}})"));
}

TEST(GnmiSet, EntriesAreObjects) {
    ::gnmi::SetRequest request;
    add(*request.mutable_update(), entry, R"([{"name": "a"}])");
    EXPECT_THAT([&] { SetEdit{request}; },
                refused_with(Code::invalid_argument, "is a list entry, expected a JSON object"));
}

TEST(GnmiSet, UnionsOfBothSidesReplaceTheNativeOneAndMergeTheOther) {
    ::gnmi::SetRequest request;
    add(*request.mutable_union_replace(), entry + "/config", R"({"enabled": true})");
    add(*request.mutable_union_replace(), "interface-configurations", "{}");
    request.mutable_union_replace(1)->mutable_path()->set_origin("native");
    EXPECT_THAT(
        documents(request),
        ElementsAre(R"({"Korvex-ifmgr-cfg:interface-configurations":{"@":{"ietf-netconf:operation":"replace"}}})",
                    edit_of_entry(R"("config":{"enabled":true})")));
}

TEST(GnmiSet, ClientsCannotAnnotateNodes) {
    ::gnmi::SetRequest request;
    add(*request.mutable_update(), entry + "/config", R"({"@": {"ietf-netconf:operation": "delete"}})");
    EXPECT_THAT([&] { SetEdit{request}; }, refused_with(Code::invalid_argument, "not in the model"));
}

TEST(GnmiSet, ConfirmedCommitsGoBackAfterTenMinutesUnlessTheyTellAnotherTime) {
    ::gnmi::SetRequest request;
    gnmi_ext::Commit &commit = *request.add_extension()->mutable_commit();
    commit.mutable_commit();
    EXPECT_THAT([&] { SetEdit{request}; }, refused_with(Code::invalid_argument, "no id"));
    commit.set_id("c");
    EXPECT_EQ(SetEdit(request).commit()->duration, std::chrono::minutes(10));
    commit.mutable_commit()->mutable_rollback_duration()->set_seconds(5);
    commit.mutable_commit()->mutable_rollback_duration()->set_nanos(1);
    EXPECT_EQ(SetEdit(request).commit()->duration, std::chrono::seconds(6));
    for (const std::int64_t seconds : {0L, -1L, 8L * 24 * 3600}) {
        commit.mutable_commit()->mutable_rollback_duration()->set_seconds(seconds);
        commit.mutable_commit()->mutable_rollback_duration()->set_nanos(0);
        EXPECT_THAT([&] { SetEdit{request}; }, refused_with(Code::invalid_argument, "rollback_duration"));
    }
    commit.mutable_confirm();
    add(*request.mutable_update(), entry + "/config/target-gain", "1");
    EXPECT_THAT([&] { SetEdit{request}; }, refused_with(Code::invalid_argument, "expected one of them"));
}

TEST(GnmiSet, CommitsThatAreNoneAreToldWhatIsExpected) {
    ::gnmi::SetRequest request;
    gnmi_ext::Commit &commit = *request.add_extension()->mutable_commit();
    const auto told = [&]() -> std::string {
        try {
            SetEdit{request};
        } catch (const RpcError &error) {
            return error.what();
        }
        return "";
    };
    EXPECT_EQ(told(), "commit: has no id");
    commit.set_id("c");
    EXPECT_EQ(told(), "commit: has no action");
    auto &duration = *commit.mutable_set_rollback_duration()->mutable_rollback_duration();
    for (const std::int64_t seconds : {0, 604801}) {
        duration.set_seconds(seconds);
        EXPECT_EQ(told(), "commit: rollback_duration is " + std::to_string(seconds) + " s, expected 1 to 604800");
    }
    for (const std::int64_t seconds : {1, 604800}) {
        duration.set_seconds(seconds);
        EXPECT_EQ(told(), "");
    }
    duration.set_nanos(1);
    EXPECT_EQ(told(), "commit: rollback_duration is 604801 s, expected 1 to 604800");
    duration.set_seconds(5);
    duration.set_nanos(-1);
    EXPECT_EQ(told(), "commit: rollback_duration is 5 s, expected 1 to 604800");
    commit.mutable_confirm();
    EXPECT_EQ(told(), "");
    add(*request.mutable_update(), entry + "/config/target-gain", "1");
    EXPECT_EQ(told(), "commit: confirms, cancels or extends and holds operations, expected one of them");
}

TEST(GnmiSet, OperationsAreBounded) {
    ::gnmi::SetRequest request;
    for (int i = 0; i <= 1000; ++i)
        request.add_delete_();
    EXPECT_THAT([&] { SetEdit{request}; }, refused_with(Code::invalid_argument, "1001 operations"));
    EXPECT_TRUE(SetEdit({}).empty());
    EXPECT_THAT(documents({}), IsEmpty());
}

} // namespace
