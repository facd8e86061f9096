// Whose turn it is.
#include "server/gnmi/fair_queue.h"

#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

using ocamp::gnmi::FairQueue;

namespace {

TEST(GnmiFairQueue, UsersTakeTurnsAndEachUsersWorkKeepsItsOrder) {
    std::vector<std::string> done;
    std::promise<void> begun, goes_on, ended;
    FairQueue queue;
    queue.post("ada", [&] {
        begun.set_value();
        goes_on.get_future().wait();
    });
    begun.get_future().wait();
    for (const char *job : {"ada 1", "ada 2", "ada 3"})
        queue.post("ada", [&done, job] { done.emplace_back(job); });
    for (const char *job : {"bob 1", "bob 2"})
        queue.post("bob", [&done, job] { done.emplace_back(job); });
    queue.post("eve", [&done] { done.emplace_back("eve 1"); });
    queue.post("ada", [&ended] { ended.set_value(); });
    goes_on.set_value();
    ended.get_future().wait();
    EXPECT_THAT(done, testing::ElementsAre("ada 1", "bob 1", "eve 1", "ada 2", "bob 2", "ada 3"));
}

TEST(GnmiFairQueue, WhatWaitsAtItsEndIsDropped) {
    const auto held = std::make_shared<int>(0);
    std::promise<void> begun, goes_on;
    std::thread ends;
    {
        FairQueue queue;
        queue.post("ada", [&] {
            begun.set_value();
            goes_on.get_future().wait();
        });
        begun.get_future().wait();
        queue.post("ada", [held] { ADD_FAILURE() << "done"; });
        queue.post("bob", [held] { ADD_FAILURE() << "done"; });
        EXPECT_EQ(held.use_count(), 3);
        ends = std::thread([&goes_on] {
            std::this_thread::sleep_for(std::chrono::milliseconds(50)); // until the queue ends
            goes_on.set_value();
        });
    }
    ends.join();
    EXPECT_EQ(held.use_count(), 1);
}

} // namespace
