#include "hostd/source/watch.h"

#include <thread>

#include "hostd/source/problem_log.h"
#include "tests/hostd/ask.h"
#include "tests/hostd/logged.h"
#include "tests/hostd/manual_clock.h"
#include "tests/hostd/source/scripted_source.h"
#include "tn/looper.h"

namespace hostd {

namespace {

using Source = ScriptedSource<std::optional<int>>;

constexpr auto kMaxAge = 1000ms;

class WatchTest : public ::testing::Test {
  protected:
    /// The value shown; nothing for none.
    std::optional<int> shown() {
        const auto reading = watch.latest();
        return reading ? std::optional(*reading) : std::nullopt;
    }
    bool becomes(int value) {
        return eventually([&] { return shown() == value; });
    }
    ManualClock clock;
    Source source{1};
    Watch<int> watch{"test", source.reader(), kMaxAge};
};

}  // namespace

TEST_F(WatchTest, RenewsAReadingOlderThanItsMaximumAgeBeforeItIsShown) {
    for (const std::chrono::milliseconds pause : {0ms, kMaxAge, 86'400'000ms, 5000ms}) {
        clock.time += pause;
        const auto value = static_cast<int>(pause.count());
        source.gives(value);
        EXPECT_EQ(shown(), value);
        source.gives(-1);
        clock.time += kMaxAge * 3 / 4 - 1ms;
        EXPECT_EQ(shown(), value);
    }
    EXPECT_EQ(source.readings(), 4);
}

TEST_F(WatchTest, AHangingSourceIsWaitedForOnceAndItsLastReadingShownUntilItIsTooOld) {
    auto hold = source.hangs();
    EXPECT_EQ(shown(), std::nullopt);
    hold.unlock();
    ASSERT_TRUE(becomes(1));

    for (const int value : {2, 3}) {
        source.gives(value);  // at once
        clock.time += kMaxAge;
        ASSERT_TRUE(becomes(value));
        hold.lock();
        clock.time += kMaxReadingAge;
        const auto before = std::chrono::steady_clock::now();
        for (int i = 0; i < 100; ++i) EXPECT_EQ(shown(), value);
        const auto took = std::chrono::steady_clock::now() - before;
        EXPECT_GE(took, Watch<int>::kMaxWait);
        EXPECT_LT(took, 10 * Watch<int>::kMaxWait);
        clock.time += 1ms;
        EXPECT_EQ(shown(), std::nullopt);
        const int readings = source.readings();
        clock.time += kMaxReadingAge;
        EXPECT_THAT(logged([&] { EXPECT_EQ(shown(), std::nullopt); }), HasSubstr("test: no answer for 90 s"));
        EXPECT_THAT(logged([&] { EXPECT_EQ(shown(), std::nullopt); }), IsEmpty());  // each hang is reported once
        EXPECT_EQ(source.readings(), readings);
        hold.unlock();
        ASSERT_TRUE(becomes(value));
    }
}

TEST_F(WatchTest, AFailedReadingLeavesTheLastOneUntilItIsTooOldAndIsReportedOnce) {
    ASSERT_EQ(shown(), 1);
    source.gives(std::nullopt);
    for (auto age = 0ms; age < kMaxReadingAge; age += 10'000ms) {
        const int readings = source.readings();
        clock.time += 10'000ms;
        EXPECT_THAT(logged([&] { EXPECT_EQ(shown(), 1); }), IsEmpty());
        EXPECT_EQ(source.readings(), readings + 1);
    }
    for (int failures = 1; failures <= 2; ++failures) {
        clock.time += kMaxReadingAge + 1ms;
        EXPECT_THAT(logged([&] { EXPECT_EQ(shown(), std::nullopt); }), HasSubstr("test: no data"));
        clock.time += 2000ms;
        EXPECT_THAT(logged([&] { EXPECT_EQ(shown(), std::nullopt); }), IsEmpty());
        source.gives(2);
        clock.time += 2000ms;
        EXPECT_EQ(shown(), 2);
        source.gives(std::nullopt);
    }
    // One that never succeeds is read no more often than others.
    const Source broken(std::nullopt);
    Watch<int> never("test", broken.reader(), kMaxAge);
    for (int i = 0; i < 3; ++i) EXPECT_FALSE(never.latest());
    EXPECT_EQ(broken.readings(), 1);
}

TEST_F(WatchTest, OnlyAReadingOlderThanTheWaitAgeIsWaitedFor) {
    constexpr auto kWaitAge = 5 * kMaxAge;
    Watch<int> patient("test", source.reader(), kMaxAge, Watch<int>::kIdleInterval, Watch<int>::kGracePeriod, kWaitAge);
    const auto value = [&] { return *patient.latest(); };
    ASSERT_EQ(value(), 1);
    source.gives(2);
    auto hold = source.hangs();
    clock.time += kWaitAge - 1ms;
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(value(), 1);
    EXPECT_LT(std::chrono::steady_clock::now() - before, Watch<int>::kMaxWait);
    hold.unlock();
    ASSERT_TRUE(eventually([&] { return value() == 2; }));  // the reading had begun
    source.gives(3);
    clock.time += kWaitAge;
    EXPECT_EQ(value(), 3);
}

TEST_F(WatchTest, ASlowSourceIsNotWaitedFor) {
    ASSERT_EQ(shown(), 1);
    auto hold = source.hangs();
    clock.time += kMaxAge;
    EXPECT_EQ(shown(), 1);                                            // waits, in vain
    ASSERT_TRUE(eventually([&] { return source.readings() == 2; }));  // it may have begun late
    std::this_thread::sleep_for(Watch<int>::kMaxWait);
    source.gives(3);
    hold.unlock();
    ASSERT_TRUE(becomes(3));
    hold.lock();
    clock.time += kMaxAge;
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(shown(), 3);
    EXPECT_LT(std::chrono::steady_clock::now() - before, Watch<int>::kMaxWait);
}

TEST_F(WatchTest, AReadingThatAlreadyTakesLongIsNotWaitedFor) {
    ASSERT_EQ(shown(), 1);
    const auto hold = source.hangs();
    for (const auto pause : {kMaxAge * 3 / 4, kMaxAge / 4}) {  // the first one starts the reading
        clock.time += pause;
        const auto before = std::chrono::steady_clock::now();
        EXPECT_EQ(shown(), 1);
        EXPECT_LT(std::chrono::steady_clock::now() - before, Watch<int>::kMaxWait);
    }
}

TEST_F(WatchTest, TheLoopIsNotifiedBeforeAReadingIsWaitedFor) {
    struct NotifiedLooper : tn::Looper {
        NotifiedLooper() : Looper({}) {}
        void beforeWait() override { onWait(); }
        std::function<void()> onWait;
    } looper;
    auto hold = source.hangs();
    looper.onWait = [&hold] { hold.unlock(); };
    EXPECT_EQ(shown(), 1);
    EXPECT_EQ(shown(), 1);  // without a wait
}

TEST(Watch, IsReadAtShortIntervalsAfterARequestAndAtLongOnesWithoutOne) {
    ManualClock clock;
    tn::Looper looper({});
    const Source source(1);
    Watch<int> watch("test", source.reader(), 100ms);
    const auto isEager = [&] { return looper.sleepTime() <= 75ms; };
    watch.keepReading();
    EXPECT_FALSE(isEager());
    ASSERT_TRUE(watch.latest());
    EXPECT_TRUE(isEager());
    clock.time += Watch<int>::kGracePeriod - 1ms;
    ASSERT_TRUE(eventually([&] { return source.readings() == 2; }, &looper));
    EXPECT_TRUE(isEager());
    clock.time += 100ms;
    ASSERT_TRUE(eventually([&] { return source.readings() == 3; }, &looper));
    EXPECT_FALSE(isEager());
}

TEST(ProblemLog, ReportsEachChangeOnce) {
    ManualClock clock;
    ProblemLog problems("probe");
    const std::pair<const char*, const char*> cases[] = {
        {"", ""}, {"gone", "probe: gone"}, {"gone", ""}, {"late", "probe: late"}, {"", "probe: recovered"}, {"", ""}};
    for (const auto& [problem, line] : cases) {
        const std::string text = logged([&, what = problem] { problems.report(what); });
        EXPECT_THAT(text, HasSubstr(line));
        EXPECT_EQ(text.empty(), std::string(line).empty()) << problem;
    }
}

}  // namespace hostd
