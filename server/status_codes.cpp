// The table of status codes.
#include "server/status_codes.h"

namespace ocamp::server {

int status_code(ErrorTag tag) noexcept {
    constexpr int unknown = 2;
    switch (tag) {
#define OCAMP_ERROR_TAG(tag, word, status, number)                                                                     \
    case ErrorTag::tag:                                                                                                \
        return number;
#include "yang/error_tags.def"
    }
    return unknown;
}

} // namespace ocamp::server
