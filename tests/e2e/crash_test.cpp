// Edits that are killed: what was acknowledged stays, and what is there is always one edit or the other.
#include "ocamp_program.h"

#include <chrono>
#include <csignal>
#include <random>
#include <thread>

#include <sys/wait.h>

#include <gmock/gmock.h>

using namespace e2e;
using testing::AnyOf;
using testing::HasSubstr;

namespace {

constexpr int round_count = 60;
// An edit takes a few milliseconds; the kills are spread over its whole course and a little beyond.
constexpr int longest_wait = 20000; // µs

class KilledEdits : public NodeTest {
  protected:
    std::string gain() const {
        const Outcome outcome =
            get({"--config", "/optical-amplifier/amplifiers/amplifier[name='0/2-AMP-BST']/config/target-gain"});
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return outcome.out;
    }
};

TEST_F(KilledEdits, AreDoneWhollyOrNotAtAll) {
    const std::string gains[] = {"11.1", "12.2"};
    for (int i = 0; i < 2; ++i) {
        write_file(folder() / ("edit" + std::to_string(i)),
                   "{\"openconfig-optical-amplifier:optical-amplifier\": {\"amplifiers\": {\"amplifier\": [{\"name\": "
                   "\"0/2-AMP-BST\", \"config\": {\"target-gain\": \"" +
                       gains[i] + "\"}}]}}}");
    }
    std::minstd_rand random(20191206);
    std::uniform_int_distribution<int> wait(0, longest_wait);
    std::string before = gain();
    for (int round = 0; round < round_count; ++round) {
        const int which = round % 2;
        const std::filesystem::path output = folder() / "output";
        const int child =
            start_ocamp({"edit", "--node", node(), "-"}, folder() / ("edit" + std::to_string(which)), output);
        std::this_thread::sleep_for(std::chrono::microseconds(wait(random)));
        kill(child, SIGKILL);
        int status = 0;
        waitpid(child, &status, 0);
        const bool acknowledged = std::filesystem::exists(output) && read_file(output).ends_with("\nok\n");
        std::filesystem::remove(output);
        const std::string asked = "\"target-gain\": \"" + gains[which] + "\"";
        const std::string after = gain();
        if (acknowledged)
            EXPECT_THAT(after, HasSubstr(asked)) << "an acknowledged edit is gone";
        else
            EXPECT_THAT(after, AnyOf(before, HasSubstr(asked)));
        before = after;
    }
}

} // namespace
