#include "hostd/supervisor/supervisor.h"

#include <unistd.h>

#include <charconv>

#include "contracts/supervisor.h"
#include "hostd/source/pseudo_file.h"
#include "tn/sources.h"

namespace hostd {

namespace supervisor = contracts::supervisor;

namespace {
constexpr size_t kMostNumbers = 64;  // of one process; a peer that announces more is faulty, and the rest is ignored
}

tn::message Supervisor::cmdUnknown(const tn::message& request, uint32_t command) {
    switch (command) {
        case supervisor::kAnnounce:
            return acceptAnnouncement(request);
        case tn::cmd::RecordUndo:
            return journal_.record(request);
        default:
            return IdTable::cmdUnknown(request, command);
    }
}

tn::message Supervisor::acceptAnnouncement(const tn::message& request) {
    if (!request.has(supervisor::Number)) return tn::errorMsg(tn::error::Refused, "announcement without a number");
    // A message from this process itself hasn't passed through a socket, which would have added the pid.
    announce(request.get_u32(tn::field::CallerPid, static_cast<uint32_t>(::getpid())),
             request.get_u32(supervisor::Number));
    return {};
}

void Supervisor::announce(uint32_t pid, uint32_t number) {
    refresh();
    const auto started = startTime(pid);
    if (!started) return;
    for (auto& [other, known] : processes_) known.numbers.erase(number);
    Process& process = processes_[pid];
    if (process.started != *started) process = {*started, tn::getUptime(), {}};
    if (process.numbers.size() < kMostNumbers) process.numbers.insert(number);
    std::erase_if(processes_, [](const auto& entry) { return entry.second.numbers.empty(); });
}

void Supervisor::refresh() {
    std::erase_if(processes_, [this](const auto& entry) { return startTime(entry.first) != entry.second.started; });
}

std::optional<uint32_t> Supervisor::firstFrom(uint32_t pid) const {
    const auto found = processes_.lower_bound(pid);
    return found == processes_.end() ? std::nullopt : std::optional(found->first);
}

void Supervisor::writeRow(uint32_t pid, tn::message& row) const {
    const Process& process = processes_.at(pid);
    std::string name = readFile(proc_ + "/" + std::to_string(pid) + "/comm");
    if (name.ends_with('\n')) name.pop_back();
    row.insert_vector(supervisor::Numbers, std::vector<uint32_t>(process.numbers.begin(), process.numbers.end()));
    row.insert_u32(supervisor::Pid, pid);
    row.insert_u32(supervisor::Age, tn::getUptime() - process.announced);
    row.insert_string(tn::field::Name, std::move(name));
}

std::optional<uint64_t> Supervisor::startTime(uint32_t pid) const {
    // Field 22 of proc(5), stat. The name in field 2 may contain any character; the fields after it have no
    // parenthesis.
    const std::string stat = readFile(proc_ + "/" + std::to_string(pid) + "/stat");
    size_t at = stat.rfind(')');
    if (at != std::string::npos && stat.substr(at).starts_with(") Z")) return {};  // ended, not reaped yet
    for (int field = 2; field < 22 && at != std::string::npos; ++field) at = stat.find(' ', at + 1);
    if (at == std::string::npos) return {};
    uint64_t ticks = 0;
    const auto [rest, failed] = std::from_chars(stat.data() + at + 1, stat.data() + stat.size(), ticks);
    return failed == std::errc() ? std::optional(ticks) : std::nullopt;
}

}  // namespace hostd
