#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>

namespace hostd {

/// A source with readings from the test, for owners that read on a helper thread.
template <class T>
class ScriptedSource {
  public:
    explicit ScriptedSource(T value) { gives(std::move(value)); }

    /// The owner's function to read the source. It may outlive the test and this object.
    [[nodiscard]] std::function<T()> reader() const {
        return [state = state_] {
            ++state->readings;
            const std::lock_guard waits(state->slow);
            const std::lock_guard guard(state->mutex);
            return state->value;
        };
    }
    /// Sets the value of all readings from now on.
    void gives(T value) {
        const std::lock_guard guard(state_->mutex);
        state_->value = std::move(value);
    }
    /// Blocks all readings until the lock is released.
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
