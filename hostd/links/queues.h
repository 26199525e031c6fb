#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

#include "hostd/links/qdisc.h"
#include "hostd/source/watch.h"
#include "hostd/table/id_table.h"

namespace hostd {

/// Reads the queues of all interfaces. Nothing when the kernel doesn't report them, or they changed during the reading.
/// Can block: a dump waits for other processes that change the network configuration.
using QueueSource = std::function<std::optional<QueueRows>()>;
/// A source that reads the kernel's queues (rtnetlink(7)). Its copies share one socket: for one thread at a time.
[[nodiscard]] QueueSource kernelQueues();

/// The queues, one reading for all tables that show them. The kernel sends no notification when counters change, so
/// everything is read again: while there are requests, when it is older than kQueuesMaxAge; otherwise every
/// kQueuesIdleInterval.
using Queues = Watch<QueueRows>;
constexpr std::chrono::milliseconds kQueuesMaxAge{250};
constexpr std::chrono::seconds kQueuesIdleInterval{5};
constexpr std::chrono::seconds kQueuesGracePeriod{5};

/// The watch of the queues. Reading starts when a table of it is added to a looper, or with the first request.
/// @param source  runs on the helper thread
[[nodiscard]] std::shared_ptr<Queues> watchQueues(QueueSource source = kernelQueues());

/// A table of the latest reading. It is empty while there is none, or none that is recent enough (see Watch).
/// @tparam Rows  the member of QueueRows that it shows
template <auto Rows>
class QueueTable : public IdTable {
  public:
    explicit QueueTable(std::shared_ptr<Queues> queues) : queues_(std::move(queues)) {}
    void loadPermData() override { queues_->keepReading(); }

  protected:
    /// The rows as of the last refresh(), valid until the next one.
    [[nodiscard]] const auto& rows() const {
        static const QueueRows kNone;
        return (reading_ ? *reading_ : kNone).*Rows;
    }
    void refresh() final { reading_ = queues_->latest(); }
    [[nodiscard]] uint32_t rowCount() const final { return static_cast<uint32_t>(rows().size()); }
    [[nodiscard]] std::optional<uint32_t> firstFrom(uint32_t id) const final {
        const auto found = rows().lower_bound(id);
        return found == rows().end() ? std::nullopt : std::optional(found->first);
    }

  private:
    std::shared_ptr<Queues> queues_;
    std::shared_ptr<const QueueRows> reading_;
};

/// {20, 9}: the counters of each interface's root and ingress qdiscs. A row's id is the ifindex. An interface that has
/// neither, or only one that doesn't queue (noqueue), has no row. contracts/queues.h has the fields.
class InterfaceQueues : public QueueTable<&QueueRows::interfaces> {
  public:
    using QueueTable::QueueTable;

  protected:
    void writeRow(uint32_t id, tn::message& row) const override;
};

/// {20, 12}: the classes of all interfaces. A row's id is that of makeQueueRows(). The classes of a qdisc that is
/// attached to a class are children of that class. contracts/queues.h has the fields.
class QueueTree : public QueueTable<&QueueRows::classes> {
  public:
    using QueueTable::QueueTable;

  protected:
    void writeRow(uint32_t id, tn::message& row) const override;
};

}  // namespace hostd
