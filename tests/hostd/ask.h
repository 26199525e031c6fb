#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "tn/handler.h"

namespace hostd::test {

inline tn::message ask(tn::Handler& owner, uint32_t command, tn::message request = {}) {
    request.insert_u32(tn::field::Command, command);
    return owner.handle(request);
}

/// The rows of a table, as many as one reply has.
inline std::vector<tn::message> rowsOf(tn::Handler& table) {
    return ask(table, tn::cmd::GetAll).get_message_array(tn::field::Objects);
}

/// "id:text" of each row.
inline std::vector<std::string> listed(tn::Handler& table, tn::string_id text) {
    std::vector<std::string> all;
    for (const tn::message& item : rowsOf(table))
        all.push_back(std::to_string(item.get_u32(tn::field::ObjectId)) + ":" + item.get_string(text));
    return all;
}

/// Asks until a condition holds, at most five seconds.
inline bool becomesTrue(const std::function<bool()>& condition) {
    for (int i = 0; i < 500; ++i) {
        if (condition()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

/// The error code of a reply; 0 when it is none.
inline uint32_t errorOf(const tn::message& reply) {
    uint32_t code = 0;
    return tn::isError(reply, &code) ? code : 0;
}

}  // namespace hostd::test
