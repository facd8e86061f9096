// A refusal because somebody holds what was asked for. Knows not what that is.
#pragma once

#include "server/identity.h"
#include "yang/request_error.h"

#include <string>

namespace ocamp::server {

/// lock_denied or in_use, with the holder.
class HeldError : public RequestError {
  public:
    /// `holder`: no_session when it is no session of this server.
    HeldError(ErrorTag tag, const std::string &reason, SessionId holder)
        : RequestError(tag, "", reason), holder_(holder) {}

    SessionId holder() const noexcept { return holder_; } ///< no_session: none of this server's

  private:
    SessionId holder_;
};

} // namespace ocamp::server
