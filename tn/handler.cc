#include "tn/handler.h"

#include "tn/bus.h"
#include "tn/log.h"
#include "tn/looper.h"

namespace tn {

namespace {

bool isReading(uint32_t command) {
    switch (command) {
        case cmd::Get:
        case cmd::GetAll:
        case cmd::GetObj:
        case cmd::GetCount:
        case cmd::GetPolicies:
        case cmd::Subscribe:
        case cmd::Unsubscribe:
            return true;
        default:
            return false;
    }
}

message noSuchCommand() { return errorMsg(error::NoSuchCommand, "no such command"); }

}  // namespace

void policies::protectData() {
    for (const uint32_t command : {cmd::Get, cmd::GetAll, cmd::GetObj, cmd::Subscribe})
        add_policy(command, right::Write);
}

uint32_t policies::needed(uint32_t command) const {
    const auto found = masks_.find(command);
    if (found != masks_.end()) return found->second;
    return isReading(command) ? right::Read | right::Write : right::Write;
}

Handler::~Handler() {
    if (Looper* looper = getLooper()) looper->forget(*this);
}

message Handler::handle(const message& request, uint32_t rights) {
    const uint32_t command = request.get_u32(field::Command);
    if (!checkPolicy(command, rights)) return errorMsg(error::NotPermitted, "not permitted");
    return handleCmd(request, command);
}

message Handler::handleBrkpath(const message&) { return errorMsg(error::NoSuchHandler, "no such handler"); }

void Handler::handleReply(const message&) {}

message Handler::handleCmd(const message& request, uint32_t command) {
    switch (command) {
        case cmd::GetPolicies:
            return cmdGetPolicies(request);
        case cmd::Get:
            return cmdGet(request);
        case cmd::Set:
            return cmdSet(request);
        case cmd::Reset:
            return cmdReset(request);
        case cmd::GetObj:
            return cmdGetObj(request);
        case cmd::SetObj:
            return cmdSetObj(request);
        case cmd::GetAll:
            return cmdGetAll(request);
        case cmd::AddObj:
            return cmdAddObj(request);
        case cmd::RemoveObj:
            return cmdRemoveObj(request);
        case cmd::MoveObj:
            return cmdMoveObj(request);
        case cmd::GetCount:
            return cmdGetCount(request);
        case cmd::Shutdown:
            return cmdShutdown(request);
        case cmd::Subscribe:
        case cmd::Unsubscribe:
            if (Looper* looper = getLooper()) return looper->bus().changeSubscriber(*this, request, command);
            return noSuchCommand();
        default:
            return cmdUnknown(request, command);
    }
}

message Handler::cmdGetPolicies(const message&) {
    message reply;
    for (const auto& [command, mask] : policies_.all()) reply.insert_u32(u32_id(command), mask);
    return reply;
}

message Handler::cmdGet(const message&) { return getObject(kNoId); }
message Handler::cmdSet(const message&) { return noSuchCommand(); }
message Handler::cmdReset(const message&) { return noSuchCommand(); }
message Handler::cmdGetObj(const message& request) { return getObject(request.get_u32(field::ObjectId, kNoId)); }
message Handler::cmdSetObj(const message&) { return noSuchCommand(); }
message Handler::cmdGetAll(const message&) { return noSuchCommand(); }
message Handler::cmdAddObj(const message&) { return noSuchCommand(); }
message Handler::cmdRemoveObj(const message&) { return noSuchCommand(); }
message Handler::cmdMoveObj(const message&) { return noSuchCommand(); }

message Handler::cmdGetCount(const message&) {
    message reply;
    reply.insert_u32(field::Count, getObjectCount());
    return reply;
}

message Handler::cmdUnknown(const message&, uint32_t) { return noSuchCommand(); }

message Handler::cmdShutdown(const message&) {
    if (Looper* looper = getLooper()) looper->shutdown();
    return {};
}

bool Handler::shouldNotify(const message&, const message&) { return true; }
void Handler::subscribed(uint32_t, const message&) {}
void Handler::unsubscribed(uint32_t, const message&) {}
void Handler::cmdDisconnected(const message&) {}
void Handler::notifiesSent() {}
void Handler::resubscribed(std::span<const uint32_t>, uint32_t) {}

message Handler::getObject(uint32_t) { return errorMsg(error::NotFound, "not found"); }
uint32_t Handler::getObjectCount() { return 0; }

bool Handler::checkPolicy(uint32_t command, uint32_t rights) const { return (policies_.needed(command) & rights) != 0; }

// Puts in the command, and this handler as the source.
void Handler::address(message& m, uint32_t command) const {
    m.insert_u32(field::Command, command);
    if (path_.empty()) {
        m.remove(field::Source);
    } else {
        m.insert_u32_array(field::Source, path_);
    }
}

bool Handler::sendCmd(message m, uint32_t command) {
    Looper* looper = getLooper();
    if (looper == nullptr) return false;
    address(m, command);
    return !isError(looper->sendMessage(std::move(m)));
}

message Handler::exchangeCmd(message m, uint32_t command, std::chrono::milliseconds timeout) {
    Looper* looper = getLooper();
    if (looper == nullptr) return errorMsg(error::Unreachable, "no loop in this process");
    address(m, command);
    return looper->exchangeMessage(m, timeout);
}

void Handler::notifyChange(uint32_t objectId, message changed) {
    if (objectId == kNoId) {
        changed.remove(field::ObjectId);
    } else {
        changed.insert_u32(field::ObjectId, objectId);
    }
    notify(cmd::Changed, changed);
}

void Handler::notify(uint32_t command, const message& notification) {
    if (Looper* looper = getLooper()) looper->bus().subscribers().notify(*this, command, notification);
}

void Handler::sendUndo(const message& newRequest, message oldRequest, const std::string& text) {
    if (newRequest.get_bool(field::NoUndo)) return;
    if (!oldRequest.has(field::Destination)) oldRequest.insert_u32_array(field::Destination, path_);
    message record;
    record.insert_u32_array(field::Destination, {number::Supervisor});
    record.insert_message(undo::New, newRequest);
    record.insert_message(undo::Old, std::move(oldRequest));
    record.insert_string(undo::Text, text);
    sendCmd(std::move(record), cmd::RecordUndo);
}

void Handler::subscribe(std::span<const uint32_t> path, uint32_t command, const message& filter) {
    if (Looper* looper = getLooper()) looper->bus().subscriptions().add(*this, path, command, filter);
}

void Handler::unsubscribe(std::span<const uint32_t> path, uint32_t command, const message& filter) {
    if (Looper* looper = getLooper()) looper->bus().subscriptions().remove(*this, path, command, filter);
}

}  // namespace tn
