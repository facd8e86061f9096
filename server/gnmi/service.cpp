// gRPC's side of the service: RPCs, their users, and the way of responses to clients.
#include "server/gnmi/service.h"

#include "server/gnmi/authenticator.h"
#include "server/gnmi/get.h"
#include "server/gnmi/peer.h"
#include "server/gnmi/setter.h"
#include "server/gnmi/subscription.h"
#include "server/gnmi/wire.h"
#include "server/served_modules.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <mutex>

#include "gnmi.grpc.pb.h"

#include <google/protobuf/stubs/logging.h>
#include <grpc/grpc_security.h>
#include <grpc/support/log.h>
#include <grpcpp/grpcpp.h>
#include <grpcpp/resource_quota.h>

namespace ocamp::gnmi {

namespace {

constexpr std::size_t memory_quota = std::size_t{256} * 1024 * 1024;
constexpr int header_size = 16 * 1024;
constexpr int streams_of_connection = 256;
constexpr std::size_t streams_for_connection = 16; // for each that there may be, in all and of one user
// Whoever sees to it that a connection lives may ask as often as this, also while nothing else is to be said.
constexpr std::chrono::milliseconds ping_interval{1000};

// As gRPC takes times: what is longer than it can tell is the longest.
int milliseconds_of(std::chrono::milliseconds time) {
    return static_cast<int>(std::min<std::int64_t>(time.count(), std::numeric_limits<int>::max()));
}

grpc::Status status_of(const RpcError &error) {
    return {static_cast<grpc::StatusCode>(error.code()), error.what()};
}

// Throws RpcError.
template <class Message>
Message message_of(const grpc::ByteBuffer &bytes) {
    std::vector<grpc::Slice> slices;
    bytes.Dump(&slices);
    std::string whole;
    whole.reserve(bytes.Length());
    for (const grpc::Slice &slice : slices)
        whole.append(reinterpret_cast<const char *>(slice.begin()), slice.size());
    Message message;
    read_message(whole, message);
    return message;
}

grpc::ByteBuffer bytes_of(const google::protobuf::Message &message) {
    const grpc::Slice slice(message.SerializeAsString());
    return {&slice, 1};
}

std::optional<std::string> metadata_of(const grpc::CallbackServerContext &context, const char *word) {
    const auto found = context.client_metadata().find(word);
    if (found == context.client_metadata().end())
        return std::nullopt;
    return std::string(found->second.data(), found->second.size());
}

// The first of the certificate's alternative names, else its common name.
std::optional<std::string> certificate_name_of(const grpc::CallbackServerContext &context) {
    const auto auth = context.auth_context();
    if (!auth)
        return std::nullopt;
    for (const char *property : {"x509_subject_alternative_name", "x509_common_name"}) {
        const std::vector<grpc::string_ref> values = auth->FindPropertyValues(property);
        if (!values.empty())
            return std::string(values.front().data(), values.front().size());
    }
    return std::nullopt;
}

// What ends RPCs that wait when the server ends, or when their user is gone.
class OpenRpcs {
  public:
    using End = std::function<void(const grpc::Status &status)>;

    // Ended at once when all have been ended.
    std::uint64_t add(const End &end) {
        std::optional<grpc::Status> late;
        std::uint64_t number = 0;
        {
            const std::lock_guard guard(mutex_);
            late = ended_with_;
            number = ++last_;
            if (!late)
                open_.emplace(number, Open{end, std::nullopt});
        }
        if (late)
            end(*late);
        return number;
    }
    void set_user(std::uint64_t number, const server::Principal &user) {
        const std::lock_guard guard(mutex_);
        if (const auto found = open_.find(number); found != open_.end())
            found->second.user = user;
    }
    void remove(std::uint64_t number) {
        const std::lock_guard guard(mutex_);
        open_.erase(number);
    }
    // Those that come later, too.
    void end_all(const grpc::Status &status) {
        {
            const std::lock_guard guard(mutex_);
            ended_with_ = status;
        }
        end_those(status, [](const std::optional<server::Principal> &) { return true; });
    }
    // Those whose user, as far as it is known, is one of `outdated`.
    void end_outdated(const grpc::Status &status, const std::function<bool(const server::Principal &user)> &outdated) {
        end_those(status,
                  [&](const std::optional<server::Principal> &user) { return user.has_value() && outdated(*user); });
    }

