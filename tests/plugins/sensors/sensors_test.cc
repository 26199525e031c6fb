#include "contracts/sensors.h"
#include "agent/modules/entity_module.h"
#include "hostd/sensors/sensor_table.h"
#include "tests/hostd/source/scripted_source.h"
#include "tests/plugins/plugin_test.h"

namespace snmp {
namespace {

using contracts::sensors::Quantity;
using hostd::SensorEntry;

/// The real owner, with sensors of the test.
class SensorsTest : public PluginTest {
  protected:
    SensorsTest() : PluginTest("sensors") {
        agent->addHandler(contracts::sensors::kPath, &owner);
        start_entity_module();
        load();
    }
    static SensorEntry sensor(const std::string& name, Quantity quantity, std::optional<double> value,
                              bool isFaulty = false) {
        return {"board-isa-0290/" + name, "board-isa-0290", name, quantity, value, isFaulty, std::chrono::seconds(990)};
    }
    std::string column(const std::string& name) { return shown(walk(name)); }
    hostd::ScriptedSource<hostd::Reading<SensorEntry>> source{{"",
                                                               {
                                                                   sensor("Core 0", Quantity::Temperature, 45.6),
                                                                   sensor("Outside", Quantity::Temperature, -4.4),
                                                                   sensor("fan1", Quantity::Fan, 1199.6),
                                                                   sensor("+12V", Quantity::Voltage, 12.049),
                                                                   sensor("power1", Quantity::Power, 3e9),
                                                                   sensor("intrusion0", Quantity::Intrusion, 0),
                                                                   sensor("temp9", Quantity::Temperature, 127, true),
                                                                   sensor("in9", Quantity::Voltage, std::nullopt),
                                                               }}};
    hostd::SensorTable owner{source.reader()};
};

TEST_F(SensorsTest, EachIsAnEntityWithItsValueAndHasARowByWhatItMeasures) {
    EXPECT_EQ(source.readings(), 0) << "read before the first request";
    const std::map<std::string, std::string> expected = {
        {"Core 0", "8 8 0 45600 1 degrees Celsius 99000 5000"},
        {"Outside", "8 8 0 -4400 1 degrees Celsius 99000 5000"},
        {"fan1", "10 9 0 1199 1 RPM 99000 5000"},
        {"+12V", "4 8 0 12049 1 volts 99000 5000"},
        {"power1", "6 8 0 1000000000 1 watts 99000 5000"},
        {"intrusion0", "12 9 0 2 1 intrusion 99000 5000"},
        {"temp9", "8 8 0 0 3 degrees Celsius 99000 5000"},
        {"in9", "4 8 0 0 2 volts 99000 5000"},
    };
    const std::string entity = "1.3.6.1.2.1.47.1.1.1.1.", values = "1.3.6.1.2.1.99.1.1.1.";
    EXPECT_EQ(column(entity + "5"), "3 8 8 8 8 8 8 8 8") << "the chassis and the sensors";
    EXPECT_THAT(walk(values + "1"), SizeIs(expected.size()));
    for (const auto& [label, cells] : expected) {
        const uint32_t id = hostd::preferredIdOf("board-isa-0290/" + label);
        const std::string index = std::to_string(id | 0x80000);
        EXPECT_EQ(row(values, {1, 2, 3, 4, 5, 6, 7, 8}, index), cells) << label;
        EXPECT_EQ(row(entity, {2, 4, 5, 7, 16}, index), label + " 65536 8 board-isa-0290/" + label + " 2");
    }
    const std::string lm = "1.3.6.1.4.1.2021.13.16.";
    EXPECT_THAT(column(lm + "2.1.2"), testing::AllOf(HasSubstr("isa-0290/Core 0"), HasSubstr("isa-0290/Outside")));
    EXPECT_THAT(column(lm + "2.1.3"), testing::AnyOf("45600 4294962896", "4294962896 45600"));
    EXPECT_EQ(column(lm + "3.1.3") + "," + column(lm + "4.1.3"), "1199,12049");
    EXPECT_THAT(walk(lm + "5.1.3"), SizeIs(2));
}

}  // namespace
}  // namespace snmp
