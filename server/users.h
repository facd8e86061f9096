// The users of a node: names, roles, password hashes, SSH public keys. Knows no protocol and keeps nobody logged in.
#pragma once

#include "seam/input_error.h"
#include "server/identity.h"
#include "server/state_folder.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ocamp::server {

/// A name, password or key that cannot be used, or a user who is not there, or is there already.
class UserError : public InputError {
  public:
    using InputError::InputError;
};

/// An SSH public key: "ssh-ed25519 AAAA...".
struct PublicKey {
    std::string type;    ///< such as ssh-ed25519
    std::string blob;    ///< in base64
    std::string comment; ///< may be empty
};

/// One user.
struct User {
    std::string name;
    Role role = Role::reader;
    std::string password_hash;   ///< as crypt(5) writes it; empty: no password fits
    std::vector<PublicKey> keys; ///< each of which is enough
};

/// The one line of a public key file. Types are ssh-ed25519, ecdsa-sha2-nistp256/384/521 and ssh-rsa. Throws UserError.
PublicKey public_key_of(std::string_view line);

/// Throws UserError unless it is a user's name: 1 to 32 of a-z, 0-9, ".", "_" and "-", the first a letter.
void check_user_name(std::string_view name);

/// The longest password, in bytes.
inline constexpr std::size_t longest_password = 512;

/// yescrypt hash with a salt of its own. Takes some ten milliseconds, as it is meant to. Throws UserError for an empty
/// password, one with a NUL, and one that is too long; std::runtime_error when the library refuses.
std::string hash_password(std::string_view password);
/// Whether that is the password; false for an empty hash. As slow as hash_password. Safe from any thread.
bool is_password(std::string_view password, const std::string &hash);

/// All users, as they were read from the folder. A value: who serves keeps one until it is told to read anew.
class Users {
  public:
    /// Nobody.
    Users() = default;
    /// Those of the folder; nobody when it has none. Throws StateError, also for a file that is none of users.
    static Users read(const StateFolder &folder);
    /// Replaces those of the folder; who reads, changes and writes them holds "users" meanwhile. Throws StateError.
    void write(const StateFolder &folder) const;
    /// The same without the folder: what is in its file. Throws UserError for a text that is none of users.
    static Users from_json(std::string_view text);
    std::string json() const;

    /// By name.
    const std::vector<User> &all() const noexcept { return users_; }
    /// NULL when there is none.
    const User *find(std::string_view name) const noexcept;

    /// Throw UserError: add for a user that is there, the others for one that is not.
    void add(User user);
    void remove(std::string_view name);
    void change_password(std::string_view name, std::string hash);

  private:
    User &existing(std::string_view name);

    std::vector<User> users_;
};

} // namespace ocamp::server
