// PCI and USB devices of a prepared tree, and the USB reset.

#include <pthread.h>

#include <algorithm>

#include "contracts/devices.h"
#include "hostd/machine/pci.h"
#include "hostd/machine/usb.h"
#include "hostd/machine/usb_reset.h"
#include "hostd/source/sysfs.h"
#include "tests/hostd/ask.h"
#include "tests/hostd/manual_clock.h"
#include "tests/tn/temp_root.h"

namespace hostd {

namespace pci_devices = contracts::pci_devices;
namespace usb_devices = contracts::usb_devices;
namespace usb_reset = contracts::usb_reset;

namespace {

constexpr const char* kIds =
    "# names\n"
    "8086  Intel Corporation\n"
    "\t100e  82540EM Gigabit Ethernet Controller\n"
    "1af4  Red Hat, Inc.\n";

class DevicesTest : public ::testing::Test {
  protected:
    using Attributes = std::initializer_list<std::pair<const char*, std::string>>;
    void plug(const std::string& folder, Attributes attributes) {
        for (const auto& [name, value] : attributes) tree.write("bus/" + folder + "/" + name, value + "\n");
    }
    void plugPci(const std::string& name, const std::string& vendor, const std::string& device) {
        plug("pci/devices/" + name, {{"vendor", vendor}, {"device", device}});
    }
    void plugUsb(const std::string& name, const std::string& bus, const std::string& number,
                 const std::string& vendor = "1d6b", const std::string& product = "0002") {
        plug("usb/devices/" + name,
             {{"busnum", bus}, {"devnum", number}, {"idVendor", vendor}, {"idProduct", product}});
    }
    /// Asks until the table is as expected.
    bool becomes(tn::Handler& table, tn::string_id text, const std::vector<std::string>& expected) {
        clock.time += 10'000ms;
        return become(table, text, expected);
    }
    static std::vector<std::string> texts(const tn::message& row, std::initializer_list<tn::string_id> fields) {
        std::vector<std::string> all;
        for (const tn::string_id id : fields) all.push_back(row.get_string(id));
        return all;
    }
    static uint32_t switchOff(UsbReset& owner, uint32_t seconds = usb_reset::kMaxSeconds) {
        return errorOf(ask(owner, usb_reset::kSwitchOff, tn::with({}, usb_reset::Seconds, seconds)));
    }
    ManualClock clock;
    tn::TempTree tree;
};

}  // namespace

TEST_F(DevicesTest, PciRowsAreNamedAndKeepTheirIds) {
    tree.write("pci.ids", kIds);
    plugPci("0000:00:1f.2", "0x8086", "0x100e");
    plugPci("0000:01:00.0", "0x1af4", "0x1041");
    plugPci("10000:00:1f.2", "0xabcd", "0x0001");  // a separate bus behind a controller
    plugPci("10001:00:1f.2", "0xabcd", "0x0001");
    plugPci("nonsense", "0x8086", "0x100e");
    plugPci("0000:00:20.0", "0x8086", "0x100e");                    // no such device number
    tree.write("bus/pci/devices/0000:00:03.0/vendor", "0x8086\n");  // half gone
    PciDevices table(tree.path(), tree.path("pci.ids"));
    EXPECT_TRUE(becomes(table, pci_devices::Name,
                        {"250:0000:00:1f.2", "256:0000:01:00.0", "65786:10000:00:1f.2", "65787:10001:00:1f.2"}));
    const auto rows = rowsOf(table);
    const std::string nic = "82540EM Gigabit Ethernet Controller";
    const auto names = {pci_devices::Maker, pci_devices::Model, pci_devices::MakerName, pci_devices::ModelName};
    EXPECT_THAT(texts(rows[0], names), ElementsAre("Intel Corporation", nic, "Intel Corporation", nic));
    EXPECT_THAT(texts(rows[1], {pci_devices::Maker, pci_devices::Model}), ElementsAre("Red Hat, Inc.", "Device 1041"));
    EXPECT_THAT(texts(rows[2], {pci_devices::Maker, pci_devices::Model}), ElementsAre("Vendor abcd", "Device 0001"));
    tree.remove("bus/pci/devices/10000:00:1f.2");
    plugPci("0000:00:03.0", "0x8086", "0x100e");
    EXPECT_TRUE(
        becomes(table, pci_devices::Model, {"24:" + nic, "250:" + nic, "256:Device 1041", "65787:Device 0001"}));
}

TEST_F(DevicesTest, ADamagedListOfNamesCostsNamesOnly) {
    tree.write("pci.ids", "8086  Intel Corporation\n\t\tgarbage before any device\n");
    plugPci("0000:00:1f.2", "0x8086", "0x100e");
    for (const char* list : {"pci.ids", "none"}) {
        const Reading<PciDevice> reading = PciReader(tree.path(), tree.path(list)).read();
        EXPECT_EQ(reading.rows.at(0).model, "Device 100e") << list;
        EXPECT_NE(reading.problem, "");
    }
    EXPECT_THAT(PciReader(tree.path("none")).read().rows, IsEmpty());

    PciReader hasty(tree.path(), tree.path("later"), std::chrono::milliseconds(0));
    EXPECT_NE(hasty.read().problem, "");
    tree.write("later", kIds);
    EXPECT_EQ(hasty.read().rows.at(0).model, "82540EM Gigabit Ethernet Controller");
    EXPECT_EQ(hasty.read().problem, "");
}

TEST_F(DevicesTest, UsbRowsAreWhatDevicesSayAndTheListKnows) {
    plugUsb("usb1", "1", "1");
    plug("usb/devices/usb1",
         {{"manufacturer", "Linux 6.1 xhci-hcd"}, {"product", "xHCI Host Controller"}, {"serial", "0000:00:14.0"}});
    plugUsb("1-1.4", "1", "9", "0403", "6001");
    plugUsb("usb2", "2", "1", "dead", "beef");
    tree.write("bus/usb/devices/1-0:1.0/bNumEndpoints", "01\n");
    UsbDevices table(tree.path(), [](uint32_t vendor, uint32_t product) -> UsbNames {
        if (vendor == 0x0403 && product == 0x6001) return {"FTDI, Ltd", "FT232"};
        return vendor == 0x1d6b ? UsbNames{"Linux Foundation", ""} : UsbNames{};
    });
    EXPECT_TRUE(becomes(table, usb_devices::Name, {"129:usb1", "137:1-1.4", "257:usb2"}));
    const auto rows = rowsOf(table);
    const auto names = {usb_devices::Maker, usb_devices::Product, usb_devices::Serial, usb_devices::MakerName,
                        usb_devices::ModelName};
    EXPECT_THAT(texts(rows[0], names), ElementsAre("Linux 6.1 xhci-hcd", "xHCI Host Controller", "0000:00:14.0",
                                                   "Linux Foundation", "xHCI Host Controller"));
    EXPECT_THAT(texts(rows[1], names), ElementsAre("FTDI, Ltd", "FT232", "", "FTDI, Ltd", "FT232"));
    EXPECT_THAT(texts(rows[2], names), ElementsAre("Vendor dead", "Device beef", "", "Vendor dead", "Device beef"));
}

TEST_F(DevicesTest, UsbNamesAreLookedUpOnceTheyAreKnown) {
    plugUsb("usb1", "1", "1");
    plugUsb("usb2", "2", "1");
    plugUsb("usb3", "3", "1", "1d6b", "0003");
    bool isThere = false;
    int lookUps = 0;
    UsbReader reader(tree.path(), [&](uint32_t, uint32_t product) -> UsbNames {
        ++lookUps;
        return isThere ? UsbNames{"Linux Foundation", std::to_string(product) + ".0 root hub"} : UsbNames{};
    });
    EXPECT_EQ(reader.read().rows.at(2).modelName, "Device 0003");
    isThere = true;  // udev has made its database
    lookUps = 0;
    for (int i = 0; i < 3; ++i) {
        const auto rows = reader.read().rows;
        EXPECT_EQ(rows.at(1).modelName, "2.0 root hub");
        EXPECT_EQ(rows.at(2).modelName, "3.0 root hub");
    }
    EXPECT_EQ(lookUps, 2);
}

TEST_F(DevicesTest, UsbPortsAreSwitchedOffAndOnAgain) {
    const std::string usb = "bus/usb/devices/";
    const std::string ports[] = {usb + "1-0:1.0/usb1-port1/disable", usb + "2-0:1.0/usb2-port1/disable"};
    const std::string behindHub = "bus/usb/devices/1-1:1.0/1-1-port1/disable";
    const auto are = [&](const std::string& value) {
        return eventually([&] {
            return std::ranges::all_of(ports, [&](auto& port) { return readAttribute(tree.path(port)) == value; });
        });
    };
    UsbReset allowed(tree.path(), true);
    EXPECT_EQ(switchOff(allowed), tn::error::Refused);           // no port
    for (const std::string& port : ports) tree.write(port, "");  // it isn't read: the kernel would ask the hub
    tree.write(behindHub, "0\n");
    UsbReset forbidden(tree.path(), false);
    EXPECT_EQ(switchOff(forbidden), tn::error::Refused);
    for (const uint32_t seconds : {0U, usb_reset::kMaxSeconds + 1, 0xffffffffU})
        EXPECT_EQ(switchOff(allowed, seconds), tn::error::Refused) << seconds;
    pthread_attr_t usual, huge;
    ASSERT_EQ(pthread_getattr_default_np(&usual) + pthread_getattr_default_np(&huge), 0);
    pthread_attr_setstacksize(&huge, size_t{1} << 50);  // more than there are addresses: no thread can be made
    ASSERT_EQ(pthread_setattr_default_np(&huge), 0);
    EXPECT_EQ(switchOff(allowed), tn::error::Refused);
    ASSERT_EQ(pthread_setattr_default_np(&usual), 0);
    for (pthread_attr_t* attributes : {&usual, &huge}) pthread_attr_destroy(attributes);
    EXPECT_TRUE(are(""));
    EXPECT_EQ(switchOff(allowed, 1), 0U);  // no earlier one counts as under way
    EXPECT_TRUE(are("1"));
    EXPECT_TRUE(are("0"));  // by itself

    auto owner = std::make_unique<UsbReset>(tree.path(), true);
    EXPECT_EQ(switchOff(*owner), 0U);
    EXPECT_TRUE(are("1"));
    EXPECT_EQ(switchOff(*owner), tn::error::Refused);  // under way
    owner.reset();                                     // the process ends meanwhile
    EXPECT_TRUE(are("0"));
    EXPECT_EQ(readAttribute(tree.path(behindHub)), "0");
}

}  // namespace hostd
