#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <deque>
#include <functional>
#include <iterator>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "child.h"
#include "eventually.h"
#include "listener.h"
#include "temp_root.h"
#include "tn/bus_socket.h"
#include "tn/log.h"
#include "tn/looper.h"

namespace tn {

/// Waits until a packet, or the end of the connection, can be read. False after the timeout.
inline bool isReadable(int fd, int milliseconds) {
    pollfd socket = {.fd = fd, .events = POLLIN, .revents = 0};
    return poll(&socket, 1, milliseconds) == 1;
}

/// Makes these sockets the inherited descriptors (sd_listen_fds), all under one name. To be called in a child process.
inline void receiveSockets(const std::vector<int>& sockets, const std::string& name) {
    constexpr int kFirst = 3;  // SD_LISTEN_FDS_START
    std::vector<int> copies;   // out of the way of what they replace
    for (const int socket : sockets)
        copies.push_back(fcntl(socket, F_DUPFD, kFirst + static_cast<int>(sockets.size())));
    std::string names;
    for (size_t i = 0; i < copies.size(); ++i) {
        const int fd = kFirst + static_cast<int>(i);
        dup2(copies[i], fd);
        names += (i > 0 ? ":" : "") + name;
    }
    setenv("LISTEN_PID", std::to_string(getpid()).c_str(), 1);
    setenv("LISTEN_FDS", std::to_string(sockets.size()).c_str(), 1);
    setenv("LISTEN_FDNAMES", names.c_str(), 1);
}
inline void receiveSocket(int socket, const char* name) { receiveSockets({socket}, name); }

/// A process that serves numbers with its own handlers. The destructor ends it.
class Peer {
  public:
    using Setup = std::function<void(Looper&)>;

    /// Returns when the process listens, or has failed to.
    /// @param setup   adds the handlers, in the child
    /// @param before  runs first in the child, to change its user or descriptors
    Peer(std::vector<uint32_t> numbers, const Setup& setup, const std::function<void()>& before = {}) {
        int ready[2];
        if (pipe(ready) != 0) std::abort();
        child_.emplace([&] {
            if (before) before();
            return serve(std::move(numbers), setup, ready[1]);
        });
        close(ready[1]);
        char byte = 0;
        listening_ = read(ready[0], &byte, 1) == 1;
        close(ready[0]);
    }

    [[nodiscard]] bool listening() const { return listening_; }
    // See Child.
    [[nodiscard]] pid_t pid() const { return child_->pid(); }
    void signal(int signal) const { child_->signal(signal); }
    int end(int signal) { return child_->end(signal); }
    bool ended() { return child_->ended(); }

  private:
    static int serve(std::vector<uint32_t> numbers, const Setup& setup, int ready) {
        alarm(100);  // ends it even if the test is killed
        Looper looper(std::move(numbers));
        setup(looper);
        if (!looper.listen()) return 1;
        [[maybe_unused]] const ssize_t written = write(ready, "r", 1);
        close(ready);
        return looper.run();
    }

    std::optional<Child> child_;
    bool listening_ = false;
};

/// The process {34} with a client {34, 1}, in a root of its own.
class ClientTest : public testing::Test {
  protected:
    ClientTest() { looper_.addHandler(1, &client_); }
    message exchange(const message& m, std::chrono::milliseconds timeout = 1s) {
        return looper_.exchangeMessage(m, timeout);
    }

    TempRoot root_;
    Looper looper_{{34}};
    Listener client_;
};

/// A thread that serves a number with raw packets, as a misbehaving peer.
class RawPeer {
  public:
    using Conversation = std::function<void(int connection)>;

    /// Each conversation gets one connection, in order, which is closed when it returns. A connection must arrive
    /// within 30 s.
    RawPeer(uint32_t number, std::vector<Conversation> conversations) : number_(number) {
        std::string why;
        listener_ = openBusListener(number, why);
        if (!listener_.socket) std::abort();
        thread_ = std::thread([this, talks = std::move(conversations)] {
            for (const Conversation& talk : talks) {
                if (!isReadable(listener_.socket.get(), 30'000)) return;
                const Descriptor connection(accept(listener_.socket.get(), nullptr, nullptr));
                makeRoomForPackets(connection.get());
                unread_.clear();
                talk(connection.get());
            }
        });
    }
    ~RawPeer() {
        thread_.join();
        listener_.withdraw(number_);
    }
    RawPeer(const RawPeer&) = delete;
    RawPeer& operator=(const RawPeer&) = delete;

    /// Receives the messages of one packet; none at the end of the connection.
    static std::vector<message> readPacket(int connection) {
        std::vector<uint8_t> buffer(kMaxPacket);
        std::vector<message> packet;
        const ssize_t got = recv(connection, buffer.data(), buffer.size(), 0);
        const size_t length = got > 0 ? static_cast<size_t>(got) : 0;
        EXPECT_TRUE(length == 0 || message::unflatten(std::span(buffer).first(length), packet));
        return packet;
    }
    /// Whether read() returns without waiting for long.
    static bool hasNext(int connection) { return !unread_.empty() || isReadable(connection, 1000); }
    /// Receives one message; empty at the end of the connection.
    static message read(int connection) {
        if (unread_.empty()) std::ranges::move(readPacket(connection), std::back_inserter(unread_));
        if (unread_.empty()) return {};
        message m = std::move(unread_.front());
        unread_.pop_front();
        return m;
    }
    /// Sends messages in one packet.
    static void write(int connection, const std::vector<message>& messages) {
        flat_message packet;
        for (const message& m : messages) m.flattenTo(packet);
        send(connection, packet.data(), packet.size(), MSG_NOSIGNAL);
    }
    static void write(int connection, const message& m) { write(connection, std::vector{m}); }
    /// A reply to the request `asked`, with its RequestId in field 1.
    static message answerTo(const message& asked) {
        const uint32_t number = asked.get_u32(field::RequestId);
        return with(numbered(number), field::ReplyTo, number);
    }
    static void answer(int connection, const message& asked) { write(connection, answerTo(asked)); }
    static void answerNext(int connection) { answer(connection, read(connection)); }
    /// Receives and drops packets until the peer closes the connection.
    static void waitForEnd(int connection) {
        std::vector<uint8_t> buffer(kMaxPacket);
        while (recv(connection, buffer.data(), buffer.size(), 0) > 0) continue;
    }

  private:
    inline static thread_local std::deque<message> unread_;  // of the last packet that this thread received

    uint32_t number_;
    BusListener listener_;
    std::thread thread_;
};

}  // namespace tn