  private:
    struct Open {
        End end;
        std::optional<server::Principal> user; // none: not proved, or of no interest
    };

    template <class Test>
    void end_those(const grpc::Status &status, const Test &test) {
        std::vector<End> ends;
        {
            const std::lock_guard guard(mutex_);
            for (auto at = open_.begin(); at != open_.end();) {
                if (!test(at->second.user)) {
                    ++at;
                    continue;
                }
                ends.push_back(std::move(at->second.end));
                at = open_.erase(at);
            }
        }
        for (const End &end : ends)
            end(status);
    }

    std::mutex mutex_;
    std::map<std::uint64_t, Open> open_;
    std::uint64_t last_ = 0;
    std::optional<grpc::Status> ended_with_;
};

const grpc::Status ended_status(grpc::StatusCode::UNAVAILABLE, "the server ends");
const grpc::Status unauthenticated_status(grpc::StatusCode::UNAUTHENTICATED,
                                          "expected a client certificate of a user, or username and password of one in "
                                          "the metadata");

const grpc::Status too_many_log_ins_status(grpc::StatusCode::RESOURCE_EXHAUSTED,
                                           "too many attempts to log in wait, of this address or in all");

const grpc::Status user_gone_status(grpc::StatusCode::UNAUTHENTICATED, "the user is gone, or has another role now");

const grpc::Status too_many_connections_status(grpc::StatusCode::RESOURCE_EXHAUSTED,
                                               "the user has as many connections as one may have");

// Of an RPC without a user.
const grpc::Status &refusal_of(const Authentication &found) {
    switch (found.lack) {
    case Authentication::Lack::too_many_attempts:
        return too_many_log_ins_status;
    case Authentication::Lack::too_many_connections:
        return too_many_connections_status;
    case Authentication::Lack::not_proved:
        break;
    }
    return unauthenticated_status;
}

// How many streams users have. Safe from any thread.
class StreamCounts {
  public:
    /// False when there may be no more, of this user or of all.
    bool add(const std::string &user, const server::Limits &limits) {
        const std::lock_guard guard(mutex_);
        const auto found = of_users_.find(user);
        const std::size_t of_user = found == of_users_.end() ? 0 : found->second;
        if (all_ >= streams_for_connection * limits.connections ||
            of_user >= streams_for_connection * limits.connections_per_user)
            return false;
        ++all_;
        of_users_[user] = of_user + 1;
        return true;
    }
    /// One that add() has counted.
    void remove(const std::string &user) {
        const std::lock_guard guard(mutex_);
        --all_;
        if (--of_users_[user] == 0)
            of_users_.erase(user);
    }

  private:
    std::mutex mutex_;
    std::size_t all_ = 0;
    std::map<std::string, std::size_t> of_users_;
};

// One unary RPC under way. Answered once; one that everybody has let go of is answered that the server ends.
class Call {
  public:
    Call(grpc::ServerUnaryReactor *reactor, OpenRpcs &open) : reactor_(reactor), open_(open) {}
    ~Call() { finish(ended_status); }
    Call(const Call &) = delete;
    Call &operator=(const Call &) = delete;

    static std::shared_ptr<Call> begin(grpc::ServerUnaryReactor *reactor, OpenRpcs &open) {
        const auto call = std::make_shared<Call>(reactor, open);
        call->number_ = open.add([weak = std::weak_ptr(call)](const grpc::Status &status) {
            if (const auto waiting = weak.lock())
                waiting->finish(status);
        });
        return call;
    }

    // Does what uses the request, unless the RPC is finished and its request gone. Who finishes it waits meanwhile, so
    // this hands over and returns.
    void proceed(const std::function<void()> &work) {
        const std::lock_guard guard(mutex_);
        if (!finished_)
            work();
    }

    // False when it is finished, or its client has given up. `context` is the call's own.
    bool is_wanted(const grpc::CallbackServerContext &context) {
        const std::lock_guard guard(mutex_);
        return !finished_ && !context.IsCancelled();
    }

