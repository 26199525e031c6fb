#pragma once

#include <algorithm>
#include <set>
#include <string>

#include "tn/handler.h"

namespace tn {

/// Whether the message contains these octets, at any depth.
inline bool holds(const message& m, const std::string& secret) {
    const flat_message bytes = m.flatten();
    return std::search(bytes.begin(), bytes.end(), secret.begin(), secret.end()) != bytes.end();
}

/// The reading commands that reveal a secret of object `id` to a caller with these rights. Each is tried without an
/// object, with its id, and with its key.
inline std::set<uint32_t> tellers(Handler& owner, uint32_t id, const std::string& secret, uint32_t rights) {
    std::set<uint32_t> found;
    for (const uint32_t command : {cmd::Get, cmd::GetAll, cmd::GetObj, cmd::GetCount, cmd::GetPolicies}) {
        message named[3] = {request(owner.path(), command), request(owner.path(), command),
                            request(owner.path(), command)};
        named[1].insert_u32(field::ObjectId, id);
        named[1].insert_u32(field::Continue, id);
        named[2].get_message_ref(field::Key).insert_u32(field::ObjectId, id);
        for (message& m : named) {
            m.insert_u32(field::GetFlags, kWantDefaults | kTopLevelFirst);
            if (holds(owner.handle(m, rights), secret)) found.insert(command);
        }
    }
    return found;
}

}  // namespace tn
