// gRPC's side of the service: RPCs, their users, and the way of responses to clients.
#include "server/gnmi/service.h"

#include "server/gnmi/authenticator.h"
#include "server/gnmi/fair_queue.h"
#include "server/gnmi/get.h"
#include "server/gnmi/peer.h"
#include "server/gnmi/setter.h"
#include "server/gnmi/subscription.h"
#include "server/gnmi/user_budget.h"
#include "server/gnmi/wire.h"
#include "server/roles.h"
#include "server/served_modules.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <mutex>

#include "gnmi.pb.h"

#include <google/protobuf/stubs/logging.h>
#include <grpc/grpc_security.h>
#include <grpc/support/log.h>
#include <grpcpp/generic/async_generic_service.h>
#include <grpcpp/grpcpp.h>
#include <grpcpp/resource_quota.h>

namespace ocamp::gnmi {

namespace {

constexpr std::size_t memory_quota = std::size_t{256} * 1024 * 1024;
constexpr int header_size = 16 * 1024;
// Of requests and answers of users: read by the server, or not yet by the client.
constexpr std::size_t most_bytes_of_user = std::size_t{64} * 1024 * 1024, most_bytes = 4 * most_bytes_of_user;
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

grpc::Status ended_status() {
    return {grpc::StatusCode::UNAVAILABLE, "the server ends"};
}

grpc::Status unauthenticated_status() {
    return {grpc::StatusCode::UNAUTHENTICATED,
            "expected a client certificate of a user, or username and password of one in the metadata"};
}

grpc::Status too_many_log_ins_status() {
    return {grpc::StatusCode::RESOURCE_EXHAUSTED, "too many attempts to log in wait, of this address or in all"};
}

grpc::Status user_gone_status() {
    return {grpc::StatusCode::UNAUTHENTICATED, "the user is gone, or has another role now"};
}

grpc::Status too_many_connections_status() {
    return {grpc::StatusCode::RESOURCE_EXHAUSTED, "the user has as many connections as one may have"};
}

// Of an RPC without a user.
grpc::Status refusal_of(const Authentication &found) {
    switch (found.lack) {
    case Authentication::Lack::too_many_attempts:
        return too_many_log_ins_status();
    case Authentication::Lack::too_many_connections:
        return too_many_connections_status();
    case Authentication::Lack::not_proved:
        break;
    }
    return unauthenticated_status();
}

// The users may have been read anew since a password was found right.
bool is_current(server::Core &core, const server::Principal &user) {
    const server::LogInAnswer now = core.log_ins().principal_of(user.user);
    return now && now->role == user.role;
}

// What RPCs work with.
struct Surroundings {
    server::Core &core;
    bool client_certificates;
    Service::LoggedIn logged_in;
    std::shared_ptr<Authenticator> authenticator;
    UserBudget streams;
    UserBudget bytes{most_bytes_of_user, most_bytes}; // of requests and answers under way
    FairQueue answers;                                // to Gets
    Readings readings;
    Setter setter;
    OpenRpcs open;

    Surroundings(server::Core &served, bool by_certificates, Service::LoggedIn tell)
        : core(served), client_certificates(by_certificates), logged_in(std::move(tell)),
          authenticator(std::make_shared<Authenticator>(served)),
          streams(streams_for_connection * served.limits().connections_per_user,
                  streams_for_connection * served.limits().connections),
          readings(served), setter(served) {}

    // The answer may come when these are gone, but not the core.
    void authenticate(const grpc::CallbackServerContext &context, std::function<bool()> is_wanted,
                      std::function<void(const Authentication &found)> answer) const {
        Credentials credentials;
        if (client_certificates)
            credentials.certificate_name = certificate_name_of(context);
        else
            credentials = {.certificate_name = {},
                           .user = metadata_of(context, "username"),
                           .password = metadata_of(context, "password")};
        const server::Peer peer = peer_of(context.peer());
        const auto tell_and_answer = [&core = core, peer, tell = logged_in,
                                      answer = std::move(answer)](const Authentication &found) {
            if (!found.user || !is_current(core, *found.user))
                answer({.lack = found.lack});
            else if (!tell(peer, found.user->user))
                answer({.lack = Authentication::Lack::too_many_connections});
            else
                answer(found);
        };
        authenticator->check(peer, credentials, {std::move(is_wanted), tell_and_answer});
    }
};

// One RPC: its user first, then messages as bytes, and one end. Nothing of a message is read before the user is known.
// Lives until gRPC is done with it; readings, timers and log-ins hold weak pointers. One of them may keep it for a
// moment longer than the server lives: what surrounds it is touched before it is finished alone.
class Rpc : public grpc::ServerGenericBidiReactor, public std::enable_shared_from_this<Rpc> {
  public:
    explicit Rpc(Surroundings &surroundings) : surroundings_(surroundings) {}
    Rpc(const Rpc &) = delete;
    Rpc &operator=(const Rpc &) = delete;

