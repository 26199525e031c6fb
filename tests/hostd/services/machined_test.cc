// Containers of systemd-machined, from a simulated bus: real D-Bus messages over a socket.

#include "hostd/services/machined.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <systemd/sd-bus.h>

#include <array>
#include <atomic>
#include <climits>
#include <map>
#include <thread>

#include "contracts/guests.h"
#include "hostd/services/guests.h"
#include "tests/hostd/ask.h"
#include "tests/tn/temp_root.h"

namespace hostd {

namespace podhost_guests = contracts::podhost_guests;

namespace {

using ::testing::EndsWith;

struct Machine {
    std::string name, kind, service, state;
    uint64_t started = 0;
    uint64_t memory = UINT64_MAX;
};

/// The bus and all services behind it, on a thread.
class FakeBus {
  public:
    FakeBus() {
        sockaddr_un at{AF_UNIX, {}};
        tree_.path("bus").copy(at.sun_path, sizeof at.sun_path - 1);
        if (::bind(listener_, reinterpret_cast<sockaddr*>(&at), sizeof at) != 0 || ::listen(listener_, 1) != 0) return;
        thread_ = std::thread([this] {
            for (int fd = 0; (fd = ::accept(listener_, nullptr, nullptr)) >= 0;) serve(fd);
        });
    }
    ~FakeBus() {
        ::shutdown(listener_, SHUT_RDWR);
        if (thread_.joinable()) thread_.join();
        ::close(listener_);
    }
    [[nodiscard]] std::string address() const { return "unix:path=" + tree_.path("bus"); }

    std::vector<Machine> machines;  ///< changed between readings only
    const char* refusal = nullptr;
    std::atomic<int> answers = INT_MAX;  ///< until it hangs
    std::atomic<int> osReleases = 0;

  private:
    void serve(int fd) {
        sd_bus* bus = nullptr;
        sd_bus_new(&bus);
        sd_bus_set_fd(bus, fd, fd);
        sd_bus_set_server(bus, 1, sd_id128_t{.qwords = {1, 2}});
        sd_bus_add_filter(
            bus, nullptr,
            [](sd_bus_message* m, void* self, sd_bus_error*) { return static_cast<FakeBus*>(self)->answer(m); }, this);
        sd_bus_start(bus);
        while (sd_bus_is_open(bus) > 0 && sd_bus_wait(bus, UINT64_MAX) >= 0)
            while (sd_bus_process(bus, nullptr) > 0) {
            }
        sd_bus_close_unref(bus);
    }

    int answer(sd_bus_message* m) {
        const std::string_view member = sd_bus_message_get_member(m);
        if (member == "Hello") return sd_bus_reply_method_return(m, "s", ":1.1");
        if (answers-- <= 0) return 1;
        if (sd_bus_message_get_auto_start(m) != 0)
            return sd_bus_reply_method_errorf(m, "x.Started", "not to be started");
        if (member == "ListMachines") return list(m);
        if (member == "GetMachineOSRelease") {
            ++osReleases;
            return sd_bus_reply_method_return(m, "a{ss}", 2, "ID", "debian", "PRETTY_NAME", "Debian 12");
        }
        const char *interface = nullptr, *property = nullptr;
        sd_bus_message_read(m, "ss", &interface, &property);
        const std::string_view path = sd_bus_message_get_path(m);
        for (size_t i = 0; i < machines.size(); ++i)
            if (path.ends_with("/m" + std::to_string(i)) || path.ends_with("/m" + std::to_string(i) + "_2escope"))
                return tell(m, i, property);
        return sd_bus_reply_method_errorf(m, SD_BUS_ERROR_UNKNOWN_OBJECT, "gone");
    }
    int list(sd_bus_message* m) const {
        if (refusal != nullptr) return sd_bus_reply_method_errorf(m, refusal, "no");
        sd_bus_message* reply = nullptr;
        sd_bus_message_new_method_return(m, &reply);
        sd_bus_message_open_container(reply, 'a', "(ssso)");
        for (size_t i = 0; i < machines.size(); ++i) {
            const auto& [name, kind, service, state, started, memory] = machines[i];
            const std::string path = state == "gone" ? "/gone" : "/m" + std::to_string(i);
            sd_bus_message_append(reply, "(ssso)", name.c_str(), kind.c_str(), service.c_str(), path.c_str());
        }
        sd_bus_message_close_container(reply);
        const int sent = sd_bus_message_send(reply);
        sd_bus_message_unref(reply);
        return sent < 0 ? sent : 1;
    }
    int tell(sd_bus_message* m, size_t i, std::string_view property) const {
        const Machine& machine = machines[i];
        const std::string text = property == "State" ? machine.state : "m" + std::to_string(i) + ".scope";
        if (property == "State" || property == "Unit") return sd_bus_reply_method_return(m, "v", "s", text.c_str());
        return sd_bus_reply_method_return(m, "v", "t", property == "MemoryMax" ? machine.memory : machine.started);
    }

