#include "hostd/services/extend.h"

#include <sys/stat.h>

#include <algorithm>
#include <fstream>
#include <numeric>
#include <system_error>
#include <thread>

#include "contracts/extend.h"
#include "hostd/log.h"
#include "tn/looper.h"
#include "tn/paths.h"
#include "tn/sources.h"

namespace hostd {

namespace extend = contracts::extend;
namespace extend_lines = contracts::extend_lines;

namespace {

constexpr size_t kMostFile = 65'536;       // octets
constexpr size_t kMostCaptured = 262'144;  // octets of output: room for all lines
constexpr size_t kMostOutput = 2000;       // octets of it in a row, which must fit into a datagram
constexpr size_t kMostLines = 1024;        // nsExtendLineIndex
constexpr size_t kMostLine = 255;          // octets, as DisplayString
constexpr KeyField kName = KeyField::variable(extend::Name, extend::kMostName);
constexpr size_t kNameOctets = kName.width();

/// What changes when the file is replaced or edited, as text; empty if it doesn't exist.
std::string stateOf(const std::string& file) {
    struct stat status {};
    if (::stat(file.c_str(), &status) != 0) return {};
    return std::to_string(status.st_ino) + " " + std::to_string(status.st_size) + " " + std::to_string(status.st_mode) +
           " " + std::to_string(status.st_uid) + " " + std::to_string(status.st_ctim.tv_sec) + " " +
           std::to_string(status.st_ctim.tv_nsec);
}

/// Why a file must not decide what this process runs, as a line for people; empty if it may.
std::string whyRefused(const std::string& path) {
    const tn::Exposure exposed = tn::exposedPart(path, tn::kToTheTop);
    return exposed ? "refused: " + exposed.part + ": " + exposed.reason : "";
}

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::string text(kMostFile, '\0');
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<size_t>(file.gcount()));
    return text;
}

ExtendResult resultOf(ProgramResult ended) {
    ExtendResult result{ended.status, std::move(ended.output), {}};
    if (result.output.ends_with('\n')) result.output.pop_back();
    std::string_view rest = result.output;
    while (!rest.empty() && result.lines.size() < kMostLines) {
        const size_t end = std::min(rest.find('\n'), rest.size());
        result.lines.emplace_back(rest.substr(0, std::min(end, kMostLine)));
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    result.output.resize(std::min(result.output.size(), kMostOutput));
    return result;
}

RowKey keyOfName(const std::string& name, size_t size) {
    tn::message m;
    m.insert_string(extend::Name, name);
    RowKey key(size);
    (void)kName.read(m, key.part(0, kNameOctets));
    return key;
}

}  // namespace

void ExtendRuns::refresh() {
    const std::string state = stateOf(file_);
    if (state == state_) return;
    state_ = state;
    std::string problem = state.empty() ? "" : whyRefused(file_);
    ExtendFile read;
    if (problem.empty() && !state.empty()) read = parseExtendFile(contentOf(file_));
    problems_.report(problem.empty() ? read.problem : problem);
    std::vector<std::shared_ptr<Slot>> slots;
    for (ExtendCommand& command : read.commands) {
        const auto isSame = [&](const std::shared_ptr<Slot>& slot) { return slot->command == command; };
        const auto kept = std::ranges::find_if(slots_, isSame);
        slots.push_back(kept != slots_.end() ? *kept : std::make_shared<Slot>(std::move(command)));
    }
    slots_ = std::move(slots);
}

void ExtendRuns::start(const std::shared_ptr<Slot>& slot) {
    try {
        std::thread([slot] {
            const auto begun = std::chrono::steady_clock::now();
            const ExtendCommand& command = slot->command;
            ProgramResult ended{whyRefused(command.words.front()), -1, {}};
            if (ended.problem.empty()) ended = runProgram(command.words, command.timeout, kMostCaptured);
            const std::lock_guard lock(slot->mutex);
            slot->problem = ended.problem;
            slot->result = std::make_shared<const ExtendResult>(resultOf(std::move(ended)));
            slot->isSlow = std::chrono::steady_clock::now() - begun > kMaxWait;
            slot->isBusy = false;
            slot->ended.notify_all();
        }).detach();
        slot->isBusy = true;
        slot->isWaitedFor = slot->isSlow;
    } catch (const std::system_error& failure) {  // no thread available: retried when the next run is due
        hostLog << "command " << slot->command.name << ": not run: " << failure.what();
    }
}

