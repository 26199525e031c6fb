#include "hostd/machine/processes.h"

#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <utility>

#include "contracts/host.h"
#include "hostd/source/pseudo_file.h"
#include "hostd/source/sysfs.h"
#include "hostd/source/text_lines.h"
#include "hostd/table/row_text.h"

namespace hostd {

namespace processes = contracts::processes;

namespace {

constexpr uint64_t kKernelThread = 0x00200000;  // PF_KTHREAD, <linux/sched.h>

/// The pids in a process tree, ascending; nothing if it can't be read.
std::optional<std::vector<uint32_t>> readPids(const std::string& proc) {
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(::opendir(proc.c_str()), ::closedir);
    if (!folder) return {};
    std::vector<uint32_t> pids;
    while (const dirent* entry = ::readdir(folder.get())) {
        const std::string_view name = entry->d_name;
        uint32_t pid = 0;
        const auto [rest, failed] = std::from_chars(name.data(), name.data() + name.size(), pid);
        if (failed == std::errc() && rest == name.data() + name.size()) pids.push_back(pid);
    }
    std::ranges::sort(pids);
    return pids;
}

}  // namespace

// "42 (the name) S ppid pgrp session tty tpgid flags minflt cminflt majflt cmajflt utime stime cutime cstime priority
// nice threads itrealvalue starttime vsize rss ...". The name may contain anything, even parentheses.
std::optional<Process> parseProcess(std::string_view stat) {
    const size_t open = stat.find('(');
    const size_t close = stat.rfind(')');
    if (open == std::string_view::npos || close == std::string_view::npos || close < open) return {};
    Process process{.name = std::string(stat.substr(open + 1, close - open - 1))};
    std::string_view line = stat.substr(close + 1);
    const std::string_view state = takeWord(line);
    if (state.size() != 1) return {};
    process.state = state.front();
    constexpr size_t kFlags = 9;  // numbered as in proc(5)
    constexpr size_t kUserTime = 14;
    constexpr size_t kSystemTime = 15;
    constexpr size_t kRss = 24;
    for (size_t number = 4; number <= kRss; ++number) {
        const std::string_view before = line;
        const auto value = takeNumber(line);
        if (number == kFlags) process.isKernel = (value.value_or(0) & kKernelThread) != 0;
        if (number == kUserTime || number == kSystemTime) process.ticks += value.value_or(0);
        if (number == kRss) process.pages = value.value_or(0);
        if (before.empty()) return {};
    }
    return process;
}

Processes::Processes(const std::string& proc)
    : proc_(proc),
      watch_(
          "processes", [proc] { return readPids(proc); }, kMaxAge, Watch<Pids>::kIdleInterval,
          Watch<Pids>::kGracePeriod, kMaxReadingAge) {}

tn::message Processes::cmdGet(const tn::message& request) {
    if (request.has(tn::field::ObjectId) || request.has(tn::field::Key)) return cmdGetObj(request);
    refresh();
    tn::message reply;
    if (pids_) reply.insert_u32(processes::Count, rowCount());
    const auto pids = readNumber(proc_ + "/sys/kernel/pid_max", 10);
    const auto threads = readNumber(proc_ + "/sys/kernel/threads-max", 10);
    if (pids && threads) reply.insert_u32(processes::Limit, std::min(*pids, *threads));
    return reply;
}

void Processes::refresh() {
    pids_ = watch_.latest();
    details_.clear();
}

void Processes::refreshRows(std::span<const uint32_t> ids) {
    const bool isCommandLineWanted = wanted().has(processes::Path) || wanted().has(processes::Parameters);
    for (const uint32_t id : ids) {
        const std::string folder = proc_ + "/" + std::to_string(id);
        auto process = parseProcess(readFile(folder + "/stat"));
        if (!process) continue;  // it has ended
        Details& details = details_[id];
        details.process = std::move(*process);
        if (isCommandLineWanted) details.commandLine = readFile(folder + "/cmdline");
    }
}

uint32_t Processes::rowCount() const { return pids_ ? static_cast<uint32_t>(pids_->size()) : 0; }

std::optional<uint32_t> Processes::firstFrom(uint32_t id) const {
    if (!pids_) return {};
    const auto found = std::ranges::lower_bound(*pids_, id);
    return found == pids_->end() ? std::nullopt : std::optional(*found);
}

void Processes::writeRow(uint32_t id, tn::message& item) const {
    const auto found = details_.find(id);
    if (found == details_.end()) return;
    const auto& [process, commandLine] = found->second;
    insertText(item, processes::Name, process.name);
    const size_t end = std::min(commandLine.find('\0'), commandLine.size());
    insertText(item, processes::Path, std::string_view(commandLine).substr(0, end));
    std::string parameters = commandLine.substr(std::min(end + 1, commandLine.size()), kMaxText);
    if (parameters.ends_with('\0')) parameters.pop_back();
    std::ranges::replace(parameters, '\0', ' ');
    insertText(item, processes::Parameters, parameters);
    if (process.isKernel) item.insert_bool(processes::Kernel, true);
    item.insert_u32(processes::State, static_cast<unsigned char>(process.state));
    item.insert_u64(processes::Time, process.ticks * 100 / static_cast<uint64_t>(::sysconf(_SC_CLK_TCK)));
    item.insert_u64(processes::Memory, process.pages * static_cast<uint64_t>(::sysconf(_SC_PAGESIZE)) / 1024);
}

}  // namespace hostd
