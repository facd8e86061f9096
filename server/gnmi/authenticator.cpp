// How credentials are checked and remembered.
#include "server/gnmi/authenticator.h"

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

void Authenticator::check(const server::Peer &peer, const Credentials &credentials,
                          std::function<void(const server::LogInAnswer &answer)> answer) {
    const bool by_certificate = credentials.certificate_name.has_value();
    if (!by_certificate && (!credentials.user || !credentials.password)) {
        answer(std::nullopt);
        return;
    }
    const Fingerprint key = by_certificate ? fingerprint("certificate", *credentials.certificate_name, "")
                                           : fingerprint("password", *credentials.user, *credentials.password);
    if (const std::optional<server::Principal> known = find(key)) {
        answer(known);
        return;
    }
    const std::uint64_t asked_in = generation();
    if (by_certificate) {
        const server::LogInAnswer found = core_.log_ins().certificate(peer, *credentials.certificate_name);
        if (found)
            remember(key, *found, asked_in);
        answer(found);
        return;
    }
    core_.log_ins().password(
        peer, *credentials.user, *credentials.password,
        [self = shared_from_this(), key, asked_in, answer = std::move(answer)](const server::LogInAnswer &found) {
            if (found)
                self->remember(key, *found, asked_in);
            answer(found);
        });
}

} // namespace ocamp::gnmi
