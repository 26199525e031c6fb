#include "tn/daemon.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <ios>
#include <tuple>

#include "tests/tn/peers.h"
#include "tests/tn/temp_root.h"
#include "tn/bus_socket.h"

namespace tn {
namespace {

constexpr uint32_t kNumber = 7;
constexpr uid_t kStranger = 12345;

unsigned modeOf(const std::string& path) { return static_cast<unsigned>(std::filesystem::status(path).permissions()); }

class DaemonTest : public testing::Test {
  protected:
    /// Its error message; empty when it can start.
    static std::string refusal() {
        testing::internal::CaptureStderr();
        const bool started = startDaemon({&kNumber, 1});
        std::string line = testing::internal::GetCapturedStderr();
        EXPECT_EQ(started, line.empty()) << line;
        return line;
    }
    TempRoot temporary;
};

TEST_F(DaemonTest, FoldersAreForTheirOwnerToWriteWhateverTheUmask) {
    for (const mode_t mask : {0077U, 0U}) {
        const TempRoot root;
        const mode_t before = umask(mask);
        EXPECT_EQ(refusal(), "");
        umask(before);
        EXPECT_EQ(refusal(), "bus: 7: another process serves this number\n");
        for (const char* folder : {"/tern", "/tern/run"}) EXPECT_EQ(modeOf(rooted(folder)), 0755U);
        EXPECT_EQ(modeOf(busFolder()), 0750U);
        std::string why;
        (void)openBusListener(kNumber, why);  // releases the number
    }
}

// As hostd starts a process, which holds the lock, and as systemd does, while somebody else holds it.
TEST_F(DaemonTest, LockOfAHandedOverNumberIsOnlyLeftToWhoStartedTheProcess) {
    std::string why;
    const BusListener held = openBusListener(kNumber, why);
    ASSERT_TRUE(held.socket) << why;
    const std::pair<const char*, const char*> handedOverAndLocked[] = {{"7", "7"}, {"7", ""}, {"7", "8"}, {"8", "7"}};
    for (const auto& given : handedOverAndLocked) {
        Child child([&] {
            receiveSocket(held.socket.get(), given.first);
            if (*given.second != '\0') setenv(kLockedNumber, given.second, 1);
            const int status = claimBusNumbers({&kNumber, 1}, why) ? 0 : 1;
            return getenv(kLockedNumber) != nullptr ? 2 : status;
        });
        EXPECT_EQ(child.exitStatus(), &given == handedOverAndLocked ? 0 : 1) << given.first << " " << given.second;
    }
}

TEST_F(DaemonTest, InheritedSocketsOfTheWrongKindAreReportedAndReplaced) {
    const std::string isWrong = "bus: 7: the inherited descriptor isn't a listening bus socket\n";
    const auto unixSocket = [](int kind, bool listens) {
        const int fd = socket(AF_UNIX, kind | SOCK_CLOEXEC, 0);
        const sockaddr_un unnamed{.sun_family = AF_UNIX, .sun_path = {}};
        EXPECT_EQ(bind(fd, reinterpret_cast<const sockaddr*>(&unnamed), sizeof unnamed.sun_family), 0);
        EXPECT_TRUE(!listens || ::listen(fd, 1) == 0);
        return fd;
    };
    const int good = unixSocket(SOCK_SEQPACKET, true);
    const struct {
        std::vector<int> sockets;
        bool opensItsOwn;
        std::string said;
        int closed = -1;
    } cases[] = {
        {{good}, false, ""},
        {{unixSocket(SOCK_STREAM, true)}, true, isWrong},
        {{unixSocket(SOCK_DGRAM, false)}, true, isWrong},
        {{unixSocket(SOCK_SEQPACKET, false)}, true, isWrong},
        {{socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0), good}, false, isWrong},
        {{good, unixSocket(SOCK_SEQPACKET, true)},
         false,
         "bus: 7: several inherited sockets; only the first is served\n"},
        {{good, good}, true, "inherited descriptors can't be used: Bad file descriptor\n", 4},
    };
    for (const auto& given : cases) {
        Child child([&] {
            receiveSockets(given.sockets, "7");
            testing::internal::CaptureStderr();
            close(given.closed);  // now: the capture would reuse it
            const bool started = startDaemon({&kNumber, 1});
            Looper looper({kNumber});
            const bool isServed = started && looper.listen();
            EXPECT_EQ(testing::internal::GetCapturedStderr(), given.said);
            EXPECT_TRUE(isServed);
            EXPECT_EQ(std::filesystem::exists(busFolder() + "/7"), given.opensItsOwn);
            return testing::Test::HasFailure() ? 1 : 0;
        });
        EXPECT_EQ(child.exitStatus(), 0) << given.said;
        std::filesystem::remove(busFolder() + "/7");
    }
}

TEST_F(DaemonTest, RootThatOthersCanChangeIsRefused) {
    const auto open = [](const std::string& folder) {
        return "root refused: " + folder + ": writable by users other than its owner\n";
    };
    const auto foreign = [](const std::string& folder) {
        return "root refused: " + folder + ": belongs to user 12345\n";
    };
    for (const char* each : {"/tern", "/tern/store", "/tern/run", "/tern/run/bus"}) {
        const TempRoot root;
        const std::string folder = rooted(each);
        std::filesystem::create_directories(folder);
        for (const mode_t mode : {0775U, 0757U, 01777U}) {
            ASSERT_EQ(chmod(folder.c_str(), mode), 0);
            EXPECT_EQ(refusal(), open(folder));
        }
        ASSERT_EQ(chmod(folder.c_str(), 0755), 0);
        if (chown(folder.c_str(), kStranger, getegid()) != 0) continue;  // only root can do this
        EXPECT_EQ(refusal(), foreign(folder));
        ASSERT_EQ(chown(folder.c_str(), 0, getegid()), 0);
        const std::string elsewhere = root.path("elsewhere");
        std::filesystem::rename(folder, elsewhere);
        std::filesystem::create_symlink(elsewhere, folder);
        ASSERT_EQ(lchown(folder.c_str(), kStranger, getegid()), 0);
        EXPECT_EQ(refusal(), foreign(folder));
    }
    const uid_t us = geteuid();
    const gid_t ours = getegid();
    const std::tuple<mode_t, uid_t, gid_t, std::string> cases[] = {
        {0757, us, ours, open(root())},
        {0775, us, ours, ""},  // a private group under a umask of 002
        {0775, us, kStranger, open(root())},
        {0755, us, kStranger, ""},
        {01777, us, kStranger, ""},  // as /tmp is
        {01777, kStranger, ours, foreign(root())},
    };
    for (const auto& [mode, owner, group, refused] : cases) {
        if (chown(root().c_str(), owner, group) != 0) continue;  // for root alone to try
        ASSERT_EQ(chmod(root().c_str(), mode), 0);
        EXPECT_EQ(refusal(), refused) << std::oct << mode;
        std::string why;
        (void)openBusListener(kNumber, why);
    }
}

}  // namespace
}  // namespace tn