    // The response is written under this, for it is gone when the RPC is finished.
    void finish(const grpc::Status &status, const std::function<void()> &write_response = {}) {
        const std::lock_guard guard(mutex_);
        if (finished_)
            return;
        finished_ = true;
        if (write_response)
            write_response();
        open_.remove(number_);
        reactor_->Finish(status);
    }

  private:
    std::recursive_mutex mutex_; // the work of proceed() may finish the RPC
    bool finished_ = false;
    grpc::ServerUnaryReactor *reactor_;
    OpenRpcs &open_;
    std::uint64_t number_ = 0;
};

// What RPCs work with.
struct Surroundings {
    server::Core &core;
    bool client_certificates;
    Service::LoggedIn logged_in;
    std::shared_ptr<Authenticator> authenticator;
    Readings readings;
    Setter setter;
    OpenRpcs open;
    StreamCounts streams;

    Surroundings(server::Core &served, bool by_certificates, Service::LoggedIn tell)
        : core(served), client_certificates(by_certificates), logged_in(std::move(tell)),
          authenticator(std::make_shared<Authenticator>(served)), readings(served), setter(served) {}

    // The users may have been read anew while a password was checked.
    bool is_current(const server::Principal &user) const {
        const server::LogInAnswer now = core.log_ins().principal_of(user.user);
        return now && now->role == user.role;
    }

