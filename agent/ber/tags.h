#pragma once

#include <cstddef>
#include <cstdint>

// Tags and limits of SNMP's BER subset, for the reader, the writer, packers and traps.
namespace snmp {

/// Value tags (X.690; application types RFC 2578; exceptions RFC 3416).
namespace tag {
constexpr uint8_t Integer = 0x02;
constexpr uint8_t BitString = 0x03;
constexpr uint8_t OctetString = 0x04;
constexpr uint8_t Null = 0x05;
constexpr uint8_t ObjectIdentifier = 0x06;
constexpr uint8_t Sequence = 0x30;
constexpr uint8_t IpAddress = 0x40;
constexpr uint8_t Counter32 = 0x41;
constexpr uint8_t Gauge32 = 0x42;
constexpr uint8_t TimeTicks = 0x43;
constexpr uint8_t Opaque = 0x44;
constexpr uint8_t Counter64 = 0x46;
constexpr uint8_t UInteger32 = 0x47;
constexpr uint8_t NoSuchObject = 0x80;
constexpr uint8_t NoSuchInstance = 0x81;
constexpr uint8_t EndOfMibView = 0x82;
}  // namespace tag

/// PDU tags (RFC 1157, RFC 3416).
namespace pdu {
constexpr uint8_t GetRequest = 0xA0;
constexpr uint8_t GetNextRequest = 0xA1;
constexpr uint8_t Response = 0xA2;
constexpr uint8_t SetRequest = 0xA3;
constexpr uint8_t TrapV1 = 0xA4;
constexpr uint8_t GetBulkRequest = 0xA5;
constexpr uint8_t InformRequest = 0xA6;
constexpr uint8_t TrapV2 = 0xA7;
constexpr uint8_t Report = 0xA8;
}  // namespace pdu

constexpr size_t kMaxDatagram = 65'536;    ///< octets of a receive buffer that holds any UDP datagram
constexpr size_t kMaxMessage = 65'507;     ///< octets of the largest message that fits into a UDP datagram over IPv4
constexpr uint32_t kGreatestFirstArc = 2;  ///< of an OBJECT IDENTIFIER (X.660)
constexpr uint8_t kNoTag = 255;            ///< no tag: the end of the data, or a value that isn't known

}  // namespace snmp
