#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
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
#include "hostd/table/position_table.h"

namespace hostd {

/// What a system announces; contracts::lldp_systems has the meaning of the numbers.
struct LldpSystem {
    uint32_t chassisIdSubtype = 0, capabilities = 0, enabledCapabilities = 0;
    std::vector<uint8_t> chassisId;
    std::string name, description;
};

struct LldpPort {
    uint32_t idSubtype = 0;
    std::vector<uint8_t> id;
    std::string description;
};

/// A neighbour on one of our ports.
struct LldpRemote {
    uint32_t port = 0;   ///< our ifindex
    uint32_t index = 0;  ///< distinguishes the neighbours on that port
    LldpSystem system;
    LldpPort theirPort;
    [[nodiscard]] RowKey key() const;
};

/// A management address. `port` and `index` are those of the neighbour that has it, or 0.
struct LldpAddress {
    uint32_t port = 0, index = 0;
    uint32_t family = 0;
    std::vector<uint8_t> octets;
    uint32_t interface = 0;
    [[nodiscard]] RowKey key() const;
};

/// One reading of lldpd. The lists are sorted by their keys.
struct LldpReading {
    std::string problem;  ///< why there is nothing, for ProblemLog; else empty
    LldpSystem local;
    std::map<uint32_t, LldpPort> ports;  ///< by ifindex
    std::vector<LldpAddress> addresses;
    std::vector<LldpRemote> remotes;
    std::vector<LldpAddress> remoteAddresses;

    /// Adds a neighbour. Its index is computed from chassis and port id. Neighbours past the first 4,096 are left out.
    void add(LldpRemote remote, std::vector<LldpAddress> its);
    void sort();
};

/// Queries lldpd through its library, liblldpctl, which the first call loads. Waits for the daemon, so it can block.
[[nodiscard]] LldpReading readLldp();

/// lldpd, one reading for all owners that show it. Nothing is read before the first request.
class LldpSource {
  public:
    static constexpr std::chrono::seconds kMaxAge{5};
    /// @param read  runs on the helper thread; replaced by tests
    explicit LldpSource(std::function<std::optional<LldpReading>()> read = readLldp)
        : watch_("LLDP", std::move(read), kMaxAge) {}
    /// Never null; without lldpd, an empty one.
    [[nodiscard]] std::shared_ptr<const LldpReading> latest();

  private:
    Watch<LldpReading> watch_;
    ProblemLog problems_{"LLDP"};
};

/// {24, 1060}: what this system announces. contracts::lldp_systems has the fields.
class LldpLocal : public tn::Handler {
  public:
    explicit LldpLocal(std::shared_ptr<LldpSource> source) : source_(std::move(source)) {}
    tn::message cmdGet(const tn::message& request) override;

  private:
    std::shared_ptr<LldpSource> source_;
};

/// {24, 1061}: its ports. contracts::lldp_ports has the fields.
class LldpPorts : public IdTable {
  public:
    explicit LldpPorts(std::shared_ptr<LldpSource> source) : source_(std::move(source)) {}

  protected:
    void refresh() override { reading_ = source_->latest(); }
    [[nodiscard]] uint32_t rowCount() const override { return static_cast<uint32_t>(reading_->ports.size()); }
    [[nodiscard]] std::optional<uint32_t> firstFrom(uint32_t id) const override {
        const auto found = reading_->ports.lower_bound(id);
        return found == reading_->ports.end() ? std::nullopt : std::optional(found->first);
    }
    void writeRow(uint32_t id, tn::message& row) const override;

  private:
    std::shared_ptr<LldpSource> source_;
    std::shared_ptr<const LldpReading> reading_;
};

/// The key fields of the tables below.
[[nodiscard]] std::vector<KeyField> lldpKey(std::vector<LldpRemote> LldpReading::*);
[[nodiscard]] std::vector<KeyField> lldpKey(std::vector<LldpAddress> LldpReading::*);
void writeLldpRow(const LldpRemote& remote, tn::message& item);
void writeLldpRow(const LldpAddress& address, tn::message& item);

/// {24, 1062} to {24, 1064}: one of the lists of a reading. contracts::lldp_systems and lldp_addresses have the fields.
/// Our own addresses have the keys of neighbours, with 0 for port and index, which the contract leaves out.
template <auto Rows>
class LldpTable : public PositionTable {
  public:
    explicit LldpTable(std::shared_ptr<LldpSource> source) : PositionTable(lldpKey(Rows)), source_(std::move(source)) {}

  protected:
    void refresh() override { reading_ = source_->latest(); }
    [[nodiscard]] uint32_t rowCount() const override { return static_cast<uint32_t>(rows().size()); }
    [[nodiscard]] RowKey keyOf(size_t row) const override { return rows()[row].key(); }
    void writeRow(size_t row, tn::message& item) const override { writeLldpRow(rows()[row], item); }

  private:
    [[nodiscard]] const auto& rows() const { return (*reading_).*Rows; }

    std::shared_ptr<LldpSource> source_;
    std::shared_ptr<const LldpReading> reading_;
};
using LldpLocalAddresses = LldpTable<&LldpReading::addresses>;
using LldpRemotes = LldpTable<&LldpReading::remotes>;
using LldpRemoteAddresses = LldpTable<&LldpReading::remoteAddresses>;

}  // namespace hostd
