#include "hostd/machine/disk_reader.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "hostd/source/pseudo_file.h"

namespace hostd {

/// The state of one mount, guarded by Work's mutex. `point` is read without it: it doesn't change during a query.
struct DiskReader::Probe {
    std::string point;
    bool isBusy = false;  ///< queued or being queried
    bool isLate = false;  ///< it didn't answer the last query within kTimeout
    std::optional<DiskSize> size;
    Clock::time_point asked;  ///< when the query for `size` began
};

/// The state that the reader and its threads share. The mutex guards all of it but `sizeOf`, which doesn't change.
struct DiskReader::Work {
    DiskSizer sizeOf;
    std::mutex mutex;
    std::condition_variable ended;                  ///< notified when a query has ended and none is queued
    std::map<Mount, std::shared_ptr<Probe>> known;  ///< the current mounts
    std::deque<std::shared_ptr<Probe>> waiting;     ///< the queued mounts
    size_t answered = 0;                            ///< number of queries that have ended; never reset
};

DiskReader::DiskReader(std::string proc, DiskSizer sizeOf, std::chrono::milliseconds maxAge, MountChoice choice)
    : proc_(std::move(proc)), maxAge_(maxAge), choice_(choice), work_(std::make_shared<Work>()) {
    work_->sizeOf = std::move(sizeOf);
}

void DiskReader::ask(const std::shared_ptr<Work>& work, std::shared_ptr<Probe> probe) {
    std::unique_lock lock(work->mutex);
    for (; probe || !work->waiting.empty(); probe.reset()) {
        if (!probe) {
            probe = std::move(work->waiting.front());
            work->waiting.pop_front();
        }
        lock.unlock();
        const auto begun = Clock::now();
        const auto size = work->sizeOf(probe->point);
        lock.lock();
        probe->size = size;
        probe->asked = begun;
        probe->isBusy = false;
        probe->isLate = Clock::now() - begun >= kTimeout;
        ++work->answered;
        if (work->waiting.empty()) work->ended.notify_all();
    }
}

void DiskReader::startThread(const std::shared_ptr<Probe>& first) {
    try {
        std::thread([work = work_, first] { ask(work, first); }).detach();
    } catch (const std::system_error&) {  // no thread available: retried with the next reading
        if (first) first->isBusy = false;
    }
}

void DiskReader::queue(const std::vector<Mount>& mounts) {
    std::map<Mount, std::shared_ptr<Probe>> known;
    for (const Mount& mount : mounts) {
        const auto found = work_->known.find(mount);
        auto& probe = known[mount] = found != work_->known.end() ? found->second : std::make_shared<Probe>();
        if (probe->isBusy) continue;
        probe->point = mount.point;
        probe->isBusy = true;
        if (probe->isLate) {
            startThread(probe);
        } else {
            work_->waiting.push_back(probe);
        }
    }
    work_->known = std::move(known);
}

Reading<Disk> DiskReader::read() {
    std::vector<Mount> mounts = parseMountinfo(readFile(proc_ + "/self/mountinfo"), choice_);
    std::unique_lock lock(work_->mutex);
    queue(mounts);
    const auto end = Clock::now() + kTimeout;
    const auto isDone = [this] {
        return std::ranges::none_of(work_->known,
                                    [](const auto& one) { return one.second->isBusy && !one.second->isLate; });
    };
    for (bool isHeldUp = true; !isDone() && Clock::now() < end;) {
        if (isHeldUp && !work_->waiting.empty()) startThread(nullptr);
        const size_t before = work_->answered;
        work_->ended.wait_for(lock, kStep, isDone);
        isHeldUp = work_->answered == before;
    }
    for (const auto& probe : work_->waiting) probe->isBusy = false;  // queued again by the next reading
    work_->waiting.clear();

    Reading<Disk> reading;
    for (Mount& mount : mounts) {
        Probe& probe = *work_->known.at(mount);
        probe.isLate = probe.isLate || probe.isBusy;
        if (Clock::now() - probe.asked > maxAge_) probe.size.reset();
        if (probe.isBusy && !probe.size) reading.problem += (reading.problem.empty() ? "" : ", ") + mount.point;
        reading.rows.push_back({std::move(mount), probe.size});
    }
    if (!reading.problem.empty()) reading.problem = "no answer: " + reading.problem;
    removeCopies(reading.rows);
    return reading;
}

}  // namespace hostd
