#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "agent/core/snmp_looper.h"
#include "tests/agent/table_owner.h"
#include "tests/tn/temp_root.h"
#include "tn/sources.h"

/// An agent with a populated tree and its owners in the same process, for fuzz targets. Clocks and random numbers are
/// constant and no setting can be changed, so that an input gives the same result each time. Community "r" may read,
/// "w" may read and write, "v" too, but it sees only parts of the tree. "s" is for another source, and "k" is a user of
/// SNMPv3 without keys, who must authenticate.
class World {
  public:
    World();
    /// Lets every request to an owner take this long, on the constant clock. 0 until then.
    void ownersTake(std::chrono::milliseconds time) { still_.step = time; }

  private:
    struct Still : tn::Sources {
        uint64_t bootNanoseconds() override { return static_cast<uint64_t>(now.count()); }
        int64_t wallSeconds() override { return 1'700'000'000; }
        uint32_t random32() override { return 4; }
        std::chrono::nanoseconds now = std::chrono::seconds(1000);
        std::chrono::milliseconds step{0};
    };
    using Name = std::vector<uint32_t>;
    void add(const std::string& community, bool write, const std::vector<Name>& seen = {},
             const std::vector<Name>& hidden = {}, tn::message more = {});

    Still still_;
    tn::TempRoot root_;
    /// Keeps the agent waiting, as one does that reads from the kernel. Refuses to change every second row,
    /// and to enable every third one again.
    struct Owner : snmp::TableOwner {
        explicit Owner(Still& still) : still_(still) { remembers = false; }
        tn::message handle(const tn::message& request, uint32_t rights) override {
            snmp::loop->beforeWait();
            still_.now += still_.step;
            const bool isChange = request.get_u32(tn::field::Command) == tn::cmd::Set;
            const uint32_t id = request.get_u32(tn::field::ObjectId);
            if (isChange && (id % 2 == 0 || (id % 3 == 0 && !request.get_bool(tn::field::Disabled))))
                return tn::errorMsg(tn::error::Refused, "not this row");
            return TableOwner::handle(request, rights);
        }

      private:
        Still& still_;
    };
    Owner system_{still_}, interfaces_{still_}, disks_{still_};
    std::unique_ptr<snmp::SnmpLooper> agent_;
};
