// The table of roles.
#include "server/roles.h"

#include "yang/request_error.h"

#include <fmt/format.h>

namespace ocamp::server {

namespace {

struct LeastRole {
    Role operator()(const Read &) const noexcept { return Role::reader; }
    Role operator()(const Validate &) const noexcept { return Role::reader; }
    Role operator()(const Wait &) const noexcept { return Role::reader; }
    Role operator()(const KillSession &) const noexcept { return Role::admin; }
    template <class Other>
    Role operator()(const Other &) const noexcept {
        return Role::operator_;
    }
};

} // namespace

Role least_role(const Operation &operation) noexcept {
    return std::visit(LeastRole(), operation);
}

void check_role(const Principal &principal, const Operation &operation) {
    const Role least = least_role(operation);
    if (principal.role < least)
        throw RequestError(error_tag::access_denied, "",
                           fmt::format("{} is for the role {}, and this user has the role {}", word_of(operation),
                                       word_of(least), word_of(principal.role)));
}

void check_native_edit(const Principal &principal, const NativeNode &native_node) {
    if (native_node && principal.role < Role::admin)
        throw RequestError(error_tag::access_denied, *native_node,
                           fmt::format("native data is for the role admin to edit, and this user has the role {}",
                                       word_of(principal.role)));
}

} // namespace ocamp::server
