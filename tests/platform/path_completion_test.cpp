// Paths as they are completed on a command line.
#include "node/path_completion.h"
#include "yang/models.h"

#include <gmock/gmock.h>

using namespace ocamp;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace {

const std::string list = "/optical-amplifier/amplifiers/amplifier";

std::vector<std::string> completed(const std::string &begun) {
    return completed_paths(openconfig_schema(), begun, [](const std::string &path) {
        return path == list ? std::vector<std::string>{"0/1-AMP-PRE", "0/1-AMP-BST"} : std::vector<std::string>();
    });
}

TEST(CompletedPaths, GoOneStepFurther) {
    EXPECT_THAT(completed(""), ElementsAre("/optical-amplifier/"));
    EXPECT_THAT(completed("/optical-amplifier/amp"), ElementsAre("/optical-amplifier/amplifiers/"));
    EXPECT_THAT(completed(list),
                ElementsAre(list + "/", list + "[name='0/1-AMP-PRE']/", list + "[name='0/1-AMP-BST']/"));
    EXPECT_THAT(completed(list + "[name='0/1-AMP-B"), ElementsAre(list + "[name='0/1-AMP-BST']/"));
    EXPECT_THAT(completed(list + "/config/target-gain"),
                ElementsAre(list + "/config/target-gain", list + "/config/target-gain-tilt"));
}

TEST(CompletedPaths, PassOverKeysInEitherQuotes) {
    for (const std::string key : {"[name='0/1-AMP-PRE']", "[name=\"a'/]\"]"}) {
        EXPECT_THAT(completed(list + key + "/con"), ElementsAre(list + key + "/config/"));
        EXPECT_THAT(completed(list + key + "/"), Each(StartsWith(list + key + "/")));
    }
}

TEST(CompletedPaths, LeadSomewhereAndToWhatIsServed) {
    EXPECT_THAT(completed(list + "/state/"), Contains(list + "/state/enabled"));
    EXPECT_THAT(completed(list + "/state/"), Not(Contains(list + "/state/min-gain")));
    for (const std::string nowhere :
         {"optical-amplifier", "/no-such/", "/optical-amplifier[name='a'/", "//", "/optical-amplifier[name]/",
          "/optical-amplifier[name='a']x/", "/optical-amplifier[name='a'x]/"})
        EXPECT_THAT(completed(nowhere), IsEmpty()) << nowhere;
}

} // namespace
