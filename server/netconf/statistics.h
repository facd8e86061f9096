// What the server counts and knows of its NETCONF sessions. Knows neither messages nor how any of it is shown.
#pragma once

#include "server/identity.h"

#include <chrono>
#include <cstdint>
#include <map>
#include <string>

namespace ocamp::netconf {

/// The counters of RFC 6022 that sessions and the server have alike.
struct Counters {
    std::uint32_t in_rpcs = 0;
    std::uint32_t in_bad_rpcs = 0;
    std::uint32_t out_rpc_errors = 0;
    std::uint32_t out_notifications = 0;
};

/// One session that is there.
struct SessionRecord {
    std::string user;
    std::string address;
    std::chrono::system_clock::time_point since;
    Counters counters;
};

/// All that there is to count. For the adapter's thread only.
struct Statistics {
    std::chrono::system_clock::time_point started;
    std::uint32_t in_bad_hellos = 0;
    std::uint32_t in_sessions = 0;
    std::uint32_t dropped_sessions = 0;
    Counters counters; ///< of all sessions, also of those that are gone
    std::map<server::SessionId, SessionRecord> sessions;

    /// Counts for a session and in all.
    void count(server::SessionId session, std::uint32_t Counters::*counter) {
        ++(counters.*counter);
        if (const auto found = sessions.find(session); found != sessions.end())
            ++(found->second.counters.*counter);
    }
};

} // namespace ocamp::netconf
