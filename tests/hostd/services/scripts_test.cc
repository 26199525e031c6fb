#include "hostd/services/scripts.h"

#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "contracts/scripts.h"
#include "tests/hostd/ask.h"
#include "tests/hostd/manual_clock.h"
#include "tests/tn/temp_root.h"
#include "tn/looper.h"

namespace hostd {

namespace scripts = contracts::scripts;

class ScriptsTest : public ::testing::Test {
  protected:
    ScriptsTest() { ::umask(S_IWGRP | S_IWOTH); }  // others' write permission would prevent runs
    void has(const std::string& name, const std::string& text = "", mode_t mode = 0755) {
        tree.write(name, "#!/bin/sh\n" + text + "\n");
        ::chmod(tree.path(name).c_str(), mode);
    }
    std::vector<std::string> names() { return listed(scripts, scripts::Name); }
    uint32_t rename(uint32_t id, const std::string& name) {
        return errorOf(ask(scripts, tn::cmd::Set, tn::with(of(id), scripts::Name, name)));
    }
    std::string content(const std::string& name) {
        std::ifstream file(tree.path(name));
        return {std::istreambuf_iterator<char>(file), {}};
    }
    ManualClock clock;
    tn::TempTree tree;
    Scripts scripts{tree.path()};
};

TEST_F(ScriptsTest, AreTheExecutableFilesOfTheFolder) {
    EXPECT_THAT(names(), IsEmpty());
    for (const char* name : {"b", "a", ".hidden", "sub/inner"}) has(name);
    has("text", "", 0644);
    EXPECT_THAT(names(), ElementsAre("1:a", "2:b"));
    tree.remove("a");
    has("c");
    EXPECT_THAT(names(), ElementsAre("2:b", "3:c"));
    has("a");
    ::chmod(tree.path("text").c_str(), 0755);  // the folder's own time doesn't tell
    clock.time += Scripts::kMaxAge;
    EXPECT_THAT(names(), ElementsAre("2:b", "3:c", "4:a", "5:text"));
    EXPECT_THAT(listed(*std::make_unique<Scripts>(tree.path("none")), scripts::Name), IsEmpty());
}

TEST_F(ScriptsTest, AreRenamedUnlessTheNameIsBadOrTaken) {
    has("a");
    has("b", "echo b");
    EXPECT_THAT(names(), ElementsAre("1:a", "2:b"));
    for (const std::string& bad : {std::string("b"), std::string("x/y"), std::string("../x"), std::string(".x"),
                                   std::string(), std::string("x\0y", 3), std::string(256, 'x')})
        EXPECT_EQ(rename(1, bad), tn::error::Refused) << bad;
    EXPECT_EQ(rename(9, "x"), tn::error::NotFound);
    for (int times = 0; times < 2; ++times) EXPECT_EQ(rename(1, "renamed"), 0U);
    EXPECT_THAT(names(), ElementsAre("1:renamed", "2:b"));
    EXPECT_EQ(content("b"), "#!/bin/sh\necho b\n");
}

TEST_F(ScriptsTest, RunDetachedAndAreReaped) {
    // In a separate process group and session, with nothing to read, and without our descriptors.
    has("run",
        "exec > \"$0.new\" 2>&1; cat; ls /proc/self/fd | tr '\\n' ' '; grep SigIgn /proc/self/status\n"
        "cut -d' ' -f5,6 /proc/self/stat; mv \"$0.new\" \"$0.seen\"");
    has("bad");
    tree.write("bad", "#!/no/such/interpreter\n");
    EXPECT_THAT(names(), ElementsAre("1:bad", "2:run"));
    tn::Looper looper({});
    const auto before = ::signal(SIGPIPE, SIG_IGN);  // as daemons have it
    EXPECT_EQ(errorOf(ask(scripts, scripts::kRun, of(1))), tn::error::Refused);
    EXPECT_EQ(errorOf(ask(scripts, scripts::kRun, of(9))), tn::error::NotFound);
    EXPECT_EQ(errorOf(ask(scripts, scripts::kRun, of(2))), 0U);
    EXPECT_TRUE(eventually([&] { return !content("run.seen").empty(); }, &looper));
    ::signal(SIGPIPE, before);
    const std::string seen = content("run.seen"), own = std::to_string(::getpgrp());
    EXPECT_THAT(seen, StartsWith("0 1 2 3 SigIgn:\t"));  // 3 is the listed folder
    std::istringstream words(seen.substr(seen.find('\t')));
    std::string ignored, group, session;
    words >> ignored >> group >> session;
    EXPECT_EQ(std::stoull(ignored, nullptr, 16) >> (SIGPIPE - 1) & 1, 0U);
    EXPECT_NE(group, own);
    EXPECT_EQ(group, session);
}

TEST_F(ScriptsTest, AreListedAndNotRunWhenOthersMayHaveWrittenThem) {
    const std::string others = ": writable by users other than its owner";
    const std::string stranger = ": belongs to user 65534";
    const std::string badName = "its name begins with - or has octets that aren't printable ASCII";
    const struct {
        std::string name, changed;  // of the script; of what gets the mode and the owner, below top
        mode_t mode;
        uid_t owner;
        std::string refused;  // the end of the refusal; empty when it is run
    } cases[] = {
        {"a b~", "", 0755, 0, ""},
        {"-a", "", 0755, 0, badName},
        {"a\n", "", 0755, 0, badName},
        {"group", "/folder/group", 0775, 0, "/folder/group" + others},
        {"theirs", "/folder/theirs", 0755, 65534, "/folder/theirs" + stranger},
        {"a", "/folder", 01777, 0, "/folder" + others},
        {"a", "/folder", 0755, 65534, "/folder" + stranger},
        {"a", "/..", 0757, 0, others},
        {"a", "", 01777, 0, ""},  // as /tmp is
        {"link", "/elsewhere", 0757, 0, "/elsewhere" + others},
    };
    const tn::Looper looper({});
    for (const auto& [name, changed, mode, owner, refused] : cases) {
        if (owner != 0 && ::geteuid() != 0) continue;  // giving a file away takes root
        tree.remove();
        has(name == "link" ? "top/elsewhere/link" : "top/folder/" + name);
        if (name == "link") {
            std::filesystem::create_directory(tree.path("top/folder"));
            std::filesystem::create_symlink("../elsewhere/link", tree.path("top/folder/link"));
        }
        const std::string target = tree.path("top" + changed);
        ASSERT_EQ(::chmod(target.c_str(), mode), 0);
        ASSERT_EQ(::chown(target.c_str(), owner != 0 ? owner : ::geteuid(), static_cast<gid_t>(-1)), 0);
        Scripts found(tree.path("top/folder"));
        EXPECT_THAT(listed(found, scripts::Name), ElementsAre("1:" + name));
        const tn::message reply = ask(found, scripts::kRun, of(1));
        EXPECT_EQ(tn::isError(reply), !refused.empty()) << name << " " << target << ": " << tn::getError(reply);
        EXPECT_THAT(tn::getError(reply), ::testing::EndsWith(refused));
    }
}

TEST_F(ScriptsTest, OnlySoManyRunAtOnce) {
    has("sleep", "exec sleep 0.3");
    EXPECT_THAT(names(), ElementsAre("1:sleep"));
    tn::Looper looper({});
    for (size_t i = 0; i < Scripts::kMaxRuns; ++i) EXPECT_EQ(errorOf(ask(scripts, scripts::kRun, of(1))), 0U);
    EXPECT_EQ(errorOf(ask(scripts, scripts::kRun, of(1))), tn::error::Refused);
    EXPECT_TRUE(eventually([&] { return errorOf(ask(scripts, scripts::kRun, of(1))) == 0; }, &looper));
}

}  // namespace hostd