    // `bytes`: what the RPC holds while it waits.
    void authenticate(const grpc::CallbackServerContext &context, std::size_t bytes, std::function<bool()> is_wanted,
                      std::function<void(const Authentication &found)> answer) const {
        Credentials credentials;
        if (client_certificates)
            credentials.certificate_name = certificate_name_of(context);
        else
            credentials = {.certificate_name = {},
                           .user = metadata_of(context, "username"),
                           .password = metadata_of(context, "password")};
        const server::Peer peer = peer_of(context.peer());
        const auto tell_and_answer = [this, peer, tell = logged_in,
                                      answer = std::move(answer)](const Authentication &found) {
            if (!found.user || !is_current(*found.user))
                answer({.lack = found.lack});
            else if (!tell(peer, found.user->user))
                answer({.lack = Authentication::Lack::too_many_connections});
            else
                answer(found);
        };
        authenticator->check(peer, credentials, {std::move(is_wanted), tell_and_answer, bytes});
    }
};

// One Subscribe RPC. Lives until gRPC is done with it; readings, timers and log-ins hold weak pointers. One of them may
// keep it for a moment longer than the server lives: what surrounds it is touched before it is finished alone.
class SubscribeReactor : public grpc::ServerBidiReactor<grpc::ByteBuffer, grpc::ByteBuffer>,
                         public std::enable_shared_from_this<SubscribeReactor> {
  public:
    SubscribeReactor(Surroundings &surroundings) : surroundings_(surroundings) {}
    SubscribeReactor(const SubscribeReactor &) = delete;
    SubscribeReactor &operator=(const SubscribeReactor &) = delete;

    void begin(const grpc::CallbackServerContext &context) {
        self_ = shared_from_this();
        number_ = surroundings_.open.add([weak = weak_from_this()](const grpc::Status &status) {
            if (const auto reactor = weak.lock())
                reactor->end(status);
        });
        surroundings_.authenticate(
            context, 0, [weak = weak_from_this()] { return !weak.expired(); },
            [weak = weak_from_this()](const Authentication &found) {
                if (const auto reactor = weak.lock())
                    reactor->logged_in(found);
            });
    }

    void OnReadDone(bool ok) override {
        const std::shared_ptr<Stream> stream = this->stream();
        if (!ok) {
            // The client sends no more. A stream goes on; whoever has not asked, or asks for polls, is done.
            if (!stream)
                end(status_of(invalid("request", "expected a SubscriptionList")));
            else if (request_mode_ == ::gnmi::SubscriptionList::POLL)
                end_after_backlog();
            return;
        }
        try {
            const auto request = message_of<::gnmi::SubscribeRequest>(received_);
            if (!stream)
                subscribe(request);
            else if (request.has_poll())
                poll(*stream);
            else
                throw invalid("request", "expected one SubscriptionList, and polls after it when its mode is POLL");
        } catch (const std::exception &error) {
            end(status_of(rpc_error_of(error)));
        }
    }

    void OnWriteDone(bool ok) override {
        {
            const std::lock_guard guard(mutex_);
            writing_ = false;
        }
        if (ok)
            pump();
    }

    void OnCancel() override { end(grpc::Status::CANCELLED); }

    void OnDone() override {
        {
            const std::lock_guard guard(mutex_);
            let_go();
        }
        surroundings_.open.remove(number_);
        const std::shared_ptr<SubscribeReactor> last = std::move(self_);
    }

  private:
    // Streams count from here on: those without a user take no user's place.
    void logged_in(const Authentication &found) {
        const std::lock_guard guard(mutex_);
        if (finished_)
            return;
        if (!found.user) {
            finish(refusal_of(found));
            return;
        }
        if (!surroundings_.streams.add(found.user->user, surroundings_.core.limits())) {
            finish({grpc::StatusCode::RESOURCE_EXHAUSTED, "too many streams, of this user or in all"});
            return;
        }
        counted_for_ = found.user->user;
        surroundings_.open.set_user(number_, *found.user);
        // A reload before this line did not see whose RPC it is.
        if (surroundings_.is_current(*found.user))
            StartRead(&received_);
        else
            finish(user_gone_status);
    }

    void read() {
        const std::lock_guard guard(mutex_);
        if (!finished_)
            StartRead(&received_);
    }

    // NULL before the first request, and when the RPC is finished.
    std::shared_ptr<Stream> stream() {
        const std::lock_guard guard(mutex_);
        return stream_;
    }

    void subscribe(const ::gnmi::SubscribeRequest &request) {
        if (request.has_poll())
            throw invalid("request", "a poll, expected a SubscriptionList first");
        request_mode_ = request.subscribe().mode();
        const auto stream = std::make_shared<Stream>(request, surroundings_.readings, [weak = weak_from_this()] {
            if (const auto reactor = weak.lock())
                reactor->pump();
        });
        {
            const std::lock_guard guard(mutex_);
            if (finished_)
                return;
            stream_ = stream;
        }
        // First, so that what is sent behind a list that is answered once is seen while the answer is made.
        read();
        stream->start();
    }

    // Who polls is read again when it has been answered, which may be before this returns.
    void poll(Stream &stream) {
        {
            const std::lock_guard guard(mutex_);
            poll_under_way_ = true;
        }
        stream.poll();
    }

    void end_after_backlog() {
        {
            const std::lock_guard guard(mutex_);
            half_closed_ = true;
        }
        pump();
    }

    // Sends the next response when nothing is on its way.
    void pump() {
        const std::lock_guard guard(mutex_);
        if (writing_ || finished_ || !stream_)
            return;
        try {
            send_next();
        } catch (const std::exception &error) {
            finish(status_of(rpc_error_of(error)));
        }
    }

    // With the lock held.
    void send_next() {
        if (std::optional<::gnmi::SubscribeResponse> response = stream_->take()) {
            const bool synchronized = response->sync_response();
            sent_ = bytes_of(*response);
            writing_ = true;
            StartWrite(&sent_);
            if (synchronized && poll_under_way_) {
                poll_under_way_ = false;
                StartRead(&received_);
            }
            return;
        }
        if (const std::optional<Stream::End> stream_end = stream_->end())
            finish(stream_end->error ? status_of(*stream_end->error) : grpc::Status::OK);
        else if (half_closed_ && !poll_under_way_)
            finish(grpc::Status::OK);
    }

    void end(const grpc::Status &status) {
        const std::lock_guard guard(mutex_);
        finish(status);
    }

    // With the lock held. What the stream takes is given back at once: the end itself waits until the client has read
    // what is on its way, which may be never.
    void finish(const grpc::Status &status) {
        if (finished_)
            return;
        finished_ = true;
        let_go();
        Finish(status);
    }

    // With the lock held.
    void let_go() {
        stream_.reset();
        if (counted_for_)
            surroundings_.streams.remove(*counted_for_);
        counted_for_.reset();
    }

    Surroundings &surroundings_;
    std::shared_ptr<SubscribeReactor> self_;
    std::uint64_t number_ = 0;
    grpc::ByteBuffer received_;
    ::gnmi::SubscriptionList::Mode request_mode_ = ::gnmi::SubscriptionList::STREAM;

    std::mutex mutex_; // guards what follows
    std::shared_ptr<Stream> stream_;
    grpc::ByteBuffer sent_;
    bool writing_ = false;
    bool poll_under_way_ = false;
    bool half_closed_ = false;
    bool finished_ = false;
    std::optional<std::string> counted_for_; // whose stream it is
};

::gnmi::CapabilityResponse capabilities() {
    ::gnmi::CapabilityResponse response;
    for (const server::ServedModule &module : server::served_modules()) {
        if (!module.implemented)
            continue;
        ::gnmi::ModelData &model = *response.add_supported_models();
        model.set_name(module.name);
        model.set_organization(module.organization);
        model.set_version(module.revision);
    }
    for (const ::gnmi::Encoding encoding : {::gnmi::JSON, ::gnmi::JSON_IETF, ::gnmi::PROTO, ::gnmi::ASCII})
        response.add_supported_encodings(encoding);
    response.set_gnmi_version(::gnmi::Update::descriptor()->file()->options().GetExtension(::gnmi::gnmi_service));
    return response;
}

// The service with messages as bytes: what they hold is looked at when the user is known.
using ServiceOfBytes = ::gnmi::gNMI::WithRawCallbackMethod_Capabilities<::gnmi::gNMI::WithRawCallbackMethod_Get<
    ::gnmi::gNMI::WithRawCallbackMethod_Set<::gnmi::gNMI::WithRawCallbackMethod_Subscribe<::gnmi::gNMI::Service>>>>;

class Rpcs : public ServiceOfBytes {
  public:
    explicit Rpcs(Surroundings &surroundings) : surroundings_(surroundings) {}

