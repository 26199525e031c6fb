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

/// A table whose rows are the latest reading of a Watch. The table is empty before the first reading has ended, and
/// while the latest one is older than kMaxReadingAge.
///
/// A row keeps its id as long as every reading contains it. Readings without any rows don't count, so that a service
/// that restarts doesn't renumber its rows. A derived class writes the fields of a row.
/// @tparam Entry  a row's content; must meet the requirements of assignIds
template <class Entry>
class WatchedTable : public IdTable {
  public:
    using Source = Watch<Reading<Entry>>;

    /// @param what    what the rows are, for the log: "PCI devices"
    /// @param read    runs on the helper thread, as for Watch
    /// @param maxAge  age at which a reading is renewed, as for Watch
    /// @param range   limits of the rows' ids
    WatchedTable(const std::string& what, std::function<Reading<Entry>()> read, std::chrono::milliseconds maxAge,
                 IdRange range, FirstReading first = FirstReading::AtStart)
        : WatchedTable(what, std::make_shared<Source>(what, std::move(read), maxAge), range, first) {}
    /// @param source  may be shared with other tables
    WatchedTable(std::string what, std::shared_ptr<Source> source, IdRange range,
                 FirstReading first = FirstReading::AtStart)
        : problems_(std::move(what)), source_(std::move(source)), range_(range), first_(first) {}
    /// Starts the first reading, and reads ahead from then on.
    void loadPermData() override {
        if (first_ == FirstReading::AtStart) source_->keepReading();
    }

  protected:
    /// Writes the fields of a row into a reply. The caller adds the id.
    virtual void writeEntry(const Entry& entry, tn::message& item) const = 0;
    /// False for an entry that is to have no row for now. It keeps its id meanwhile.
    [[nodiscard]] virtual bool isShown(const Entry&) const { return true; }

  private:
    /// Adopts the latest reading, and assigns ids if it is a new one. Logs its problem if that has changed.
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
    FirstReading first_;
    std::shared_ptr<const Reading<Entry>> reading_;  ///< the one that rows_ was made from
    std::map<uint32_t, Entry> rows_;                 ///< by id; shown entries only
    std::map<uint32_t, Entry> lastRows_;             ///< by id; all entries of the last reading that had any
};

}  // namespace hostd
