#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "hostd/source/problem_log.h"
#include "hostd/source/watch.h"
#include "hostd/table/id_table.h"
#include "hostd/table/stable_ids.h"

namespace hostd {

/// A table whose rows a Watch reads, from its construction on. Rows keep their ids while they are listed, and across
/// readings without any rows. A derived class writes the fields of a row.
/// @tparam Entry  as assignIds requires it
template <class Entry>
class WatchedTable : public IdTable {
  public:
    using Source = Watch<Reading<Entry>>;

    /// @param what  what the rows are, for the log: "PCI devices"
    /// @param read  runs on the helper thread; this and maxAge are as Watch's
    WatchedTable(const std::string& what, std::function<Reading<Entry>()> read, std::chrono::milliseconds maxAge,
                 IdRange range)
        : WatchedTable(what, std::make_shared<Source>(what, std::move(read), maxAge), range) {}
    /// @param source  may be shared with other tables
    WatchedTable(std::string what, std::shared_ptr<Source> source, IdRange range)
        : problems_(std::move(what)), source_(std::move(source)), range_(range) {
        source_->keepReading();
    }
    void loadPermData() override { source_->keepReading(); }  // now with the looper's timers

  protected:
    /// Writes the fields of a row; the caller adds the id.
    virtual void writeEntry(const Entry& entry, tn::message& item) const = 0;
    /// An entry that isn't shown keeps its id.
    [[nodiscard]] virtual bool isShown(const Entry&) const { return true; }

  private:
    /// Shows the latest reading. Ids are assigned once for each.
    void refresh() override {
        auto latest = source_->latest();
        if (latest == reading_) return;
        reading_ = std::move(latest);
        if (reading_) problems_.report(reading_->problem);
        rows_ = assignIds(lastRows_, reading_ ? reading_->rows : std::vector<Entry>(), range_);
        if (!rows_.empty()) lastRows_ = rows_;
        std::erase_if(rows_, [this](const auto& row) { return !isShown(row.second); });
    }
    [[nodiscard]] uint32_t rowCount() const override { return static_cast<uint32_t>(rows_.size()); }
    [[nodiscard]] std::optional<uint32_t> firstFrom(uint32_t id) const override {
        const auto found = rows_.lower_bound(id);
        return found == rows_.end() ? std::nullopt : std::optional(found->first);
    }
    void writeRow(uint32_t id, tn::message& row) const override { writeEntry(rows_.at(id), row); }

    ProblemLog problems_;
    std::shared_ptr<Source> source_;
    IdRange range_;
    std::shared_ptr<const Reading<Entry>> reading_;  ///< that rows_ shows
    std::map<uint32_t, Entry> rows_;
    std::map<uint32_t, Entry> lastRows_;  ///< the last ones read, for their ids
};

}  // namespace hostd