    grpc::ServerUnaryReactor *Capabilities(grpc::CallbackServerContext *context, const grpc::ByteBuffer *request,
                                           grpc::ByteBuffer *response) override {
        return unary(*context, *request,
                     [request, response](const std::shared_ptr<Call> &call, const server::Principal &) {
                         message_of<::gnmi::CapabilityRequest>(*request);
                         call->finish(grpc::Status::OK, [&] { *response = bytes_of(capabilities()); });
                     });
    }

    grpc::ServerUnaryReactor *Get(grpc::CallbackServerContext *context, const grpc::ByteBuffer *request,
                                  grpc::ByteBuffer *response) override {
        return unary(*context, *request,
                     [this, request, response](const std::shared_ptr<Call> &call, const server::Principal &) {
                         const auto query = std::make_shared<const GetQuery>(message_of<::gnmi::GetRequest>(*request));
                         surroundings_.readings.read(
                             query->paths(), [call, query, response, limit = surroundings_.core.limits().message_size](
                                                 const ReadingOutcome &outcome) {
                                 answer(*call, [&] {
                                     if (const auto *error = std::get_if<RpcError>(&outcome))
                                         throw RpcError(*error);
                                     const Reading &reading = *std::get<std::shared_ptr<const Reading>>(outcome);
                                     grpc::ByteBuffer answered =
                                         bytes_of(query->answer(reading.tree(), reading.read_at(), limit));
                                     call->finish(grpc::Status::OK, [&] { *response = std::move(answered); });
                                 });
                             });
                     });
    }

