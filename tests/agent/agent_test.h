#pragma once

#include <gmock/gmock.h>

#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "agent/core/create_reply.h"
#include "agent/core/snmp_looper.h"
#include "agent/mib/branch.h"
#include "tests/agent/fields.h"
#include "tests/tn/temp_root.h"
#include "tn/looper.h"
#include "tn/sources.h"
#include "wire/codec.h"

namespace snmp {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

/// A clock set by hand, and random numbers that repeat.
class TestSources : public tn::Sources {
  public:
    uint64_t bootNanoseconds() override { return uptime * 1'000'000'000ULL + nanoseconds; }
    int64_t wallSeconds() override { return 1'700'000'000; }
    uint32_t random32() override { return random = random * 1664525U + 1013904223U; }
    uint64_t uptime = 1000;    ///< seconds since the machine started,
    uint64_t nanoseconds = 0;  ///< and these
    uint32_t random = 1;       ///< the last random number
};

/// An owner that gives one reply to all requests and records them.
class ScriptedOwner : public tn::Handler {
  public:
    tn::message handle(const tn::message& request, uint32_t) override {
        requests.push_back(request);
        return reply;
    }
    tn::message reply;
    std::vector<tn::message> requests;
};

/// The real agent with scripted owners in the same process: no sockets, no sleeping.
class AgentTest : public testing::Test {
  private:
    tn::TempRoot root_;

  protected:
    AgentTest();
    ~AgentTest() override;

    /// The owner of a path. The first call adds it.
    ScriptedOwner& owner(std::span<const uint32_t> path);

    /// Lets the community "common" read from all addresses. @param write  whether it may write, too
    void opensCommon(bool write = false);
    /// Adds a community.
    /// @param addresses  one prefix, as "127.0.0.0/8"
    /// @param more       other fields of contracts::snmp::community
    void addEntry(const std::string& name, const std::string& addresses, uint32_t security = 0, Fields more = {});
    void removeEntry(const std::string& name);
    /// Changes settings of the agent. The test fails if the agent refuses.
    void change(const Fields& settings);
    /// Changes fields of a community. The test fails if the agent refuses.
    void changeEntry(const std::string& name, Fields what);
    /// The text of the error reply to a bus request; empty for success.
    std::string errorOf(std::span<const uint32_t> path, uint32_t command, const Fields& fields);

    /// The agent's reply, checked by a strict decoder; nullopt if there is none.
    std::optional<wire::Message> ask(const wire::Message& request, const std::string& source = "127.0.0.1");
    std::optional<wire::Message> askBytes(const wire::Bytes& request, const std::string& source = "127.0.0.1");

    // The reply to one request of community "common". The test fails if there is none.
    wire::Message get(const std::vector<std::string>& names, uint32_t version = kVersion2c) {
        return must(pdu::GetRequest, names, version);
    }
    wire::Message next(const std::vector<std::string>& names, uint32_t version = kVersion2c) {
        return must(pdu::GetNextRequest, names, version);
    }
    wire::Message bulk(const std::vector<std::string>& names, uint32_t nonRepeaters, uint32_t repetitions,
                       uint32_t version = kVersion2c) {
        return must(pdu::GetBulkRequest, names, version, nonRepeaters, repetitions);
    }
    wire::Message set(const std::vector<wire::Binding>& bindings, uint32_t version = kVersion2c) {
        return must({.version = version, .pdu = pdu::SetRequest, .bindings = bindings});
    }
    /// Values for people, separated by spaces: dotted addresses, signed integers, hexadecimal digits for unprintable
    /// octets, '' for an empty string, and - for an object that doesn't exist.
    static std::string shown(const std::vector<wire::Binding>& bindings);
    /// The value that a Get returns, as shown() formats it; "error 2" if the error-status is 2.
    std::string value(const std::string& name) { return values({name}); }
    std::string values(const std::vector<std::string>& names);
    /// The values of columns in one row. @param entry  OID of the table's entry, ending with a dot
    std::string row(const std::string& entry, const std::vector<uint32_t>& columns, const std::string& index);

    /// Walks the objects under a prefix. Ends at an error. The test fails, and the walk ends, at a name that isn't
    /// greater than the one before it.
    /// @param repetitions  max-repetitions of GetBulk; 0 to use GetNext
    std::vector<wire::Binding> walk(const std::string& prefix, uint32_t repetitions = 0, uint32_t version = kVersion2c);

    /// Starts the agent again on the same stores.
    void restart();

    static wire::Binding null(const std::string& name) { return {name, tag::Null, ""}; }
    static wire::Binding endOfView(const std::string& name) { return {name, tag::EndOfMibView, ""}; }
    static wire::Binding number(const std::string& name, uint32_t value) {
        return {name, tag::Integer, std::to_string(value)};
    }
    static wire::Binding text(const std::string& name, const std::string& value) {
        return {name, tag::OctetString, value};
    }

    TestSources sources;
    std::unique_ptr<SnmpLooper> agent;
    std::map<std::vector<uint32_t>, std::unique_ptr<ScriptedOwner>> owners;

  private:
    wire::Message must(const wire::Message& request);
    wire::Message must(uint8_t pdu, const std::vector<std::string>& names, uint32_t version, uint32_t nonRepeaters = 0,
                       uint32_t repetitions = 0);
};

}  // namespace snmp
