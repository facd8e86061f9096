// How libssh is led through a connection without ever waiting for the client. Knows no message of NETCONF's.
#include "server/netconf/connection.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>

#include <fmt/format.h>
#include <poll.h>

namespace ocamp::netconf {

namespace {

// Attempts to log in that one connection has.
constexpr unsigned most_attempts = 6;
// As much as is handed to libssh at a time, in bytes: what it holds beside the session's output.
constexpr std::size_t write_size = 65536;
// How long a client has to take what was said last.
constexpr std::chrono::milliseconds last_words{2000};

std::string text_or_empty(const char *text) {
    return text != nullptr ? text : "";
}

// libssh would have callbacks that answer at once in place of these; here answers take their time.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
std::string password_of(ssh_message message) {
    return text_or_empty(ssh_message_auth_password(message));
}

ssh_key public_key_of(ssh_message message) {
    return ssh_message_auth_pubkey(message);
}

// As public key files have it: of elliptic curves with the curve, which libssh's name for the type leaves out.
std::string type_of(ssh_key key) {
    return ssh_key_type(key) == SSH_KEYTYPE_ECDSA_P256 || ssh_key_type(key) == SSH_KEYTYPE_ECDSA_P384 ||
                   ssh_key_type(key) == SSH_KEYTYPE_ECDSA_P521
               ? ssh_pki_key_ecdsa_name(key)
               : ssh_key_type_to_char(ssh_key_type(key));
}

bool is_proven(ssh_message message) {
    return ssh_message_auth_publickey_state(message) == SSH_PUBLICKEY_STATE_VALID;
}

bool is_question(ssh_message message) {
    return ssh_message_auth_publickey_state(message) == SSH_PUBLICKEY_STATE_NONE;
}
#pragma GCC diagnostic pop

} // namespace

Connection::Connection(const Door &door, server::AcceptedConnection accepted)
    : door_(door), peer_{.protocol = "netconf", .address = accepted.address, .port = accepted.port},
      descriptor_(accepted.descriptor.get()), session_(ssh_new(), ssh_free), event_(ssh_event_new(), ssh_event_free),
      attempt_(nullptr, ssh_message_free) {
    if (session_ == nullptr || event_ == nullptr)
        throw std::bad_alloc();
    ssh_set_blocking(session_.get(), 0);
    const int verbosity = SSH_LOG_NOLOG;
    ssh_options_set(session_.get(), SSH_OPTIONS_LOG_VERBOSITY, &verbosity);
    if (ssh_bind_accept_fd(door.bind, session_.get(), accepted.descriptor.get()) != SSH_OK)
        throw std::runtime_error(fmt::format("{}: {}", peer_.address, ssh_get_error(door.bind)));
    accepted.descriptor.release(); // libssh closes it
    ssh_set_auth_methods(session_.get(), SSH_AUTH_METHOD_PASSWORD | SSH_AUTH_METHOD_PUBLICKEY);
}

std::shared_ptr<Connection> Connection::accept(const Door &door, server::AcceptedConnection accepted) {
    std::shared_ptr<Connection> connection(new Connection(door, std::move(accepted)));
    connection->exchange_keys();
    if (!connection->finished_ && ssh_event_add_session(connection->event_.get(), connection->session_.get()) != SSH_OK)
        connection->drop("the connection cannot be watched");
    return connection;
}

Connection::~Connection() {
    if (netconf_ != nullptr)
        netconf_->end(server::SessionEnd::dropped);
    if (channel_ != nullptr)
        ssh_remove_channel_callbacks(channel_, &callbacks_);
    ssh_event_remove_session(event_.get(), session_.get());
    attempt_.reset();
    ssh_disconnect(session_.get());
}

short Connection::wanted_events() const noexcept {
    // While an attempt waits for its answer, the client's next one does, too.
    short events = attempt_ == nullptr ? POLLIN : 0;
    if ((ssh_get_status(session_.get()) & SSH_WRITE_PENDING) != 0)
        events |= POLLOUT;
    return events;
}

void Connection::run(bool ready, Clock::time_point now) {
    if (finished_)
        return;
    if (ready && ssh_event_dopoll(event_.get(), 0) == SSH_ERROR) {
        finished_ = true;
        return;
    }
    if (!keys_exchanged_)
        exchange_keys();
    if (keys_exchanged_ && attempt_ == nullptr && (ready || netconf_ == nullptr))
        take_messages();
    pump(ready);
    check_times(now);
    if (!finished_ && ssh_is_connected(session_.get()) == 0)
        finished_ = true;
}

void Connection::exchange_keys() {
    switch (ssh_handle_key_exchange(session_.get())) {
    case SSH_OK:
        keys_exchanged_ = true;
        break;
    case SSH_AGAIN:
        break;
    default:
        drop(ssh_get_error(session_.get()));
    }
}

// What libssh has understood and leaves to us.
void Connection::take_messages() {
    while (!finished_ && attempt_ == nullptr) {
        const ssh_message message = ssh_message_get(session_.get());
        if (message == nullptr)
            return;
        take(message);
        if (attempt_.get() != message)
            ssh_message_free(message);
    }
}

void Connection::take(ssh_message message) {
    switch (ssh_message_type(message)) {
    case SSH_REQUEST_SERVICE:
        ssh_message_service_reply_success(message);
        return;
    case SSH_REQUEST_AUTH:
        take_log_in(message);
        return;
    case SSH_REQUEST_CHANNEL_OPEN:
        open_channel(message);
        return;
    case SSH_REQUEST_CHANNEL:
        start_session(message);
        return;
    default:
        ssh_message_reply_default(message);
    }
}

void Connection::take_log_in(ssh_message message) {
    if (principal_) {
        ssh_message_reply_default(message);
        return;
    }
    switch (ssh_message_subtype(message)) {
    case SSH_AUTH_METHOD_PASSWORD:
        take_password(message);
        return;
    case SSH_AUTH_METHOD_PUBLICKEY:
        take_public_key(message);
        return;
    default: // "none": tells the client what there is
        refuse_log_in(message);
    }
}

void Connection::refuse_log_in(ssh_message message) {
    if (++attempts_ > most_attempts)
        drop("too many attempts to log in");
    else
        ssh_message_reply_default(message);
}

void Connection::take_password(ssh_message message) {
    const bool waits = door_.surroundings.core.log_ins().password(
        peer_, text_or_empty(ssh_message_auth_user(message)), password_of(message),
        [weak = weak_from_this()] { return !weak.expired(); },
        [weak = weak_from_this(), mailbox = door_.surroundings.mailbox](const server::LogInAnswer &answer) {
            mailbox->post([weak, answer] {
                if (const auto still = weak.lock())
                    still->answer_log_in(answer);
            });
        });
    // The answer is posted to this thread: it comes later than this.
    if (waits)
        attempt_.reset(message);
    else
        refuse_log_in(message);
}

void Connection::take_public_key(ssh_message message) {
    const ssh_key key = public_key_of(message);
    char *blob = nullptr;
    if (!(is_proven(message) || is_question(message)) || ssh_pki_export_pubkey_base64(key, &blob) != SSH_OK) {
        refuse_log_in(message);
        return;
    }
    const std::unique_ptr<char, void (*)(char *)> owned(blob, ssh_string_free_char);
    const server::LogInAnswer answer = door_.surroundings.core.log_ins().public_key(
        peer_, text_or_empty(ssh_message_auth_user(message)), type_of(key), blob, is_proven(message));
    if (!answer)
        refuse_log_in(message);
    else if (is_question(message))
        ssh_message_auth_reply_pk_ok_simple(message);
    else
        let_in(*answer, message);
}

void Connection::let_in(const server::Principal &principal, ssh_message message) {
    principal_ = principal;
    since_ = Clock::now();
    ssh_message_auth_reply_success(message, 0);
}

void Connection::answer_log_in(const server::LogInAnswer &answer) {
    if (finished_)
        return;
    if (answer)
        let_in(*answer, attempt_.get());
    else
        refuse_log_in(attempt_.get());
    attempt_.reset();
}

void Connection::open_channel(ssh_message message) {
    if (!principal_ || channel_ != nullptr || ssh_message_subtype(message) != SSH_CHANNEL_SESSION) {
        ssh_message_reply_default(message);
        return;
    }
    channel_ = ssh_message_channel_request_open_reply_accept(message);
}

void Connection::start_session(ssh_message message) {
    const bool wanted = channel_ != nullptr && netconf_ == nullptr &&
                        ssh_message_subtype(message) == SSH_CHANNEL_REQUEST_SUBSYSTEM &&
                        text_or_empty(ssh_message_channel_request_subsystem(message)) == "netconf";
    if (!wanted) {
        ssh_message_reply_default(message);
        return;
    }
    try {
        netconf_ = Session::start(door_.surroundings, *principal_, peer_);
    } catch (const server::SessionRefused &refused) {
        ssh_message_reply_default(message);
        drop(refused.what());
        return;
    }
    ssh_callbacks_init(&callbacks_);
    callbacks_.userdata = this;
    callbacks_.channel_eof_function = [](ssh_session, ssh_channel, void *self) {
        static_cast<Connection *>(self)->input_ended_ = true;
    };
    callbacks_.channel_close_function = [](ssh_session, ssh_channel, void *self) {
        static_cast<Connection *>(self)->channel_closed_ = true;
    };
    ssh_set_channel_callbacks(channel_, &callbacks_);
    ssh_message_channel_request_reply_success(message);
}

// Brings bytes to the session and from it, as much as both sides take. What the session does not take stays in the
// channel, whose window keeps the client from sending more than a little.
void Connection::pump(bool ready) {
    if (finished_ || netconf_ == nullptr)
        return;
    // libssh takes in what has come whenever it is asked for anything: poll() does not tell of that any more, so that
    // nothing may be left that can go on.
    bool goes_on = ready || held_back_ || !netconf_->output().empty();
    while (goes_on && !finished_) {
        const bool written = write_channel();
        // While keys are exchanged anew nothing can be written; that is no reason to try again at once.
        const bool could = can_write();
        const bool read = read_channel();
        goes_on = written || read || (can_write() && !could);
    }
    if (finished_)
        return;
    const bool all_said = input_ended_ && !held_back_ && netconf_->is_quiet() && netconf_->output().empty();
    if (channel_closed_ || all_said)
        netconf_->end(server::SessionEnd::dropped);
    if (!netconf_->ended())
        return;
    if (!close_by_)
        close_by_ = Clock::now() + last_words;
    if (netconf_->output().empty() && ssh_channel_is_open(channel_) != 0) {
        ssh_channel_send_eof(channel_);
        ssh_channel_close(channel_);
    }
}

// Both: whether anything has been moved.
bool Connection::read_channel() {
    bool moved = false;
    std::array<char, 16384> bytes;
    while (!(held_back_ = !netconf_->wants_input())) {
        const int size = ssh_channel_read_nonblocking(channel_, bytes.data(), bytes.size(), 0);
        if (size <= 0)
            break;
        moved = true;
        netconf_->receive({bytes.data(), static_cast<std::size_t>(size)});
    }
    return moved;
}

bool Connection::write_channel() {
    bool moved = false;
    while (can_write()) {
        const std::string_view part = netconf_->output().substr(0, write_size);
        const int written = ssh_channel_write(channel_, part.data(), static_cast<std::uint32_t>(part.size()));
        if (written == SSH_ERROR)
            finished_ = true;
        if (written <= 0)
            break;
        moved = true;
        netconf_->sent(static_cast<std::size_t>(written));
    }
    return moved;
}

// Whether there is something to write, and both the client's window and the socket have room for it.
bool Connection::can_write() const noexcept {
    return !finished_ && !netconf_->output().empty() && ssh_channel_window_size(channel_) > 0 &&
           (ssh_get_status(session_.get()) & SSH_WRITE_PENDING) == 0;
}

void Connection::check_times(Clock::time_point now) {
    const server::Limits &limits = door_.surroundings.core.limits();
    if (close_by_) {
        const bool flushed = netconf_->output().empty() && (ssh_get_status(session_.get()) & SSH_WRITE_PENDING) == 0;
        // The client closes its side when it has read the end; one that left has.
        if (now >= *close_by_ || (flushed && channel_closed_))
            finished_ = true;
        return;
    }
    const bool greeted = netconf_ != nullptr && netconf_->greeted();
    if (!greeted && now >= since_ + limits.log_in_time) {
        if (netconf_ != nullptr)
            netconf_->end(server::SessionEnd::timeout);
        drop("the client took too long to log in");
    } else if (greeted && limits.idle_time.count() > 0) {
        const auto idle = netconf_->idle_since();
        if (idle && now >= *idle + limits.idle_time)
            close(server::SessionEnd::timeout, last_words);
    }
}

std::optional<Connection::Clock::time_point> Connection::deadline() const noexcept {
    if (close_by_)
        return close_by_;
    const server::Limits &limits = door_.surroundings.core.limits();
    if (netconf_ == nullptr || !netconf_->greeted())
        return since_ + limits.log_in_time;
    if (const auto idle = netconf_->idle_since(); idle && limits.idle_time.count() > 0)
        return *idle + limits.idle_time;
    return std::nullopt;
}

void Connection::close(server::SessionEnd reason, std::chrono::milliseconds grace) {
    if (netconf_ == nullptr) {
        finished_ = true;
        return;
    }
    netconf_->end(reason);
    close_by_ = Clock::now() + grace;
}

void Connection::drop(std::string_view reason) {
    finished_ = true;
    door_.surroundings.core.log().write(
        server::Severity::warning, "connection-dropped",
        {{"address", peer_.address}, {"port", peer_.port}, {"reason", reason.empty() ? "the client left" : reason}});
}

} // namespace ocamp::netconf
