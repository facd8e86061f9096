// What each operation of the protocol asks of the core, and what is replied. Knows no session but whose request it is.
#pragma once

#include "server/core.h"
#include "server/netconf/request.h"
#include "server/netconf/statistics.h"

#include <functional>
#include <optional>
#include <string>

namespace ocamp::netconf {

/// Who asks, and of whom.
struct Caller {
    const server::Core &core;
    const Statistics &statistics;
    server::SessionId session;
    bool subscribed;
};

/// What a request comes to.
struct Task {
    /// What the core has to do; none: nothing.
    std::optional<server::Operation> operation = {};
    /// The content of the reply, once that is done. Throws what state_data and YangTree throw.
    std::function<std::string(server::Result result)> reply;
    /// What the session does afterwards.
    bool closes = false;
    std::optional<server::ReadFilter> subscribes = {};
};

/// Of a request that has been checked. Throws Refusal.
Task task_of(const Request &request, const Caller &caller);

/// The refusal as the protocol tells it.
RpcError error_of(const server::Refusal &refusal);

} // namespace ocamp::netconf
