#include "tn/bus_listeners.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <string>

#include "tn/log.h"
#include "tn/paths.h"
#include "tn/sources.h"

namespace tn {

namespace {

constexpr std::chrono::milliseconds kAcceptPause{500};  // without accepting, when no descriptors are left
constexpr std::chrono::milliseconds kReportInterval{1000};

/// The group whose members may connect: that of the socket's file.
gid_t groupOf(uint32_t number) {
    struct stat status = {};
    if (stat((busFolder() + "/" + std::to_string(number)).c_str(), &status) != 0) return getegid();
    return status.st_gid;
}

}  // namespace

bool BusListeners::open(std::span<const uint32_t> numbers) {
    if (!open_) takeOver();
    open_ = true;
    for (const uint32_t number : numbers) {
        if (listeners_.contains(number)) continue;
        std::string why;
        BusListener listener = openBusListener(number, why);
        if (!listener.socket) {
            swarn << why;
            open_ = false;
            return false;
        }
        watch(listeners_.emplace(number, std::move(listener)).first->second);
    }
    return true;
}

void BusListeners::takeOver() {
    for (const auto& [name, fd] : receivedSockets()) {
        uint32_t number = 0;
        const auto [end, bad] = std::from_chars(name.data(), name.data() + name.size(), number);
        if (bad != std::errc() || end != name.data() + name.size()) continue;
        if (sd_is_socket_unix(fd, SOCK_SEQPACKET, /*listening=*/1, nullptr, 0) <= 0) {
            swarn << "bus: " << number << ": the inherited descriptor isn't a listening bus socket";
            continue;
        }
        if (listeners_.contains(number)) {
            swarn << "bus: " << number << ": several inherited sockets; only the first is served";
            continue;
        }
        fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
        ::listen(fd, SOMAXCONN);  // again: SO_PEERCRED then shows peers this process, not the socket's creator
        BusListener listener;
        listener.socket = Descriptor(fd);
        listener.group = groupOf(number);
        listener.ours = false;
        watch(listeners_.emplace(number, std::move(listener)).first->second);
    }
}

void BusListeners::watch(const BusListener& listener) {
    runner_.addSocket(
        listener.socket.get(), [this, &listener](int, unsigned) { accept(listener); }, EPOLLIN);
}

void BusListeners::accept(const BusListener& listener) {
    Descriptor connection(accept4(listener.socket.get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (connection) {
        accepted_(std::move(connection), listener.group);
    } else if (errno != EAGAIN && errno != EINTR && errno != ECONNABORTED) {
        pause(strerror(errno));
    }
}

// Without a free descriptor the sockets stay readable and the loop would spin on them.
void BusListeners::pause(const char* why) {
    const std::chrono::milliseconds now = sinceBoot();
    if (!reported_ || now - *reported_ >= kReportInterval) {
        reported_ = now;
        swarn << "bus: can't accept connections: " << why;
    }
    for (const auto& [number, listener] : listeners_) runner_.removeSocket(listener.socket.get());
    runner_.removeTimer(resume_);
    resume_ = runner_.addTimer(
        [this] {
            resume_ = 0;
            for (const auto& [number, listener] : listeners_) watch(listener);
        },
        kAcceptPause);
}

bool BusListeners::hasWaitingCallers() const {
    return std::ranges::any_of(listeners_, [](const auto& entry) {
        pollfd socket = {.fd = entry.second.socket.get(), .events = POLLIN, .revents = 0};
        return poll(&socket, 1, 0) > 0;
    });
}

bool BusListeners::areHandedOver() const {
    return std::ranges::none_of(listeners_, [](const auto& entry) { return entry.second.ours; });
}

void BusListeners::withdraw() {
    runner_.removeTimer(resume_);
    resume_ = 0;
    for (auto& [number, listener] : listeners_) {
        runner_.removeSocket(listener.socket.get());
        listener.withdraw(number);
    }
}

void BusListeners::close() {
    withdraw();
    listeners_.clear();
    open_ = false;
}

}  // namespace tn
