// How writers wait for one another.
#include "support/files.h"
#include "sysdb/writer_queue.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <limits>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using ocamp::WriterTurn;
using namespace std::chrono_literals;

class WriterQueue : public testing::Test {
  private:
    support::TemporaryFolder folder_;

  protected:
    std::string file_ = (folder_.path() / "queue").string();
    // The ticket that was given last.
    long long last_ticket() const {
        long long ticket = 0;
        std::ifstream(file_, std::ios::binary).read(reinterpret_cast<char *>(&ticket), sizeof ticket);
        return ticket;
    }
};

TEST_F(WriterQueue, TurnsComeInTheOrderOfArrivalOneAtATime) {
    constexpr int writer_count = 8;
    std::optional<WriterTurn> first(std::in_place, file_, 60s);
    std::mutex mutex;
    std::vector<int> order;
    int at_work = 0;
    std::vector<std::thread> writers;
    for (int i = 0; i < writer_count; ++i) {
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

TEST_F(WriterQueue, WhoeverTakesATicketIsWaitedFor) {
    const int office = open(file_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_GE(office, 0);
    struct flock first_byte = {};
    first_byte.l_type = F_WRLCK;
    first_byte.l_len = 1;
    ASSERT_EQ(fcntl(office, F_OFD_SETLK, &first_byte), 0);
    std::jthread next([&] { EXPECT_NO_THROW(WriterTurn(file_, 60s)); });
    std::this_thread::sleep_for(20ms); // it tries several times
    close(office);
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

TEST_F(WriterQueue, TicketThatNoneCanFollowIsToldWhileOthersWait) {
    const WriterTurn turn(file_, 1s);
    for (const long long last : {std::numeric_limits<long long>::max(), -5LL, 0LL}) {
        std::fstream(file_, std::ios::in | std::ios::out).write(reinterpret_cast<const char *>(&last), sizeof last);
        try {
            const WriterTurn next(file_, 200ms);
            FAIL() << "queued behind " << last;
        } catch (const ocamp::WriterQueueError &error) {
            EXPECT_EQ(error.what(), file_ + ": holds the ticket " + std::to_string(last) +
                                        ", expected one from 1 on; remove the file when nobody writes");
        }
    }
}

TEST_F(WriterQueue, WhatIsNoFileIsTold) {
    ASSERT_EQ(mkfifo(file_.c_str(), 0600), 0);
    const auto refusal = [&] {
        try {
            const WriterTurn turn(file_, 200ms);
        } catch (const ocamp::WriterQueueError &error) {
            return std::string(error.what());
        }
        return std::string("queued");
    };
    EXPECT_EQ(refusal(), file_ + ": no regular file, expected the queue of the writers or nothing");
    std::filesystem::remove(file_);
    std::filesystem::create_symlink("elsewhere", file_);
    EXPECT_EQ(refusal(), file_ + ": a symbolic link, expected the queue of the writers or nothing");
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
