// gRPC's side of the client.
#include "gnmi/client.h"

#include "gnmi/rpc_failure.h"
#include "seam/input_error.h"
#include "text_io.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <poll.h>
#include <unistd.h>

#include "gnmi.grpc.pb.h"

#include <fmt/format.h>
#include <google/protobuf/stubs/logging.h>
#include <grpc/support/log.h>
#include <grpcpp/grpcpp.h>
#include <grpcpp/security/credentials.h>
#include <grpcpp/security/tls_credentials_options.h>

namespace ocamp::gnmi_client {

namespace {

// The protocol's names, by code.
constexpr std::array<const char *, 17> code_names{
    "OK",        "CANCELLED",      "UNKNOWN",           "INVALID_ARGUMENT",   "DEADLINE_EXCEEDED",
    "NOT_FOUND", "ALREADY_EXISTS", "PERMISSION_DENIED", "RESOURCE_EXHAUSTED", "FAILED_PRECONDITION",
    "ABORTED",   "OUT_OF_RANGE",   "UNIMPLEMENTED",     "INTERNAL",           "UNAVAILABLE",
    "DATA_LOSS", "UNAUTHENTICATED"};

RpcFailure failure_of(const grpc::Status &status, std::string_view more = "") {
    const auto code = static_cast<std::size_t>(status.error_code());
    const std::string reason = status.error_message().empty() ? "the target gave no reason" : status.error_message();
    return {code < code_names.size() ? code_names[code] : fmt::format("code {}", code),
            fmt::format("{}{}", reason, more)};
}

std::string file_of(const std::string &name) {
    return name.empty() ? std::string() : read_input(name);
}

// Without verification there is a way of gRPC's that is not settled yet; all else goes the settled one.
std::shared_ptr<grpc::ChannelCredentials> unverified_credentials(const std::string &certificate,
                                                                 const std::string &key) {
    grpc::experimental::TlsChannelCredentialsOptions options;
    options.set_verify_server_certs(false);
    options.set_check_call_host(false);
    options.set_certificate_verifier(std::make_shared<grpc::experimental::NoOpCertificateVerifier>());
    if (!certificate.empty()) {
        options.set_certificate_provider(std::make_shared<grpc::experimental::StaticDataCertificateProvider>(
            std::vector<grpc::experimental::IdentityKeyCertPair>{{key, certificate}}));
        options.watch_identity_key_cert_pairs();
    }
    return grpc::experimental::TlsCredentials(options);
}

// gRPC takes a file without any certificate for one with none wanted.
std::string pem_of(const std::string &name) {
    std::string pem = file_of(name);
    if (!name.empty() && pem.find("-----BEGIN ") == std::string::npos)
        throw InputError(fmt::format("{}: no PEM, expected '-----BEGIN ...-----'", input_name(name)));
    return pem;
}

std::shared_ptr<grpc::ChannelCredentials> credentials_of(const Connection &connection) {
    if (connection.insecure)
        return grpc::InsecureChannelCredentials();
    const std::string certificate = pem_of(connection.certificate_file), key = pem_of(connection.key_file);
    if (connection.skip_verify)
        return unverified_credentials(certificate, key);
    return grpc::SslCredentials(
        {.pem_root_certs = pem_of(connection.ca_file), .pem_private_key = key, .pem_cert_chain = certificate});
}

std::shared_ptr<grpc::Channel> channel_of(const Connection &connection) {
    grpc::ChannelArguments arguments;
    arguments.SetMaxReceiveMessageSize(static_cast<int>(connection.max_message));
    if (!connection.server_name.empty())
        arguments.SetSslTargetNameOverride(connection.server_name);
    return grpc::CreateCustomChannel("dns:///" + connection.target, credentials_of(connection), arguments);
}

using Stream = grpc::ClientReaderWriter<::gnmi::SubscribeRequest, ::gnmi::SubscribeResponse>;

// Polls as standard input asks for them: one at the beginning, and one for each line.
class PollRequests {
  public:
    explicit PollRequests(const StopSignals &signals) : signals_(signals) {}

    // False when no more are wanted.
    bool wait() {
        while (lines_ == 0 && read_more()) {
        }
        if (lines_ == 0)
            return false;
        --lines_;
        return true;
    }

  private:
    bool read_more() {
        std::array<pollfd, 2> asked{{{.fd = STDIN_FILENO, .events = POLLIN, .revents = 0},
                                     {.fd = signals_.descriptor(), .events = POLLIN, .revents = 0}}};
        if (poll(asked.data(), asked.size(), -1) < 0)
            return errno == EINTR;
        if (asked[1].revents != 0)
            return false;
        std::array<char, 4096> part;
        const ssize_t got = read(STDIN_FILENO, part.data(), part.size());
        if (got <= 0)
            return got < 0 && errno == EINTR;
        lines_ += static_cast<std::size_t>(std::count(part.begin(), part.begin() + got, '\n'));
        return true;
    }

    const StopSignals &signals_;
    std::size_t lines_ = 1;
};

} // namespace

class Client::Impl {
  public:
    Impl(const Connection &connection, std::optional<std::string> password)
        : connection_(connection), password_(std::move(password)), channel_(channel_of(connection)),
          stub_(::gnmi::gNMI::NewStub(channel_)) {}

