// How users are kept, and passwords hashed. Knows no protocol.
#include "server/users.h"

#include "seam/json_text.h"
#include "seam/text.h"
#include "server/crypt_library.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <fmt/format.h>

namespace ocamp::server {

namespace {

constexpr const char *file_name = "users.json";
constexpr int file_version = 1;
constexpr std::size_t nesting_limit = 8;
constexpr std::size_t longest_name = 32;
constexpr std::size_t most_keys = 64;
constexpr const char *yescrypt = "$y$";

constexpr std::string_view base64_characters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::string_view key_types[] = {"ssh-ed25519", "ecdsa-sha2-nistp256", "ecdsa-sha2-nistp384",
                                          "ecdsa-sha2-nistp521", "ssh-rsa"};

// The bytes that base64 text stands for; none when it is no such text.
std::optional<std::string> decoded(std::string_view text) {
    if (text.empty() || text.size() % 4 != 0)
        return std::nullopt;
    const std::size_t padding = text.ends_with("==") ? 2 : text.ends_with('=') ? 1 : 0;
    std::string bytes;
    std::uint32_t bits = 0;
    int count = 0;
    for (const char character : text.substr(0, text.size() - padding)) {
        const std::size_t value = base64_characters.find(character);
        if (value == std::string_view::npos)
            return std::nullopt;
        bits = (bits << 6) | static_cast<std::uint32_t>(value);
        count += 6;
        if (count >= 8) {
            count -= 8;
            bytes += static_cast<char>((bits >> count) & 0xff);
        }
    }
    return bytes;
}

// Whether the key's bytes name the same type, as RFC 4253 section 6.6 begins them: a length and the name.
bool names_type(std::string_view bytes, std::string_view type) {
    constexpr std::size_t length_size = 4;
    return bytes.size() > length_size + type.size() && bytes[0] == 0 && bytes[1] == 0 && bytes[2] == 0 &&
           static_cast<unsigned char>(bytes[3]) == type.size() && bytes.substr(length_size, type.size()) == type;
}

// The word at the front of the text, taken from it with the blanks behind it.
std::string_view take_word(std::string_view &text) {
    const std::string_view word = text.substr(0, text.find_first_of(" \t"));
    text.remove_prefix(word.size());
    text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
    return word;
}

void check_key_count(const User &user) {
    if (user.keys.size() > most_keys)
        throw UserError(fmt::format("user '{}': {} keys, expected at most {}", user.name, user.keys.size(), most_keys));
}

[[noreturn]] void refuse_second(const User &user) {
    throw UserError(fmt::format("user '{}' is there already, expected a new name", user.name));
}

const Json &array_of(const Json &object, const char *name) {
    const Json &found = object.at(name);
    if (!found.is_array())
        throw UserError(fmt::format("\"{}\" is {}, expected an array", name, shown(found)));
    return found;
}

User user_of(const Json &entry) {
    User user;
    user.name = entry.at("name").get<std::string>();
    check_user_name(user.name);
    const std::string word = entry.at("role").get<std::string>();
    const std::optional<Role> role = role_of(word);
    if (!role)
        throw UserError(fmt::format("user {}: role '{}', expected reader, operator or admin", user.name,
                                    escaped(shortened(word, longest_shown_value))));
    user.role = *role;
    user.password_hash = entry.at("password").get<std::string>();
    for (const Json &key : array_of(entry, "keys"))
        user.keys.push_back(public_key_of(key.get<std::string>()));
    check_key_count(user);
    return user;
}

bool comes_before(const User &one, const User &other) noexcept {
    return one.name < other.name;
}

std::string line_of(const PublicKey &key) {
    return key.type + " " + key.blob + (key.comment.empty() ? "" : " " + key.comment);
}

struct FreeText {
    void operator()(char *text) const noexcept { std::free(text); }
};

// crypt(3)'s answer for the password; empty when it cannot be hashed so.
std::string crypt_text(std::string_view password, const std::string &setting) {
    const auto work = std::make_unique<crypt_data>();
    const std::string terminated(password);
    const char *hash = crypt_library().hash(terminated.c_str(), setting.c_str(), work.get());
    return hash == nullptr || *hash == '*' ? "" : hash;
}

bool same_in_constant_time(std::string_view one, std::string_view other) noexcept {
    if (one.size() != other.size())
        return false;
    unsigned difference = 0;
    for (std::size_t i = 0; i < one.size(); ++i)
        difference |= static_cast<unsigned char>(one[i]) ^ static_cast<unsigned char>(other[i]);
    return difference == 0;
}

} // namespace

PublicKey public_key_of(std::string_view line) {
    while (!line.empty() && std::string_view(" \t\r\n").find(line.back()) != std::string_view::npos)
        line.remove_suffix(1);
    if (line.find_first_of("\r\n") != std::string_view::npos || line.find('\0') != std::string_view::npos ||
        !is_utf8(line))
        throw UserError("public key: several lines or no text, expected one line such as \"ssh-ed25519 AAAA... name\"");
    PublicKey key;
    key.type = take_word(line);
    key.blob = take_word(line);
    key.comment = line;
    if (std::find(std::begin(key_types), std::end(key_types), key.type) == std::end(key_types))
        throw UserError(fmt::format("public key: type '{}', expected ssh-ed25519, ecdsa-sha2-nistp256, -384, -521 or "
                                    "ssh-rsa",
                                    escaped(shortened(key.type, longest_shown_value))));
    const std::optional<std::string> bytes = decoded(key.blob);
    if (!bytes || !names_type(*bytes, key.type))
        throw UserError(fmt::format("public key: no {} key in base64 behind its type", key.type));
    return key;
}

void check_user_name(std::string_view name) {
    const bool good = !name.empty() && name.size() <= longest_name && name.front() >= 'a' && name.front() <= 'z' &&
                      name.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789._-") == std::string_view::npos;
    if (!good)
        throw UserError(fmt::format("user name '{}': expected 1 to {} of a-z, 0-9, '.', '_' and '-', a letter first",
                                    escaped(shortened(name, longest_shown_value)), longest_name));
}

std::string hash_password(std::string_view password) {
    if (password.empty() || password.size() > longest_password)
        throw UserError(fmt::format("password: {} bytes, expected 1 to {}", password.size(), longest_password));
    if (password.find('\0') != std::string_view::npos)
        throw UserError("password: holds a zero byte, expected text");
    const std::unique_ptr<char, FreeText> setting(crypt_library().make_setting(yescrypt, 0, nullptr, 0));
    std::string hash = setting ? crypt_text(password, setting.get()) : "";
    if (!hash.starts_with(yescrypt))
        throw std::runtime_error("password: this system's crypt(3) has no yescrypt");
    return hash;
}

bool is_password(std::string_view password, const std::string &hash) {
    if (hash.empty() || password.size() > longest_password || password.find('\0') != std::string_view::npos)
        return false;
    const std::string now = crypt_text(password, hash);
    return !now.empty() && same_in_constant_time(now, hash);
}

Users Users::read(const StateFolder &folder) {
    const std::optional<std::string> text = folder.read(file_name);
    if (!text)
        return {};
    try {
        return from_json(*text);
    } catch (const UserError &error) {
        throw StateError(fmt::format("{}: {}", folder.path_of(file_name).string(), error.what()));
    }
}

Users Users::from_json(std::string_view text) {
    Users users;
    try {
        const Json document = parse_json(text, nesting_limit);
        const Json &version = document.at("version");
        if (version != file_version)
            throw UserError(fmt::format("version {}, expected {}", shown(version), file_version));
        for (const Json &entry : array_of(document, "users"))
            users.users_.push_back(user_of(entry));
    } catch (const Json::exception &error) {
        throw UserError(fmt::format("{}, expected the users of a node", without_error_number(error.what())));
    } catch (const JsonError &error) {
        throw UserError(fmt::format("{}, expected the users of a node", error.what()));
    }
    std::sort(users.users_.begin(), users.users_.end(), comes_before);
    const auto twice = std::adjacent_find(users.users_.begin(), users.users_.end(),
                                          [](const User &one, const User &next) { return one.name == next.name; });
    if (twice != users.users_.end())
        refuse_second(*twice);
    return users;
}

void Users::write(const StateFolder &folder) const {
    folder.write(file_name, json());
}

std::string Users::json() const {
    Json document;
    document["version"] = file_version;
    document["users"] = Json::array();
    for (const User &user : users_) {
        Json entry;
        entry["name"] = user.name;
        entry["role"] = word_of(user.role);
        entry["password"] = user.password_hash;
        entry["keys"] = Json::array();
        for (const PublicKey &key : user.keys)
            entry["keys"].push_back(line_of(key));
        document["users"].push_back(std::move(entry));
    }
    return document.dump(2) + "\n";
}

const User *Users::find(std::string_view name) const noexcept {
    const auto found = std::find_if(users_.begin(), users_.end(), [&](const User &user) { return user.name == name; });
    return found == users_.end() ? nullptr : &*found;
}

User &Users::existing(std::string_view name) {
    const auto found = std::find_if(users_.begin(), users_.end(), [&](const User &user) { return user.name == name; });
    if (found == users_.end())
        throw UserError(fmt::format("no user '{}'", escaped(shortened(name, longest_shown_value))));
    return *found;
}

void Users::add(User user) {
    check_user_name(user.name);
    if (find(user.name) != nullptr)
        refuse_second(user);
    check_key_count(user);
    users_.insert(std::upper_bound(users_.begin(), users_.end(), user, comes_before), std::move(user));
}

void Users::remove(std::string_view name) {
    const std::string &found = existing(name).name;
    std::erase_if(users_, [&, wanted = found](const User &user) { return user.name == wanted; });
}

void Users::change_password(std::string_view name, std::string hash) {
    existing(name).password_hash = std::move(hash);
}

} // namespace ocamp::server