    void begin(const grpc::CallbackServerContext &context) {
        self_ = shared_from_this();
        number_ = surroundings_.open.add([weak = weak_from_this()](const grpc::Status &status) {
            if (const auto rpc = weak.lock())
                rpc->end(status);
        });
        surroundings_.authenticate(
            context,
            [weak = weak_from_this()] {
                const auto rpc = weak.lock();
                return rpc && rpc->is_wanted();
            },
            [weak = weak_from_this()](const Authentication &found) {
                if (const auto rpc = weak.lock())
                    rpc->logged_in(found);
            });
    }

    // False when it is finished, or its client has given up.
    bool is_wanted() {
        const std::lock_guard guard(mutex_);
        return !finished_;
    }

    void end(const grpc::Status &status) {
        const std::lock_guard guard(mutex_);
        finish(status);
    }

    // Counts what the RPC holds from now on. Throws RpcError when its user has too much under way.
    void hold(std::size_t bytes) {
        const std::lock_guard guard(mutex_);
        if (!surroundings_.bytes.take(user_.user, bytes))
            throw RpcError(Code::resource_exhausted, "too much is under way, of this user or in all");
        held_ += bytes;
    }

    void OnCancel() override { end(grpc::Status::CANCELLED); }

    void OnDone() override {
        {
            const std::lock_guard guard(mutex_);
            let_go();
            surroundings_.bytes.give_back(user_.user, held_);
            held_ = 0;
        }
        surroundings_.open.remove(number_);
        const std::shared_ptr<Rpc> last = std::move(self_);
    }

  protected:
    // All with the lock held. Whether a user may begin; what ends the RPC has been told otherwise.
    virtual bool admit() { return true; }
    // Gives back what only an RPC that goes on needs.
    virtual void let_go() {}
    void finish(const grpc::Status &status) {
        if (finished_)
            return;
        finished_ = true;
        let_go();
        Finish(status);
    }

    Surroundings &surroundings_;
    std::uint64_t number_ = 0;
    grpc::ByteBuffer received_, sent_;

    std::mutex mutex_; // guards what follows
    server::Principal user_;
    bool finished_ = false;

  private:
    void logged_in(const Authentication &found) {
        const std::lock_guard guard(mutex_);
        if (finished_)
            return;
        if (!found.user) {
            finish(refusal_of(found));
            return;
        }
        user_ = *found.user;
        if (admit())
            StartRead(&received_);
    }

    std::size_t held_ = 0; // bytes, of the user's
    std::shared_ptr<Rpc> self_;
};

// An RPC with one request and one answer.
class UnaryRpc : public Rpc {
  public:
    // Answers, once. One that everybody has let go of is answered that the server ends.
    class Call {
      public:
        explicit Call(std::shared_ptr<UnaryRpc> rpc) : rpc_(std::move(rpc)) {}
        ~Call() { rpc_->end(ended_status()); }
        Call(const Call &) = delete;
        Call &operator=(const Call &) = delete;

        bool is_wanted() const { return rpc_->is_wanted(); }
        void hold(std::size_t bytes) const { rpc_->hold(bytes); }
        void refuse(const RpcError &error) const { rpc_->end(status_of(error)); }
        void answer(const google::protobuf::Message &message) const { rpc_->answer(message); }

      private:
        std::shared_ptr<UnaryRpc> rpc_;
    };
    using Work = std::function<void(const std::shared_ptr<Call> &call, const server::Principal &user,
                                    const grpc::ByteBuffer &request)>;

    UnaryRpc(Surroundings &surroundings, Work work) : Rpc(surroundings), work_(std::move(work)) {}

    void OnReadDone(bool ok) override {
        const auto call = std::make_shared<Call>(std::static_pointer_cast<UnaryRpc>(shared_from_this()));
        try {
            if (!ok)
                throw invalid("request", "expected a message");
            work_(call, user_, received_);
        } catch (const std::exception &error) {
            call->refuse(rpc_error_of(error));
        }
        received_.Clear();
    }

  private:
    // What the client has not read yet is held, and so counted.
    void answer(const google::protobuf::Message &message) {
        grpc::ByteBuffer bytes = bytes_of(message);
        hold(bytes.Length());
        const std::lock_guard guard(mutex_);
        if (finished_)
            return;
        finished_ = true;
        sent_.Swap(&bytes);
        StartWriteAndFinish(&sent_, grpc::WriteOptions(), grpc::Status::OK);
    }

    const Work work_;
};

class SubscribeRpc : public Rpc {
  public:
    using Rpc::Rpc;

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
            received_.Clear();
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

  protected:
    // Streams count from here on: those without a user take no user's place.
    bool admit() override {
        counted_ = surroundings_.streams.take(user_.user, 1);
        if (!counted_) {
            finish({grpc::StatusCode::RESOURCE_EXHAUSTED, "too many streams, of this user or in all"});
            return false;
        }
        surroundings_.open.set_user(number_, user_);
        // A reload before this line did not see whose RPC it is.
        if (is_current(surroundings_.core, user_))
            return true;
        finish(user_gone_status());
        return false;
    }

