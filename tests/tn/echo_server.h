#pragma once

#include <unistd.h>

#include <string>

#include "listener.h"
#include "tn/looper.h"

namespace tn {

constexpr uint32_t kEcho = 1;      // answers with the request
constexpr uint32_t kLong = 2;      // answers with as many octets as asked in field 1
constexpr uint32_t kDie = 3;       // ends the process without an answer
constexpr uint32_t kAskOther = 4;  // exchanges with the path in field 2 and passes the answer on
constexpr uint32_t kSleep = 5;     // blocks for field 1 milliseconds
constexpr uint32_t kOneWay = 6;

/// The handler {24, 2} of most peers.
class Server : public Handler {
  public:
    Server() {
        for (uint32_t command = kEcho; command < kOneWay; ++command)
            policySet().add_policy(command, right::Read | right::Write);
    }
    message cmdUnknown(const message& m, uint32_t command) override {
        switch (command) {
            case kEcho:
                return m;
            case kLong:
                return with({}, string_id(1), std::string(m.get_u32(u32_id(1)), 'x'));
            case kDie:
                _exit(0);
            case kAskOther:
                return exchangeCmd(requestTo(m.get_u32_array(u32_array_id(2)), 0), kEcho, std::chrono::seconds(1));
            case kSleep:
                usleep(m.get_u32(u32_id(1)) * 1000);
                return {};
            case kOneWay:
                return {};
            default:
                return Handler::cmdUnknown(m, command);
        }
    }
    message handleBrkpath(const message&) override { return errorMsg(error::NotFound, "below"); }
};

inline void serve(Looper& looper) {
    static Server server;
    const uint32_t path[] = {24, 2};
    looper.addHandler(path, &server);
}

inline message ask(uint32_t command, uint32_t parameter = 0) {
    return with(requestTo({24, 2}, command), u32_id(1), parameter);
}

}  // namespace tn
