// What is read out of the kernel's and the distribution's files.

#include <gtest/gtest.h>

#include "hostd/disks.h"
#include "hostd/kept_file.h"
#include "hostd/memory.h"
#include "hostd/processors.h"
#include "hostd/version.h"
#include "tests/tn/temp_root.h"

namespace hostd {

TEST(Meminfo, TakesWhatIsThereAndNothingElse) {
    struct Case {
        const char* text;
        Memory expected;
    } const cases[] = {
        {"MemTotal:       16384 kB\nMemFree:  1 kB\nMemAvailable:    8192 kB\n", {16384, 8192}},
        {"MemAvailable: 8 kB\nMemTotal: 16 kB", {16, 8}},                          // no last newline
        {"MemTotal:       16384 kB\nMemFree:            4096 kB\n", {16384, {}}},  // a kernel without MemAvailable
        {"MemAvailable:    8192 kB\n", {{}, 8192}},
        {"MemTotal:\nMemAvailable: kB\n", {}},
        {"MemTotal: 12", {}},  // cut short: it may have been 12345 kB
        {"MemTotal: 12 MB\nMemAvailable: -1 kB\n", {}},
        {"MemTotal: 99999999999999999999999 kB\n", {}},
        {"MemTotal: 10 kB\nMemAvailable: 11 kB\n", {10, {}}},  // used would be negative
        {"NotMemTotal: 5 kB\n\n\n", {}},
        {"", {}},
    };
    for (const Case& c : cases) EXPECT_EQ(parseMeminfo(c.text), c.expected) << c.text;
}

TEST(Processors, AreCountedFromTheKernelsList) {
    EXPECT_EQ(countProcessors("0\n"), 1);
    EXPECT_EQ(countProcessors("0-3,6,8-9\n"), 7);
    EXPECT_EQ(countProcessors("0-65535"), 65536);
    for (const char* rubbish : {"", "\n", "x", "0-", "3-1", "0,", "0 1", "-1", "0-70000"})
        EXPECT_EQ(countProcessors(rubbish), std::nullopt) << rubbish;
}

TEST(Mountinfo, GivesEachBlockDeviceOnceUnderAPathThatLeadsToIt) {
    const auto mounts = parseMountinfo(
        "22 27 0:21 / /proc rw,relatime - proc proc rw\n"
        "27 1 254:0 / / rw,relatime shared:1 master:2 - ext4 /dev/vda rw\n"
        "30 27 254:16 / /mnt rw - xfs /dev/vdb rw\n"  // hidden by the next line
        "31 27 8:1 / /mnt rw - ext4 /dev/sda1 rw\n"
        "32 27 254:16 / /with\\040space rw - xfs /dev/vdb rw\n"
        "33 27 254:0 /etc/hosts /bound rw - ext4 /dev/vda rw\n"  // bind mount of the first
        "34 27 0:40 /a /sub rw - btrfs /dev/sdb rw\n"            // subvolumes of one file system
        "35 27 0:40 /b /sub2 rw - btrfs /dev/sdb rw\n"
        "36 27 0:50 / /net rw - nfs4 server:/dev/x rw\n"
        "37 27 7:0 / /cut\n"
        "rubbish\n"
        "\n"
        "38 27 7:1 / /last ro - squashfs /dev/loop1");
    const std::vector<Mount> expected = {
        {"254:0", "/"}, {"8:1", "/mnt"}, {"254:16", "/with space"}, {"0:40", "/sub"}, {"7:1", "/last"}};
    EXPECT_EQ(mounts, expected);
}

TEST(Disks, AreSummedOverThoseThatAnswer) {
    tn::TempTree proc;
    proc.write("self/mountinfo",
               "1 1 8:1 / / rw - ext4 /dev/sda1 rw\n2 1 8:2 / /b rw - ext4 /dev/sda2 rw\n"
               "3 1 8:3 / /dead rw - ext4 /dev/sda3 rw\n");
    const auto sizeOf = [](const std::string& point) -> std::optional<DiskSize> {
        if (point == "/dead") return {};
        return DiskSize{100, point == "/" ? 40U : 5U};
    };
    EXPECT_EQ(sumOfDisks(proc.path(), sizeOf), (DiskSize{200, 45}));
    EXPECT_EQ(sumOfDisks(proc.path("nothing"), sizeOf), std::nullopt);
    EXPECT_EQ(sizeOfDisk("/no/such/place"), std::nullopt);
    ASSERT_TRUE(sizeOfDisk("/").has_value());
    EXPECT_GE(sizeOfDisk("/")->total, sizeOfDisk("/")->free);
}

TEST(KeptFile, SeesWhatTheFileHoldsNow) {
    tn::TempTree tree;
    KeptFile file(tree.path("file"));
    EXPECT_EQ(file.read(), "");  // not there yet
    const std::string large(100'000, 'x');
    tree.write("file", large);
    EXPECT_EQ(file.read(), large);
    tree.write("file", "short");
    EXPECT_EQ(file.read(), "short");
}

TEST(Version, NamesTheDistributionWhenThereIsOne) {
    EXPECT_EQ(prettyName("ID=debian\nPRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\nX=y\n"),
              "Debian GNU/Linux 12 (bookworm)");
    EXPECT_EQ(prettyName("PRETTY_NAME='A \"b\"'"), "A \"b\"");
    EXPECT_EQ(prettyName("PRETTY_NAME=\"a \\\"b\\\" \\$c\""), "a \"b\" $c");
    EXPECT_EQ(prettyName("PRETTY_NAME=Plain\n"), "Plain");
    EXPECT_EQ(prettyName("PRETTY_NAME=\"open"), "open");
    EXPECT_EQ(prettyName("NOT_PRETTY_NAME=\"x\"\n"), "");
    EXPECT_TRUE(versionText("PRETTY_NAME=\"X 1\"\n").starts_with("X 1, Linux "));
    EXPECT_TRUE(versionText("").starts_with("Linux "));
}

}  // namespace hostd
