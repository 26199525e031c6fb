#include "tn/bus_socket.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

#include "tn/fields.h"
#include "tn/message.h"
#include "tn/paths.h"

namespace tn {

namespace {

constexpr int kPacketRoom = static_cast<int>(kMaxPacket) + 4096;  // the kernel counts its own overhead too
constexpr mode_t kFolderMode = 0750;
constexpr mode_t kSocketMode = 0660;
constexpr mode_t kLockMode = 0600;

struct FreeNames {
    void operator()(char** names) const {
        for (char** name = names; *name != nullptr; ++name) std::free(*name);
        std::free(names);
    }
};

Descriptor openFolder() { return Descriptor(open(busFolder().c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)); }

/// Locks of numbers that are claimed, and whose sockets aren't open yet.
std::map<uint32_t, Descriptor> claimed;

/// The address of a number's socket. A root too long for sun_path is reached through the folder's descriptor.
sockaddr_un addressOf(uint32_t number, const Descriptor& folder) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::string path = busFolder() + "/" + std::to_string(number);
    if (path.size() >= sizeof address.sun_path) {
        path = "/proc/self/fd/" + std::to_string(folder.get()) + "/" + std::to_string(number);
    }
    std::copy(path.begin(), path.end(), address.sun_path);
    return address;
}

std::string reason(uint32_t number, const char* what) {
    return "bus: " + std::to_string(number) + ": " + what + ": " + strerror(errno);
}

Descriptor makeBusFolder(uint32_t number, std::string& why) {
    Descriptor folder;
    if (makeFolder(busFolder(), kFolderMode)) folder = openFolder();
    if (!folder) why = reason(number, busFolder().c_str());
    return folder;
}

/// The lock file stays when its holder exits: removing it would let two processes lock two files of the same name.
Descriptor lockNumber(const Descriptor& folder, uint32_t number, std::string& why) {
    const std::string name = std::to_string(number);
    constexpr int kFlags = O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC;
    Descriptor lock(openat(folder.get(), (name + ".lock").c_str(), kFlags, kLockMode));
    if (lock && flock(lock.get(), LOCK_EX | LOCK_NB) == 0) return lock;
    why = errno == EWOULDBLOCK ? "bus: " + name + ": another process serves this number" : reason(number, "lock");
    return {};
}

bool belongsTo(int fd, gid_t group) {
    std::vector<gid_t> groups(64);
    socklen_t length = static_cast<socklen_t>(groups.size() * sizeof(gid_t));
    if (getsockopt(fd, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &length) != 0) {
        if (errno != ERANGE) return false;
        groups.resize(length / sizeof(gid_t));
        if (getsockopt(fd, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &length) != 0) return false;
    }
    groups.resize(length / sizeof(gid_t));
    return std::ranges::find(groups, group) != groups.end();
}

}  // namespace

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
    if (this != &other) {
        reset();
        fd_ = other.release();
    }
    return *this;
}

void Descriptor::reset() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
}

int Descriptor::release() {
    const int fd = fd_;
    fd_ = -1;
    return fd;
}

std::multimap<std::string, int> receivedSockets() {
    std::multimap<std::string, int> all;
    char** received = nullptr;
    const int count = sd_listen_fds_with_names(/*unset_environment=*/0, &received);
    if (count <= 0) return all;
    const std::unique_ptr<char*, FreeNames> names(received);
    for (int i = 0; i < count; ++i) all.emplace(names.get()[i], SD_LISTEN_FDS_START + i);
    return all;
}

bool claimBusNumbers(std::span<const uint32_t> numbers, std::string& why) {
    const char* inEnvironment = std::getenv(kLockedNumber);
    const std::string locked = inEnvironment == nullptr ? "" : inEnvironment;
    unsetenv(kLockedNumber);
    const bool isForUs = receivedSockets().contains(locked);  // and not for who started us
    for (const uint32_t number : numbers) {
        const Descriptor folder = makeBusFolder(number, why);
        if (!folder) return false;
        if (isForUs && locked == std::to_string(number)) continue;
        Descriptor lock = lockNumber(folder, number, why);
        if (!lock) return false;
        claimed.insert_or_assign(number, std::move(lock));
    }
    return true;
}

BusListener openBusListener(uint32_t number, std::string& why) {
    const std::string name = std::to_string(number);
    const Descriptor folder = makeBusFolder(number, why);
    if (!folder) return {};
    BusListener listener;
    if (const auto known = claimed.extract(number)) {
        listener.lock = std::move(known.mapped());
    } else {
        listener.lock = lockNumber(folder, number, why);
    }
    if (!listener.lock) return {};
    unlinkat(folder.get(), name.c_str(), 0);
    listener.socket = Descriptor(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const sockaddr_un address = addressOf(number, folder);
    struct stat status = {};
    // Nobody can connect before listen(), so the mode is right from the first connection on.
    if (!listener.socket ||
        bind(listener.socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        fchmodat(folder.get(), name.c_str(), kSocketMode, 0) != 0 ||
        fstatat(folder.get(), name.c_str(), &status, 0) != 0 || listen(listener.socket.get(), SOMAXCONN) != 0) {
        why = reason(number, "socket");
        return {};
    }
    makeRoomForPackets(listener.socket.get());
    listener.group = status.st_gid;
    return listener;
}

void BusListener::withdraw(uint32_t number) {
    if (ours && socket) {
        const Descriptor folder = openFolder();
        unlinkat(folder.get(), std::to_string(number).c_str(), 0);
    }
    socket.reset();
}

timeval timevalOf(std::chrono::milliseconds timeout) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(timeout);
    return {.tv_sec = seconds.count(), .tv_usec = std::chrono::microseconds(timeout - seconds).count()};
}

Descriptor dialBus(uint32_t number, std::chrono::milliseconds timeout) {
    const Descriptor folder = openFolder();
    if (!folder) return {};
    const int waits = timeout.count() == 0 ? SOCK_NONBLOCK : 0;
    Descriptor connection(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | waits, 0));
    if (!connection) return {};
    if (timeout.count() != 0) {
        const timeval limit = timevalOf(timeout);
        setsockopt(connection.get(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    }
    const sockaddr_un address = addressOf(number, folder);
    if (connect(connection.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) return {};
    if (waits != 0) fcntl(connection.get(), F_SETFL, fcntl(connection.get(), F_GETFL) & ~O_NONBLOCK);
    makeRoomForPackets(connection.get());
    return connection;
}

void makeRoomForPackets(int fd) {
    // SO_SNDBUF is what limits a Unix socket; without privileges it may be cut to wmem_max, and a packet that doesn't
    // fit is then reported by send.
    setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &kPacketRoom, sizeof kPacketRoom);
    setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &kPacketRoom, sizeof kPacketRoom);
    int room = 0;
    socklen_t length = sizeof room;
    if (getsockopt(fd, SOL_SOCKET, SO_SNDBUF, &room, &length) == 0 && room < kPacketRoom) {
        setsockopt(fd, SOL_SOCKET, SO_SNDBUFFORCE, &kPacketRoom, sizeof kPacketRoom);
    }
}

BusPeer peerOf(int fd, gid_t group) {
    ucred peer = {};
    socklen_t length = sizeof peer;
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &length) != 0) return {};
    if (peer.uid == 0 || peer.uid == geteuid()) return {peer.pid, right::All};
    if (peer.gid == group || belongsTo(fd, group)) return {peer.pid, right::Reading};
    return {peer.pid, 0};
}

}  // namespace tn
