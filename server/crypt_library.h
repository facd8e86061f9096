// libcrypt, which hashes passwords. Knows no user.
#pragma once

#include <crypt.h>

namespace ocamp::server {

/// What is called of it.
struct CryptLibrary {
    decltype(&::crypt_r) hash;
    decltype(&::crypt_gensalt_ra) make_setting;
};

/// Loads the library at the first call; see LateLibrary. Throws std::runtime_error when the system has none. Safe from
/// any thread.
const CryptLibrary &crypt_library();

} // namespace ocamp::server
