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

/// Reads the queues of all interfaces; nothing when the kernel doesn't report them, or they changed meanwhile. It can
/// block: a dump waits for other processes that change the network's configuration.
using QueueSource = std::function<std::optional<QueueRows>()>;
[[nodiscard]] QueueSource kernelQueues();

/// The queues, read once for all tables that show them. The kernel doesn't notify counters, so all are read: every
/// kQueuesMaxAge while they are requested, else every kQueuesIdleInterval.
using Queues = Watch<QueueRows>;
constexpr std::chrono::milliseconds kQueuesMaxAge{250};
constexpr std::chrono::seconds kQueuesIdleInterval{5};
constexpr std::chrono::seconds kQueuesGracePeriod{5};

/// @param source  runs on the helper thread
[[nodiscard]] std::shared_ptr<Queues> watchQueues(QueueSource source = kernelQueues());

/// A table of the last reading; empty without one.
/// @tparam Rows  which of QueueRows' members it shows
template <auto Rows>
class QueueTable : public IdTable {
  public:
    explicit QueueTable(std::shared_ptr<Queues> queues) : queues_(std::move(queues)) {}
    void loadPermData() override { queues_->keepReading(); }

  protected:
    /// As of the last refresh.
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

/// {20, 9}: the counters of each interface's root and ingress qdiscs, known by its ifindex. An interface that has
/// neither, or only one that doesn't queue (noqueue), has no row.
class InterfaceQueues : public QueueTable<&QueueRows::interfaces> {
  public:
    using QueueTable::QueueTable;

  protected:
    void writeRow(uint32_t id, tn::message& row) const override;
};

/// {20, 12}: the classes of all interfaces, known by classId. A qdisc that hangs from a class continues its tree.
class QueueTree : public QueueTable<&QueueRows::classes> {
  public:
    using QueueTable::QueueTable;

  protected:
    void writeRow(uint32_t id, tn::message& row) const override;
};

}  // namespace hostd
