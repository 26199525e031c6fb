#include "hostd/machine/system.h"

#include <sys/reboot.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>

#include "contracts/system.h"
#include "hostd/machine/model.h"
#include "hostd/machine/processors.h"
#include "hostd/machine/version.h"
#include "hostd/table/sizes.h"
#include "tn/sources.h"

namespace hostd {

namespace identity = contracts::identity;
namespace system = contracts::system;
namespace system_info = contracts::system_info;
namespace system_time = contracts::system_time;

std::string rebootMachine() {
    ::sync();
    ::reboot(RB_AUTOBOOT);
    return std::strerror(errno);
}

// ---- {24}

tn::message System::cmdUnknown(const tn::message& request, uint32_t command) {
    if (command != system::kReboot) return Handler::cmdUnknown(request, command);
    if (!reboot_) {
        hostLog << "reboot refused: --allow-reboot isn't set";
        return tn::errorMsg(tn::error::Refused, "reboot not allowed: the daemon runs without --allow-reboot");
    }
    hostLog << "reboot requested: restarting";
    const std::string reason = reboot_();
    if (reason.empty()) return {};
    hostLog << "reboot failed: " << reason;
    return tn::errorMsg(tn::error::Refused, "reboot failed: " + reason);
}

// ---- {24, 0}

tn::message SystemTime::cmdGet(const tn::message&) {
    const int64_t now = tn::sources().wallSeconds();
    const time_t moment = now;
    tm local{};
    ::tzset();  // localtime_r alone doesn't notice a changed time zone
    ::localtime_r(&moment, &local);
    tn::message reply;
    reply.insert_u32(system_time::Seconds, static_cast<uint32_t>(now));
    reply.insert_u32(system_time::Offset, static_cast<uint32_t>(local.tm_gmtoff));
    return reply;
}

// ---- {24, 1}

tn::message Identity::cmdGet(const tn::message&) {
    utsname host{};
    ::uname(&host);
    tn::message reply;
    reply.insert_string(identity::Name, host.nodename);
    return reply;
}

tn::message Identity::cmdSet(const tn::message&) {
    return tn::errorMsg(tn::error::Refused,
                        "the host's name can't be set over the bus: use hostnamectl on the machine");
}

// ---- {24, 2}

SystemInfo::SystemInfo(const Paths& paths, std::shared_ptr<Disks> disks)
    : version_(versionText(readFile(paths.osRelease))),
      model_(readModel(paths.sysfs, paths.proc)),
      meminfo_(paths.proc + "/meminfo"),
      stat_(paths.proc + "/stat"),
      online_(paths.sysfs + "/devices/system/cpu/online"),
      disks_(std::move(disks)),
      loadInterval_(paths.loadInterval) {
    sample(tn::sinceBoot());
    readLoads();
    if (!memory_.total) hostLog << paths.proc << "/meminfo: no memory sizes found";
}

void SystemInfo::sample(std::chrono::milliseconds now) {
    sampled_ = now;
    memory_ = parseMeminfo(meminfo_.read());
    processors_ = countProcessors(online_.read());
}

void SystemInfo::refresh() {
    if (tn::sinceBoot() - loadsRead_ >= kMaxAge) readLoads();
}

void SystemInfo::readLoads() {
    loadsRead_ = tn::sinceBoot();
    loads_.update(tn::getMilliseconds(), stat_.read());
    loadTimer_.start(loadInterval_, [this] { readLoads(); });
}

tn::message SystemInfo::cmdGet(const tn::message& request) {
    if (request.has(tn::field::ObjectId)) return cmdGetObj(request);
    const std::chrono::milliseconds now = tn::sinceBoot();
    if (now - sampled_ >= kMaxAge) sample(now);
    if (auto disks = disks_->latest(); disks != summed_) {
        summed_ = std::move(disks);
        diskSize_ = summed_ ? sumOfDisks(summed_->rows) : std::nullopt;
    }

    tn::message reply;
    reply.reserve(9);
    reply.insert_u32(system_info::Uptime, static_cast<uint32_t>(tn::getMilliseconds() / 1000));
    if (memory_.total && memory_.available)
        insertSizes(reply, system_info::MemoryTotal, *memory_.total, system_info::MemoryFree, *memory_.available);
    else if (memory_.total)
        reply.insert_u32(system_info::MemoryTotal, saturated(*memory_.total));
    if (processors_) reply.insert_u32(system_info::Processors, *processors_);
    if (diskSize_) insertSizes(reply, system_info::DiskTotal, diskSize_->total, system_info::DiskFree, diskSize_->free);
    if (!model_.empty()) reply.insert_string(system_info::Model, model_);
    reply.insert_string(system_info::Release, TARNIX_VERSION);
    reply.insert_string(system_info::Version, version_);
    return reply;
}

tn::message SystemInfo::cmdSet(const tn::message&) { return {}; }

std::optional<uint32_t> SystemInfo::firstFrom(uint32_t id) const {
    const auto found = loads_.percent().lower_bound(id);
    return found == loads_.percent().end() ? std::nullopt : std::optional(found->first);
}

void SystemInfo::writeRow(uint32_t id, tn::message& row) const {
    row.insert_u32(system_info::Load, loads_.percent().at(id));
}

}  // namespace hostd
