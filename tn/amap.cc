#include "tn/amap.h"

#include <algorithm>
#include <utility>

namespace tn {

namespace {

// Room a get-all reply leaves in its packet for what stands around the objects: paths, ids, counts.
constexpr size_t kReplyOverhead = 4096;

message describe(const Object& object, uint32_t flags) {
    message m;
    object.getConfig(m, flags);
    m.insert_u32(field::ObjectId, object.id);
    return m;
}

message stored(const Object& object) {
    message m;
    object.getConfig(m, 0);
    return m;
}

}  // namespace

AMap::AMap(const std::string& storePath, std::string what) : what_(std::move(what)) {
    if (!storePath.empty()) store_ = std::make_unique<Store>(storePath);
}

void AMap::load() {
    if (!store_) return;
    for (const uint32_t id : store_->ids()) {
        if (!allocator_.allocate(id)) continue;
        std::unique_ptr<Object> object = make();
        object->id = id;
        object->setConfig(store_->get(id));
        objects_[id] = std::move(object);
    }
    store_->recoversFromReads();
}

void AMap::seed(std::unique_ptr<Object> object) {
    const uint32_t id = allocator_.allocate();
    object->id = id;
    if (!store_ || store_->seed(id, stored(*object))) {
        objects_[id] = std::move(object);
    } else {
        allocator_.free(id);
    }
}

message AMap::cmdGetAll(const message& request) {
    const uint32_t flags = request.get_u32(field::GetFlags);
    const uint32_t wanted = request.get_u32(field::MaxObjects);
    message reply;
    auto& items = reply.get_message_array_ref(field::Objects);
    size_t room = kMaxPacket - kReplyOverhead;
    for (auto at = objects_.lower_bound(request.get_u32(field::Continue)); at != objects_.end(); ++at) {
        message item = describe(*at->second, flags);
        const size_t size = item.flatSize();
        // The first one always goes out: a page without objects would be asked for again forever.
        const bool full = (wanted != 0 && items.size() >= wanted) || (!items.empty() && size > room);
        if (full) {
            reply.insert_u32(field::Continue, at->first);
            break;
        }
        items.push_back(std::move(item));
        room -= std::min(room, size);
    }
    return reply;
}

message AMap::cmdGetObj(const message& request) {
    const uint32_t id = request.get_u32(field::ObjectId, kNoId);
    const auto found = objects_.find(id);
    if (found == objects_.end()) return notFound(id);
    return describe(*found->second, request.get_u32(field::GetFlags));
}

message AMap::getObject(uint32_t id) {
    const auto found = objects_.find(id);
    return found == objects_.end() ? notFound(id) : describe(*found->second, 0);
}

uint32_t AMap::getObjectCount() { return static_cast<uint32_t>(objects_.size()); }

message AMap::cmdSetObj(const message& request) {
    const uint32_t id = request.get_u32(field::ObjectId, kNoId);
    const auto found = objects_.find(id);
    if (found == objects_.end()) return notFound(id);

    Object& current = *found->second;
    std::unique_ptr<Object> changedOne = copy(current);
    changedOne->setConfig(request);
    if (message refusal = maySet(&current, changedOne.get()); isError(refusal)) return refusal;
    if (message failure = write(*changedOne); isError(failure)) return failure;

    message old = undoRequest(cmd::SetObj, id);
    current.getConfig(old, 0);
    found->second = std::move(changedOne);
    changed(request, std::move(old), id, "changed");
    return {};
}

message AMap::cmdAddObj(const message& request) {
    std::unique_ptr<Object> added = make();
    const uint32_t asked = request.get_u32(field::ObjectId, kNoId);
    if (asked != kNoId && !allocator_.allocate(asked)) {
        return errorMsg(error::Refused, what_ + " " + std::to_string(asked) + " already exists");
    }
    const uint32_t id = asked != kNoId ? asked : allocator_.allocate();
    added->id = id;
    added->setConfig(request);
    message refusal = mayAdd(added.get());
    if (!isError(refusal)) refusal = write(*added);
    if (isError(refusal)) {
        allocator_.free(id);
        return refusal;
    }

    objects_[id] = std::move(added);
    message repeatable = request;  // adding it again after an undo gives it the same id
    repeatable.insert_u32(field::ObjectId, id);
    changed(repeatable, undoRequest(cmd::RemoveObj, id), id, "added");
    message reply;
    reply.insert_u32(field::ObjectId, id);
    return reply;
}

message AMap::cmdRemoveObj(const message& request) {
    const uint32_t id = request.get_u32(field::ObjectId, kNoId);
    const auto found = objects_.find(id);
    if (found == objects_.end()) return notFound(id);
    if (message refusal = mayRemove(found->second.get()); isError(refusal)) return refusal;
    if (store_ && !store_->remove(id)) return errorMsg(error::StoreFailed, store_->lastError());

    message old = undoRequest(cmd::AddObj, id);
    found->second->getConfig(old, 0);
    objects_.erase(found);
    allocator_.free(id);
    changed(request, std::move(old), id, "removed");
    return {};
}

message AMap::replace(std::vector<std::unique_ptr<Object>> put, const std::vector<uint32_t>& removed) {
    std::map<uint32_t, message> written;
    for (const auto& object : put) written[object->id] = stored(*object);
    if (store_ && !store_->change(written, removed)) return errorMsg(error::StoreFailed, store_->lastError());
    for (const uint32_t id : removed) {
        objects_.erase(id);
        allocator_.free(id);
    }
    for (auto& object : put) {
        allocator_.allocate(object->id);
        objects_[object->id] = std::move(object);
    }
    for (const uint32_t id : removed) notifyOf(id);
    for (const auto& entry : written) notifyOf(entry.first);
    return {};
}

message AMap::write(const Object& object) {
    if (!store_ || store_->set(object.id, stored(object))) return {};
    return errorMsg(error::StoreFailed, store_->lastError());
}

message AMap::notFound(uint32_t id) const {
    return errorMsg(error::NotFound,
                    id == kNoId ? what_ + ": no id given" : "there is no " + what_ + " " + std::to_string(id));
}

message AMap::undoRequest(uint32_t command, uint32_t id) const {
    message m = tn::request(path(), command);
    m.insert_u32(field::ObjectId, id);
    return m;
}

void AMap::changed(const message& newRequest, message oldRequest, uint32_t id, const std::string& done) {
    sendUndo(newRequest, std::move(oldRequest), what_ + " " + std::to_string(id) + " " + done);
    notifyOf(id);
}

void AMap::notifyOf(uint32_t id) {
    const auto found = objects_.find(id);
    message now;
    if (found != objects_.end()) {
        now = describe(*found->second, 0);
    } else {
        now.insert_bool(field::Gone, true);
    }
    notifyChange(id, std::move(now));
}

}  // namespace tn