    tn::TempTree tree_;
    int listener_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    std::thread thread_;
};

}  // namespace

TEST(Machined, ContainersAreListedWithTheirStates) {
    FakeBus bus;
    bus.machines = {{"web", "container", "systemd-nspawn", "running", 7, 512ULL << 20},
                    {"new", "container", "", "opening"},
                    {"old", "container", "", "closing"},
                    {"lost", "container", "", "gone"},
                    {".host", "host", "", "running"},
                    {"vm", "vm", "libvirt-qemu", "running"},
                    {"lxc-7-a", "container", "libvirt-lxc", "running"}};
    const auto machined = std::make_shared<Machined>(bus.address());
    PodhostGuests pods([machined] { return machined->read(); });
    EXPECT_TRUE(eventually([&] { return rowsOf(pods).size() == 3; }));
    std::map<std::string, std::tuple<uint32_t, uint32_t, std::string>> rows;
    for (const tn::message& row : rowsOf(pods))
        rows[row.get_string(tn::field::Name)] = {row.get_u32(podhost_guests::State),
                                                 row.get_u32(podhost_guests::Memory),
                                                 row.get_string(tn::field::Comment)};
    EXPECT_EQ(rows, (decltype(rows){{"web", {3, 512, "Debian 12"}}, {"new", {2, 0, ""}}, {"old", {5, 0, ""}}}));

    EXPECT_EQ(machined->read().problem, "");
    EXPECT_EQ(bus.osReleases, 1);  // each costs machined a process
    bus.machines[0].started = 8;
    EXPECT_EQ(machined->read(1).problem, "systemd-machined: above the limit of 1");
    EXPECT_EQ(bus.osReleases, 2);
    // Shown when libvirt fails. libvirt's own rows take precedence.
    const Reading<Guest> instead = readContainers("test:///no/such/file.xml", *machined);
    EXPECT_EQ(instead.rows.size(), 3U) << instead.problem;
    EXPECT_THAT(instead.problem, StartsWith("test:///no/such/file.xml: "));
    EXPECT_THAT(readContainers("test:///default", *machined).rows, ElementsAre(::testing::Field(&Guest::name, "test")));
}

TEST(Machined, IsNoProblemUnlessItIsThereAndFails) {
    EXPECT_EQ(Machined("unix:path=/no/such/bus").read().problem, "");
    FakeBus bus;
    Machined machined(bus.address(), std::chrono::milliseconds(50));
    for (const char* refusal :
         {SD_BUS_ERROR_NAME_HAS_NO_OWNER, SD_BUS_ERROR_SERVICE_UNKNOWN, SD_BUS_ERROR_ACCESS_DENIED}) {
        bus.refusal = refusal;
        const bool isDenied = refusal == std::string_view(SD_BUS_ERROR_ACCESS_DENIED);
        EXPECT_EQ(machined.read().problem, isDenied ? "systemd-machined: Permission denied" : "") << refusal;
    }
    bus.refusal = nullptr;
    bus.machines = {{"web", "container", "", "running"}, {"mail", "container", "", "running"}};
    for (const int answers : {0, 1, 2, 5}) {
        bus.answers = answers;
        const Reading<Guest> reading = readContainers("test:///no/such/file.xml", machined);
        EXPECT_THAT(reading.problem, EndsWith(", systemd-machined: Connection timed out"));
        EXPECT_THAT(reading.rows, IsEmpty()) << answers;
    }
}

}  // namespace hostd
