// Streams on a served node, without RPCs: what each mode sends, and what lists are refused.
#include "../server/served_node.h"
#include "server/gnmi/subscription.h"

#include "messages.h"

#include <thread>

#include <fmt/format.h>

using namespace gnmi_tests;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr std::uint64_t shortest = 100'000'000, longest = std::uint64_t{30} * 24 * 3600 * 1'000'000'000; // ns

::gnmi::SubscribeRequest list_of(::gnmi::SubscriptionList::Mode mode) {
    ::gnmi::SubscribeRequest request;
    request.mutable_subscribe()->set_mode(mode);
    request.mutable_subscribe()->set_encoding(::gnmi::JSON_IETF);
    return request;
}

// Keys may hold slashes, which path_of takes for the end of a step.
::gnmi::Path gain_leaf() {
    ::gnmi::Path path = path_of("optical-amplifier/amplifiers/amplifier/config/target-gain");
    (*path.mutable_elem(2)->mutable_key())["name"] = "0/1-AMP-BST";
    return path;
}

::gnmi::Subscription &add_gain(::gnmi::SubscribeRequest &request,
                               ::gnmi::SubscriptionMode mode = ::gnmi::TARGET_DEFINED) {
    ::gnmi::Subscription &subscription = *request.mutable_subscribe()->add_subscription();
    *subscription.mutable_path() = gain_leaf();
    subscription.set_mode(mode);
    return subscription;
}

class GnmiStream : public server_tests::ServedNode {
  protected:
    void SetUp() override {
        ServedNode::SetUp();
        readings_ = std::make_unique<Readings>(core());
    }
    void TearDown() override {
        stream_.reset();
        readings_.reset();
        ServedNode::TearDown();
    }

    void begin(const ::gnmi::SubscribeRequest &request) {
        stream_ = std::make_shared<Stream>(request, *readings_, [this] {
            const std::lock_guard lock(mutex_);
            woken_.notify_all();
        });
        stream_->start();
    }
    Stream &stream() { return *stream_; }

    // The next responses, a word for each leaf, "sync" for the mark; waits ten seconds at most.
    std::vector<std::string> take(std::size_t count) {
        std::vector<std::string> words;
        const auto end = std::chrono::steady_clock::now() + 10s;
        while (words.size() < count && std::chrono::steady_clock::now() < end) {
            std::unique_lock lock(mutex_);
            if (!take_next(words))
                woken_.wait_for(lock, 20ms);
        }
        return words;
    }
    // What comes within the time.
    std::vector<std::string> take_for(std::chrono::milliseconds time) {
        std::this_thread::sleep_for(time);
        std::vector<std::string> words;
        while (take_next(words)) {
        }
        return words;
    }
    void set_gain(const std::string &value) { EXPECT_EQ(edit(session(), server_tests::gain_edit(value)), "ok"); }

    template <class Change>
    void expect_refused(Change change, Code code, const std::string &words) {
        ::gnmi::SubscribeRequest request = list_of(::gnmi::SubscriptionList::STREAM);
        change(request);
        EXPECT_THAT([&] { Stream(request, *readings_, [] {}); }, refused_with(code, words));
    }
    // Of an interval that must do.
    void expect_taken(const ::gnmi::SubscribeRequest &request) {
        Stream(request, *readings_, [] {});
    }

  private:
    bool take_next(std::vector<std::string> &words) {
        const std::optional<::gnmi::SubscribeResponse> response = stream_->take();
        if (!response)
            return false;
        if (response->sync_response())
            words.emplace_back("sync");
        for (const ::gnmi::Path &path : response->update().delete_())
            words.push_back(fmt::format("{} gone", path.elem(0).name()));
        for (const ::gnmi::Update &update : response->update().update())
            words.push_back(fmt::format("{} {}", update.path().elem(0).name(), update.val().json_ietf_val()));
        return true;
    }

