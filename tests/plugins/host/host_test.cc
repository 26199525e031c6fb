// How HOST-RESOURCES-MIB shows what owners have. tests/e2e/machine_test.py compares values with this machine's.

#include "contracts/host.h"
#include "contracts/file_systems.h"
#include "contracts/memory.h"
#include "tests/agent/table_owner.h"
#include "tests/plugins/plugin_test.h"

namespace snmp {
namespace {

namespace file_systems = contracts::file_systems;

class HostTest : public PluginTest {
  protected:
    HostTest() : PluginTest("host") { agent->addHandler(file_systems::kPath, &mounts); }
    void mount(uint32_t id, const std::string& point, const std::string& type, uint32_t kind, uint64_t kib = 8,
               uint32_t unit = 4096) {
        put(mounts.row(id), {{file_systems::MountPoint, point},
                             {file_systems::Source, "/dev/" + type},
                             {file_systems::Type, type},
                             {file_systems::Kind, kind},
                             {file_systems::Unit, unit},
                             {file_systems::Size, kib},
                             {file_systems::Free, kib / 2}});
    }
    TableOwner mounts;
    const std::string host = "1.3.6.1.2.1.25.";
};

TEST_F(HostTest, StorageHasItsTypesAndLargeOnesLargeUnits) {
    namespace memory = contracts::memory;
    put(owner(memory::kPath).reply, {{memory::Total, uint64_t{100}},
                                     {memory::Free, uint64_t{30}},
                                     {memory::SwapTotal, uint64_t{0x1'0000'0000}},
                                     {memory::SwapFree, uint64_t{0x8000'0000}}});
    using namespace file_systems;
    mount(1, "/", "ext4", kind::Local);
    mount(2, "/net", "nfs4", kind::Remote);
    mount(3, "/run", "tmpfs", kind::Memory);
    mount(4, "/cd", "iso9660", kind::Local, 8, 0);
    mount(5, "/large", "xfs", kind::Local, uint64_t{1} << 44);  // 16 PiB
    load();
    const std::string entry = host + "2.3.1.";
    const auto type = [&](const std::string& index) { return value(entry + "2." + index).substr(17); };
    EXPECT_EQ(row(entry, {3, 4, 5, 6}, "1"), "Physical memory 1024 100 70");
    EXPECT_EQ(row(entry, {3, 4, 5, 6}, "10"), "Swap space 4096 1073741824 536870912");
    EXPECT_EQ(row(entry, {3, 4, 5, 6}, "131073"), "/ 4096 2 1");
    EXPECT_EQ(row(entry, {3, 4, 5, 6}, "131076"), "/cd 1 8192 4096");
    EXPECT_EQ(row(entry, {4, 5, 6}, "131077"), "16777216 1073741824 536870912");
    std::string types;
    for (const char* index : {"1", "3", "10", "131073", "131074", "131075", "131076"}) types += type(index) + " ";
    EXPECT_EQ(types, "1.2 1.3 1.3 1.4 1.10 1.8 1.7 ");
    EXPECT_EQ(row(host + "3.8.1.", {2, 3, 5, 6, 7}, "1"), "/ '' 1 1 131073");
    EXPECT_EQ(row(host + "3.8.1.", {2, 3, 5, 6, 7}, "2"), "/net /dev/nfs4 1 2 131074");
    put(owner(memory::kPath).reply, {{memory::SwapTotal, uint64_t{0}}});
    EXPECT_EQ(value(entry + "3.10"), "-") << "no swap space";
}

TEST_F(HostTest, TablesOfOneKindOfDeviceHaveThatKindOnly) {
    namespace hardware = contracts::hardware;
    TableOwner devices;
    put(devices.row(1), {{hardware::Kind, hardware::kind::Processor}});
    put(devices.row(131073), {{hardware::Kind, hardware::kind::Disk},
                              {hardware::Size, uint64_t{0x1'0000'0000}},
                              {hardware::Media, hardware::media::Disk},
                              {hardware::Description, std::string(90, 'x')}});
    put(devices.row(262147), {{hardware::Kind, hardware::kind::Interface}, {hardware::Interface, 3U}});
    agent->addHandler(hardware::kPath, &devices);
    TableOwner parts;
    parts.keyFields = {contracts::partitions::Disk, contracts::partitions::Number};
    for (const uint32_t number : {1U, 2U})
        put(parts.row(number), {{contracts::partitions::Disk, 131073U},
                                {contracts::partitions::Number, number},
                                {contracts::partitions::Name, "/dev/part" + std::to_string(number)}});
    agent->addHandler(contracts::partitions::kPath, &parts);
    mount(7, "/part", "part2", file_systems::kind::Local);
    load();
    EXPECT_EQ(shown(walk(host + "3.2.1.2")), "1.3.6.1.2.1.25.3.1.3 1.3.6.1.2.1.25.3.1.6 1.3.6.1.2.1.25.3.1.4");
    EXPECT_EQ(value(host + "3.2.1.3.131073"), std::string(64, 'x'));
    EXPECT_THAT(walk(host + "3.4"), ElementsAre(number(host + "3.4.1.1.262147", 3)));
    EXPECT_THAT(walk(host + "3.6.1.4"), ElementsAre(number(host + "3.6.1.4.131073", 0x7fff'ffff)));
    EXPECT_EQ(value(host + "3.6.1.4.1"), "-");
    EXPECT_EQ(shown(walk(host + "3.7.1.5")), "0 7");
    EXPECT_EQ(value(host + "1.3.0"), "error 2") << "no owner says from which device the system was loaded";
}

TEST_F(HostTest, ProcessesThatHaveEndedAreSkipped) {
    namespace processes = contracts::processes;
    TableOwner owner;
    put(owner.row(1), {{processes::Name, "init"}, {processes::State, uint32_t{'S'}}});
    owner.row(2);
    put(owner.row(3), {{processes::Name, "late"},
                       {processes::State, uint32_t{'Z'}},
                       {processes::Kernel, true},
                       {processes::Time, uint64_t{0x1'0000'0000}}});
    agent->addHandler(processes::kPath, &owner);
    load();
    EXPECT_EQ(shown(walk(host + "4.2.1.2")), "init late");
    EXPECT_EQ(value(host + "4.2.1.2.2"), "-");
    EXPECT_EQ(value(host + "1.6.0"), "error 2") << "not counted yet: not 0";
    EXPECT_EQ(row(host + "4.2.1.", {6, 7}, "3"), "2 4");
    EXPECT_EQ(shown(walk(host + "5.1.1.1", 5)), "0 2147483647");
}

}  // namespace
}  // namespace snmp
