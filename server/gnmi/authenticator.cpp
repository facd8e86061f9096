// How credentials are checked and remembered.
#include "server/gnmi/authenticator.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <utility>

#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>

namespace ocamp::gnmi {

namespace {

constexpr std::chrono::minutes remembered{1};
constexpr std::size_t most_known = 1024;

std::array<unsigned char, 32> random_secret() {
    std::array<unsigned char, 32> secret{};
    if (RAND_bytes(secret.data(), static_cast<int>(secret.size())) != 1)
        throw std::runtime_error("no random numbers");
    return secret;
}

} // namespace

Authenticator::Authenticator(server::Core &core) : core_(core), secret_(random_secret()) {}

Authenticator::Fingerprint Authenticator::fingerprint(std::string_view kind, std::string_view user,
                                                      std::string_view password) const {
    // Lengths keep "ab" + "c" and "a" + "bc" apart.
    const std::string text = std::string(kind) + std::to_string(user.size()) + ":" + std::string(user) +
                             std::to_string(password.size()) + ":" + std::string(password);
    Fingerprint result{};
    unsigned size = 0;
    if (HMAC(EVP_sha256(), secret_.data(), static_cast<int>(secret_.size()),
             reinterpret_cast<const unsigned char *>(text.data()), text.size(), result.data(), &size) == nullptr)
        throw std::runtime_error("no HMAC");
    return result;
}

std::uint64_t Authenticator::generation() {
    const std::lock_guard guard(mutex_);
    return generation_;
}

std::optional<server::Principal> Authenticator::find(const Fingerprint &fingerprint) {
    const std::lock_guard guard(mutex_);
    const auto found = known_.find(fingerprint);
    if (found == known_.end() || found->second.until < Clock::now())
        return std::nullopt;
    return found->second.principal;
}

void Authenticator::remember(const Fingerprint &fingerprint, const server::Principal &principal,
                             std::uint64_t generation) {
    const std::lock_guard guard(mutex_);
    // Users were read anew while this one was checked: the next RPC checks again.
    if (generation != generation_)
        return;
    if (known_.size() >= most_known)
        known_.clear();
    known_.insert_or_assign(fingerprint, Known{principal, Clock::now() + remembered});
}

void Authenticator::forget() {
    const std::lock_guard guard(mutex_);
    known_.clear();
    ++generation_;
}

// False when too many of the address wait. `first`: nobody else asks this, so that an attempt is to be made.
bool Authenticator::ask(const Question &question, const Asker &asker, bool &first) {
    const std::string &address = std::get<std::string>(question);
    const std::lock_guard guard(mutex_);
    std::size_t waiting = 0;
    for (auto at = asked_.lower_bound({address, {}, 0}); at != asked_.end() && std::get<0>(at->first) == address; ++at)
        waiting += at->second.size();
    if (waiting >= most_askers_of_address)
        return false;
    std::vector<Asker> &askers = asked_[question];
    first = askers.empty();
    askers.push_back(asker);
    return true;
}

// Askers are let go of without the lock: what they hold has locks of its own.
void Authenticator::drop_unwanted(const std::string &address) {
    std::vector<Question> questions;
    {
        const std::lock_guard guard(mutex_);
        for (auto at = asked_.lower_bound({address, {}, 0}); at != asked_.end() && std::get<0>(at->first) == address;
             ++at)
            questions.push_back(at->first);
    }
    for (const Question &question : questions)
        is_wanted(question);
}

// Drops those who ask no more, and the question with the last of them: who asks it then makes a new attempt.
bool Authenticator::is_wanted(const Question &question) {
    std::vector<Asker> unwanted;
    const std::lock_guard guard(mutex_);
    const auto found = asked_.find(question);
    if (found == asked_.end())
        return false;
    std::vector<Asker> &askers = found->second;
    const auto middle =
        std::stable_partition(askers.begin(), askers.end(), [](const Asker &asker) { return asker.is_wanted(); });
    std::move(middle, askers.end(), std::back_inserter(unwanted));
    askers.erase(middle, askers.end());
    if (!askers.empty())
        return true;
    asked_.erase(found);
    return false;
}

void Authenticator::answer(const Question &question, const Authentication &found) {
    std::vector<Asker> askers;
    {
        const std::lock_guard guard(mutex_);
        if (auto asked = asked_.extract(question))
            askers = std::move(asked.mapped());
    }
    for (const Asker &asker : askers)
        asker.answer(found);
}

void Authenticator::check(const server::Peer &peer, const Credentials &credentials, const Asker &asker) {
    const bool by_certificate = credentials.certificate_name.has_value();
    if (!by_certificate && (!credentials.user || !credentials.password)) {
        asker.answer({});
        return;
    }
    const Fingerprint key = by_certificate ? fingerprint("certificate", *credentials.certificate_name, "")
                                           : fingerprint("password", *credentials.user, *credentials.password);
    if (const std::optional<server::Principal> known = find(key)) {
        asker.answer({.user = known});
        return;
    }
    const std::uint64_t asked_in = generation();
    if (by_certificate) {
        const server::LogInAnswer found = core_.log_ins().certificate(peer, *credentials.certificate_name);
        if (found)
            remember(key, *found, asked_in);
        asker.answer({.user = found});
        return;
    }
    check_password(peer, *credentials.user, *credentials.password, {server::network_of(peer.address), key, asked_in},
                   asker);
}

void Authenticator::check_password(const server::Peer &peer, std::string_view user, std::string_view password,
                                   const Question &question, const Asker &asker) {
    bool first = false;
    if (!ask(question, asker, first)) {
        drop_unwanted(std::get<std::string>(question));
        if (!ask(question, asker, first)) {
            asker.answer({.user = {}, .lack = Authentication::Lack::too_many_attempts});
            return;
        }
    }
    if (!first)
        return;
    const bool waits = core_.log_ins().password(
        peer, user, password, [self = shared_from_this(), question] { return self->is_wanted(question); },
        [self = shared_from_this(), question](const server::LogInAnswer &found) {
            const auto &[address, key, asked_in] = question;
            if (found)
                self->remember(key, *found, asked_in);
            self->answer(question, {.user = found});
        });
    if (!waits)
        answer(question, {.user = {}, .lack = Authentication::Lack::too_many_attempts});
}

} // namespace ocamp::gnmi
