// How writers wait for one another.
#include "sysdb/writer_queue.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using ocamp::WriterTurn;
using namespace std::chrono_literals;

class WriterQueue : public testing::Test {
  protected:
    void SetUp() override {
        const auto *test = testing::UnitTest::GetInstance()->current_test_info();
        file_ = (std::filesystem::temp_directory_path() /
                 ("ocamp-queue-" + std::to_string(getpid()) + "-" + std::string(test->name())))
                    .string();
    }
    void TearDown() override { std::filesystem::remove(file_); }

    // The ticket that was given last.
    long long last_ticket() const {
        long long ticket = 0;
        std::ifstream(file_, std::ios::binary).read(reinterpret_cast<char *>(&ticket), sizeof ticket);
        return ticket;
    }

    std::string file_;
};

TEST_F(WriterQueue, TurnsComeInTheOrderOfArrivalOneAtATime) {
    constexpr int kWriters = 8;
    std::optional<WriterTurn> first(std::in_place, file_, 60s);
    std::mutex mutex;
    std::vector<int> order;
    int at_work = 0;
    std::vector<std::thread> writers;
    for (int i = 0; i < kWriters; ++i) {
        writers.emplace_back([&, i] {
            const WriterTurn turn(file_, 60s);
            {
                const std::lock_guard lock(mutex);
                order.push_back(i);
                EXPECT_EQ(++at_work, 1);
            }
            std::this_thread::sleep_for(5ms);
            const std::lock_guard lock(mutex);
            --at_work;
        });
        // The first turn has the ticket before theirs.
        while (last_ticket() < i + 2)
            std::this_thread::sleep_for(1ms);
    }
    EXPECT_TRUE(order.empty());
    first.reset();
    for (std::thread &writer : writers)
        writer.join();
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7}));
}

TEST_F(WriterQueue, WhoWaitsTooLongIsToldTheLimit) {
    const WriterTurn turn(file_, 1s);
    const auto begin = std::chrono::steady_clock::now();
    try {
        const WriterTurn late(file_, 200ms);
        FAIL() << "two turns at once";
    } catch (const ocamp::WriterQueueError &error) {
        EXPECT_EQ(error.what(), file_ + ": other writers kept it busy for longer than the busy limit of 0.2 s");
    }
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 200ms);
}

TEST_F(WriterQueue, KilledWriterHoldsNobodyUp) {
    const pid_t child = fork();
    if (child == 0) {
        const WriterTurn turn(file_, 1s);
        kill(getpid(), SIGKILL);
    }
    waitpid(child, nullptr, 0);
    EXPECT_NO_THROW(WriterTurn(file_, 1s));
}

TEST_F(WriterQueue, FileThatHoldsAnythingElseDoesNoHarm) {
    std::ofstream(file_) << std::string(100, '\xff');
    EXPECT_NO_THROW(WriterTurn(file_, 1s));
    try {
        const WriterTurn turn("/no-such-folder/queue", 1s);
        FAIL() << "queued";
    } catch (const ocamp::WriterQueueError &error) {
        EXPECT_STREQ(error.what(), "/no-such-folder/queue: open: No such file or directory");
    }
}

} // namespace
