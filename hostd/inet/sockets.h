#pragma once

#include <linux/netlink.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "hostd/inet/inet_address.h"
#include "hostd/source/watch.h"
#include "hostd/table/position_table.h"

namespace hostd {

/// A socket of TCP or UDP, as sock_diag(7) reports it.
struct Socket {
    InetAddress local, remote;  ///< unknown for any address: of both families, or of an end that isn't connected
    uint16_t localPort = 0, remotePort = 0;
    uint8_t state = 0;   ///< tcpConnState (RFC 4022): 2 is listen; for UDP it means nothing
    uint32_t inode = 0;  ///< 0 if no process has it open
};

/// Reads a message of the kernel's listing of sockets. Nothing if it is malformed.
[[nodiscard]] std::optional<Socket> readSocket(const nlmsghdr& message);

/// A row of one of the tables of sockets: its key, which has all that identifies it, and its values.
struct SocketRow {
    RowKey key;
    uint32_t state = 0;
    uint32_t process = 0;
};

/// The rows of contracts::sockets, in the order of their keys, each key once.
struct SocketRows {
    std::vector<SocketRow> tcpIPv4, udpIPv4, connections, listeners, endpoints;
};
/// @param processOf  the pid for an inode, or 0
[[nodiscard]] SocketRows makeSocketRows(const std::vector<Socket>& tcp, const std::vector<Socket>& udp,
                                        const std::function<uint32_t(uint32_t)>& processOf);

using SocketWatch = Watch<SocketRows>;
/// Reads the sockets of this network namespace and the processes that have them open, on a helper thread. A listing of
/// all of them serves requests for two seconds, so that a walk through n of them costs a few listings and not n.
[[nodiscard]] std::shared_ptr<SocketWatch> watchSockets(const std::string& proc);

/// One of the tables of contracts/sockets.h.
class SocketTable : public PositionTable {
  public:
    using Rows = std::vector<SocketRow> SocketRows::*;
    /// @param key   the fields that the keys of these rows consist of
    SocketTable(std::shared_ptr<SocketWatch> source, std::vector<KeyField> key, Rows rows);

  protected:
    void refresh() override;
    [[nodiscard]] uint32_t rowCount() const override { return static_cast<uint32_t>(rows().size()); }
    [[nodiscard]] RowKey keyOf(size_t row) const override { return rows()[row].key; }
    void writeRow(size_t row, tn::message& item) const override;

  private:
    [[nodiscard]] const std::vector<SocketRow>& rows() const;

    std::shared_ptr<SocketWatch> source_;
    std::vector<KeyField> key_;
    Rows rows_;
    std::shared_ptr<const SocketRows> reading_;  ///< nullptr: there is none
};

/// The tables by their paths in contracts/sockets.h.
[[nodiscard]] std::unique_ptr<tn::Handler> makeTcpIPv4(std::shared_ptr<SocketWatch> source);
[[nodiscard]] std::unique_ptr<tn::Handler> makeUdpIPv4(std::shared_ptr<SocketWatch> source);
[[nodiscard]] std::unique_ptr<tn::Handler> makeConnections(std::shared_ptr<SocketWatch> source);
[[nodiscard]] std::unique_ptr<tn::Handler> makeListeners(std::shared_ptr<SocketWatch> source);
[[nodiscard]] std::unique_ptr<tn::Handler> makeEndpoints(std::shared_ptr<SocketWatch> source);

}  // namespace hostd
