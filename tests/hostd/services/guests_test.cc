// Guests, from libvirt's own test driver.

#include "hostd/services/guests.h"

#include <libvirt/libvirt.h>
#include <libvirt/virterror.h>

#include <array>
#include <map>

#include "contracts/guests.h"
#include "tests/hostd/ask.h"
#include "tests/hostd/manual_clock.h"
#include "tests/tn/temp_root.h"

namespace hostd {

namespace podhost_guests = contracts::podhost_guests;
namespace virtual_machines = contracts::virtual_machines;

namespace {

namespace field = tn::field;

constexpr const char* kUri = "test:///default";

using Connection = std::unique_ptr<virConnect, decltype(&::virConnectClose)>;
using Domain = std::unique_ptr<virDomain, decltype(&::virDomainFree)>;

/// libvirt's test driver. Its guests are those of the process as long as somebody is connected.
class LibvirtTest : public ::testing::Test {
  protected:
    void SetUp() override {
        virSetErrorFunc(nullptr, [](void*, virErrorPtr) {});
        ASSERT_NE(connection, nullptr);
    }
    [[nodiscard]] static std::string xml(const std::string& name) {
        return "<domain type='test'><name>" + name +
               "</name><memory unit='MiB'>512</memory><currentMemory unit='MiB'>256</currentMemory><vcpu>3</vcpu>"
               "<title>the " +
               name + "</title><os><type>hvm</type></os></domain>";
    }
    Domain create(const std::string& name) {
        return {virDomainCreateXML(connection.get(), xml(name).c_str(), 0), virDomainFree};
    }
    /// Whether the rows get to be these, as name and state.
    static bool become(tn::Handler& table, tn::u32_id state, const std::map<std::string, uint32_t>& expected) {
        return eventually([&] {
            std::map<std::string, uint32_t> all;
            for (const tn::message& row : rowsOf(table)) all[row.get_string(field::Name)] = row.get_u32(state);
            return all == expected;
        });
    }
    ManualClock clock;
    Connection connection{virConnectOpen(kUri), virConnectClose};
};

}  // namespace

TEST_F(LibvirtTest, GuestsAreListedWithTheirStates) {
    const Domain paused = create("paused"), gone = create("gone");
    const Domain defined(virDomainDefineXML(connection.get(), xml("defined").c_str()), virDomainFree);
    ASSERT_TRUE(paused && gone && defined);
    ASSERT_EQ(virDomainSuspend(paused.get()), 0);
    VirtualMachines machines([] { return readGuests(kUri); });
    PodhostGuests pods([] { return readGuests(kUri); });
    using namespace virtual_machines::state;
    EXPECT_TRUE(become(machines, virtual_machines::State,
                       {{"test", Running}, {"paused", Stopped}, {"gone", Running}, {"defined", Stopped}}));
    EXPECT_THAT(PrintToString(rowsOf(machines)),
                HasSubstr("0xfe0010:string=\"paused\", 0xfe0009:string=\"the paused\", 0x5:u32=2, 0x6:u32=3, "
                          "0x7:u32=512, 0xc:bool=no"));
    ASSERT_EQ(virDomainDestroy(gone.get()), 0);  // which never was on a disk
    ASSERT_EQ(virDomainResume(paused.get()), 0);
    ASSERT_EQ(virDomainCreate(defined.get()), 0);
    const std::unique_ptr<virDomainSnapshot, decltype(&::virDomainSnapshotFree)> snapshot(
        virDomainSnapshotCreateXML(defined.get(), "<domainsnapshot/>", 0), virDomainSnapshotFree);
    ASSERT_TRUE(snapshot);
    clock.time += Guests::kMaxAge;
    EXPECT_TRUE(
        become(machines, virtual_machines::State, {{"test", Running}, {"paused", Running}, {"defined", Running}}));
    for (const tn::message& row : rowsOf(machines))
        EXPECT_EQ(row.get_bool(virtual_machines::HasSnapshot), row.get_string(field::Name) == "defined");
    const uint32_t podRuns = podhost_guests::state::Running;
    EXPECT_TRUE(become(pods, podhost_guests::State, {{"test", podRuns}, {"paused", podRuns}, {"defined", podRuns}}));
    virDomainSnapshotDelete(snapshot.get(), 0);
    virDomainUndefine(defined.get());
    for (const Domain* left : {&defined, &paused}) virDomainDestroy(left->get());
}

TEST_F(LibvirtTest, WhyGuestsAreAbsentIsSaid) {
    EXPECT_THAT(readGuests("test:///no/such/file.xml").problem, StartsWith("test:///no/such/file.xml: "));

    const tn::TempTree sockets;
    const auto problem = [&] { return readGuests("lxc:///system", 1, sockets.path()).problem; };
    const std::string nobody = "lxc:///system: no daemon's socket in " + sockets.path();
    EXPECT_EQ(problem(), nobody);
    for (const char* daemon : {"virtlxcd-sock-ro", "libvirt-sock-ro"}) {
        sockets.write(daemon, "");
        EXPECT_NE(problem(), nobody) << daemon;  // what the library says, which knows no such folder
        sockets.remove(daemon);
    }

    const Domain second = create("second"), third = create("third");
    const Reading<Guest> reading = readGuests(kUri, 1);
    EXPECT_EQ(reading.rows.size(), 1U);
    EXPECT_EQ(reading.problem, "2 above the limit of 1");
    EXPECT_EQ(readGuests(kUri, 3).problem, "");
    for (const Domain* left : {&second, &third}) virDomainDestroy(left->get());
}

TEST(Guests, StatesOfLibvirtHaveTheirNumbers) {
    const std::array<int, 4> cases[] = {
        // state, reason, state of a virtual machine, state of a podhost's guest
        {VIR_DOMAIN_PAUSED, VIR_DOMAIN_PAUSED_STARTING_UP, 3, 2},
        {VIR_DOMAIN_PAUSED, VIR_DOMAIN_PAUSED_SHUTTING_DOWN, 1, 5},
        {VIR_DOMAIN_PAUSED, VIR_DOMAIN_PAUSED_CRASHED, 6, 1},
        {VIR_DOMAIN_SHUTOFF, VIR_DOMAIN_SHUTOFF_CRASHED, 6, 1},
        {99, 0, 0, 7},
    };
    for (const auto& [state, reason, machine, pod] : cases) {
        EXPECT_EQ(static_cast<int>(stateOfMachine(state, reason)), machine) << state << " " << reason;
        EXPECT_EQ(static_cast<int>(stateOfPodhost(state, reason)), pod) << state << " " << reason;
    }
}

TEST(GuestConfig, IsWhatTheDescriptionSays) {
    const GuestConfig config = parseGuest(
        "<domain type='kvm'><title>mail</title><description>old</description>"
        "<os><kernel>/boot/k</kernel><initrd>/boot/i</initrd></os><devices>"
        "<disk type='file' device='cdrom'><source file='/iso'/></disk>"
        "<disk type='block' device='disk'><source dev='/dev/vg/mail'/></disk>"
        "<disk type='file'><source file='/second'/></disk></devices></domain>");
    EXPECT_EQ(config.disk + " " + config.kernel + " " + config.initrd, "/dev/vg/mail /boot/k /boot/i");
    const std::string xmlns = "='http://libosinfo.org/xmlns/libvirt/domain/1.0'>";
    const std::string id = "os id='http://fedoraproject.org/fedora/40'/>";
    const auto withOs = [](const std::string& metadata) {
        return "<domain><title>mail</title><metadata><x/>" + metadata + "</metadata></domain>";
    };
    const std::pair<std::string, std::string> comments[] = {
        {"<domain><description>old &amp; slow</description></domain>", "old & slow"},
        {withOs("<libosinfo:libosinfo xmlns:libosinfo" + xmlns + "<libosinfo:" + id + "</libosinfo:libosinfo>"),
         "fedora 40"},
        {withOs("<libosinfo xmlns" + xmlns + "<" + id + "</libosinfo>"), "fedora 40"},
        {withOs("<o:libosinfo xmlns:o='http://other'><o:" + id + "</o:libosinfo>"), "mail"},
        {withOs("<libosinfo xmlns" + xmlns + "<os id='http://'/></libosinfo>"), "mail"},
        {withOs("<libosinfo xmlns" + xmlns + "<os id='http://fedoraproject.org'/></libosinfo>"), "mail"},
        {"", ""},
        {"<domain", ""},
    };
    for (const auto& [xml, comment] : comments) EXPECT_EQ(parseGuest(xml).comment, comment) << xml;
    EXPECT_EQ(parseGuest("<domain><devices><disk><source name='pool/image'/></disk></devices></domain>").disk,
              "pool/image");
}

}  // namespace hostd
