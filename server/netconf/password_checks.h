// Checks passwords in a thread of its own: each takes some ten milliseconds. Knows no connection.
#pragma once

#include "server/log_in.h"
#include "server/netconf/mailbox.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace ocamp::netconf {

/// One after the other, in the order in which they were asked for.
class PasswordChecks {
  public:
    using Answered = std::function<void(const server::LogInAnswer &answer)>;

    /// `log_ins` outlives this; answers come through the mailbox.
    PasswordChecks(server::LogIns &log_ins, std::shared_ptr<Mailbox> mailbox);
    /// What is left is dropped unanswered.
    ~PasswordChecks();
    PasswordChecks(const PasswordChecks &) = delete;
    PasswordChecks &operator=(const PasswordChecks &) = delete;

    /// Calls `answered` in the mailbox's thread.
    void ask(server::Peer peer, std::string user, std::string password, Answered answered);

  private:
    struct Question {
        server::Peer peer;
        std::string user, password;
        Answered answered;
    };

    void run();

    server::LogIns &log_ins_;
    std::shared_ptr<Mailbox> mailbox_;
    std::mutex mutex_; // guards what follows
    std::condition_variable changed_;
    std::deque<Question> questions_;
    bool ends_ = false;
    std::thread thread_;
};

} // namespace ocamp::netconf
