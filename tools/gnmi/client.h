// The connection to a target, and the RPCs over it; gRPC stays in here. Knows no command line and no output.
#pragma once

#include "gnmi/options.h"
#include "gnmi/stop_signals.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "gnmi.pb.h"

namespace ocamp::gnmi_client {

class Client {
  public:
    /// Reads the files that the options name; the connection's options outlive the client. `password`: that of the
    /// user, if there is one. Throws InputError.
    Client(const Connection &connection, std::optional<std::string> password);
    ~Client();
    Client(const Client &) = delete;
    Client &operator=(const Client &) = delete;

    /// Each throws RpcFailure.
    ::gnmi::CapabilityResponse capabilities();
    ::gnmi::GetResponse get(const ::gnmi::GetRequest &request);
    ::gnmi::SetResponse set(const ::gnmi::SetRequest &request);

    /// Hands every answer to `take`, up to the last of a once list, the end of standard input of a poll list (which is
    /// asked once, and once more for each line), or a signal. `signals` are older than this client. Throws RpcFailure,
    /// for a target that ends before, too, and what `take` throws.
    void subscribe(const ::gnmi::SubscribeRequest &request, const StopSignals &signals,
                   const std::function<void(const ::gnmi::SubscribeResponse &)> &take);

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace ocamp::gnmi_client
