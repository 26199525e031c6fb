#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "hostd/links/qdisc.h"
#include "hostd/source/watch.h"
#include "hostd/table/id_table.h"

namespace hostd {

struct QueueReading {
    uint64_t at = 0;                ///< milliseconds of tn::getMilliseconds, when it began
    std::optional<QueueRows> rows;  ///< nothing when the kernel didn't tell them, or they changed meanwhile
};

/// Reads the queues of all interfaces. It can block: a dump waits for whoever changes the network's configuration.
using QueueSource = std::function<QueueReading()>;
[[nodiscard]] QueueSource kernelQueues();

/// The last whole reading of the queues, shared by the tables that show it. The kernel gives no notice of counters, so
/// they are read whole, on a helper thread: every kMaxAge while they are requested, else every kIdleAge. A
/// failure takes nothing away until the last whole reading is older than kTooOld.
class QueueReadings {
  public:
    static constexpr uint64_t kMaxAge = 250;    ///< ms
    static constexpr uint64_t kLinger = 5000;   ///< ms after a question, in which the next one is expected
    static constexpr uint64_t kIdleAge = 5000;  ///< ms
    static constexpr uint64_t kTooOld = Watch<QueueReading>::kOldest;

    /// @param source  runs on the helper thread
    explicit QueueReadings(QueueSource source = kernelQueues());
    void keepReading() { known_.keepReading(); }
    void refresh();                               ///< somebody asks
    [[nodiscard]] const QueueRows& rows() const;  ///< as of the last refresh

  private:
    struct Known {
        std::shared_ptr<const QueueReading> whole;  ///< the last one; nullptr before there is one
        bool isLast = false;                        ///< none has failed since
    };
    static std::function<Known()> keepingTheWhole(QueueSource source);

    Watch<Known> known_;
    std::shared_ptr<const QueueReading> taken_;
    bool isLogged_ = false;
};

/// A table of the last reading.
/// @tparam Rows  which of QueueRows' members it shows
template <auto Rows>
class QueueTable : public IdTable {
  public:
    explicit QueueTable(std::shared_ptr<QueueReadings> readings) : readings_(std::move(readings)) {}
    void loadPermData() override { readings_->keepReading(); }

  protected:
    [[nodiscard]] const auto& rows() const { return readings_->rows().*Rows; }
    void refresh() final { readings_->refresh(); }
    [[nodiscard]] uint32_t rowCount() const final { return static_cast<uint32_t>(rows().size()); }
    [[nodiscard]] std::optional<uint32_t> firstFrom(uint32_t id) const final {
        const auto found = rows().lower_bound(id);
        return found == rows().end() ? std::nullopt : std::optional(found->first);
    }

  private:
    std::shared_ptr<QueueReadings> readings_;
};

/// {20, 9}: what goes out and comes in through the queues of each interface, known by its ifindex: the counters of its
/// root qdisc and of its ingress one. An interface that has neither, or only one that doesn't queue (noqueue), has no
/// row.
class InterfaceQueues : public QueueTable<&QueueRows::interfaces> {
  public:
    using QueueTable::QueueTable;

  protected:
    void listRow(uint32_t id, tn::message& row) const override;
};

/// {20, 12}: the classes of all interfaces, known by classId. A qdisc that hangs from a class continues its tree.
class QueueTree : public QueueTable<&QueueRows::classes> {
  public:
    using QueueTable::QueueTable;

  protected:
    void listRow(uint32_t id, tn::message& row) const override;
};

}  // namespace hostd
