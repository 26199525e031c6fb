#pragma once

#include <memory>
#include <string>
#include <vector>

#include "agent/core/snmp_looper.h"
#include "tests/agent/table_owner.h"
#include "tests/tn/temp_root.h"
#include "tn/sources.h"

/// An agent with a populated tree and its owners in the same process, for fuzz targets. Clocks and random numbers are
/// constant and no setting can be changed, so that an input gives the same result each time. Community "r" may read,
/// "w" may read and write, "v" too, but it sees only parts of the tree.
class World {
  public:
    World();

  private:
    struct Still : tn::Sources {
        uint64_t bootNanoseconds() override { return 1'000'000'000'000; }
        int64_t wallSeconds() override { return 1'700'000'000; }
        uint32_t random32() override { return 4; }
    };
    using Name = std::vector<uint32_t>;
    void add(const std::string& community, bool write, const std::vector<Name>& seen = {},
             const std::vector<Name>& hidden = {});

    Still still_;
    tn::TempRoot root_;
    /// Refuses to change every second row.
    struct Refusing : snmp::TableOwner {
        tn::message handle(const tn::message& request, uint32_t rights) override {
            const bool isChange = request.get_u32(tn::field::Command) == tn::cmd::Set;
            if (isChange && request.get_u32(tn::field::ObjectId) % 2 == 0)
                return tn::errorMsg(tn::error::Refused, "every second row");
            return TableOwner::handle(request, rights);
        }
    };
    snmp::TableOwner system_, disks_;
    Refusing interfaces_;
    std::unique_ptr<snmp::SnmpLooper> agent_;
};
