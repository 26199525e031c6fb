// What is read out of the kernel's and the distribution's files.

#include <gtest/gtest.h>

#include "hostd/machine/memory.h"
#include "hostd/machine/processors.h"
#include "hostd/machine/version.h"
#include "hostd/source/pseudo_file.h"
#include "tests/tn/temp_root.h"

namespace hostd {

TEST(Meminfo, TakesWhatIsThereAndNothingElse) {
    const std::pair<const char*, Memory> cases[] = {
        {"MemTotal:       16384 kB\nMemFree:  1 kB\nMemAvailable:    8192 kB\n", {16384, 8192}},
        {"MemAvailable: 8 kB\nMemTotal: 16 kB", {16, 8}},                          // no last newline
        {"MemTotal:       16384 kB\nMemFree:            4096 kB\n", {16384, {}}},  // a kernel without MemAvailable
        {"MemTotal: 12", {}},  // cut short: it may have been 12345 kB
        {"MemTotal: 12 MB\nMemAvailable: -1 kB\n", {}},
        {"MemTotal: 99999999999999999999999 kB\n", {}},
        {"MemTotal: 10 kB\nMemAvailable: 11 kB\n", {10, {}}},  // used would be negative
        {"", {}},
    };
    for (const auto& [text, expected] : cases) EXPECT_EQ(parseMeminfo(text), expected) << text;
}

TEST(Processors, AreCountedFromTheKernelsList) {
    EXPECT_EQ(countProcessors("0\n"), 1);
    EXPECT_EQ(countProcessors("0-3,6,8-9\n"), 7);
    EXPECT_EQ(countProcessors("0-65535"), 65536);
    for (const char* rubbish : {"", "\n", "x", "0-", "3-1", "0,", "0 1", "-1", "0-70000"})
        EXPECT_EQ(countProcessors(rubbish), std::nullopt) << rubbish;
}

TEST(PseudoFile, SeesWhatTheFileHoldsNow) {
    tn::TempTree tree;
    PseudoFile file(tree.path("file"));
    EXPECT_EQ(file.read(), "");  // not there yet
    const std::string large(100'000, 'x');
    tree.write("file", large);
    EXPECT_EQ(file.read(), large);
    tree.write("file", "short");
    EXPECT_EQ(file.read(), "short");
}

TEST(Version, NamesTheDistributionWhenThereIsOne) {
    const std::pair<const char*, const char*> cases[] = {
        {"ID=debian\nPRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\nX=y\n", "Debian GNU/Linux 12 (bookworm)"},
        {"PRETTY_NAME='A \"b\"'", "A \"b\""},
        {"PRETTY_NAME=\"a \\\"b\\\" \\$c\"", "a \"b\" $c"},
        {"NOT_PRETTY_NAME=\"x\"\n", ""},
    };
    for (const auto& [text, name] : cases) EXPECT_EQ(prettyName(text), name);
    EXPECT_TRUE(versionText("").starts_with("Linux "));
}

}  // namespace hostd
