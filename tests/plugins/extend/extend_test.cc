#include <sys/stat.h>

#include <chrono>
#include <fstream>

#include "contracts/extend.h"
#include "hostd/services/extend.h"
#include "tests/plugins/plugin_test.h"
#include "tests/tn/eventually.h"

namespace snmp {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

/// The real owners, which run programs of the test.
class ExtendTest : public PluginTest {
  protected:
    ExtendTest() : PluginTest("extend") {
        tree.write("program", "#!/bin/sh\neval \"$1\"\n");
        allow("program", 0755);
        agent->addHandler(contracts::extend::kPath, &commands);
        agent->addHandler(contracts::extend_lines::kPath, &lines);
        load();
    }
    void allow(const std::string& name, mode_t mode) { ASSERT_EQ(::chmod(tree.path(name).c_str(), mode), 0); }
    /// Writes the file. @param content  with @ for the program
    void names(std::string content) {
        for (size_t at = 0; (at = content.find('@', at)) != std::string::npos;)
            content.replace(at, 1, tree.path("program"));
        tree.write("extend.conf", content);
        allow("extend.conf", 0644);
    }
    static std::string column(const std::string& name) { return "1.3.6.1.4.1.8072.1.3.2." + name; }
    std::string shows(const std::string& name) { return shown(walk(column(name))); }
    tn::TempTree tree;
    std::shared_ptr<hostd::ExtendRuns> runs = std::make_shared<hostd::ExtendRuns>(tree.path("extend.conf"));
    hostd::ExtendCommands commands{runs};
    hostd::ExtendLines lines{runs};
};

TEST_F(ExtendTest, OutputIsServedWholeByLinesAndWithItsResult) {
    EXPECT_EQ(shows("1"), "0") << "no file";
    names(
        "# what fails\nlonger @ \"printf 'one\\ntwo\\n\\nfour' >&2; exit 3\"\n"
        "a cache=60 @ \"echo x\" y\nended @ \"kill -9 0\"\nnone /no/such/program\n");
    EXPECT_EQ(shows("1"), "4");
    EXPECT_EQ(row(column("2.1."), {3, 4, 5, 6, 7, 20, 21}, "1.97"), "echo x y '' 60 1 1 5 1");
    EXPECT_EQ(shows("2.1.5"), "60 5 5 5") << "shorter names first";
    EXPECT_EQ(shows("3.1.1"), "x '' '' one");
    EXPECT_EQ(shows("3.1.3"), "1 0 0 4");
    EXPECT_EQ(shows("3.1.4"), "0 -1 137 3");
    EXPECT_EQ(value(column("3.1.2.6.108.111.110.103.101.114")), "6F 6E 65 0A 74 77 6F 0A 0A 66 6F 75 72");
    const auto texts = walk(column("4"), 2);
    EXPECT_EQ(shown(texts), "x one two '' four");
    EXPECT_EQ(texts[4].name, column("4.1.2.6.108.111.110.103.101.114.4"));
    EXPECT_EQ(next({column("4.1.2.1.97.1")}).bindings[0].name, column("4.1.2.6.108.111.110.103.101.114.1"));
    const std::string behind = column("4.1.2.33.97");
    EXPECT_THAT(next({behind}).bindings, ElementsAre(endOfView(behind))) << "longer than any name";
}

TEST_F(ExtendTest, ResultsAreKeptAsLongAsTheFileSaysAndOnlyReadsOfThemRunACommand) {
    names("a cache=7 @ \"echo >>" + tree.path("ran") + "; wc -l <" + tree.path("ran") + "\"\n");
    EXPECT_EQ(shows("2.1.2"), tree.path("program"));
    EXPECT_EQ(value(column("3.1.1.1.97")), "1") << "the walk of its configuration didn't run it";
    sources.uptime += 6;
    EXPECT_EQ(shows("4"), "1");
    sources.uptime += 1;
    EXPECT_EQ(shows("4"), "2");
    names("a cache=0 @ \"echo changed\"\n");
    EXPECT_EQ(shows("3.1.1"), "changed");
    (void)set({text(column("2.1.2.1.97"), "/bin/true"), number(column("2.1.7.1.97"), 3)});
    EXPECT_EQ(shows("3.1.1"), "changed");
}

TEST_F(ExtendTest, AProgramThatHangsIsKilledWithItsChildrenAndDelaysOneRequest) {
    names("a timeout=1 @ \"echo begun; sleep 100 & echo $! >" + tree.path("child") + "; wait\"\nbb @ \"echo quick\"\n");
    const auto begun = Clock::now();
    EXPECT_EQ(shows("3.1.1"), "quick");
    EXPECT_EQ(shows("4"), "quick");
    EXPECT_LT(Clock::now() - begun, 900ms);
    EXPECT_TRUE(tn::eventually([&] { return shows("3.1.4") == "-1 0"; })) << shows("3.1.4");
    std::string child, running;
    std::ifstream(tree.path("child")) >> child;
    std::ifstream("/proc/" + child + "/cmdline") >> running;  // empty for one that nobody has reaped yet
    EXPECT_TRUE(!child.empty() && running.empty()) << running;
    EXPECT_EQ(shows("3.1.1"), "begun quick") << "what it wrote until then";
}

TEST_F(ExtendTest, FilesAndProgramsThatOthersCanWriteToAreRefused) {
    names("a cache=0 @ \"echo x\"\n");
    allow("program", 0775);
    EXPECT_EQ(shows("3.1.4"), "-1");
    allow("program", 0755);
    EXPECT_EQ(shows("3.1.4"), "0");
    for (const mode_t mode : {0664U, 0646U}) {
        allow("extend.conf", mode);
        EXPECT_EQ(shows("1"), "0") << mode;
    }
    allow("extend.conf", 0644);
    EXPECT_EQ(shows("1"), "1");
}

TEST(ExtendFile, TakesGoodLinesAndNamesTheFirstFault) {
    const struct {
        std::string line, problem;
    } cases[] = {
        {" \t", ""},
        {"  # a /b", ""},
        {"a cache=0 timeout=300 \"/b c\" \"d e\" cache=1 \"\"\r", ""},
        {"a", "line 2: no program"},
        {"a b", "line 2: expected cache=0 to 86400, timeout=1 to 300 or the path of a program, not b"},
        {"a \"cache=1\" /b",
         "line 2: expected cache=0 to 86400, timeout=1 to 300 or the path of a program, not cache=1"},
        {"a cache=86401 /b",
         "line 2: expected cache=0 to 86400, timeout=1 to 300 or the path of a program, not cache=86401"},
        {"a timeout=0 /b",
         "line 2: expected cache=0 to 86400, timeout=1 to 300 or the path of a program, not timeout=0"},
        {"a /b \"c", "line 2: a quoted word must end with a quote and a space"},
        {"a /b \"c\"d", "line 2: a quoted word must end with a quote and a space"},
        {"first /b", "line 2: another command has this name"},
        {std::string(33, 'a') + " /b", "line 2: a name has 1 to 32 printable ASCII characters"},
        {"\"a b\" /b", "line 2: a name has 1 to 32 printable ASCII characters"},
    };
    for (const auto& [line, problem] : cases) {
        const hostd::ExtendFile file = hostd::parseExtendFile("first /x\n" + line + "\nlast /y");
        EXPECT_EQ(file.problem, problem);
        EXPECT_EQ(file.commands.back().name, "first") << line;
        const bool isCommand = problem.empty() && line[0] == 'a';
        EXPECT_EQ(file.commands.size(), isCommand ? 3U : 2U) << line;
        if (!isCommand) continue;
        EXPECT_THAT(file.commands[0].words, ElementsAre("/b c", "d e", "cache=1", ""));
        EXPECT_EQ(file.commands[0].cache + file.commands[0].timeout, 300s);
    }
}

}  // namespace
}  // namespace snmp
