#include "hostd/machine/disk_table.h"

#include <atomic>

#include "contracts/disks.h"
#include "tests/hostd/ask.h"
#include "tests/hostd/manual_clock.h"
#include "tests/tn/temp_root.h"

namespace hostd {

namespace disks = contracts::disks;

TEST(DiskTable, KeepsIdsWhileMountedAndShowsThoseThatTellTheirSize) {
    ManualClock clock;
    tn::TempTree tree;
    const auto silent = std::make_shared<std::atomic<char>>('x');
    DiskTable table(watchDisks(tree.path(), [silent](const std::string& point) -> std::optional<DiskSize> {
        if (point[1] == *silent) return {};
        return DiskSize{point == "/a" ? 0x1'0000'0000U : 100U, 40};
    }));
    const auto shown = [&](const std::string& names) {
        std::string text;
        for (const char name : names)
            text += std::string("1 1 8:") + name + " / /" + name + " rw - ext4 /dev/sd" + name + " rw\n";
        tree.write("self/mountinfo", text);
        clock.time += kDisksMaxAge;
        return listed(table, disks::MountPoint);
    };
    EXPECT_THAT(shown("abc"), ElementsAre("1:/a", "2:/b", "3:/c"));
    const auto rows = rowsOf(table);
    EXPECT_EQ(rows[0].get_u32(disks::Size), UINT32_MAX);
    EXPECT_EQ(rows[1].get_u32(disks::Size), 100U);
    EXPECT_EQ(rows[1].get_u32(disks::Free), 40U);
    EXPECT_THAT(shown("acxde"), ElementsAre("1:/a", "3:/c", "4:/d", "5:/e"));
    *silent = 'c';
    EXPECT_THAT(shown("acfxde"), ElementsAre("1:/a", "2:/x", "4:/d", "5:/e", "6:/f"));
    *silent = ' ';
    EXPECT_THAT(shown("ec"), ElementsAre("3:/c", "5:/e"));
}

}  // namespace hostd