void ExtendRuns::run(const std::vector<size_t>& wanted) {
    const std::chrono::milliseconds now = tn::sinceBoot();
    for (const size_t at : wanted) {
        const std::shared_ptr<Slot>& slot = slots_[at];
        const std::lock_guard lock(slot->mutex);
        slot->problems.report(slot->problem);
        if (slot->isBusy || (slot->started && now - *slot->started < slot->command.cache)) continue;
        slot->started = now;
        start(slot);
    }
    const auto deadline = std::chrono::steady_clock::now() + kMaxWait;
    for (const size_t at : wanted) {
        const std::shared_ptr<Slot>& slot = slots_[at];
        if (std::exchange(slot->isWaitedFor, true)) continue;
        if (tn::Looper* looper = tn::getLooper()) looper->beforeWait();
        std::unique_lock lock(slot->mutex);
        slot->ended.wait_until(lock, deadline, [&] { return !slot->isBusy; });
        slot->problems.report(slot->problem);
    }
}

std::shared_ptr<const ExtendResult> ExtendRuns::result(size_t at) const {
    const std::lock_guard lock(slots_[at]->mutex);
    return slots_[at]->result;
}

ExtendCommands::ExtendCommands(std::shared_ptr<ExtendRuns> runs) : PositionTable({kName}), runs_(std::move(runs)) {}

void ExtendCommands::refreshRows(std::span<const size_t> rows) {
    const WantedFields& fields = wanted();
    if (fields.has(extend::Output) || fields.has(extend::FirstLine) || fields.has(extend::Lines) ||
        fields.has(extend::Result))
        runs_->run({rows.begin(), rows.end()});
}

RowKey ExtendCommands::keyOf(size_t row) const { return keyOfName(runs_->command(row).name, kNameOctets); }

void ExtendCommands::writeRow(size_t row, tn::message& item) const {
    const ExtendCommand& command = runs_->command(row);
    std::string args;
    for (size_t i = 1; i < command.words.size(); ++i) args += (i > 1 ? " " : "") + command.words[i];
    item.insert_string(extend::Name, command.name);
    item.insert_string(extend::Program, command.words.front().substr(0, kMostLine));
    item.insert_string(extend::Args, args.substr(0, kMostLine));
    item.insert_u32(extend::Cache, static_cast<uint32_t>(command.cache.count()));
    const auto result = runs_->result(row);
    if (!result) return;
    item.insert_string(extend::Output, result->output);
    item.insert_string(extend::FirstLine, result->lines.empty() ? "" : result->lines.front());
    item.insert_u32(extend::Lines, static_cast<uint32_t>(result->lines.size()));
    item.insert_u32(extend::Result, static_cast<uint32_t>(result->status));
}

ExtendLines::ExtendLines(std::shared_ptr<ExtendRuns> runs)
    : PositionTable({kName, extend_lines::Line}), runs_(std::move(runs)) {}

void ExtendLines::refresh() {
    runs_->refresh();
    std::vector<size_t> all(runs_->size());
    std::iota(all.begin(), all.end(), size_t{0});
    runs_->run(all);
    results_.clear();
    rows_.clear();
    for (size_t at = 0; at < runs_->size(); ++at) {
        results_.push_back(runs_->result(at));
        const size_t lines = results_[at] ? results_[at]->lines.size() : 0;
        for (uint32_t line = 1; line <= lines; ++line) rows_.push_back({at, line});
    }
}

RowKey ExtendLines::keyOf(size_t row) const {
    RowKey key = keyOfName(runs_->command(rows_[row].command).name, kNameOctets + 4);
    key.putU32(kNameOctets, rows_[row].number);
    return key;
}

void ExtendLines::writeRow(size_t row, tn::message& item) const {
    item.insert_string(extend_lines::Name, runs_->command(rows_[row].command).name);
    item.insert_u32(extend_lines::Line, rows_[row].number);
    item.insert_string(extend_lines::Text, text(rows_[row]));
}

}  // namespace hostd
