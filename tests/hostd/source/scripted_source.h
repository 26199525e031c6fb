#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>

namespace hostd {

/// A source whose readings the test determines, for owners that read on a helper thread.
template <class T>
class ScriptedSource {
  public:
    explicit ScriptedSource(T value) { gives(std::move(value)); }

    /// What the owner reads with. A reading may outlive the test, and this.
    [[nodiscard]] std::function<T()> reader() const {
        return [state = state_] {
            ++state->readings;
            const std::lock_guard waits(state->slow);
            const std::lock_guard guard(state->mutex);
            return state->value;
        };
    }
    /// What is read from now on.
    void gives(T value) {
        const std::lock_guard guard(state_->mutex);
        state_->value = std::move(value);
    }
    /// No reading ends as long as this is held.
    [[nodiscard]] std::unique_lock<std::mutex> hangs() { return std::unique_lock(state_->slow); }
    [[nodiscard]] int readings() const { return state_->readings; }

  private:
    struct State {
        std::atomic<int> readings = 0;
        std::mutex slow;
        std::mutex mutex;
        T value;
    };
    std::shared_ptr<State> state_ = std::make_shared<State>();
};

}  // namespace hostd
