#include "agent/core/snmp_looper.h"

#include <sys/epoll.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "agent/core/create_reply.h"
#include "agent/core/service_socket.h"
#include "agent/log.h"
#include "agent/mib/request_writes.h"
#include "agent/status/statistics.h"
#include "agent/traps/interface_traps.h"
#include "agent/traps/trap_generators.h"
#include "contracts/interfaces.h"
#include "tn/heap.h"
#include "tn/sources.h"

namespace snmp {

SnmpLooper* loop = nullptr;

namespace {

namespace change = contracts::snmp::change;
namespace stored = contracts::snmp::store;

constexpr uint32_t kJustBooted = 40;  // seconds since the machine started
constexpr std::chrono::milliseconds kLeaveAfter{1000};
// One turn of the loop serves one batch of datagrams, for this long at most; then bus and timers get their turn.
constexpr std::chrono::milliseconds kReceiveTime{20};
// Large requests often arrive together: their memory is returned to the kernel once.
constexpr std::chrono::milliseconds kReturnMemoryAfter{100};
constexpr uint32_t kDefaultGetFlags = 5;

/// Refuses settings that contradict each other. @return empty if they don't
tn::message check(const Settings& settings) {
    if (settings.get(setting::TrapKind) == contracts::snmp::trap_kind::Inform && !settings.sendsInforms())
        return tn::errorMsg(tn::error::Refused, "trap-kind=inform needs trap-version=2c or 3");
    return {};
}

}  // namespace

SnmpLooper::SnmpLooper(uint16_t port, uint16_t trapPort, std::chrono::milliseconds flushInterval)
    : Looper({tn::number::Snmp}),
      store_(stored::kSettings, 5),
      inherited_(inheritedServiceSocket()),
      port_(inherited_ < 0 ? port : portOf(inherited_)),
      informs_(*this, communities_, v3Server_),
      traps_(settings_, communities_, v3Server_, informs_, trapPort),
      statusHandler_(*this, port_),
      flushInterval_(flushInterval) {
    loop = this;
    serr << "communityKeep = new CommunityKeep;";  // compat: 102
    serr << "communityKeep->init();";
    communities_.init();
    serr << "addHandler(snmp::ID_COMMUNITIES, communityKeep);";
    addHandler(ID_COMMUNITIES, &communities_);
    trapHandler_.init();
    addHandler(ID_TRAPS, &trapHandler_);
    addHandler(snmp_status::kPath.back(), &statusHandler_);
}

SnmpLooper::~SnmpLooper() {
    disable();
    loop = nullptr;
}

Settings SnmpLooper::storedSettings() const {
    return store_.find(stored::kCurrent) ? Settings::read(store_.get(stored::kCurrent)) : Settings();
}

void SnmpLooper::init() {
    policySet().add_policy(contracts::snmp::trap::kSend, tn::right::Write);
    isStored_ = store_.find(stored::kCurrent);
    if (isStored_) {
        Settings read = storedSettings();
        read.setEngineBoots(tn::getUptime() < kJustBooted ? 0 : read.get(setting::EngineBoots) + 1);  // compat: 60
        serr << "engineBoots = " << read.get(setting::EngineBoots);
        adopt(std::move(read));
        if (!store_.set(stored::kCurrent, settings_.getConfig()))
            swarn << "settings not written: " << store_.lastError();
    }
    if (store_.find(stored::kPending)) completePending();
    store_.recoversFromReads();
    if (communities_.hasUsers()) warnOfUsers();
    if (settings_.get(setting::Enabled)) {
        enable();
    } else {
        leaveWhenIdle();
    }
}

void SnmpLooper::warnOfUsers() const {
    if (!v3Server_.isStrict())
        swarn << "SNMPv3 users can be impersonated without a password: start the agent with --strict-usm";
    if (settings_.get(setting::EngineId).empty())
        swarn << "SNMPv3 users, but engine-id isn't set: tnctl snmp set engine-id=TEXT";
}

void SnmpLooper::setRules(const Rules& rules) {
    context_.rules = &rules;
    v3Server_.rules = &rules;
    trapRules = &rules;
}

void SnmpLooper::adopt(Settings settings) {
    settings_ = std::move(settings);
    interfaceFilter = settings_.interfaceFilter();
    v3Server_.engineBoots = settings_.get(setting::EngineBoots);
    v3Server_.engineId = settings_.engineId();
    communities_.setEngineId(settings_.engineId());
    traps_.settingsChanged();
}

void SnmpLooper::enable() {
    if (isEnabled()) return;
    setupLeave({});
    const int fd = inherited_ < 0 ? openServiceSocket(port_) : inherited_;
    if (fd < 0) {
        const int reason = errno;
        swarn << "cannot create service connection";
        swarn << "UDP port " << port_ << ": " << std::strerror(reason);
        return;
    }
    if (!addSocket(
            fd, [this](int, unsigned) { receive(); }, EPOLLIN)) {
        if (fd != inherited_) close(fd);
        return;
    }
    socket_ = fd;
}

void SnmpLooper::disable() {
    if (!isEnabled()) return;
    datagrams_.send(socket_);
    datagrams_.dropRest();
    removeSocket(socket_);
    if (socket_ != inherited_) close(socket_);
    socket_ = -1;
    leaveWhenIdle();
}

void SnmpLooper::leaveWhenIdle() {
    setupLeave(kLeaveAfter);
    // Datagrams in an inherited socket would make the service manager start the agent again.
    if (inherited_ >= 0) {
        addSocket(
            inherited_,
            [this](int, unsigned) {
                discardDatagrams(inherited_);
                setupLeave(kLeaveAfter);
            },
            EPOLLIN);
    }
}

void SnmpLooper::receive() {
    if (datagrams_.hasNext()) return;  // a deferred call serves the rest
    datagrams_.receive(socket_);
    serveReceived();
}

void SnmpLooper::beforeWait() {
    Looper::beforeWait();
    datagrams_.send(socket_);
    if (isServing_ && covered_ == 0) sendAhead();
}

void SnmpLooper::sendAhead() {
    if (!lookAhead_.add(context_)) return;
    covered_ = 1;
    while (covered_ <= datagrams_.waiting() &&
           lookAhead_.add(datagrams_.bytes(covered_), datagrams_.source(covered_))) {
        ++covered_;
    }
    std::vector<tn::message> fetches = lookAhead_.take();
    if (fetches.size() > 1) Looper::sendAhead(std::move(fetches));
}

void SnmpLooper::serveReceived() {
    const std::chrono::milliseconds begun = tn::sinceBoot();
    std::chrono::milliseconds lastSent = begun;
    while (datagrams_.next()) {
        context_.begin(datagrams_.bytes());
        // What is left over was fetched before this request, which may follow a change.
        if (covered_ > 0 && --covered_ == 0) dropAhead();
        bool isAnswered = false;
        {
            isServing_ = true;
            const tn::ExchangeBudget budget(*this);
            const RequestWrites writes;  // writes when the block ends, before the reply is sent
            isAnswered = createReply(context_, datagrams_.source());
        }
        isServing_ = false;
        if (isAnswered) datagrams_.answer(context_.out.bytes());
        if (context_.end()) returnMemoryLater();

        const std::chrono::milliseconds now = tn::sinceBoot();
        if (now - begun >= kReceiveTime) break;
        // Replies are sent together only with those made in the same millisecond.
        if (std::exchange(lastSent, now) != now) datagrams_.send(socket_);
    }
    datagrams_.send(socket_);
    covered_ = 0;
    dropAhead();  // the loop receives replies that nobody waits for
    flushRefusalsLater();
    if (datagrams_.hasNext()) defer([this] { serveReceived(); });
}

void SnmpLooper::shutdown() {
    if (!datagrams_.hasNext()) return Looper::shutdown();
    defer([this] { shutdown(); });  // after the deferred call that serves them
}

void SnmpLooper::flushRefusalsLater() {
    if (willFlush_ || !statistics.refusals.isPending()) return;
    willFlush_ = true;
    addTimer(
        [this] {
            willFlush_ = false;
            statistics.refusals.flush(tn::sinceBoot());
            flushRefusalsLater();
        },
        flushInterval_);
}

void SnmpLooper::returnMemoryLater() {
    willReturnAgain_ = willReturnMemory_;
    if (std::exchange(willReturnMemory_, true)) return;
    addTimer(
        [this] {
            willReturnMemory_ = false;
            tn::returnFreedMemory();
            // What was freed just now isn't returned yet.
            if (std::exchange(willReturnAgain_, false)) returnMemoryLater();
        },
        kReturnMemoryAfter);
}

void SnmpLooper::exchanged(const std::vector<uint32_t>& path, const tn::message& reply) {
    if (path.front() != tn::number::Snmp) statistics.countReply(path, reply);
}

tn::message SnmpLooper::getObject(uint32_t) { return settings_.getConfig(); }

tn::message SnmpLooper::cmdGet(const tn::message& request) {
    tn::message reply = settings_.getConfig();
    if ((request.get_u32(tn::field::GetFlags, kDefaultGetFlags) & tn::kWantDefaults) != 0) {
        reply.insert_message(tn::field::Defaults, Settings::defaults());
    }
    return reply;
}

tn::message SnmpLooper::cmdSet(const tn::message& request) {
    const std::vector<uint32_t>& source = request.get_u32_array(tn::field::Source);
    if (!source.empty()) serr << "cmd_set from " << source.front();
    Settings next = settings_;
    next.apply(request);
    if (tn::message refusal = check(next); tn::isError(refusal)) return refusal;
    const bool isChanged = next != settings_ || !isStored_;
    if (isChanged && !store_.set(stored::kCurrent, next.getConfig()))
        return tn::errorMsg(tn::error::StoreFailed, store_.lastError());

    tn::message undo = settings_.undoOf(request);
    undo.insert_u32(tn::field::Command, tn::cmd::Set);
    undo.insert_u32_array(tn::field::Destination, path());
    putInForce(std::move(next), request);
    if (isChanged) sendUndo(request, std::move(undo), "changed snmp settings");
    notifyChange(tn::kNoId, request);
    return {};
}

void SnmpLooper::putInForce(Settings next, const tn::message& request) {
    isStored_ = true;
    adopt(std::move(next));
    if (request.has(setting::TrapGenerators)) restartSubscribers(settings_.get(setting::TrapGenerators));
    if (!request.has(setting::Enabled)) return;
    // What arrived while the service was off must not be answered now.
    if (inherited_ >= 0 && !isEnabled()) discardDatagrams(inherited_);
    settings_.get(setting::Enabled) ? enable() : disable();
}

tn::message SnmpLooper::changeTogether(tn::message request) {
    if (tn::message refusal = communities_.check(request); tn::isError(refusal)) return refusal;
    Settings next = settings_;
    next.apply(request);
    if (tn::message refusal = check(next); tn::isError(refusal)) return refusal;
    tn::message undo = settings_.undoOf(request);
    const tn::message oldEntries = communities_.undoOf(request);
    undo.insert_all(oldEntries);
    undo.insert_u32(tn::field::Command, change::kApply);
    undo.insert_u32_array(tn::field::Destination, path());

    // From here on, a start completes the change. The two stores can't share a transaction.
    if (!store_.set(stored::kPending, request)) return tn::errorMsg(tn::error::StoreFailed, store_.lastError());
    tn::message failure = communities_.apply(request);
    if (!tn::isError(failure) && !store_.change({{stored::kCurrent, next.getConfig()}}, {stored::kPending})) {
        failure = tn::errorMsg(tn::error::StoreFailed, store_.lastError());
        (void)communities_.apply(oldEntries);
    }
    if (tn::isError(failure)) {
        (void)store_.remove(stored::kPending);
        return failure;
    }
    putInForce(std::move(next), request);
    sendUndo(request, std::move(undo), "changed snmp settings and communities");
    request.remove(change::Entries);  // these contain passwords
    notifyChange(tn::kNoId, request);
    return {};
}

void SnmpLooper::completePending() {
    uint32_t code = 0;
    const tn::message failure = changeTogether(store_.get(stored::kPending));
    if (!tn::isError(failure, &code)) return;
    swarn << "pending change of settings not made: " << tn::getError(failure);
    if (code == tn::error::Refused) (void)store_.remove(stored::kPending);
}

tn::message SnmpLooper::cmdUnknown(const tn::message& request, uint32_t command) {
    if (command == change::kApply) return changeTogether(request);
    if (command == contracts::snmp::trap::kSend || command == tn::cmd::Changed ||
        command == contracts::interfaces::kStatusChanged)
        traps_.send_trap(request);
    return {};
}

void SnmpLooper::resubscribed(std::span<const uint32_t>, uint32_t command) {
    if (command != contracts::interfaces::kStatusChanged) return;
    for (const tn::message& change : missedStatusChanges()) cmdUnknown(change, command);
}

void SnmpLooper::startup() {
    if (!std::ranges::count(settings_.get(setting::TrapGenerators), contracts::snmp::trap::kStartTrap)) return;
    trapMakers.push_back(startupTrapMaker);
    traps_.send_trap({});
    trapMakers.pop_back();
}

}  // namespace snmp