    // The end itself waits until the client has read what is on its way, which may be never.
    void let_go() override {
        stream_.reset();
        if (counted_)
            surroundings_.streams.give_back(user_.user, 1);
        counted_ = false;
    }

  private:
    std::shared_ptr<SubscribeRpc> self() { return std::static_pointer_cast<SubscribeRpc>(shared_from_this()); }

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
        // Its paths are kept, of measured and of other leaves each.
        hold(2 * request.SpaceUsedLong());
        const auto stream = std::make_shared<Stream>(request, surroundings_.readings, [weak = std::weak_ptr(self())] {
            if (const auto rpc = weak.lock())
                rpc->pump();
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

    ::gnmi::SubscriptionList::Mode request_mode_ = ::gnmi::SubscriptionList::STREAM;
    // Guarded by the lock.
    std::shared_ptr<Stream> stream_;
    bool writing_ = false;
    bool poll_under_way_ = false;
    bool half_closed_ = false;
    bool counted_ = false; // among the streams of its user
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

// Whatever is called comes here: gRPC reads a request as soon as there is one, unless the server says when.
class Rpcs : public grpc::CallbackGenericService {
  public:
    explicit Rpcs(Surroundings &surroundings) : surroundings_(surroundings) {}

    grpc::ServerGenericBidiReactor *CreateReactor(grpc::GenericCallbackServerContext *context) override {
        std::shared_ptr<Rpc> rpc = rpc_named(*context);
        if (!rpc)
            return CallbackGenericService::CreateReactor(context); // which refuses it
        rpc->begin(*context);
        return rpc.get(); // it holds itself
    }

  private:
    std::shared_ptr<Rpc> rpc_named(const grpc::GenericCallbackServerContext &context) {
        const std::string &method = context.method();
        if (method == "/gnmi.gNMI/Capabilities")
            return unary([](const auto &call, const auto &, const auto &request) {
                message_of<::gnmi::CapabilityRequest>(request);
                call->answer(capabilities());
            });
        if (method == "/gnmi.gNMI/Get")
            return unary([this](const auto &call, const auto &user, const auto &request) { get(call, user, request); });
        if (method == "/gnmi.gNMI/Set")
            return unary(
                [this, peer = peer_of(context.peer())](const auto &call, const auto &user, const auto &request) {
                    set(call, user, peer, request);
                });
        if (method == "/gnmi.gNMI/Subscribe")
            return std::make_shared<SubscribeRpc>(surroundings_);
        return nullptr;
    }

    std::shared_ptr<Rpc> unary(UnaryRpc::Work work) {
        return std::make_shared<UnaryRpc>(surroundings_, std::move(work));
    }

    // Readings are for everybody, and so is their thread: what one user wants of them is made elsewhere.
    void get(const std::shared_ptr<UnaryRpc::Call> &call, const server::Principal &user,
             const grpc::ByteBuffer &bytes) {
        auto request = message_of<::gnmi::GetRequest>(bytes);
        call->hold(2 * request.SpaceUsedLong());
        const auto query = std::make_shared<const GetQuery>(std::move(request));
        const std::size_t limit = surroundings_.core.limits().message_size;
        surroundings_.readings.read(
            query->paths(), [this, call, query, limit, name = user.user](const ReadingOutcome &outcome) {
                surroundings_.answers.post(name, [call, query, limit, outcome] {
                    try {
                        if (const auto *error = std::get_if<RpcError>(&outcome))
                            throw RpcError(*error);
                        const Reading &reading = *std::get<std::shared_ptr<const Reading>>(outcome);
                        if (call->is_wanted())
                            call->answer(reading.use(
                                [&](const YangTree &tree) { return query->answer(tree, reading.read_at(), limit); }));
                    } catch (const std::exception &error) {
                        call->refuse(rpc_error_of(error));
                    }
                });
            });
    }

    void set(const std::shared_ptr<UnaryRpc::Call> &call, const server::Principal &user, const server::Peer &peer,
             const grpc::ByteBuffer &bytes) {
        // Here already, so that those who may not take no place among those who wait.
        try {
            server::check_role(user, server::Edit{});
        } catch (const std::exception &error) {
            throw RpcError(server::refusal_of(error));
        }
        call->hold(bytes.Length());
        // While it waits it stays bytes.
        const auto read = [bytes] { return message_of<::gnmi::SetRequest>(bytes); };
        surroundings_.setter.submit(
            read, user, peer, [call] { return call->is_wanted(); },
            [call](const SetOutcome &outcome) {
                if (const auto *error = std::get_if<RpcError>(&outcome))
                    call->refuse(*error);
                else
                    call->answer(std::get<::gnmi::SetResponse>(outcome));
            });
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
        builder.RegisterCallbackGenericService(&rpcs_);
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
        surroundings_.open.end_outdated(user_gone_status(), [this](const server::Principal &user) {
            return !is_current(surroundings_.core, user);
        });
    }

    void stop(std::chrono::milliseconds limit) {
        if (stopped_)
            return;
        stopped_ = true;
        surroundings_.open.end_all(ended_status());
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
