#pragma once

#include <unistd.h>

#include <string>

#include "listener.h"
#include "tn/looper.h"

namespace tn {

constexpr uint32_t kEcho = 1;      // answers with the request
constexpr uint32_t kLong = 2;      // answers with a string of as many octets as field 1 says
constexpr uint32_t kDie = 3;       // ends the process without an answer
constexpr uint32_t kAskOther = 4;  // sends kEcho to the path in field 2 and answers with the reply
constexpr uint32_t kSleep = 5;     // blocks for the number of milliseconds in field 1
constexpr uint32_t kOneWay = 6;    // the only one that needs right::Write

/// The handler that most peers have at {24, 2}.
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

/// Setup of a Peer: adds a Server at {24, 2}.
inline void serve(Looper& looper) {
    static Server server;
    const uint32_t path[] = {24, 2};
    looper.addHandler(path, &server);
}

/// A request to that handler. @param parameter  field 1
inline message ask(uint32_t command, uint32_t parameter = 0) {
    return with(requestTo({24, 2}, command), u32_id(1), parameter);
}

}  // namespace tn
