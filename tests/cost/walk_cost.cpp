// Goes through the main walks under callgrind, which counts each by itself: the walk, and its platform calls alone.
// What comes before the counted rounds, such as the loader's search for a function, is not counted.
#include "own_stack.h"
#include "walks.h"

#include <cstdio>
#include <cstdlib>
#include <string>

#include <valgrind/callgrind.h>

namespace {

constexpr int counted_rounds = 20; // instructions.py divides by it
constexpr size_t entries = 10;
constexpr size_t many_entries = 100; // instructions.py knows both: the cost of an entry stays what it is

template <class Round>
void count(const std::string &name, Round round) {
    round();
    CALLGRIND_ZERO_STATS;
    for (int i = 0; i < counted_rounds; ++i)
        round();
    CALLGRIND_DUMP_STATS_AT(name.c_str());
}

void count_walk_alone(const std::string &name, walks::Run &run) {
    null_platform::take_messages(run.context(), null_platform::Messages::none);
    count(name, [&] {
        if (run.walk() != CERR_SUCCESS) {
            std::fprintf(stderr, "%s: the plug-in refuses the walk\n", name.c_str());
            std::exit(1);
        }
    });
}

void count_walk(const std::string &name, const walks::Walk &walk) {
    const auto run = walk.make(entries);
    count_walk_alone(name, *run);
    null_platform::CallRecord calls(&run->context());
    null_platform::note_calls(&calls);
    run->walk();
    null_platform::note_calls(nullptr);
    count(name + " calls", [&] { calls.replay(); });
}

} // namespace

int main() {
    OwnStack::run([] {
        for (const walks::Walk &walk : walks::requests())
            count_walk(std::string("request_") + walk.name, walk);
        for (const walks::Walk &walk : walks::answers()) {
            const std::string name = std::string("answer_") + walk.name;
            count_walk(name, walk);
            count_walk_alone(name + " of many", *walk.make(many_entries));
        }
    });
    return 0;
}
