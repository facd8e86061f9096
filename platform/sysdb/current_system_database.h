// Which system database answers the plug-in. Knows nothing of nodes or requests.
#pragma once

#include "sysdb/system_database.h"

#include <cstdint>

namespace ocamp {

/// Makes `database`, which must outlive the guard, the one that the C calls of the seam and the availability probe use
/// in this thread while the guard lives; afterwards the one before it, or none, is again. Bindings and listings that
/// were opened under the guard and not closed end with it. Guards end in the reverse order of their beginning.
class CurrentSystemDatabase {
  public:
    /// `database` outlives the guard.
    explicit CurrentSystemDatabase(SystemDatabase &database) noexcept;
    ~CurrentSystemDatabase();
    CurrentSystemDatabase(const CurrentSystemDatabase &) = delete;
    CurrentSystemDatabase &operator=(const CurrentSystemDatabase &) = delete;

    /// The one that the guard was made with.
    SystemDatabase &database() const noexcept { return database_; }
    /// That of this thread; NULL when none lives.
    static CurrentSystemDatabase *current() noexcept;

  private:
    SystemDatabase &database_;
    CurrentSystemDatabase *previous_;
};

} // namespace ocamp
