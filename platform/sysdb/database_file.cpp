// How files of databases are made and removed. Knows no tables.
#include "sysdb/database_file.h"

#include "sysdb/seal.h"

#include <array>
#include <cerrno>
#include <memory>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace ocamp {

namespace fs = std::filesystem;

void make_database_file(const fs::path &file, const FileMark &mark, const char *settings,
                        const std::function<void(Database &)> &fill) {
    const fs::path unfinished = file.string() + ".new";
    remove_database_file(unfinished);
    {
        Database database(unfinished.string(), Database::Mode::create, &mark);
        database.exec(settings);
        Transaction transaction(database);
        fill(database);
        transaction.commit("");
    }
    fs::remove(unfinished.string() + "-journal");
    fs::rename(unfinished, file);
}

void remove_database_file(const fs::path &file) {
    // The journal first: it belongs to no other file of that name.
    fs::remove(file.string() + "-journal");
    fs::remove(file);
}

void check_readable(const fs::path &file) {
    struct Descriptor {
        int number;
        ~Descriptor() { ::close(number); }
    };
    const auto fail = [&] { throw std::system_error(errno, std::generic_category(), file.string()); };
    const Descriptor descriptor{::open(file.c_str(), O_RDONLY | O_CLOEXEC)};
    if (descriptor.number < 0)
        fail();
    std::array<char, 65536> room;
    ssize_t got = 0;
    while ((got = read(descriptor.number, room.data(), room.size())) != 0) {
        if (got < 0 && errno != EINTR)
            fail();
    }
}

bool opens_undamaged(const fs::path &file, const std::function<void()> &open, const std::function<void()> &close) {
    const auto opened = [&] {
        try {
            open();
            return true;
        } catch (const DamageError &) {
        } catch (const SqliteError &error) {
            if (!error.is_damage())
                throw;
        }
        close();
        return false;
    };
    if (opened())
        return true;
    check_readable(file);
    return opened();
}

} // namespace ocamp
