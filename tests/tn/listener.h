#pragma once

#include <gmock/gmock.h>

#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "tn/handler.h"

namespace tn {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr uint32_t kNote = 0x10004;  // a notification

/// The error code of a reply; 0 for a reply that isn't an error.
inline uint32_t errorOf(const message& reply) {
    uint32_t code = 0;
    isError(reply, &code);
    return code;
}

// The message with one more field.
inline message with(message m, u32_id id, uint32_t value) { return m.insert_u32(id, value), m; }
inline message with(message m, bool_id id, bool value) { return m.insert_bool(id, value), m; }
inline message with(message m, string_id id, std::string value) { return m.insert_string(id, std::move(value)), m; }
inline message with(message m, message_id id, message value) { return m.insert_message(id, std::move(value)), m; }
inline message with(message m, u32_array_id id, std::vector<uint32_t> value) {
    return m.insert_u32_array(id, std::move(value)), m;
}

/// A message with this number in field 1.
inline message numbered(uint32_t n) { return with({}, u32_id(1), n); }

inline message requestTo(const std::vector<uint32_t>& path, uint32_t command) { return request(path, command); }

/// A handler that records its messages and late replies.
class Listener : public Handler {
  public:
    void handleReply(const message& reply) override { late.push_back(reply.get_u32(u32_id(1))); }
    message cmdUnknown(const message& m, uint32_t) override {
        heard.push_back(m);
        return {};
    }
    /// Field 1 of each message in `heard`.
    [[nodiscard]] std::vector<uint32_t> numbers() const {
        std::vector<uint32_t> all;
        for (const message& m : heard) all.push_back(m.get_u32(u32_id(1)));
        return all;
    }
    std::vector<message> heard;
    std::vector<uint32_t> late;  ///< field 1 of each late reply
};

}  // namespace tn
