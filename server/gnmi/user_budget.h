// What users have under way of something that is bounded, such as streams or bytes. Knows not what it is.
#pragma once

#include <cstddef>
#include <map>
#include <mutex>
#include <string>

namespace ocamp::gnmi {

/// Safe from any thread.
class UserBudget {
  public:
    UserBudget(std::size_t of_user, std::size_t in_all) : most_of_user_(of_user), most_(in_all) {}

    /// False, and nothing is taken, when the user would have more than one may, or all together would.
    bool take(const std::string &user, std::size_t amount);
    /// What take() has given.
    void give_back(const std::string &user, std::size_t amount);

  private:
    const std::size_t most_of_user_, most_;
    std::mutex mutex_; // guards what follows
    std::size_t all_ = 0;
    std::map<std::string, std::size_t> of_users_; // of those who have something
};

} // namespace ocamp::gnmi
