#pragma once

#include <gtest/gtest.h>

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

/// A clock set by hand, and random numbers that repeat.
class TestSources : public tn::Sources {
  public:
    uint64_t bootNanoseconds() override { return uptime * 1'000'000'000ULL; }
    int64_t wallSeconds() override { return 1'700'000'000; }
    uint32_t random32() override { return random = random * 1664525U + 1013904223U; }
    uint64_t uptime = 1000;  // seconds
    uint32_t random = 1;
};

/// An owner that answers what it is told to and remembers what it was asked.
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

    /// The owner behind a path, made when first named.
    ScriptedOwner& owner(std::span<const uint32_t> path);

    /// Lets the community "common" read (and write) from everywhere.
    void opensCommon(bool write = false);
    void addEntry(const std::string& name, const std::string& addresses, uint32_t security = 0, Fields more = {});
    void removeEntry(const std::string& name);
    /// Changes settings, and an entry of the communities.
    void change(const Fields& settings);
    void changeEntry(const std::string& name, Fields what);
    /// What the agent says to a command with fields at a path: the text of the error, or nothing.
    std::string errorOf(std::span<const uint32_t> path, uint32_t command, const Fields& fields);

    /// The agent's answer, checked by a strict decoder; nothing when it stays silent.
    std::optional<wire::Message> ask(const wire::Message& request, const std::string& source = "127.0.0.1");
    std::optional<wire::Message> askBytes(const wire::Bytes& request, const std::string& source = "127.0.0.1");

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
    /// Values as people read them, a space between: addresses with dots, integers with their sign, octets that can't be
    /// printed in hexadecimal digits, '' for none at all, and a - where there is no such object.
    static std::string shown(const std::vector<wire::Binding>& bindings);
    /// What a Get of one object gives, as it is shown: "error 2" when it fails.
    std::string value(const std::string& name) { return values({name}); }
    std::string values(const std::vector<std::string>& names);
    /// Some columns of a row; the entry's name ends with a dot.
    std::string row(const std::string& entry, const std::vector<uint32_t>& columns, const std::string& index);

    /// Every object under the prefix, by GetBulk with so many repetitions or, with 0, by GetNext. Ends at an error, and
    /// at a name that isn't greater than the last.
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
