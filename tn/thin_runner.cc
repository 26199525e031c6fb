#include "tn/thin_runner.h"

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <systemd/sd-event.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "tn/end_signals.h"
#include "tn/log.h"

namespace tn {

using namespace std::chrono_literals;

namespace {

constexpr std::chrono::microseconds kTimerAccuracy = 1ms;     // sd-event's default of 250 ms is for housekeeping
constexpr std::chrono::milliseconds kMaxWait = 24h * 36'500;  // a century: a longer one could overflow

/// A delay in microseconds, the unit of sd-event, limited to 0 to kMaxWait.
uint64_t microsecondsOf(std::chrono::milliseconds delay) {
    return static_cast<uint64_t>(std::chrono::microseconds(std::clamp(delay, 0ms, kMaxWait)).count());
}

}  // namespace

struct ThinRunner::Impl {
    struct Entry {
        explicit Entry(Impl* impl) : owner(impl) {}
        ~Entry() { sd_event_source_disable_unref(source); }
        Entry(const Entry&) = delete;
        Entry& operator=(const Entry&) = delete;

        Impl* owner;
        sd_event_source* source = nullptr;
        TimerId id = 0;
        SocketCallback onSocket;
        TimerCallback onTimer;
    };
    using EntryPtr = std::unique_ptr<Entry>;

    explicit Impl(ThinRunner* runner);
    ~Impl();
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    void retire(EntryPtr entry);
    void runDeferred();
    void runPosted();
    bool round(std::chrono::milliseconds timeout);

    static int socketReady(sd_event_source* source, int fd, uint32_t events, void* data);
    static int timerFired(sd_event_source* source, uint64_t now, void* data);
    static int wokenUp(sd_event_source* source, int fd, uint32_t events, void* data);

    ThinRunner* self;
    sd_event* event = nullptr;
    sd_event_source* wakeSource = nullptr;
    int wakeUp = -1;

    std::unordered_map<int, EntryPtr> sockets;
    std::unordered_map<TimerId, EntryPtr> timers;
    TimerId lastTimer = 0;
    std::vector<TimerCallback> deferred;

    // A callback that removes its own entry is still running in it: entries removed meanwhile live to the round's end.
    std::vector<EntryPtr> retired;
    bool inRound = false;
    bool stopping = false;

