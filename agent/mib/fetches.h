#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "tn/message.h"

namespace snmp {

/// Requests to owners that will be made to answer one request or several, to be sent together beforehand.
class Fetches {
  public:
    /// What is added from now on is for another request of a manager. Each fetches anew (Fetched).
    void beginRequest() { users_.clear(); }
    /// Adds a request, unless the same user has added it for this request, or there are too many.
    /// @param user  the provider or table that will make it
    void add(const void* user, const tn::message& request) {
        const size_t first = requests_.size() - users_.size();
        for (size_t i = 0; i < users_.size(); ++i)
            if (users_[i] == user && requests_[first + i] == request) return;
        if (requests_.size() >= kMax) return;
        requests_.push_back(request);
        users_.push_back(user);
    }
    /// All that were added. None remain.
    [[nodiscard]] std::vector<tn::message> take() {
        users_.clear();
        return std::exchange(requests_, {});
    }

  private:
    static constexpr size_t kMax = 256;  // the replies wait in the socket's buffer

    std::vector<tn::message> requests_;
    std::vector<const void*> users_;  ///< of the last ones: those for the current request
};

}  // namespace snmp
