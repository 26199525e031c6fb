#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "hostd/log.h"
#include "hostd/source/watch.h"
#include "hostd/table/id_table.h"
#include "hostd/table/kept_ids.h"

namespace hostd {

/// What a source had to tell.
template <class Entry>
struct Reading {
    std::string problem;  ///< why there are none, or not all; empty when all is well
    std::vector<Entry> rows;
};

/// A table whose rows a Watch reads, from its construction on. An Entry is as keepIds expects it. A derived class
/// supplies the fields of a row.
template <class Entry>
class WatchedTable : public IdTable {
  public:
    using Source = Watch<Reading<Entry>>;

    /// @param what  what the rows are, for the log ("PCI devices")
    /// @param read  runs on the helper thread; this and maxAge are as Watch's
    WatchedTable(const std::string& what, std::function<Reading<Entry>()> read, uint64_t maxAge, IdRange range)
        : WatchedTable(what, std::make_shared<Source>(what, std::move(read), maxAge), range) {}
    /// @param source  may be shared with other tables
    WatchedTable(std::string what, std::shared_ptr<Source> source, IdRange range)
        : what_(std::move(what)), source_(std::move(source)), range_(range) {
        source_->keepReading();
    }
    void loadPermData() override { source_->keepReading(); }  // now with the looper's timers

  protected:
    virtual void list(const Entry& entry, tn::message& item) const = 0;
    /// An entry that isn't shown keeps its id.
    [[nodiscard]] virtual bool isShown(const Entry&) const { return true; }

  private:
    void refresh() override {
        auto latest = source_->ask();
        if (latest == taken_) return;
        taken_ = std::move(latest);
        if (taken_ && taken_->problem != problem_) {
            problem_ = taken_->problem;
            hostLog << what_ << ": " << (problem_.empty() ? "all is well again" : problem_);
        }
        rows_ = keepIds(known_, taken_ ? taken_->rows : std::vector<Entry>(), range_);
        if (!rows_.empty()) known_ = rows_;
        std::erase_if(rows_, [this](const auto& row) { return !isShown(row.second); });
    }
    [[nodiscard]] uint32_t rowCount() const override { return static_cast<uint32_t>(rows_.size()); }
    [[nodiscard]] std::optional<uint32_t> firstFrom(uint32_t id) const override {
        const auto found = rows_.lower_bound(id);
        return found == rows_.end() ? std::nullopt : std::optional(found->first);
    }
    void listRow(uint32_t id, tn::message& row) const override { list(rows_.at(id), row); }

    std::string what_;
    std::shared_ptr<Source> source_;
    IdRange range_;
    std::shared_ptr<const Reading<Entry>> taken_;
    std::string problem_;
    std::map<uint32_t, Entry> rows_;
    std::map<uint32_t, Entry> known_;  ///< the last rows read, so that they keep their ids across a failure
};

}  // namespace hostd
