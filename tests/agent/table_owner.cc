#include "tests/agent/table_owner.h"

#include <algorithm>

namespace snmp {

tn::message& TableOwner::row(uint32_t id) {
    tn::message& m = rows[id];
    m.insert_u32(tn::field::ObjectId, id);
    return m;
}

namespace {

std::string octetsOf(uint32_t value) {
    return {static_cast<char>(value >> 24), static_cast<char>(value >> 16), static_cast<char>(value >> 8),
            static_cast<char>(value)};
}

/// The octets of a field, as they are ordered.
std::string octetsOf(const tn::message& m, const TableOwner::KeyField& field) {
    if (const auto* number = std::get_if<tn::u32_id>(&field)) return octetsOf(m.get_u32(*number));
    if (const auto* address = std::get_if<tn::be32_id>(&field)) return octetsOf(m.get_be32(*address));
    const std::vector<uint8_t> octets = m.get_raw(std::get<tn::raw_id>(field));
    return {octets.begin(), octets.end()};
}

/// The item without the fields that the request doesn't want.
tn::message wantedOf(const tn::message& item, const tn::message& request) {
    tn::message left = item;
    const std::vector<uint32_t>& wanted = request.get_u32_array(tn::field::Fields);
    for (const tn::message::Field& field : item.fields()) {
        if (field.id == tn::field::ObjectId.full() || std::ranges::count(wanted, field.id) > 0) continue;
        const auto drop = [&](auto id) {
            if (id.full() == field.id) left.remove(id);
        };
        drop(tn::bool_id(field.number()));
        drop(tn::u32_id(field.number()));
        drop(tn::u64_id(field.number()));
        drop(tn::string_id(field.number()));
        drop(tn::raw_id(field.number()));
    }
    return left;
}

}  // namespace

TableOwner::RowKey TableOwner::keyOf(const tn::message& m) const {
    RowKey key;
    for (const KeyField& field : keyFields) key.push_back(octetsOf(m, field));
    return key;
}

/// The key as far as it is named; a field left out before a named one is as in the first row.
TableOwner::RowKey TableOwner::askedKey(const tn::message& key, const Ordered& ordered) const {
    RowKey asked = keyOf(key);
    size_t named = 0;
    for (size_t i = 0; i < keyFields.size(); ++i) {
        if (std::visit([&key](auto id) { return key.has(id); }, keyFields[i])) {
            named = i + 1;
        } else if (!ordered.empty()) {
            asked[i] = ordered.front().first[i];
        }
    }
    asked.resize(named);
    return asked;
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
    Ordered ordered;
    for (const auto& [id, m] : rows) ordered.emplace_back(keyOf(m), &m);
    std::ranges::stable_sort(ordered, {}, &Ordered::value_type::first);

    const bool byId = request.has(tn::field::Continue);
    const bool asked = byId || request.has(tn::field::Key);
    const tn::message& keyMessage = request.get_message(tn::field::Key);
    const RowKey from = byId    ? RowKey{octetsOf(request.get_u32(tn::field::Continue))}
                        : asked ? askedKey(keyMessage, ordered)
                                : RowKey();
    const auto start = [&from](const RowKey& key) {
        return RowKey(key.begin(), key.begin() + static_cast<std::ptrdiff_t>(from.size()));
    };
    auto at = std::find_if(ordered.begin(), ordered.end(), [&](const auto& r) { return start(r.first) >= from; });

    const uint32_t wanted = request.get_u32(tn::field::MaxObjects);
    const bool leavesOut = leavesOutUnwanted && request.has(tn::field::Fields);
    tn::message reply;
    std::vector<tn::message>& items = reply.get_message_array_ref(tn::field::Objects);
    const bool exact = asked && !keyMessage.get_bool(tn::field::KeyIncomplete);
    const bool found = at != ordered.end() && start(at->first) == from;
    if (exact && !found) {
        if (wanted == 1) return tn::errorMsg(tn::error::NotFound, "no such row");
        tn::message& gone = items.emplace_back();
        gone.insert_bool(tn::field::Gone, true);
        if (byId) gone.insert_u32(tn::field::ObjectId, request.get_u32(tn::field::Continue));
    }
    const auto counts = [&](Ordered::const_iterator row) {
        return !exact || row == ordered.begin() || start(row->first) != start(std::prev(row)->first);
    };
    for (; at != ordered.end() && items.size() < std::min<size_t>(wanted, pageSize); ++at) {
        if (!counts(at)) continue;
        tn::message& item = items.emplace_back(leavesOut ? wantedOf(*at->second, request) : *at->second);
        if (std::next(at) != ordered.end())
            item.insert_u32(tn::field::NextId, std::next(at)->second->get_u32(tn::field::ObjectId));
    }
    if (at != ordered.end()) reply.insert_u32(tn::field::Continue, at->second->get_u32(tn::field::ObjectId));
    return reply;
}

}  // namespace snmp
