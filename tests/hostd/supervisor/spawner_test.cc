#include "hostd/supervisor/spawner.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "tests/tn/child.h"
#include "tests/tn/temp_root.h"
#include "tn/sources.h"

namespace hostd {
namespace {

/// Children are one-line shell scripts that write what they see to a file.
class SpawnerTest : public ::testing::Test {
  protected:
    SpawnerTest() {
        ::strcpy(address.sun_path, tree.path("socket").c_str());
        listener = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        EXPECT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        EXPECT_EQ(::listen(listener, 8), 0);
    }
    ~SpawnerTest() override {
        ::close(listener);
        ::close(client);
    }

    Spawner::Program script(const std::string& text) {
        return {{"/bin/sh", "-c", "cd " + tree.path() + "; " + text}, listener, "34"};
    }
    void connectAsClient() {
        EXPECT_EQ(::connect(client, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    }
    bool exists(const std::string& name) { return ::access(tree.path(name).c_str(), F_OK) == 0; }
    using Lines = std::vector<std::string>;
    Lines lines(const std::string& name) {
        Lines all;
        std::ifstream file(tree.path(name));
        for (std::string line; std::getline(file, line);) all.push_back(line);
        return all;
    }
    /// Runs the loop until the condition holds, at most that long. @return whether it does
    template <class Condition>
    bool within(uint64_t milliseconds, Condition holds) {
        const uint64_t end = tn::getMilliseconds() + milliseconds;
        while (!holds() && tn::getMilliseconds() < end) runner.runOnce(std::chrono::milliseconds(10));
        return holds();
    }
    void runFor(uint64_t milliseconds) {
        (void)within(milliseconds, [] { return false; });
    }

    tn::TempTree tree;
    sockaddr_un address = {AF_UNIX, {}};
    int listener = -1;
    int client = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    tn::ThinRunner runner;
};

TEST_F(SpawnerTest, HandsTheSocketOverAndNothingElse) {
    ::setenv("NOTIFY_SOCKET", "/ours", 1);
    const int leaked = ::dup(listener);  // a descriptor without close-on-exec
    const auto pipeSignal = ::signal(SIGPIPE, SIG_IGN);
    Spawner spawner(
        runner,
        script("echo $$ $LISTEN_PID $LISTEN_FDS $LISTEN_FDNAMES $TARNIX_LOCKED_NUMBER [$NOTIFY_SOCKET] > seen;"
               "sh -c 'kill -PIPE $$; echo SIGPIPE is ignored' >> seen;"
               "readlink /proc/$$/fd/3 | cut -d: -f1 >> seen;"
               "ls -I '1?' /proc/$$/fd >> seen; touch done; exec sleep 20"));  // 10..19: the shell's
    ASSERT_TRUE(spawner.start());
    ASSERT_TRUE(within(5000, [this] { return exists("done"); }));
    const std::string pid = std::to_string(spawner.child());
    EXPECT_EQ(lines("seen"), (Lines{pid + " " + pid + " 1 34 34 []", "socket", "0", "1", "2", "3"}));
    ::signal(SIGPIPE, pipeSignal);
    ::close(leaked);
    ::unsetenv("NOTIFY_SOCKET");
}

TEST_F(SpawnerTest, ACrashLoopStartsAtMostOnceASecond) {
    Spawner spawner(runner, script("echo x >> starts; [ $(wc -l < starts) = 1 ] && exit 1; kill -KILL $$"));
    const uint64_t before = tn::getMilliseconds();
    ASSERT_TRUE(spawner.start());
    EXPECT_TRUE(within(20'000, [this] { return lines("starts").size() == 3; }));  // at 0, 1 and 2 s
    EXPECT_GE(tn::getMilliseconds() - before, 2 * Spawner::kPause);
}

TEST_F(SpawnerTest, AChildThatLeftComesBackWhenAClientConnects) {
    Spawner spawner(runner, script("echo x >> starts; exit 0"));
    ASSERT_TRUE(spawner.start());
    runFor(1300);
    EXPECT_EQ(lines("starts").size(), 1);
    EXPECT_EQ(spawner.child(), 0);
    EXPECT_EQ(runner.sleepTime(), std::chrono::milliseconds::max());  // nothing ticks meanwhile

    const uint64_t before = tn::getMilliseconds();
    connectAsClient();  // never accepted: started again, but once a second
    EXPECT_TRUE(within(20'000, [this] { return lines("starts").size() == 4; }));
    EXPECT_GE(tn::getMilliseconds() - before, 2 * Spawner::kPause);
}

TEST_F(SpawnerTest, AProgramThatIsNotThereIsSaidAtOnce) {
    Spawner spawner(runner, {{tree.path("nothing")}, listener, "34"});
    EXPECT_FALSE(spawner.start());
    EXPECT_EQ(spawner.child(), 0);
    EXPECT_EQ(findProgram("no-such-program-anywhere"), "");
    EXPECT_TRUE(findProgram("sh").ends_with("/sh"));
    EXPECT_EQ(findProgram("./as/is"), "./as/is");
}

TEST_F(SpawnerTest, AProgramThatIsMissingForAWhileIsStartedWhenItIsBack) {
    const std::string program = tree.path("program");
    std::filesystem::create_symlink("/bin/sh", program);
    Spawner spawner(runner, {{program, "-c", "cd " + tree.path() + "; echo x >> starts; exit 1"}, listener, "34"});
    ASSERT_TRUE(spawner.start());
    ASSERT_TRUE(within(5000, [this] { return exists("starts"); }));
    std::filesystem::remove(program);
    runFor(Spawner::kPause + 300);
    std::filesystem::create_symlink("/bin/sh", program);
    EXPECT_TRUE(within(10'000, [this] { return lines("starts").size() >= 2; }));
}

TEST_F(SpawnerTest, StopEndsTheChildAndWaitsForIt) {
    Spawner spawner(runner,
                    script("echo x >> starts; trap 'echo ended > end; exit 0' TERM; while :; do sleep 0.05; done"));
    ASSERT_TRUE(spawner.start());
    ASSERT_TRUE(within(5000, [this] { return exists("starts"); }));
    connectAsClient();
    runFor(1300);
    EXPECT_EQ(lines("starts").size(), 1);  // a connection starts no second one
    const pid_t child = spawner.child();
    spawner.stop();
    EXPECT_EQ(lines("end"), Lines{"ended"});
    EXPECT_FALSE(std::filesystem::exists("/proc/" + std::to_string(child)));
    runFor(1200);
    EXPECT_EQ(spawner.child(), 0);  // and stays away
}

TEST_F(SpawnerTest, TheChildDiesWithItsParent) {
    tn::Child parent([&] {  // another tarnix-hostd, killed before it can do anything
        tn::ThinRunner own;
        Spawner spawner(own, script("echo $$ > pid; exec sleep 20"));
        if (spawner.start()) (void)tn::eventually([this] { return !lines("pid").empty(); });
        return ::raise(SIGKILL);
    });
    parent.wait();
    ASSERT_EQ(lines("pid").size(), 1);
    std::string stat;
    EXPECT_TRUE(within(5000, [&] {
        std::ifstream file("/proc/" + lines("pid")[0] + "/stat");
        return !std::getline(file, stat) || stat.find(") Z ") != std::string::npos;
    }));
}

}  // namespace
}  // namespace hostd
