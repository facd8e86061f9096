// The words for roles and ends of sessions.
#include "server/identity.h"

#include <array>

namespace ocamp::server {

namespace {

constexpr std::array<std::string_view, 3> role_words{"reader", "operator", "admin"};
constexpr std::array<std::string_view, 6> end_words{"closed", "killed", "dropped", "timeout", "refused", "shutdown"};

} // namespace

std::string_view word_of(Role role) noexcept {
    return role_words[static_cast<std::size_t>(role)];
}

std::optional<Role> role_of(std::string_view word) noexcept {
    for (std::size_t i = 0; i < role_words.size(); ++i) {
        if (role_words[i] == word)
            return static_cast<Role>(i);
    }
    return std::nullopt;
}

std::string_view word_of(SessionEnd end) noexcept {
    return end_words[static_cast<std::size_t>(end)];
}

} // namespace ocamp::server
