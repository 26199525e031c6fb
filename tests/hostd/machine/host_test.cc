// What the owners of the plug-in host read: processes, packages, processors, disks.

#include <utmpx.h>

#include <cstring>
#include <filesystem>

#include "contracts/host.h"
#include "hostd/machine/hardware.h"
#include "hostd/machine/host_facts.h"
#include "hostd/machine/packages.h"
#include "hostd/machine/processes.h"
#include "tests/hostd/ask.h"
#include "tests/hostd/manual_clock.h"
#include "tests/tn/temp_root.h"

namespace hostd {

namespace hardware = contracts::hardware;
namespace packages = contracts::packages;
namespace processes = contracts::processes;

using ::testing::Pair;

TEST(Process, IsParsedWhateverItsNameIs) {
    const std::string tail = " S 1 2 3 4 5 2097152 7 8 9 10 30 12 13 14 20 0 1 0 99 4096 25 18446744073709551615\n";
    const Process kernel{.name = "a) R (b", .state = 'S', .isKernel = true, .ticks = 42, .pages = 25};
    EXPECT_EQ(parseProcess("7 (a) R (b)" + tail), kernel);
    EXPECT_EQ(parseProcess("7 ()" + tail)->name, "");
    EXPECT_EQ(parseProcess("7 (-) Z 1 -1 3 0 -1 4194304 7 8 9 10 30 12 13 14 20 0 1 0 99 0 0\n")->isKernel, false);
    for (const char* rubbish : {"", "7", "7 (", ") (", "7 (x)", "7 (x) SS 1", "7 (x) S 1 2 3 4 5 6 7 8 9 10 11 12"})
        EXPECT_EQ(parseProcess(rubbish), std::nullopt) << rubbish;
}

TEST(Processes, AreReadForTheReplyAndHaveNoFieldsAfterTheirEnd) {
    ManualClock clock;
    tn::TempTree tree;
    tree.write("9/stat", "9 (nine) R 1 2 3 4 5 6 7 8 9 10 30 12 13 14 20 0 1 0 99 4096 25\n");
    tree.write("9/cmdline", std::string("/bin/nine\0-a\0b c\0", 17));
    tree.write("10/cmdline", "");
    tree.write("10x/stat", "");
    tree.write("sys/kernel/pid_max", "500\n");
    tree.write("sys/kernel/threads-max", "400\n");
    Processes owner(tree.path());
    EXPECT_THAT(listed(owner, processes::Name), ElementsAre("9:nine", "10:"));
    const auto rows = rowsOf(owner);
    EXPECT_EQ(rows[0].get_string(processes::Path), "/bin/nine");
    EXPECT_EQ(rows[0].get_string(processes::Parameters), "-a b c");
    EXPECT_EQ(rows[0].get_u64(processes::Time), 42U);
    EXPECT_FALSE(rows[1].has(processes::State));
    const tn::message whole = ask(owner, tn::cmd::Get);
    EXPECT_EQ(whole.get_u32(processes::Count), 2U);
    EXPECT_EQ(whole.get_u32(processes::Limit), 400U);
    Processes unread(tree.path() + "/none");
    EXPECT_FALSE(ask(unread, tn::cmd::Get).has(processes::Count)) << "not 0";

    tn::message request;
    request.insert_u32_array(tn::field::Fields, {processes::Time.full()});
    const tn::message brief = ask(owner, tn::cmd::GetAll, std::move(request));
    EXPECT_FALSE(brief.get_message_array(tn::field::Objects)[0].has(processes::Path)) << "costs another file";
}

TEST(Packages, AreThoseInstalledWithTheirTimes) {
    ManualClock clock;
    tn::TempTree tree;
    const std::string bash =
        "Package: bash\nStatus: install ok installed\nSection: shells\nArchitecture: amd64\n"
        "Version: 5.2-1\nDescription: a shell\n Package: no\n\n";
    const auto write = [&](const std::string& text) {
        tree.write("status", text);
        clock.time += Packages::kMaxAge;
    };
    write(bash +
          "Package: gone\nStatus: deinstall ok config-files\nVersion: 1\nArchitecture: all\n\n"
          "Package: linux\nStatus: hold ok installed\nSection: non-free/kernel\nVersion: 6\nArchitecture: all");
    tree.write("info/bash:amd64.list", "");
    Packages owner(tree.path());
    EXPECT_THAT(parsePackages("Status: install ok installed\n\n\n"), IsEmpty());
    std::map<std::string, tn::message> rows;
    for (const tn::message& row : rowsOf(owner)) rows[row.get_string(packages::Name)] = row;
    EXPECT_EQ(rows.size(), 2U);
    EXPECT_TRUE(rows["linux_6_all"].get_bool(packages::System));
    EXPECT_FALSE(rows["linux_6_all"].has(packages::Installed));
    EXPECT_FALSE(rows["bash_5.2-1_amd64"].has(packages::System));
    EXPECT_GT(rows["bash_5.2-1_amd64"].get_u64(packages::Installed), 1'600'000'000U);
    const auto changed = [&] { return ask(owner, tn::cmd::Get).get_u64(packages::Changed); };
    EXPECT_EQ(changed(), 0U);
    const auto id = rows["bash_5.2-1_amd64"].get_u32(tn::field::ObjectId);
    write(bash);
    EXPECT_EQ(changed(), static_cast<uint64_t>(clock.time.count()));
    EXPECT_THAT(listed(owner, packages::Name), ElementsAre(std::to_string(id) + ":bash_5.2-1_amd64"));
}

TEST(Processors, HaveTheModelsOfTheirArchitecture) {
    EXPECT_THAT(parseCpuinfo("processor\t: 0\nmodel\t\t: 2\nmodel name\t: A B: C\n\nprocessor\t: 3\nflags : x\n: y\n"),
                ElementsAre(Pair(0, "A B: C"), Pair(3, "")));
    EXPECT_THAT(parseCpuinfo("model name : early\nprocessor : x\nmodel name : X\nprocessor : 4294967295\n"), IsEmpty());
}

class HardwareTest : public ::testing::Test {
  protected:
    HardwareTest() {
        tree.write("proc/cpuinfo", "processor : 0\nmodel name : M\nprocessor : 2\n");
        disk("sda", "2048", "8:0");
        tree.write("sys/block/sda/device/vendor", "ATA     \n");
        tree.write("sys/block/sda/device/model", "Quick disk  \n");
        for (const auto& [name, number] : {std::pair("sda1", "1"), {"sda10", "10"}, {"sda2", "2"}}) {
            const std::string folder = std::string("sys/block/sda/") + name;
            tree.write(folder + "/partition", number);
            tree.write(folder + "/size", "1024\n");
            tree.write(folder + "/dev", std::string("8:") + number + "\n");
        }
        disk("sr0", "0", "11:0");
        tree.write("sys/block/sr0/removable", "1\n");
        tree.write("sys/block/loop0/size", "9\n");  // without a driver's device
        tree.write("sys/block/dm-0/size", "9\n");
        std::filesystem::create_directories(tree.path("sys/block/dm-0/slaves"));
        std::filesystem::create_symlink(tree.path("sys/block/sda/sda2"), tree.path("sys/block/dm-0/slaves/sda2"));
        link("sys/dev/block/8:1", "sys/block/sda/sda1");
        link("sys/dev/block/254:0", "sys/block/dm-0");
        link("sys/class/block/sda10", "sys/block/sda/sda10");
        tree.write("proc/self/mountinfo", "1 0 254:0 / / rw - ext4 /dev/mapper/root rw\n");
    }
    void disk(const std::string& name, const std::string& sectors, const std::string& device) {
        tree.write("sys/block/" + name + "/size", sectors + "\n");
        tree.write("sys/block/" + name + "/dev", device + "\n");
        tree.write("sys/block/" + name + "/device/state", "running\n");
    }
    void link(const std::string& at, const std::string& to) {
        std::filesystem::create_directories(std::filesystem::path(tree.path(at)).parent_path());
        std::filesystem::create_symlink(tree.path(to), tree.path(at));
    }
    ManualClock clock;
    tn::TempTree tree;
    LinkTable links{[](const std::string&) { return false; }, [](const Link&, uint32_t, uint32_t) {}};
};

TEST_F(HardwareTest, AreProcessorsDisksAndTheirPartitions) {
    const auto all = std::make_shared<Hardware>(tree.path("proc"), tree.path("sys"));
    Devices devices(all, [this]() -> const LinkTable& { return links; });
    EXPECT_THAT(listed(devices, hardware::Description),
                ElementsAre("1:M", "3:processor", "131073:sda: ATA Quick disk", "131074:sr0"));
    const auto rows = rowsOf(devices);
    EXPECT_EQ(rows[2].get_u64(hardware::Size), 1024U);
    EXPECT_EQ(rows[2].get_u32(hardware::Status), hardware::status::Running);
    EXPECT_EQ(rows[3].get_u32(hardware::Status), hardware::status::Unknown) << "without a medium";
    EXPECT_EQ(rows[3].get_u32(hardware::Media), hardware::media::Optical);
    EXPECT_TRUE(rows[3].get_bool(hardware::Removable));
    EXPECT_EQ(devices.getObjectCount(), 4U);
    EXPECT_EQ(ask(devices, tn::cmd::Get).get_u32(hardware::LoadDevice), 131073U) << "below the mapped device";

    Partitions partitions(all);
    std::vector<std::string> names;
    for (const tn::message& row : rowsOf(partitions)) {
        EXPECT_EQ(row.get_u32(contracts::partitions::Disk), 131073U);
        names.push_back(row.get_string(contracts::partitions::Name) + " " +
                        row.get_string(contracts::partitions::Device));
    }
    EXPECT_THAT(names, ElementsAre("/dev/sda1 8:1", "/dev/sda2 8:2", "/dev/sda10 8:10"));

    disk("sdb", "2", "8:16");
    tree.write("sys/block/sdb/device/state", "offline\n");
    clock.time += Hardware::kMaxAge;
    EXPECT_THAT(listed(devices, hardware::Description), testing::Contains("131075:sdb"));
    EXPECT_EQ(rowsOf(devices)[4].get_u32(hardware::Status), hardware::status::Down);
}

TEST_F(HardwareTest, TheDiskOfAFileSystemIsFoundByDeviceOrSource) {
    const std::string sysfs = tree.path("sys");
    EXPECT_EQ(diskOf(sysfs, "8:1", "/dev/root"), "sda");
    EXPECT_EQ(diskOf(sysfs, "0:40", "/dev/sda10"), "sda");
    EXPECT_EQ(diskOf(sysfs, "0:41", "overlay"), "");
    EXPECT_EQ(diskOf(sysfs, "0:41", ""), "");
}

TEST(HostFacts, CountsTheSessionsOfLivingProcesses) {
    tn::TempTree tree;
    std::string utmp;
    for (const auto& [type, pid, user] : {std::tuple(USER_PROCESS, 7, "ann"),
                                          {USER_PROCESS, 8, "bob"},
                                          {USER_PROCESS, 7, ""},
                                          {DEAD_PROCESS, 7, "eve"}}) {
        utmpx entry{};
        entry.ut_type = static_cast<short>(type);
        entry.ut_pid = pid;
        std::strncpy(entry.ut_user, user, sizeof entry.ut_user - 1);
        utmp.append(reinterpret_cast<const char*>(&entry), sizeof entry);
    }
    tree.write("utmp", utmp + "cut");
    tree.write("7/stat", "");
    tree.write("cmdline", "quiet splash\n");
    HostFacts owner(tree.path(), tree.path("utmp"));
    const tn::message reply = ask(owner, tn::cmd::Get);
    EXPECT_EQ(reply.get_u32(contracts::host_facts::Users), 1U);
    EXPECT_EQ(reply.get_string(contracts::host_facts::BootParameters), "quiet splash");
}

}  // namespace hostd
