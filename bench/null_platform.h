// A platform that does next to nothing, so that a measurement shows the plug-in. It can note the calls it gets and
// make them again: the baseline, which is the part of the work that no plug-in can leave out.
#ifndef NULL_PLATFORM_H
#define NULL_PLATFORM_H

#include "yfw_platform.h"

#include <functional>
#include <vector>

using Calls = std::vector<std::function<void()>>;

/// While set, every call is noted here. nullptr: no notes.
void note_calls(Calls *calls);

/// Level up to which the debug log takes messages; -1 takes none.
void set_log_level(int level);

#endif
