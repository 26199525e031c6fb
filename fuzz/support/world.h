#pragma once

#include <memory>
#include <string>

#include "agent/core/snmp_looper.h"
#include "tests/agent/table_owner.h"
#include "tests/tn/temp_root.h"
#include "tn/sources.h"

/// An agent with a populated tree and its owners in the same process, for fuzz targets. Clocks and random numbers are
/// constant and no setting can be changed, so that an input gives the same result each time. Community "r" may read,
/// "w" may read and write.
class World {
  public:
    World();

  private:
    struct Still : tn::Sources {
        uint64_t bootNanoseconds() override { return 1'000'000'000'000; }
        int64_t wallSeconds() override { return 1'700'000'000; }
        uint32_t random32() override { return 4; }
    };
    void add(const std::string& community, bool write);

    Still still_;
    tn::TempRoot root_;
    snmp::TableOwner system_, interfaces_, disks_;
    std::unique_ptr<snmp::SnmpLooper> agent_;
};