    grpc::ServerUnaryReactor *Set(grpc::CallbackServerContext *context, const grpc::ByteBuffer *request,
                                  grpc::ByteBuffer *response) override {
        const server::Peer peer = peer_of(context->peer());
        return unary(
            *context, *request,
            [this, context, peer, request, response](const std::shared_ptr<Call> &call,
                                                     const server::Principal &principal) {
                const auto is_wanted = [call, context] { return call->is_wanted(*context); };
                // While it waits it stays bytes, which it shares with the RPC.
                const auto read = [bytes = *request] { return message_of<::gnmi::SetRequest>(bytes); };
                surroundings_.setter.submit(read, principal, peer, is_wanted, [call, response](SetOutcome outcome) {
                    if (const auto *error = std::get_if<RpcError>(&outcome))
                        call->finish(status_of(*error));
                    else
                        call->finish(grpc::Status::OK,
                                     [&] { *response = bytes_of(std::get<::gnmi::SetResponse>(outcome)); });
                });
            });
    }

    grpc::ServerBidiReactor<grpc::ByteBuffer, grpc::ByteBuffer> *
    Subscribe(grpc::CallbackServerContext *context) override {
        const auto reactor = std::make_shared<SubscribeReactor>(surroundings_);
        reactor->begin(*context);
        return reactor.get();
    }

  private:
    // Carries out what may throw.
    template <class Work>
    static void answer(Call &call, Work work) {
        try {
            work();
        } catch (const std::exception &error) {
            call.finish(status_of(rpc_error_of(error)));
        }
    }

    template <class Work>
    grpc::ServerUnaryReactor *unary(grpc::CallbackServerContext &context, const grpc::ByteBuffer &request, Work work) {
        grpc::ServerUnaryReactor *reactor = context.DefaultReactor();
        const std::shared_ptr<Call> call = Call::begin(reactor, surroundings_.open);
        surroundings_.authenticate(
            context, request.Length(), [call, &context] { return call->is_wanted(context); },
            [call, work](const Authentication &found) {
                // The server may have ended while the password was checked.
                call->proceed([&] {
                    if (!found.user)
                        call->finish(refusal_of(found));
                    else
                        answer(*call, [&] { work(call, *found.user); });
                });
            });
        return reactor;
    }

    Surroundings &surroundings_;
};

// TLS with the certificates of the moment: each handshake asks for those that there are, and goes on with the ones
// before when they are the same.
class TlsCredentials : public grpc::ServerCredentials {
  public:
    explicit TlsCredentials(const Certificates &certificates) : certificates_(certificates) {
        grpc_ssl_server_credentials_options *options = grpc_ssl_server_credentials_create_options_using_config_fetcher(
            certificates.asks_clients() ? GRPC_SSL_REQUEST_AND_REQUIRE_CLIENT_CERTIFICATE_AND_VERIFY
                                        : GRPC_SSL_DONT_REQUEST_CLIENT_CERTIFICATE,
            fetch, this);
        credentials_ = grpc_ssl_server_credentials_create_with_options(options);
    }
    ~TlsCredentials() override { grpc_server_credentials_release(credentials_); }
    TlsCredentials(const TlsCredentials &) = delete;
    TlsCredentials &operator=(const TlsCredentials &) = delete;

    void SetAuthMetadataProcessor(const std::shared_ptr<grpc::AuthMetadataProcessor> &) override {}

  private:
    int AddPortToServer(const std::string &address, grpc_server *server) override {
        return grpc_server_add_http2_port(server, address.c_str(), credentials_);
    }

    static grpc_ssl_certificate_config_reload_status fetch(void *self, grpc_ssl_server_certificate_config **config) {
        auto &credentials = *static_cast<TlsCredentials *>(self);
        const auto [texts, changes] = credentials.certificates_.current();
        if (credentials.changes_.exchange(changes) == changes)
            return GRPC_SSL_CERTIFICATE_CONFIG_RELOAD_UNCHANGED;
        const grpc_ssl_pem_key_cert_pair pair{texts.key.c_str(), texts.certificate.c_str()};
        // gRPC wants an authority, also where no client is asked for a certificate.
        const std::string &authority = texts.client_ca.empty() ? texts.certificate : texts.client_ca;
        *config = grpc_ssl_server_certificate_config_create(authority.c_str(), &pair, 1);
        return GRPC_SSL_CERTIFICATE_CONFIG_RELOAD_NEW;
    }

