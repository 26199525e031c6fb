#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "tn/looper.h"

namespace hostd::test {

inline tn::message ask(tn::Handler& owner, uint32_t command, tn::message request = {},
                       uint32_t rights = tn::right::All) {
    request.insert_u32(tn::field::Command, command);
    return owner.handle(request, rights);
}

/// A request about one row.
inline tn::message of(uint32_t id) {
    tn::message request;
    request.insert_u32(tn::field::ObjectId, id);
    return request;
}

/// The rows of a table, page by page.
inline std::vector<tn::message> rowsOf(tn::Handler& table, uint32_t command = tn::cmd::GetAll) {
    std::vector<tn::message> all;
    tn::message request;
    for (int pages = 0; pages < 100; ++pages) {
        const tn::message reply = ask(table, command, request);
        const std::vector<tn::message>& items = reply.get_message_array(tn::field::Objects);
        all.insert(all.end(), items.begin(), items.end());
        if (!reply.has(tn::field::Continue)) return all;
        request.insert_u32(tn::field::Continue, reply.get_u32(tn::field::Continue));
    }
    return {};
}

/// "id:text" of each row.
inline std::vector<std::string> listed(tn::Handler& table, tn::string_id text) {
    std::vector<std::string> all;
    for (const tn::message& item : rowsOf(table))
        all.push_back(std::to_string(item.get_u32(tn::field::ObjectId)) + ":" + item.get_string(text));
    return all;
}

/// Asks until a condition holds, at most five seconds; the loop runs meanwhile when there is one.
inline bool becomesTrue(const std::function<bool()>& condition, tn::Looper* looper = nullptr) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= end) return false;
        if (looper == nullptr)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        else
            looper->runOnce(5);
    }
    return true;
}

/// Whether the rows get to be these, as in listed().
inline bool become(tn::Handler& table, tn::string_id text, const std::vector<std::string>& expected) {
    return becomesTrue([&] { return listed(table, text) == expected; });
}

/// The error code of a reply; 0 when it is none.
inline uint32_t errorOf(const tn::message& reply) {
    uint32_t code = 0;
    return tn::isError(reply, &code) ? code : 0;
}

}  // namespace hostd::test
