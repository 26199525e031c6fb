#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <list>
#include <string>
#include <utility>
#include <vector>

#include "echo_server.h"
#include "peers.h"
#include "tn/sources.h"

namespace tn {

inline std::chrono::milliseconds timeOf(const std::function<void()>& work) {
    const std::chrono::milliseconds start = sinceBoot();
    work();
    return sinceBoot() - start;
}

/// A notification for {34, 1}.
inline message noteFrom(std::vector<uint32_t> source, uint32_t n) {
    return with(with(requestTo({34, 1}, kNote), field::Source, std::move(source)), u32_id(1), n);
}

/// Serves {N, 2} for each of these numbers.
inline Peer::Setup serving(std::vector<uint32_t> numbers) {
    return [numbers = std::move(numbers)](Looper& looper) {
        static std::list<Server> servers;
        for (const uint32_t n : numbers) looper.addHandler(std::vector<uint32_t>{n, 2}, &servers.emplace_back());
    };
}

inline message askAt(uint32_t number) { return requestTo({number, 2}, kEcho); }

class BusTest : public ClientTest {
  protected:
    BusTest() { setRoot(root_.folder() + "/" + std::string(120, 'r')); }  // longer than an address of a socket
};

}  // namespace tn
