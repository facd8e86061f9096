// How the key is made and kept. Knows no connection.
#include "server/netconf/host_key.h"

#include "yang/error.h"

#include <fmt/format.h>

namespace ocamp::netconf {

namespace {

constexpr std::string_view file_name = "ssh_host_ed25519_key";

struct FreeText {
    void operator()(char *text) const noexcept { ssh_string_free_char(text); }
};
using SshText = std::unique_ptr<char, FreeText>;

[[noreturn]] void fail(const server::StateFolder &folder, std::string_view reason) {
    throw server::StateError(fmt::format("{}: {}", folder.path_of(file_name).string(), reason));
}

SshKey owned(ssh_key key) {
    return {key, ssh_key_free};
}

std::string new_key(const server::StateFolder &folder) {
    ssh_key made = nullptr;
    if (ssh_pki_generate(SSH_KEYTYPE_ED25519, 0, &made) != SSH_OK)
        fail(folder, "no key could be made");
    const SshKey key = owned(made);
    char *text = nullptr;
    if (ssh_pki_export_privkey_base64(key.get(), nullptr, nullptr, nullptr, &text) != SSH_OK)
        fail(folder, "the key that was made could not be written down");
    return SshText(text).get();
}

} // namespace

SshKey host_key(const server::StateFolder &folder, server::EventLog &log) {
    std::optional<std::string> text = folder.read(file_name);
    const bool is_new = !text && folder.write_new(file_name, new_key(folder));
    if (!text)
        text = folder.read(file_name);
    ssh_key read = nullptr;
    if (!text || ssh_pki_import_privkey_base64(text->c_str(), nullptr, nullptr, nullptr, &read) != SSH_OK)
        fail(folder, "no private key of SSH, expected one as the server makes it when the file is not there");
    SshKey key = owned(read);
    log.write(server::Severity::info, is_new ? "host-key-made" : "host-key-read", {{"fingerprint", fingerprint(key)}});
    return key;
}

std::string fingerprint(const SshKey &key) {
    unsigned char *hash = nullptr;
    std::size_t size = 0;
    if (ssh_get_publickey_hash(key.get(), SSH_PUBLICKEY_HASH_SHA256, &hash, &size) != SSH_OK)
        throw std::bad_alloc();
    const SshText text(ssh_get_fingerprint_hash(SSH_PUBLICKEY_HASH_SHA256, hash, size));
    ssh_clean_pubkey_hash(&hash);
    return there(text.get());
}

} // namespace ocamp::netconf
