// Files of databases that are made while others may look, and that may be damaged. Knows no tables.
#pragma once

#include "sysdb/sqlite.h"

#include <filesystem>
#include <functional>

namespace ocamp {

/// Makes a database with that mark, for whose content `fill` is called within a transaction. It has its name only when
/// it is complete: who looks meanwhile, or after the process was killed, finds no file or this one. `settings` are
/// statements that hold for the connection that makes it. Throws SqliteError and std::filesystem::filesystem_error.
void make_database_file(const std::filesystem::path &file, const FileMark &mark, const char *settings,
                        const std::function<void(Database &)> &fill);

/// Removes the file and its journal, if they are there. Throws std::filesystem::filesystem_error.
void remove_database_file(const std::filesystem::path &file);

/// Throws std::system_error, which names the file, when it cannot be read to its end.
void check_readable(const std::filesystem::path &file);

/// Calls `open`, and `close` when that throws of damage. SQLite tells what could not be read as damage, too, and a disk
/// that fails, for a moment or for longer, has damaged nothing: so the file has to be readable to its end, and is
/// opened once more. False: it is damaged, and closed. Throws what check_readable throws, and what `open` throws but
/// SqliteError of damage and DamageError.
bool opens_undamaged(const std::filesystem::path &file, const std::function<void()> &open,
                     const std::function<void()> &close);

} // namespace ocamp
