// How the thread goes through its questions. Knows no connection.
#include "server/netconf/password_checks.h"

#include <utility>

namespace ocamp::netconf {

PasswordChecks::PasswordChecks(server::LogIns &log_ins, std::shared_ptr<Mailbox> mailbox)
    : log_ins_(log_ins), mailbox_(std::move(mailbox)), thread_([this] { run(); }) {}

PasswordChecks::~PasswordChecks() {
    {
        const std::scoped_lock lock(mutex_);
        ends_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

void PasswordChecks::ask(server::Peer peer, std::string user, std::string password, Answered answered) {
    {
        const std::scoped_lock lock(mutex_);
        questions_.push_back({std::move(peer), std::move(user), std::move(password), std::move(answered)});
    }
    changed_.notify_one();
}

void PasswordChecks::run() {
    for (;;) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return ends_ || !questions_.empty(); });
        if (ends_)
            return;
        Question question = std::move(questions_.front());
        questions_.pop_front();
        lock.unlock();
        server::LogInAnswer answer = log_ins_.password(question.peer, question.user, question.password);
        mailbox_->post([answered = std::move(question.answered), answer = std::move(answer)] { answered(answer); });
    }
}

} // namespace ocamp::netconf
