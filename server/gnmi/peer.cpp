// How gRPC's words for peers are read.
#include "server/gnmi/peer.h"

#include <array>
#include <charconv>
#include <string>

#include <net/if.h>

namespace ocamp::gnmi {

namespace {

// Characters that a URI cannot have are written as "%5B".
std::string without_escapes(std::string_view text) {
    std::string plain;
    while (!text.empty()) {
        unsigned char character = 0;
        if (text.size() >= 3 && text.front() == '%' &&
            std::from_chars(text.data() + 1, text.data() + 3, character, 16).ptr == text.data() + 3) {
            plain += static_cast<char>(character);
            text.remove_prefix(3);
        } else {
            plain += text.front();
            text.remove_prefix(1);
        }
    }
    return plain;
}

// gRPC tells the number of a link-local address' interface, and all others its name.
std::string with_interface_name(const std::string &address) {
    const std::size_t scope = address.find('%');
    if (scope == std::string::npos)
        return address;
    unsigned number = 0;
    std::from_chars(address.data() + scope + 1, address.data() + address.size(), number);
    std::array<char, IF_NAMESIZE> name{};
    return if_indextoname(number, name.data()) == nullptr ? address : address.substr(0, scope + 1) + name.data();
}

} // namespace

server::Peer peer_of(std::string_view uri) {
    server::Peer peer{.protocol = "gnmi", .address = std::string(uri)};
    const std::size_t begin = uri.find(':'), end = uri.rfind(':');
    if (begin == std::string_view::npos || end <= begin)
        return peer;
    std::from_chars(uri.data() + end + 1, uri.data() + uri.size(), peer.port);
    std::string address = without_escapes(uri.substr(begin + 1, end - begin - 1));
    if (address.starts_with('[') && address.ends_with(']'))
        address = address.substr(1, address.size() - 2);
    peer.address = with_interface_name(address);
    return peer;
}

} // namespace ocamp::gnmi