    std::mutex postedLock;
    std::vector<TimerCallback> posted;
};

ThinRunner::Impl::Impl(ThinRunner* runner) : self(runner) {
    wakeUp = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    int result = sd_event_new(&event);
    if (result >= 0) result = sd_event_add_io(event, &wakeSource, wakeUp, EPOLLIN, wokenUp, this);
    if (result < 0) swarn << "loop: not created: " << strerror(-result);
}

ThinRunner::Impl::~Impl() {
    sockets.clear();
    timers.clear();
    retired.clear();
    sd_event_source_disable_unref(wakeSource);
    sd_event_unref(event);
    if (wakeUp >= 0) close(wakeUp);
}

void ThinRunner::Impl::retire(EntryPtr entry) {
    if (!inRound) return;
    entry->source = sd_event_source_disable_unref(entry->source);
    retired.push_back(std::move(entry));
}

void ThinRunner::Impl::runDeferred() {
    std::vector<TimerCallback> due;
    due.swap(deferred);
    for (TimerCallback& callback : due) callback();
}

void ThinRunner::Impl::runPosted() {
    uint64_t count = 0;
    [[maybe_unused]] const ssize_t got = read(wakeUp, &count, sizeof count);
    std::vector<TimerCallback> due;
    {
        const std::lock_guard lock(postedLock);
        due.swap(posted);
    }
    for (TimerCallback& callback : due) callback();
    if (EndSignals::consume()) self->shutdown();
}

// One batch of deferred callbacks, then one of sd-event's: neither side can starve the other, whereas a defer source of
// sd-event that is enabled again and again stays the oldest one pending.
bool ThinRunner::Impl::round(std::chrono::milliseconds timeout) {
    inRound = true;
    const bool ran = !deferred.empty();
    runDeferred();
    if (ran || !deferred.empty()) timeout = 0ms;
    const int result = stopping ? 0 : sd_event_run(event, microsecondsOf(timeout));
    inRound = false;
    retired.clear();
    if (result < 0 && result != -EINTR) {
        swarn << "loop: failed: " << strerror(-result);
        stopping = true;
    }
    return ran || result > 0;
}

int ThinRunner::Impl::socketReady(sd_event_source*, int fd, uint32_t events, void* data) {
    static_cast<Entry*>(data)->onSocket(fd, events);
    return 0;
}

int ThinRunner::Impl::timerFired(sd_event_source*, uint64_t, void* data) {
    auto* entry = static_cast<Entry*>(data);
    Impl* impl = entry->owner;
    const auto found = impl->timers.find(entry->id);
    EntryPtr fired = std::move(found->second);
    impl->timers.erase(found);
    fired->onTimer();
    impl->retire(std::move(fired));
    return 0;
}

int ThinRunner::Impl::wokenUp(sd_event_source*, int, uint32_t, void* data) {
    static_cast<Impl*>(data)->runPosted();
    return 0;
}

ThinRunner::ThinRunner() : impl_(std::make_unique<Impl>(this)) {}
ThinRunner::~ThinRunner() = default;

bool ThinRunner::addSocket(int fd, SocketCallback callback, unsigned events) {
    removeSocket(fd);
    auto entry = std::make_unique<Impl::Entry>(impl_.get());
    entry->onSocket = std::move(callback);
    const int result = sd_event_add_io(impl_->event, &entry->source, fd, events, Impl::socketReady, entry.get());
    if (result < 0) {
        swarn << "loop: socket " << fd << ": " << strerror(-result);
        return false;
    }
    impl_->sockets.emplace(fd, std::move(entry));
    return true;
}

void ThinRunner::removeSocket(int fd) {
    const auto found = impl_->sockets.find(fd);
    if (found == impl_->sockets.end()) return;
    Impl::EntryPtr entry = std::move(found->second);
    impl_->sockets.erase(found);
    impl_->retire(std::move(entry));
}

ThinRunner::TimerId ThinRunner::addTimer(TimerCallback callback, std::chrono::milliseconds delay) {
    auto entry = std::make_unique<Impl::Entry>(impl_.get());
    entry->id = ++impl_->lastTimer;
    entry->onTimer = std::move(callback);
    const int result = sd_event_add_time_relative(impl_->event, &entry->source, CLOCK_MONOTONIC, microsecondsOf(delay),
                                                  kTimerAccuracy.count(), Impl::timerFired, entry.get());
    if (result < 0) swarn << "loop: timer: " << strerror(-result);
    const TimerId id = entry->id;
    impl_->timers.emplace(id, std::move(entry));
    return id;
}

void ThinRunner::removeTimer(TimerId id) {
    const auto found = impl_->timers.find(id);
    if (found == impl_->timers.end()) return;
    Impl::EntryPtr entry = std::move(found->second);
    impl_->timers.erase(found);
    impl_->retire(std::move(entry));
}

void ThinRunner::defer(TimerCallback callback) { impl_->deferred.push_back(std::move(callback)); }

void ThinRunner::post(TimerCallback callback) {
    {
        const std::lock_guard lock(impl_->postedLock);
        impl_->posted.push_back(std::move(callback));
    }
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(impl_->wakeUp, &one, sizeof one);
}

std::chrono::milliseconds ThinRunner::sleepTime() const {
    uint64_t next = UINT64_MAX;
    for (const auto& [id, entry] : impl_->timers) {
        uint64_t due = 0;
        if (sd_event_source_get_time(entry->source, &due) >= 0) next = std::min(next, due);
    }
    if (next == UINT64_MAX) return std::chrono::milliseconds::max();
    const std::chrono::microseconds due(static_cast<int64_t>(next));
    const auto now = std::chrono::steady_clock::now().time_since_epoch();  // CLOCK_MONOTONIC
    return std::max(0ms, std::chrono::ceil<std::chrono::milliseconds>(due - now));
}

void ThinRunner::shutdown() { impl_->stopping = true; }

int ThinRunner::run() {
    const EndSignals signals(impl_->wakeUp);
    sd_event_set_watchdog(impl_->event, 1);  // does nothing unless the service manager asked for it
    while (!impl_->stopping) impl_->round(kMaxWait);
    impl_->stopping = false;
    return 0;
}

bool ThinRunner::runOnce(std::chrono::milliseconds timeout) { return impl_->round(timeout); }

}  // namespace tn
