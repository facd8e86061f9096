// The words for roles and ends of sessions, and who counts as one client.
#include "server/identity.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include <arpa/inet.h>

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

std::string network_of(const std::string &address) {
    constexpr std::size_t network_bytes = 8;
    const std::size_t scope = std::min(address.find('%'), address.size());
    in6_addr number{};
    if (inet_pton(AF_INET6, address.substr(0, scope).c_str(), &number) != 1 || IN6_IS_ADDR_V4MAPPED(&number))
        return address;
    std::fill(std::begin(number.s6_addr) + network_bytes, std::end(number.s6_addr), 0);
    std::array<char, INET6_ADDRSTRLEN> text{};
    inet_ntop(AF_INET6, &number, text.data(), text.size());
    return std::string(text.data()) + "/64" + address.substr(scope);
}

} // namespace ocamp::server