    template <class Request, class Response>
    Response call(grpc::Status (::gnmi::gNMI::Stub::*rpc)(grpc::ClientContext *, const Request &, Response *),
                  const Request &request, std::string_view when_unknown = "") {
        const bool connected = connect();
        grpc::ClientContext context;
        log_in(context);
        context.set_deadline(deadline());
        Response response;
        const grpc::Status status = (stub_.get()->*rpc)(&context, request, &response);
        if (!status.ok())
            throw failure_of(status, connected && may_be_done(status) ? when_unknown : "");
        return response;
    }

    void subscribe(const ::gnmi::SubscribeRequest &request, const StopSignals &signals,
                   const std::function<void(const ::gnmi::SubscribeResponse &)> &take) {
        grpc::ClientContext context;
        const StopSignals::Watch watch(signals, [&context] { context.TryCancel(); });
        connect([&signals] { return signals.stopped(); });
        log_in(context);
        const auto mode = request.subscribe().mode();
        if (mode == ::gnmi::SubscriptionList::ONCE)
            context.set_deadline(deadline());
        const std::unique_ptr<Stream> stream = stub_->Subscribe(&context);
        // Where a request does not get out, the status tells why.
        stream->Write(request);
        bool complete = false;
        try {
            complete = mode == ::gnmi::SubscriptionList::POLL
                           ? poll(*stream, signals, take)
                           : read(*stream, take) && mode == ::gnmi::SubscriptionList::ONCE;
        } catch (...) {
            context.TryCancel();
            stream->Finish();
            throw;
        }
        const grpc::Status status = stream->Finish();
        if (signals.stopped())
            return;
        if (!status.ok())
            throw failure_of(status);
        if (!complete)
            throw RpcFailure("", "the target ended the stream");
    }

  private:
    using Take = std::function<void(const ::gnmi::SubscribeResponse &)>;

    std::chrono::system_clock::time_point deadline() const {
        return std::chrono::system_clock::now() +
               std::chrono::duration_cast<std::chrono::system_clock::duration>(connection_.timeout);
    }

    // True when the connection stands. When it failed, or nobody wants it any more, the RPC tells why.
    bool connect(const std::function<bool()> &is_stopped = [] { return false; }) {
        constexpr std::chrono::milliseconds between_looks{200};
        const auto end = deadline();
        while (!is_stopped()) {
            const grpc_connectivity_state state = channel_->GetState(true);
            if (state == GRPC_CHANNEL_READY || state == GRPC_CHANNEL_TRANSIENT_FAILURE)
                return state == GRPC_CHANNEL_READY;
            const auto now = std::chrono::system_clock::now();
            if (now >= end)
                throw RpcFailure("UNAVAILABLE",
                                 fmt::format("{}: no connection within {:.9g} s", connection_.target,
                                             std::chrono::duration<double>(connection_.timeout).count()));
            channel_->WaitForStateChange(state, std::min(end, now + between_looks));
        }
        return false;
    }

    void log_in(grpc::ClientContext &context) const {
        if (!password_)
            return;
        context.AddMetadata("username", connection_.username);
        context.AddMetadata("password", *password_);
    }

    static bool may_be_done(const grpc::Status &status) {
        return status.error_code() == grpc::DEADLINE_EXCEEDED || status.error_code() == grpc::UNAVAILABLE ||
               status.error_code() == grpc::CANCELLED;
    }

    // True when the last answer was a sync_response.
    static bool read(Stream &stream, const Take &take) {
        bool synchronized = false;
        for (::gnmi::SubscribeResponse response; stream.Read(&response);) {
            take(response);
            synchronized = response.response_case() == ::gnmi::SubscribeResponse::kSyncResponse;
        }
        return synchronized;
    }

    // False when the target ends before an answer is whole.
    static bool poll(Stream &stream, const StopSignals &signals, const Take &take) {
        ::gnmi::SubscribeRequest request;
        request.mutable_poll();
        for (PollRequests requests(signals); requests.wait();) {
            stream.Write(request);
            bool synchronized = false;
            for (::gnmi::SubscribeResponse response; !synchronized && stream.Read(&response);) {
                take(response);
                synchronized = response.response_case() == ::gnmi::SubscribeResponse::kSyncResponse;
            }
            if (!synchronized)
                return false;
        }
        stream.WritesDone();
        read(stream, take);
        return true;
    }

    const Connection &connection_;
    const std::optional<std::string> password_;
    std::shared_ptr<grpc::Channel> channel_;
    std::unique_ptr<::gnmi::gNMI::Stub> stub_;
};

Client::Client(const Connection &connection, std::optional<std::string> password) {
    // Their messages are for those who develop them; what failed is in the status of an RPC.
    gpr_set_log_function([](gpr_log_func_args *) {});
    google::protobuf::SetLogHandler(nullptr);
    impl_ = std::make_unique<Impl>(connection, std::move(password));
}
Client::~Client() = default;

::gnmi::CapabilityResponse Client::capabilities() {
    return impl_->call(&::gnmi::gNMI::Stub::Capabilities, ::gnmi::CapabilityRequest());
}

::gnmi::GetResponse Client::get(const ::gnmi::GetRequest &request) {
    return impl_->call(&::gnmi::gNMI::Stub::Get, request);
}

::gnmi::SetResponse Client::set(const ::gnmi::SetRequest &request) {
    return impl_->call(&::gnmi::gNMI::Stub::Set, request, "; whether the target has made the change is not known");
}

void Client::subscribe(const ::gnmi::SubscribeRequest &request, const StopSignals &signals,
                       const std::function<void(const ::gnmi::SubscribeResponse &)> &take) {
    impl_->subscribe(request, signals, take);
}

} // namespace ocamp::gnmi_client
