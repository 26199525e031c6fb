#include "hostd/id_table.h"

#include <algorithm>

namespace hostd {

namespace field = tn::field;

tn::message IdTable::cmdGetAll(const tn::message& request) {
    refresh();
    const uint32_t most = std::max(request.get_u32(field::MaxObjects, kPage), 1U);
    const uint32_t asked = request.get_u32(field::Continue, 0);
    const bool isGone = request.has(field::Continue) && firstFrom(asked) != asked;
    if (isGone && most == 1) return tn::errorMsg(tn::error::NotFound, "no such object");

    tn::message reply;
    auto& items = reply.get_message_array_ref(field::Objects);
    std::optional<uint32_t> next = isGone ? rowAfter(asked) : firstFrom(asked);
    if (isGone) {
        tn::message& placeholder = items.emplace_back();
        placeholder.insert_u32(field::ObjectId, asked);
        if (next) placeholder.insert_u32(field::NextId, *next);
        placeholder.insert_bool(field::Gone, true);
    }
    while (next && items.size() < most) {
        const uint32_t id = *next;
        next = rowAfter(id);
        tn::message& item = items.emplace_back();
        item.insert_u32(field::ObjectId, id);
        if (next) item.insert_u32(field::NextId, *next);
        listRow(id, item);
    }
    if (next) reply.insert_u32(field::Continue, *next);
    return reply;
}

tn::message IdTable::cmdGetObj(const tn::message& request) {
    refresh();
    const uint32_t id = request.get_u32(field::ObjectId, tn::kNoId);
    if (firstFrom(id) != id) return tn::errorMsg(tn::error::NotFound, "no such object");
    tn::message row;
    row.insert_u32(field::ObjectId, id);
    wholeRow(id, row);
    return row;
}

std::optional<uint32_t> IdTable::rowAfter(uint32_t id) const {
    return id == tn::kNoId ? std::nullopt : firstFrom(id + 1);
}

}  // namespace hostd
