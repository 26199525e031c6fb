// Which mounts are disks, their sum, and how they are read while some hang.

#include "hostd/machine/disks.h"

#include <gmock/gmock.h>

#include <condition_variable>
#include <map>
#include <mutex>

#include "hostd/machine/disk_reader.h"
#include "tests/tn/eventually.h"
#include "tests/tn/temp_root.h"

namespace hostd {

using ::testing::ElementsAre;
using tn::eventually;

TEST(Mountinfo, GivesEachFileSystemOnceUnderAPathThatLeadsToIt) {
    const std::string_view text =
        "22 27 0:21 / /proc rw,relatime - proc proc rw\n"
        "27 1 254:0 / / rw,relatime shared:1 master:2 - ext4 /dev/vda rw\n"
        "30 27 254:16 / /mnt rw - xfs /dev/vdb rw\n"  // hidden by the next line
        "31 27 8:1 / /mnt rw - ext4 /dev/sda1 rw\n"
        "32 27 254:16 / /with\\040space rw - xfs /dev/vdb rw\n"
        "33 27 254:0 /etc/hosts /bound rw - ext4 /dev/vda rw\n"  // bind mount of the first
        "34 27 0:40 /a /sub rw - btrfs /dev/sdb rw\n"            // subvolumes of one file system
        "49 27 0:60 / /run rw,nosuid - tmpfs tmpfs rw\n"
        "35 27 0:40 /b /sub2 rw - btrfs /dev/sdb rw\n"
        "36 27 0:50 / /net rw - nfs4 server:/x rw\n"
        "37 27 0:50 /sub /net2 rw - nfs4 server:/x rw\n"  // bind mount of a remote one
        "38 27 0:51 / /keys rw - fuse.sshfs me@host:\\040x rw\n"
        "39 27 0:52 / /fetched rw - autofs /etc/auto.misc rw\n"  // querying it would mount it
        "40 27 0:53 / /tank rw - zfs tank rw\n"
        "42 27 0:55 / /tank/.zfs/snapshot/s ro - zfs tank@s ro\n"
        "43 27 0:56 / /flash ro - ubifs ubi0:rootfs rw\n"
        "44 27 0:57 / /pods/1/merged rw - overlay overlay rw,upperdir=/u\n"
        "45 27 0:58 / /run/portal rw - fuse /dev/fuse rw\n"
        "47 27 7:0 / /cut\n"
        "rubbish\n"
        "\n"
        "48 27 7:1 / /last ro - squashfs /dev/loop1 x,ro";
    using enum Mount::Kind;
    std::vector<Mount> expected = {{"254:0", "/", "/dev/vda", Local, true, "ext4"},
                                   {"8:1", "/mnt", "/dev/sda1", Local, true, "ext4"},
                                   {"254:16", "/with space", "/dev/vdb", Local, true, "xfs"},
                                   {"0:40", "/sub", "/dev/sdb", Local, false, "btrfs"},
                                   {"0:50", "/net", "server:/x", Remote, true, "nfs4"},
                                   {"0:51", "/keys", "me@host: x", Remote, true, "fuse.sshfs"},
                                   {"0:53", "/tank", "tank", Dataset, true, "zfs"},
                                   {"0:56", "/flash", "ubi0:rootfs", Local, true, "ubifs"},
                                   {"7:1", "/last", "/dev/loop1", Local, true, "squashfs", true}};
    EXPECT_EQ(parseMountinfo(text), expected);
    expected.insert(expected.begin() + 4, {"0:60", "/run", "tmpfs", Memory, true, "tmpfs"});
    EXPECT_EQ(parseMountinfo(text, MountChoice::WithMemory), expected);
    EXPECT_THAT(parseMountinfo("1 0 0:30 / / rw - overlay overlay rw,lowerdir=/l,upperdir=/u"),
                ElementsAre(Mount{"0:30", "/", "overlay", Overlay, true, "overlay"}));
}

TEST(Disks, AreSummedWithEachSpaceOnce) {
    using enum Mount::Kind;
    std::vector<Disk> disks = {
        {{"0:1", "/tank", "tank", Dataset}, DiskSize{70, 60}},  // 30 used in the pool, 60 free; one with a quota
        {{"0:2", "/tank/a", "tank/a", Dataset}, DiskSize{80, 60}},
        {{"0:3", "/tank/b", "tank/b", Dataset}, DiskSize{10, 10}},
        {{"0:4", "/pool", "pool", Dataset}, DiskSize{5, 5}},
        {{"0:5", "/net", "server:/x", Remote}, DiskSize{1'000'000, 1}},
        {{"8:2", "/dead", "/dev/sda2", Local}, {}},
    };
    EXPECT_EQ(sumOfDisks(disks), (DiskSize{95, 65}));
    disks.push_back({{"0:6", "/", "overlay", Overlay}, DiskSize{1000, 400}});
    EXPECT_EQ(sumOfDisks(disks), (DiskSize{1095, 465}));
    disks.push_back({{"8:3", "/overlay", "/dev/sda3", Local}, DiskSize{1000, 400}});  // the root's upper layer
    EXPECT_EQ(sumOfDisks(disks), (DiskSize{1095, 465}));
    disks.back() = {{"8:3", "/data", "/dev/sda3", Local}, DiskSize{1000, 900}};  // another disk of the same size
    EXPECT_EQ(sumOfDisks(disks), (DiskSize{2095, 1365}));
    EXPECT_EQ(sumOfDisks(std::span(disks).subspan(4, 2)), std::nullopt);

    disks.push_back({{"8:3", "/etc/hosts", "/dev/sda3", Local, false}, DiskSize{1000, 405}});
    disks.push_back({{"8:4", "/volume", "/dev/sda4", Local, false}, DiskSize{1000, 900}});
    removeCopies(disks);
    EXPECT_THAT(disks, ::testing::Not(::testing::Contains(::testing::Field(&Disk::key, "8:3 /etc/hosts"))));
    EXPECT_EQ(disks.size(), 9U);

    for (const char* none : {"/no/such/place", "/proc"}) EXPECT_EQ(sizeOfDisk(none), std::nullopt);
    EXPECT_GE(sizeOfDisk("/").value().total, sizeOfDisk("/").value().free);
}

class DiskReaderTest : public ::testing::Test {
  protected:
    /// What hanging threads still use.
    struct State {
        std::mutex mutex;
        std::condition_variable freed;
        std::string hung;
        std::map<char, int> asked;
    };
    DiskReaderTest() {
        std::string text;
        for (const char name : all)
            text += std::string("1 1 0:") + name + " / /" + name + " rw - nfs4 server:/" + name + " rw\n";
        tree.write("self/mountinfo", text);
    }
    ~DiskReaderTest() override { hang(""); }
    DiskReader reader(std::chrono::milliseconds maxAge = kMaxReadingAge) const {
        return {tree.path(),
                [state = state](const std::string& point) {
                    std::unique_lock lock(state->mutex);
                    ++state->asked[point[1]];
                    state->freed.wait(lock, [&] { return state->hung.find(point[1]) == std::string::npos; });
                    return std::optional(DiskSize{10, 5});
                },
                maxAge};
    }
    /// From now on these hang.
    void hang(const std::string& names) const {
        const std::lock_guard lock(state->mutex);
        state->hung = names;
        state->freed.notify_all();
    }
    /// Of those with a known size.
    static std::string names(DiskReader& reader) {
        std::string told;
        for (const Disk& disk : reader.read().rows)
            if (disk.size) told += disk.mount.point[1];
        return told;
    }
    /// Whether a reading ends before its timeout; on a busy machine it may not every time.
    static bool isSwift(DiskReader& reader) {
        return eventually([&] {
            const auto before = std::chrono::steady_clock::now();
            static_cast<void>(reader.read());
            return std::chrono::steady_clock::now() - before < DiskReader::kTimeout;
        });
    }
    const std::string all = "abcdefghijklmn";
    tn::TempTree tree;
    std::shared_ptr<State> state = std::make_shared<State>();
};

TEST_F(DiskReaderTest, MountsThatHangCostTheirOwnSizesOnlyAndAThreadEach) {
    const std::string hung = "abcdefgjklmn";  // more than one reading can detect
    hang(hung);
    DiskReader disks = reader();
    EXPECT_TRUE(eventually([&] { return names(disks) == "hi"; }));
    EXPECT_TRUE(isSwift(disks));  // doesn't wait for those that hang
    EXPECT_EQ(disks.read().problem, "no answer: /a, /b, /c, /d, /e, /f, /g, /j, /k, /l, /m, /n");
    {
        const std::lock_guard lock(state->mutex);
        for (const char name : hung) EXPECT_EQ(state->asked[name], 1) << name;
    }
    hang("");
    EXPECT_TRUE(eventually([&] { return names(disks) == all; }));
    EXPECT_TRUE(isSwift(disks));
}

TEST_F(DiskReaderTest, TheLastSizeOfAMountThatHangsHoldsForAWhile) {
    DiskReader lasting = reader();
    DiskReader brief = reader(std::chrono::milliseconds(400));
    for (DiskReader* disks : {&lasting, &brief}) EXPECT_TRUE(eventually([&] { return names(*disks) == all; }));
    hang("d");
    EXPECT_TRUE(eventually([&] { return names(brief) == "abcefghijklmn"; }));
    for (int i = 0; i < 3; ++i) EXPECT_EQ(names(lasting), all);
    EXPECT_EQ(lasting.read().problem, "");
}

}  // namespace hostd