    std::unique_ptr<Readings> readings_;
    std::shared_ptr<Stream> stream_;
    std::mutex mutex_;
    std::condition_variable woken_;
};

TEST_F(GnmiStream, AListThatIsAnsweredOnceEnds) {
    ::gnmi::SubscribeRequest request = list_of(::gnmi::SubscriptionList::ONCE);
    add_gain(request);
    begin(request);
    EXPECT_THAT(take(2), ElementsAre("target-gain \"13.1\"", "sync"));
    ASSERT_TRUE(stream().end());
    EXPECT_FALSE(stream().end()->error);
    request.mutable_subscribe()->set_updates_only(true);
    begin(request);
    EXPECT_THAT(take(1), ElementsAre("sync"));
    EXPECT_TRUE(stream().end());
}

TEST_F(GnmiStream, APollGivesEverythingAnew) {
    ::gnmi::SubscribeRequest request = list_of(::gnmi::SubscriptionList::POLL);
    add_gain(request);
    begin(request);
    EXPECT_THAT(take_for(50ms), IsEmpty());
    for (int i = 0; i < 2; ++i) {
        stream().poll();
        EXPECT_THAT(take(2), ElementsAre("target-gain \"13.1\"", "sync"));
    }
    EXPECT_FALSE(stream().end());
}

TEST_F(GnmiStream, ChangesAreTold) {
    ::gnmi::SubscribeRequest request = list_of(::gnmi::SubscriptionList::STREAM);
    add_gain(request, ::gnmi::ON_CHANGE);
    begin(request);
    EXPECT_THAT(take(2), ElementsAre("target-gain \"13.1\"", "sync"));
    set_gain("14.0");
    EXPECT_THAT(take(1), ElementsAre("target-gain \"14.0\""));
    set_gain("14.0");
    EXPECT_THAT(take_for(150ms), IsEmpty());
    EXPECT_THAT([&] { stream().poll(); },
                refused_with(Code::invalid_argument, "stands on a list whose mode is not POLL"));
    EXPECT_FALSE(stream().end());
}

TEST_F(GnmiStream, OfUpdatesAloneTheFirstValuesAreNotToldButTheirEnd) {
    ::gnmi::SubscribeRequest request = list_of(::gnmi::SubscriptionList::STREAM);
    add_gain(request, ::gnmi::ON_CHANGE);
    request.mutable_subscribe()->set_updates_only(true);
    begin(request);
    EXPECT_THAT(take(1), ElementsAre("sync"));
    EXPECT_EQ(edit(session(), R"(<config xmlns="urn:ietf:params:xml:ns:netconf:base:1.0">)"
                              R"(<interface-configurations xmlns="http://korvex.example/ns/yang/Korvex-ifmgr-cfg">)"
                              R"(<interface-configuration><active>act</active><interface-name>Ots0/1/0/1)"
                              R"(</interface-name><optics xmlns="http://korvex.example/ns/yang/)"
                              R"(Korvex-controller-optics-cfg"><optics-ots-amplifier-gain )"
                              R"(xmlns:n="urn:ietf:params:xml:ns:netconf:base:1.0" n:operation="delete"/></optics>)"
                              R"(</interface-configuration></interface-configurations></config>)"),
              "ok");
    EXPECT_THAT(take(1), ElementsAre("target-gain gone"));
}

TEST_F(GnmiStream, SamplesComeAgainAndAgain) {
    ::gnmi::SubscribeRequest request = list_of(::gnmi::SubscriptionList::STREAM);
    add_gain(request, ::gnmi::SAMPLE); // as often as possible
    begin(request);
    EXPECT_THAT(take(4), ElementsAre("target-gain \"13.1\"", "sync", "target-gain \"13.1\"", "target-gain \"13.1\""));
}

