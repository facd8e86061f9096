// How the library is found. Knows no user.
#include "server/crypt_library.h"

#include "seam/late_library.h"

namespace ocamp::server {

const CryptLibrary &crypt_library() {
    static const CryptLibrary calls = [] {
        const LateLibrary library("libcrypt.so.1");
        return CryptLibrary{library.find<decltype(&::crypt_r)>("crypt_r"),
                            library.find<decltype(&::crypt_gensalt_ra)>("crypt_gensalt_ra")};
    }();
    return calls;
}

} // namespace ocamp::server
