#pragma once

#include <gmock/gmock.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/tn/eventually.h"
#include "tests/tn/listener.h"

namespace hostd {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::PrintToString;
using testing::StartsWith;
using tn::errorOf;
using tn::eventually;

inline tn::message ask(tn::Handler& owner, uint32_t command, tn::message request = {},
                       uint32_t rights = tn::right::All) {
    return owner.handle(tn::with(std::move(request), tn::field::Command, command), rights);
}

/// The fields of a request for one row.
inline tn::message of(uint32_t id) { return tn::with({}, tn::field::ObjectId, id); }

/// The rows of a table, from all pages; empty if the pages don't end.
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

/// Waits, up to 30 s, until the rows are these, in the form of listed(). @return whether they are
inline bool become(tn::Handler& table, tn::string_id text, const std::vector<std::string>& expected) {
    return eventually([&] { return listed(table, text) == expected; });
}

}  // namespace hostd
