// What readings keep for streams, on a served node.
#include "../server/served_node.h"
#include "server/gnmi/get.h"
#include "server/gnmi/subscription.h"

#include "messages.h"

#include <fstream>
#include <future>

using namespace gnmi_tests;

namespace {

// Counts the blocks that are there.
template <class T>
struct CountingAllocator {
    using value_type = T;
    explicit CountingAllocator(int &blocks_) : blocks(&blocks_) {}
    template <class Other>
    CountingAllocator(const CountingAllocator<Other> &other) : blocks(other.blocks) {}
    T *allocate(std::size_t count) {
        ++*blocks;
        return std::allocator<T>().allocate(count);
    }
    void deallocate(T *block, std::size_t count) {
        --*blocks;
        std::allocator<T>().deallocate(block, count);
    }
    bool operator==(const CountingAllocator &) const = default;
    int *blocks;
};

class GnmiReadings : public server_tests::ServedNode {
  protected:
    // Waits until the thread has done what was asked for before.
    static void settle(Readings &readings) {
        std::promise<void> done;
        readings.at(Readings::Clock::now(), nullptr, [&] { done.set_value(); });
        done.get_future().wait();
    }
};

TEST_F(GnmiReadings, TimersAndWatchesEndWithTheirOwner) {
    Readings readings(core());
    const auto kept = std::make_shared<int>(), others = std::make_shared<int>();
    const Readings::Clock::time_point late = Readings::Clock::now() + std::chrono::hours(1);
    readings.at(late, kept.get(), [kept] {});
    readings.watch(kept.get(), [kept] {});
    readings.at(late, others.get(), [others] {});
    readings.watch(others.get(), [others] {});
    settle(readings);
    EXPECT_EQ(kept.use_count(), 3);
    readings.forget(kept.get());
    settle(readings);
    EXPECT_EQ(kept.use_count(), 1);
    EXPECT_EQ(others.use_count(), 3);
}

TEST_F(GnmiReadings, ThatCannotBeMadeAreToldToAllWhoAsked) {
    // As if the disk had gone wrong under the server.
    std::fstream(folder() / "node.db", std::ios::in | std::ios::out | std::ios::binary) << std::string(8192, 'x');
    Readings readings(core());
    for (const char *path : {"optical-amplifier", ""}) {
        std::promise<ReadingOutcome> read;
        readings.read({joined({}, path_of(path))}, [&](const ReadingOutcome &outcome) { read.set_value(outcome); });
        const ReadingOutcome outcome = read.get_future().get();
        const auto *error = std::get_if<RpcError>(&outcome);
        ASSERT_NE(error, nullptr) << path;
        EXPECT_EQ(error->code(), Code::internal);
        EXPECT_THAT(error->what(), testing::HasSubstr("node.db"));
    }
    ::gnmi::SubscribeRequest request;
    *request.mutable_subscribe()->add_subscription()->mutable_path() = path_of("optical-amplifier");
    request.mutable_subscribe()->set_mode(::gnmi::SubscriptionList::ONCE);
    request.mutable_subscribe()->set_encoding(::gnmi::PROTO);
    std::promise<void> ended;
    const auto stream = std::make_shared<Stream>(request, readings, [&] { ended.set_value(); });
    stream->start();
    ended.get_future().wait();
    ASSERT_TRUE(stream->end());
    EXPECT_EQ(stream->end()->error->code(), Code::internal);
}

TEST_F(GnmiReadings, LevelsOfTheRootAreOneAboveItsNodes) {
    Readings readings(core());
    std::promise<std::shared_ptr<const Reading>> read;
    const Path root = joined({}, path_of(""));
    readings.read({root}, [&](const ReadingOutcome &outcome) {
        read.set_value(std::get<std::shared_ptr<const Reading>>(outcome));
    });
    const std::shared_ptr<const Reading> reading = read.get_future().get();
    EXPECT_EQ(reading->select(root, 1, LeafKind::all)->size(), 0U);
    EXPECT_EQ(reading->select(root, 3, LeafKind::all)->size(), 0U);
    EXPECT_EQ(reading->select(root, 4, LeafKind::all)->size(), 6U) << "the keys of the entries";
}

TEST(GnmiMeasured, IsWhatIsCountedOrMeasured) {
    const std::string state = "optical-amplifier/amplifiers/amplifier/state/";
    EXPECT_TRUE(is_measured(leaf_at(state + "actual-gain/instant")));
    EXPECT_FALSE(is_measured(leaf_at(state + "type")));
    EXPECT_FALSE(is_measured(leaf_at("optical-amplifier/amplifiers/amplifier/config/target-gain")));
    EXPECT_TRUE(is_measured(*openconfig_schema().find(leaf_at(state + "actual-gain/instant").parent, "interval")));
    ::gnmi::Path native = path_of(".../ampli-gain");
    native.set_origin("native");
    EXPECT_TRUE(is_measured(*schema_nodes(joined({}, native)).at(0)));
}

TEST_F(GnmiReadings, AStreamThatEndsLeavesNothingBehind) {
    ::gnmi::SubscribeRequest request;
    ::gnmi::SubscriptionList &list = *request.mutable_subscribe();
    list.set_encoding(::gnmi::PROTO);
    for (const auto mode : {::gnmi::SAMPLE, ::gnmi::ON_CHANGE}) {
        ::gnmi::Subscription &one = *list.add_subscription();
        *one.mutable_path() = path_of("optical-amplifier");
        one.set_mode(mode);
        one.set_heartbeat_interval(std::uint64_t{30} * 24 * 3600 * 1000000000);
        if (mode == ::gnmi::SAMPLE)
            one.set_sample_interval(one.heartbeat_interval());
    }
    int blocks = 0;
    Readings readings(core());
    std::promise<void> synchronized;
    {
        const auto stream = std::allocate_shared<Stream>(CountingAllocator<Stream>(blocks), request, readings,
                                                         [&] { synchronized.set_value(); });
        stream->start();
        synchronized.get_future().wait();
        EXPECT_EQ(blocks, 1);
    }
    // A reading for the stream may be under way, and ends before the next one.
    std::promise<void> read;
    readings.read({joined({}, path_of("optical-amplifier"))}, [&](const ReadingOutcome &) { read.set_value(); });
    read.get_future().wait();
    settle(readings);
    EXPECT_EQ(blocks, 0);
}

} // namespace