    const Certificates &certificates_;
    std::atomic<std::uint64_t> changes_ = 0; // of the certificates that handshakes use
    grpc_server_credentials *credentials_ = nullptr;
};

} // namespace

class Service::Impl {
  public:
    Impl(server::Core &core, const Certificates *certificates, LoggedIn logged_in)
        : surroundings_(core, certificates != nullptr && certificates->asks_clients(), std::move(logged_in)),
          rpcs_(surroundings_),
          credentials_(certificates == nullptr ? grpc::InsecureServerCredentials()
                                               : std::make_shared<TlsCredentials>(*certificates)) {
        // What clients do wrong is not to fill the log.
        gpr_set_log_function([](gpr_log_func_args *) {});
        google::protobuf::SetLogHandler(nullptr);
        grpc::ServerBuilder builder;
        builder.RegisterService(&rpcs_);
        builder.SetResourceQuota(grpc::ResourceQuota("gnmi").Resize(memory_quota));
        builder.SetMaxReceiveMessageSize(static_cast<int>(core.limits().message_size));
        // The limit holds for a message as it was sent: compressed, it could be a thousand times as large.
        for (const grpc_compression_algorithm algorithm : {GRPC_COMPRESS_GZIP, GRPC_COMPRESS_DEFLATE})
            builder.SetCompressionAlgorithmSupportStatus(algorithm, false);
        builder.AddChannelArgument(GRPC_ARG_MAX_METADATA_SIZE, header_size);
        builder.AddChannelArgument(GRPC_ARG_MAX_CONCURRENT_STREAMS, streams_of_connection);
        builder.AddChannelArgument(GRPC_ARG_HTTP2_MIN_RECV_PING_INTERVAL_WITHOUT_DATA_MS,
                                   milliseconds_of(ping_interval));
        builder.AddChannelArgument(GRPC_ARG_KEEPALIVE_PERMIT_WITHOUT_CALLS, 1);
        if (core.limits().idle_time > std::chrono::seconds(0))
            builder.AddChannelArgument(GRPC_ARG_MAX_CONNECTION_IDLE_MS, milliseconds_of(core.limits().idle_time));
        builder.AddChannelArgument(GRPC_ARG_SERVER_HANDSHAKE_TIMEOUT_MS, milliseconds_of(core.limits().log_in_time));
        acceptor_ = builder.experimental().AddExternalConnectionAcceptor(
            grpc::ServerBuilder::experimental_type::ExternalConnectionType::FROM_FD, credentials_);
        server_ = builder.BuildAndStart();
        if (!server_)
            throw std::runtime_error("gNMI: the server does not start");
    }

    ~Impl() { stop(std::chrono::milliseconds(0)); }

    void serve(server::Descriptor connection, int listener) {
        grpc::experimental::ExternalConnectionAcceptor::NewConnectionParameters parameters;
        parameters.listener_fd = listener;
        parameters.fd = connection.release();
        acceptor_->HandleNewConnection(&parameters);
    }

    void users_changed() {
        surroundings_.authenticator->forget();
        surroundings_.open.end_outdated(
            user_gone_status, [this](const server::Principal &user) { return !surroundings_.is_current(user); });
    }

    void stop(std::chrono::milliseconds limit) {
        if (stopped_)
            return;
        stopped_ = true;
        surroundings_.open.end_all(ended_status);
        server_->Shutdown(std::chrono::system_clock::now() + limit);
    }

  private:
    Surroundings surroundings_;
    Rpcs rpcs_;
    std::shared_ptr<grpc::ServerCredentials> credentials_; // of the server to its end
    std::unique_ptr<grpc::experimental::ExternalConnectionAcceptor> acceptor_;
    std::unique_ptr<grpc::Server> server_;
    bool stopped_ = false;
};

Service::Service(server::Core &core, const Certificates *certificates, LoggedIn logged_in)
    : impl_(std::make_unique<Impl>(core, certificates, std::move(logged_in))) {}
Service::~Service() = default;

void Service::serve(server::Descriptor connection, int listener) {
    impl_->serve(std::move(connection), listener);
}

void Service::users_changed() {
    impl_->users_changed();
}

void Service::stop(std::chrono::milliseconds limit) {
    impl_->stop(limit);
}

} // namespace ocamp::gnmi
