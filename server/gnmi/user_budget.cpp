// How amounts are counted.
#include "server/gnmi/user_budget.h"

namespace ocamp::gnmi {

bool UserBudget::take(const std::string &user, std::size_t amount) {
    const std::lock_guard guard(mutex_);
    const auto found = of_users_.find(user);
    const std::size_t of_user = found == of_users_.end() ? 0 : found->second;
    if (amount > most_ - all_ || amount > most_of_user_ - of_user)
        return false;
    all_ += amount;
    if (amount != 0)
        of_users_[user] = of_user + amount;
    return true;
}

void UserBudget::give_back(const std::string &user, std::size_t amount) {
    const std::lock_guard guard(mutex_);
    const auto found = of_users_.find(user);
    if (found == of_users_.end())
        return;
    all_ -= amount;
    found->second -= amount;
    if (found->second == 0)
        of_users_.erase(found);
}

} // namespace ocamp::gnmi
