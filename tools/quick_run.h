// How a command that is over in milliseconds begins and ends. Knows no command.
#pragma once

namespace ocamp {

/// Lets the heap lie on one large page, where the system has such pages and one is free: each small page would be asked
/// for by itself, which takes longer than what most commands do with it. Nothing is said when there is none. At the
/// beginning of the program.
void put_heap_on_large_page() noexcept;

/// Lets the C library look for the system's time zone once, and not for every date of a module. For a command that ends
/// soon and has no other threads.
void look_for_time_zone_once() noexcept;

/// Ends the process with the outcome that was told, and leaves it to the system to take back memory and files: to take
/// them apart takes as long as a small read. Returns when no outcome was told, and in builds that look for what is
/// never freed or count what was run.
void leave_quickly() noexcept;

} // namespace ocamp
