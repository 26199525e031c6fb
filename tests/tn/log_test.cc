#include "tn/log.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <ostream>

#include "tests/tn/temp_root.h"
#include "tn/bus_socket.h"
#include "tn/sources.h"

namespace tn {
namespace {

class HandSetClock : public Sources {
  public:
    uint64_t bootNanoseconds() override { return seconds * 1'000'000'000 + milliseconds * 1'000'000; }
    int64_t wallSeconds() override { return 1'000'000'000; }
    static inline uint64_t seconds = 0;  // never goes back: the limits of earlier tests stay in the process
    uint64_t milliseconds = 0;
};

class LogTest : public testing::Test {
  protected:
    LogTest() {
        setSources(&clock);
        setLogTarget(LogTarget::Stderr);
        clock.seconds += 1000;
        written([] { serr << "what earlier tests left is accounted for"; });
    }
    ~LogTest() override {
        setLogTarget(LogTarget::Syslog);
        setSources(nullptr);
    }

    static std::string written(const std::function<void()>& f) {
        testing::internal::CaptureStderr();
        f();
        return testing::internal::GetCapturedStderr();
    }
    static size_t lines(const std::string& text) {
        return static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
    }
    static std::string storm(const lstream& stream, const char* cause, int lines) {
        return written([&] {
            for (int i = 0; i < lines; ++i) stream << cause << i;
        });
    }

    HandSetClock clock;
    lstream log{20};
};

/// Counts how often it is written.
struct Counted {
    int* written;
    friend std::ostream& operator<<(std::ostream& out, const Counted& c) { return ++*c.written, out << "counted"; }
};

TEST_F(LogTest, MutedStreamFormatsNothingAndWithoutATargetNothingIsWritten) {
    int formatted = 0;
    lstream debug{20, 5};
    EXPECT_TRUE(debug.isMuted());
    EXPECT_EQ(written([&] { debug << Counted{&formatted} << Counted{&formatted}; }), "");
    EXPECT_EQ(formatted, 0);
    debug.mute(false);
    EXPECT_EQ(written([&] { debug << Counted{&formatted}; }), "[20] counted\n");
    setLogTarget(LogTarget::None);
    EXPECT_EQ(written([&] { log << "none one", serr << "none two"; }), "");
}

TEST_F(LogTest, TheJournalGetsTheSeverityOfEachLine) {
    const auto write = [this] {
        lstream debug{20, 5};
        debug.mute(false);
        serr << "step";
        swarn << "fault";
        log << "log";
        debug << "detail";
    };
    const std::string text = written([&] {
        struct stat output = {};
        ASSERT_EQ(fstat(STDERR_FILENO, &output), 0);
        setenv("JOURNAL_STREAM", (std::to_string(output.st_dev) + ":" + std::to_string(output.st_ino)).c_str(), 1);
        write();
        setenv("JOURNAL_STREAM", "1:1", 1);  // the journal reads another output
        write();
    });
    unsetenv("JOURNAL_STREAM");
    EXPECT_EQ(text, "<6>step\n<4>fault\n<6>[20] log\n<7>[20] detail\nstep\nfault\n[20] log\n[20] detail\n");
}

TEST_F(LogTest, UnprintableTextCannotForgeALine) {
    const std::pair<std::string_view, std::string_view> cases[] = {
        {"two\nlines\ttab", "two\\nlines\\ttab"},
        {std::string_view("nul\0esc\x1b[2J", 11), "nul\\x00esc\\x1b[2J"},
        {"back\\slash", "back\\\\slash"},
        {"gr\xc3\xbc\xc3\x9f \xe2\x82\xac", "gr\xc3\xbc\xc3\x9f \xe2\x82\xac"},
        {"overlong \xc0\xaf", "overlong \\xc0\\xaf"},
        {"surrogate \xed\xa0\x80", "surrogate \\xed\\xa0\\x80"},
        {"C1 \xc2\x9b", "C1 \\xc2\\x9b"},
        {"override \xe2\x80\xae", "override \\xe2\\x80\\xae"},
    };
    for (const auto& [raw, shown] : cases) {
        EXPECT_EQ(escaped(raw), shown);
        EXPECT_EQ(written([&, text = raw] { log << "name: " << text; }), "[20] name: " + std::string(shown) + "\n");
    }
}

TEST_F(LogTest, OneCauseIsBoundedAndSaysHowMuchIsMissing) {
    EXPECT_EQ(lines(storm(log, "storm: ", 1000)), 256U);
    EXPECT_EQ(written([&] { log << "another cause"; }), "[20] another cause\n") << "other causes aren't held back";

    clock.seconds += 1;
    EXPECT_EQ(written([&] { log << "third cause"; }),
              "[20] 744 lines suppressed that begin with: storm: \n[20] third cause\n")
        << "the account comes with the next line of any cause";
    clock.seconds += 10;
    EXPECT_EQ(lines(storm(log, "storm: ", 100)), 10U) << "one a second";
    clock.seconds += 1000;
    EXPECT_EQ(lines(storm(log, "storm: ", 1000)), 256U) << "90 are accounted for in one line, then 255 more";
}

TEST_F(LogTest, CausesBeyondTheTableShareOneBucket) {
    const lstream stream{21};
    const std::string text = written([&] {
        for (int i = 0; i < 5000; ++i) stream << "cause " + std::to_string(i);
    });
    EXPECT_THAT(lines(text), testing::AllOf(testing::Gt(255U), testing::Lt(600U)));
}

TEST_F(LogTest, StrangersWriteTenLinesInTwoSecondsWhateverTheirCauses) {
    const auto flood = [] {
        for (int i = 0; i < 50; ++i) (i % 2 == 0 ? strangersOut : strangersErr) << "cause " + std::to_string(i);
    };
    testing::internal::CaptureStdout();
    const std::string first = written([&] { flood(), clock.milliseconds = 1999, flood(); });
    EXPECT_EQ(lines(first) + lines(testing::internal::GetCapturedStdout()), 10U);

    clock.milliseconds = 2000;
    EXPECT_EQ(written([&] { log << "ours"; }), "90 lines suppressed about received datagrams\n[20] ours\n");
    clock.seconds += 10;
    for (int round = 0; round < 3; ++round) {
        const std::string text = written([&] {
            for (int i = 0; i < 50; ++i, clock.milliseconds += 40) strangersErr << "again " << i;
        });
        EXPECT_EQ(lines(text), 10U) << "a flood that continues";
        EXPECT_EQ(text.rfind("suppressed") != std::string::npos, round > 0) << text;
        EXPECT_EQ(text.find("suppressed"), text.rfind("suppressed"))
            << "one account in two seconds, the rest is lines\n"
            << text;
    }
}

/// What a descriptor that doesn't block holds; a terminal passes it on in steps.
std::string readAll(int fd) {
    std::string text;
    char some[4096];
    for (pollfd input = {.fd = fd, .events = POLLIN, .revents = 0}; poll(&input, 1, 100) == 1;) {
        const ssize_t octets = read(fd, some, sizeof some);
        if (octets <= 0) break;
        text.append(some, static_cast<size_t>(octets));
    }
    return text;
}

TEST_F(LogTest, FullPipeOrTerminalHoldsNobodyUpAndSaysHowManyLinesAreMissing) {
    const std::string line = "[20] long: " + std::string(5000, 'x');  // more than PIPE_BUF
    for (const bool terminal : {false, true}) {
        SCOPED_TRACE(terminal ? "terminal" : "pipe");
        int ends[2];
        termios raw = {};
        cfmakeraw(&raw);
        ASSERT_EQ(terminal ? openpty(&ends[0], &ends[1], nullptr, &raw, nullptr) : pipe2(ends, O_CLOEXEC), 0);
        const int before = dup(STDERR_FILENO);
        dup2(ends[1], STDERR_FILENO);
        for (int i = 0; i < 30; ++i) log << "long: " << std::string(5000, 'x');
        std::string text = readAll(ends[0]);
        const bool cut = !text.ends_with('\n');
        log << "short";
        text += readAll(ends[0]);
        const int flags = fcntl(ends[1], F_GETFL);
        dup2(before, STDERR_FILENO);
        for (const int fd : {ends[0], ends[1], before}) close(fd);

        EXPECT_THAT(text, testing::EndsWith(" lines lost here: the reader was too slow or not running\n[20] short\n"));
        size_t accounted = 0;  // a terminal may have room again in between, and then an earlier account
        std::istringstream all(text);
        for (std::string next; std::getline(all, next) && next != "[20] short";)
            accounted += next == line ? 1 : std::stoul(next);
        EXPECT_EQ(accounted, 30U);
        EXPECT_TRUE(cut) << "the line that filled it was completed later";
        EXPECT_EQ(flags & O_NONBLOCK, 0) << "others use it too";
    }
}

TEST_F(LogTest, SystemLogGetsDatagramsAndHoldsNobodyUp) {
    const TempTree tree;
    const Descriptor reader(socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    const auto next = [&] {
        std::string text(1000, '\0');
        const ssize_t octets = recv(reader.get(), text.data(), text.size(), 0);
        return text.substr(0, octets < 0 ? 0 : static_cast<size_t>(octets));
    };
    const std::string head = "Sep [ 0-9][0-9] [0-9]{2}:[0-9]{2}:40 test-tn\\[" + std::to_string(getpid()) + "\\]: ";
    const auto expectNext = [&](const std::string& priority, const std::string& text) {
        EXPECT_THAT(next(), testing::MatchesRegex(priority + head + text));
    };
    lstream debug{20, 5};
    debug.mute(false);
    setLogTarget(LogTarget::Syslog, tree.path("log"));
    log << "nobody reads";
    sockaddr_un address = {.sun_family = AF_UNIX, .sun_path = {}};
    tree.path("log").copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(reader.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    debug << "two\nlines";
    expectNext("<30>", "[0-9]+ lines lost here: .*");
    expectNext("<31>", "\\[20\\] two\\\\nlines");

    constexpr int kMany = 8 * 200;  // more than a socket's queue holds (net.unix.max_dgram_qlen)
    for (int i = 0; i < kMany; ++i) log << "fills " + std::to_string(i % 8);
    int queued = 0;
    while (!next().empty()) ++queued;
    log << "again";
    expectNext("<30>", std::to_string(kMany - queued) + " lines lost here: .*");
    expectNext("<30>", "\\[20\\] again");
}

}  // namespace
}  // namespace tn
