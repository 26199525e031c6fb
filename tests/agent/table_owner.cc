#include "tests/agent/table_owner.h"

#include <algorithm>

namespace snmp {

tn::message& TableOwner::row(uint32_t id) {
    tn::message& m = rows[id];
    m.insert_u32(tn::field::ObjectId, id);
    return m;
}

std::vector<uint32_t> TableOwner::keyOf(const tn::message& m) const {
    std::vector<uint32_t> key;
    if (keyFields.empty()) return {m.get_u32(tn::field::ObjectId)};
    for (const tn::be32_id field : keyFields) key.push_back(m.get_be32(field));
    return key;
}

tn::message TableOwner::handle(const tn::message& request, uint32_t) {
    if (remembers) requests.push_back(request);
    const uint32_t command = request.get_u32(tn::field::Command);
    tn::message reply;
    if (command == tn::cmd::GetCount) reply.insert_u32(tn::field::Count, static_cast<uint32_t>(rows.size()));
    if (command != tn::cmd::GetAll) return reply;
    ++fetches;
    return lies ? lies(request) : getAll(request);
}

tn::message TableOwner::getAll(const tn::message& request) const {
    std::vector<std::pair<std::vector<uint32_t>, const tn::message*>> ordered;
    for (const auto& [id, m] : rows) ordered.emplace_back(keyOf(m), &m);
    std::sort(ordered.begin(), ordered.end());

    const bool byId = request.has(tn::field::Continue);
    const bool asked = byId || request.has(tn::field::Key);
    const tn::message& keyMessage = request.get_message(tn::field::Key);
    const std::vector<uint32_t> from = byId    ? std::vector{request.get_u32(tn::field::Continue)}
                                       : asked ? keyOf(keyMessage)
                                               : std::vector<uint32_t>();
    auto at = std::find_if(ordered.begin(), ordered.end(), [&](const auto& r) { return r.first >= from; });

    const uint32_t wanted = request.get_u32(tn::field::MaxObjects);
    tn::message reply;
    std::vector<tn::message>& items = reply.get_message_array_ref(tn::field::Objects);
    const bool found = at != ordered.end() && at->first == from;
    if (asked && !found && !keyMessage.get_bool(tn::field::KeyIncomplete)) {
        if (wanted == 1) return tn::errorMsg(tn::error::NotFound, "no such row");
        tn::message& gone = items.emplace_back();
        gone.insert_bool(tn::field::Gone, true);
        if (byId) gone.insert_u32(tn::field::ObjectId, from.front());
    }
    for (; at != ordered.end() && items.size() < std::min<size_t>(wanted, pageSize); ++at) {
        tn::message& item = items.emplace_back(*at->second);
        if (std::next(at) != ordered.end())
            item.insert_u32(tn::field::NextId, std::next(at)->second->get_u32(tn::field::ObjectId));
    }
    if (at != ordered.end()) reply.insert_u32(tn::field::Continue, at->second->get_u32(tn::field::ObjectId));
    return reply;
}

}  // namespace snmp
