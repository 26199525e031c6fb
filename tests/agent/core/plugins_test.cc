#include "agent/core/plugins.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>

#include "agent/status/statistics.h"
#include "agent/traps/trap_generators.h"
#include "tests/agent/said.h"
#include "tests/tn/temp_root.h"

namespace snmp {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::StartsWith;
using testing::UnorderedElementsAre;

class PluginsTest : public testing::Test {
  protected:
    /// Puts a plug-in of tests/shared_objects into the folder under a name.
    fs::path put(const std::string& plugin, const fs::path& name, mode_t mode = 0644) {
        const fs::path file = folder / name;
        fs::create_directories(file.parent_path());
        fs::copy_file(SHARED_OBJECTS + plugin + ".so", file);
        EXPECT_EQ(chmod(file.c_str(), mode), 0);
        return file;
    }

    /// The lines that loading the folder writes, the folder itself as ".".
    std::vector<std::string> linesOfLoading(std::chrono::milliseconds time = std::chrono::seconds(30)) {
        return linesOf([this, time] {
            tryPlugins(folder);
            loadPlugins(tn::sinceBoot() + time);
        });
    }
    std::vector<std::string> linesOf(const std::function<void()>& call) {
        std::istringstream text(said(call));
        std::vector<std::string> lines;
        for (std::string line; std::getline(text, line);) {
            for (size_t at = 0; (at = line.find(folder, at)) != std::string::npos;)
                line.replace(at, folder.size(), ".");
            lines.push_back(line);
        }
        return lines;
    }

    PluginsTest() { umask(S_IWGRP | S_IWOTH); }  // folders that others may write are refused

    tn::TempRoot root;
    const std::string folder = root.folder();
};

TEST_F(PluginsTest, FilesThatEndInSoAreStartedWhereverTheyLieAndABrokenLinkEndsItsFolderOnly) {
    put("speaks", "x.so");
    put("speaks", ".hidden.so");
    put("speaks", "plugin.so.1");
    put("speaks", "plugins");
    put("speaks", "d.so/inner.so");
    put("speaks", ".git/below.so");
    fs::create_directories(folder + "/broken/empty.so");
    fs::create_symlink("nowhere", folder + "/broken/link.so");
    EXPECT_THAT(linesOfLoading(),
                UnorderedElementsAre("plugin loaded: ./x.so", "autorun", "plugin loaded: ./d.so/inner.so", "autorun"));
    root.remove();
    EXPECT_THAT(linesOfLoading(), IsEmpty());
}

TEST_F(PluginsTest, WhatIsWrongWithOneCostsThatOneAlone) {
    std::ofstream(put("mute", "text.so")) << "no shared object";
    EXPECT_THAT(linesOfLoading(), ElementsAre("failed dlopen: ./text.so:", StartsWith("./text.so: ")));

    fs::remove(folder + "/text.so");
    put("needy", "needy.so");
    EXPECT_THAT(linesOfLoading(),
                ElementsAre("failed dlopen: ./needy.so:", "./needy.so: undefined symbol: nowhereToBeFound"));

    fs::remove(folder + "/needy.so");
    put("mute", "mute.so");
    put("old", "old.so");
    put("throws", "throws.so");
    put("bursts", "bursts.so");
    put("aborts", "aborts.so");
    put("speaks", "good.so");
    statistics = {};
    EXPECT_THAT(
        linesOfLoading(),
        UnorderedElementsAre(
            "plugin loaded: ./mute.so", "plugin ./mute.so has no symbol autorun", "plugin loaded: ./old.so",
            "plugin built for another version: ./old.so: 0.0.1, this is " TARNIX_VERSION, "plugin loaded: ./throws.so",
            "plugin failed in autorun: ./throws.so: no such sensor",
            "plugin refused: ./aborts.so: the process ends when it is loaded",
            "plugin refused: ./bursts.so: the process ends when it is loaded", "plugin loaded: ./good.so", "autorun"));
    std::map<std::string, std::string> faults;
    for (const PluginState& plugin : statistics.plugins) faults[fs::path(plugin.file).stem()] = plugin.fault;
    EXPECT_THAT(faults, UnorderedElementsAre(Pair("mute", "no symbol autorun"), Pair("old", "built for version 0.0.1"),
                                             Pair("throws", "failed in autorun: no such sensor"), Pair("good", ""),
                                             Pair("aborts", "refused: the process ends when it is loaded"),
                                             Pair("bursts", "refused: the process ends when it is loaded")));
}

TEST_F(PluginsTest, AgentStartsWithoutLatePluginsAndLoadsThemWhenTheirTrialIsOver) {
    put("stalls", "a.so");
    put("slow", "b.so");
    EXPECT_THAT(linesOfLoading(std::chrono::milliseconds(0)),
                ElementsAre("plugin late: ./a.so: the agent starts without it",
                            "plugin late: ./b.so: the agent starts without it"));
    scribers.push_back({"of the next plug-in", nullptr, nullptr});
    std::vector<std::string> later;
    while (later.empty()) later = linesOf([] { EXPECT_TRUE(loadLatePlugins()) << "a.so hangs"; });
    EXPECT_THAT(later, ElementsAre("plugin loaded: ./b.so", "autorun"));
    EXPECT_THAT(scribers.end()[-2].name, "slow");
    while (true) {
        later = linesOf([] { (void)loadLatePlugins(); });
        if (!later.empty()) break;
        usleep(100'000);
    }
    EXPECT_THAT(later, ElementsAre("plugin refused: ./a.so: it isn't loaded within 10 s"));
    EXPECT_FALSE(loadLatePlugins());
}

const std::string kWritable = ": writable by users other than its owner";

TEST_F(PluginsTest, WhatOthersMayWriteIsRefusedWithAllThatIsInIt) {
    put("speaks", "good.so", 0700);
    put("speaks", "world.so", 0602);
    put("speaks", "open/one.so");
    fs::create_symlink("open/one.so", folder + "/link.so");
    ASSERT_EQ(chmod((folder + "/open").c_str(), 0775), 0);
    EXPECT_THAT(linesOfLoading(),
                UnorderedElementsAre("plugin loaded: ./good.so", "autorun", "plugin refused: ./world.so" + kWritable,
                                     "plugin refused: ./open" + kWritable, "plugin refused: ./open" + kWritable))
        << "the second time by the link";
    ASSERT_EQ(chmod(folder.c_str(), 0770), 0);
    EXPECT_THAT(linesOfLoading(), ElementsAre("plugin refused: ." + kWritable));
}

constexpr const char* kTooLong =
    "Refusing to search for snmp plugins in following directory, because it's path is longer than 128 characters "
    "(recursive symlink?):";

TEST_F(PluginsTest, A128OctetPathIsSearchedAndALongerOneIsNot) {
    const size_t room = 128 - folder.size() - 1;
    const std::string longest(room, 'a');
    const std::string tooLong(room + 1, 'b');
    put("speaks", longest + "/in.so");
    put("speaks", tooLong + "/in.so");
    EXPECT_THAT(linesOfLoading(),
                UnorderedElementsAre("plugin loaded: ./" + longest + "/in.so", "autorun", kTooLong, "./" + tooLong));
}

TEST_F(PluginsTest, SymlinksToFoldersAboveEnd) {
    // Two of them have as many paths as a binary tree of the greatest depth.
    for (const char* name : {"/up", "/down"}) fs::create_directory_symlink(".", folder + name);
    EXPECT_THAT(linesOfLoading(), testing::Contains(StartsWith("plugins: more")).Times(1));
}

}  // namespace
}  // namespace snmp
