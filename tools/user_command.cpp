// ocamp user: who may log in to the server of a node. Knows nothing of protocols.
#include "options.h"
#include "output.h"
#include "password.h"
#include "text_io.h"

#include "line/folder.h"
#include "node/node.h"
#include "seam/text.h"
#include "server/users.h"

#include <memory>

#include <unistd.h>

namespace ocamp {

namespace {

using server::Role;
using server::StateFolder;
using server::User;
using server::Users;

struct UserOptions {
    std::string node;
    std::string name;
    std::string role = "reader";
    std::vector<std::string> key_files;
};

// From the terminal twice, from anything else one line.
std::string read_password() {
    if (isatty(STDIN_FILENO) == 0)
        return read_password_line();
    std::string password = ask_password("Password: ");
    if (ask_password("Again: ") != password)
        throw InputError("the two passwords differ, expected the same twice");
    return password;
}

// Refuses what is neither a node nor a line, whose users are those of all its nodes.
void check_folder(const std::string &folder) {
    if (!is_line(folder))
        const Node checked(folder, Node::Access::read);
}

// Reads, changes and writes the users of a node that is one, while nobody else does.
template <class Change>
void change_users(const UserOptions &options, Change change, std::string_view done) {
    check_folder(options.node);
    const StateFolder folder(options.node);
    const StateFolder::Hold hold(folder, "users", true);
    Users users = Users::read(folder);
    change(users);
    users.write(folder);
    finish_output(fmt::format("{}: {}\n", escaped(options.name), done), done);
}

void add_user(const UserOptions &options) {
    server::check_user_name(options.name);
    User user{.name = options.name, .role = *server::role_of(options.role), .password_hash = {}, .keys = {}};
    for (const std::string &file : options.key_files)
        user.keys.push_back(named_input(file, [](const std::string &text) { return server::public_key_of(text); }));
    if (user.keys.empty())
        user.password_hash = server::hash_password(read_password());
    change_users(
        options, [&](Users &users) { users.add(std::move(user)); }, "the user is added");
}

void remove_user(const UserOptions &options) {
    change_users(
        options, [&](Users &users) { users.remove(options.name); }, "the user is removed");
}

void change_password(const UserOptions &options) {
    server::check_user_name(options.name);
    const std::string hash = server::hash_password(read_password());
    change_users(
        options, [&](Users &users) { users.change_password(options.name, hash); }, "the password is changed");
}

void list_users(const UserOptions &options) {
    check_folder(options.node);
    const Users users = Users::read(StateFolder(options.node));
    for (const User &user : users.all())
        print("{} {}{}{}\n", user.name, server::word_of(user.role), user.password_hash.empty() ? "" : " password",
              user.keys.empty() ? "" : fmt::format(" keys:{}", user.keys.size()));
    finish_output("", "");
}

CLI::App &add_word(CLI::App &command, const char *word, const char *description,
                   const std::shared_ptr<UserOptions> &options, void (*run)(const UserOptions &)) {
    CLI::App &added = *command.add_subcommand(word, description);
    add_node_option(added, options->node);
    added.callback([options, run] { run(*options); });
    return added;
}

void add_name(CLI::App &command, UserOptions &options) {
    command.add_option("NAME", options.name, "Name of the user")->required();
}

} // namespace

void add_user_command(CLI::App &program) {
    CLI::App &command = *program.add_subcommand("user", "Say who may log in to the node's server");
    command.require_subcommand(1);
    auto options = std::make_shared<UserOptions>();
    CLI::App &add = add_word(command, "add", "Add a user, who logs in with a key or a password", options, add_user);
    add_name(add, *options);
    add.add_option("--role", options->role, "What the user may do: reader, operator or admin")
        ->type_name("ROLE")
        ->check(CLI::IsMember({"reader", "operator", "admin"}).description(""))
        ->capture_default_str();
    add.add_option("--key", options->key_files, "File of an SSH public key; without one a password is read")
        ->type_name("FILE");
    add.footer("A password is asked for on a terminal, and else one line of standard input.\n"
               "A server that runs takes changes of users over on SIGHUP.\n"
               "Example:\n"
               "  ocamp user add --node demo-node ada --role admin --key ~/.ssh/id_ed25519.pub");
    add_name(add_word(command, "rm", "Remove a user", options, remove_user), *options);
    add_name(add_word(command, "passwd", "Give a user a new password", options, change_password), *options);
    add_word(command, "list", "List the users: name, role, and what they log in with", options, list_users);
}

} // namespace ocamp