TEST_F(GnmiStream, SamplesOfTheSameValueAreSuppressedUntilTheHeartbeat) {
    ::gnmi::SubscribeRequest request = list_of(::gnmi::SubscriptionList::STREAM);
    ::gnmi::Subscription &sample = add_gain(request, ::gnmi::SAMPLE);
    sample.set_sample_interval(shortest);
    sample.set_suppress_redundant(true);
    begin(request);
    EXPECT_THAT(take(2), ElementsAre("target-gain \"13.1\"", "sync"));
    EXPECT_THAT(take_for(250ms), IsEmpty());
    set_gain("14.0");
    EXPECT_THAT(take(1), ElementsAre("target-gain \"14.0\""));
    sample.set_heartbeat_interval(2 * shortest);
    begin(request);
    EXPECT_THAT(take(3), ElementsAre("target-gain \"14.0\"", "sync", "target-gain \"14.0\""));
}

TEST_F(GnmiStream, HeartbeatsTellWhatHasNotChanged) {
    ::gnmi::SubscribeRequest request = list_of(::gnmi::SubscriptionList::STREAM);
    add_gain(request, ::gnmi::ON_CHANGE).set_heartbeat_interval(shortest);
    begin(request);
    EXPECT_THAT(take(4), ElementsAre("target-gain \"13.1\"", "sync", "target-gain \"13.1\"", "target-gain \"13.1\""));
}

TEST_F(GnmiStream, ListsAreRefusedWithTheirReason) {
    expect_refused([](auto &request) { request.clear_subscribe(); }, Code::invalid_argument,
                   "expected a SubscriptionList first");
    expect_refused([](auto &) {}, Code::invalid_argument, "subscription: is missing, expected one at least");
    expect_refused(
        [](auto &request) { request.mutable_subscribe()->set_mode(static_cast<::gnmi::SubscriptionList::Mode>(3)); },
        Code::invalid_argument, "mode: 3, expected STREAM, ONCE or POLL");
    expect_refused([](auto &request) { add_gain(request, static_cast<::gnmi::SubscriptionMode>(3)); },
                   Code::invalid_argument, "mode: 3, expected TARGET_DEFINED, ON_CHANGE or SAMPLE");
    expect_refused([](auto &request) { add_gain(request).set_sample_interval(shortest); }, Code::invalid_argument,
                   "sample_interval: stands with TARGET_DEFINED, expected it with SAMPLE");
    expect_refused(
        [](auto &request) {
            add_gain(request);
            ::gnmi::ModelData &model = *request.mutable_subscribe()->add_use_models();
            model.set_name("no-such-model");
            model.set_version("1.0");
        },
        Code::unimplemented, "use_models: no-such-model 1.0, expected models that Capabilities lists");
    const auto many = [](int count) {
        return [count](auto &request) {
            for (int i = 0; i < count; ++i)
                add_gain(request);
        };
    };
    expect_refused(many(1025), Code::invalid_argument, "subscription: 1025, expected at most 1024");
    ::gnmi::SubscribeRequest request = list_of(::gnmi::SubscriptionList::STREAM);
    many(1024)(request);
    expect_taken(request);
}

TEST_F(GnmiStream, IntervalsHaveTheirBounds) {
    for (const std::uint64_t wrong : {shortest - 1, longest + 1}) {
        const std::string words = fmt::format("_interval: {} ns, expected {} to {}", wrong, shortest, longest);
        expect_refused([&](auto &request) { add_gain(request, ::gnmi::SAMPLE).set_sample_interval(wrong); },
                       Code::invalid_argument, "sample" + words);
        expect_refused([&](auto &request) { add_gain(request).set_heartbeat_interval(wrong); }, Code::invalid_argument,
                       "heartbeat" + words);
    }
    for (const std::uint64_t right : {shortest, longest}) {
        ::gnmi::SubscribeRequest request = list_of(::gnmi::SubscriptionList::STREAM);
        add_gain(request, ::gnmi::SAMPLE).set_sample_interval(right);
        add_gain(request).set_heartbeat_interval(right);
        expect_taken(request);
    }
}

} // namespace
