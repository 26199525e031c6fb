#include <filesystem>

#include "agent/core/plugins.h"
#include "agent/core/start.h"
#include "agent/status/statistics.h"
#include "tests/agent/agent_test.h"

namespace snmp {
namespace {

namespace fs = std::filesystem;

class ShippedPlugins : public AgentTest {
  protected:
    ShippedPlugins() { startModules(); }                       // plug-ins add to the tables of the modules
    static constexpr std::chrono::hours kWhenever{1'000'000};  // however busy the machine is, none is late
    const std::string folder = fs::path(SHIPPED_PLUGINS).parent_path();
    [[nodiscard]] static const PluginState& state(const std::string& name) {
        const auto found = std::ranges::find_if(
            statistics.plugins, [&](const PluginState& plugin) { return fs::path(plugin.file).stem() == name; });
        return found == statistics.plugins.end() ? statistics.plugins.emplace_back() : *found;
    }
};

TEST_F(ShippedPlugins, AreAllLoadedInTheOrderOfTheirNamesAndRecordedWithWhatTheyServe) {
    tryPlugins(folder);
    loadPlugins(kWhenever);
    std::vector<std::string> files;
    for (const PluginState& plugin : statistics.plugins) {
        files.push_back(plugin.file);
        EXPECT_EQ(plugin.fault, "") << plugin.file;
        EXPECT_FALSE(plugin.serves.empty()) << plugin.file;
    }
    EXPECT_EQ(files.size(), std::distance(fs::directory_iterator(folder), {}));
    EXPECT_TRUE(std::ranges::is_sorted(files));
    EXPECT_THAT(state("ifx").serves, testing::IsSupersetOf({"1.3.6.1.2.1.31.1", "1.3.6.1.2.1.31.1.2"}));
}

TEST_F(ShippedPlugins, ADisabledOneServesNothing) {
    tryPlugins(folder, {"ifx", "nothing"});
    loadPlugins(kWhenever);
    EXPECT_EQ(state("ifx").fault, "disabled");
    EXPECT_THAT(state("ifx").serves, IsEmpty());
    EXPECT_FALSE(branches.contains(OID("1.3.6.1.2.1.31.1.2.1")));
}

}  // namespace
}  // namespace snmp
