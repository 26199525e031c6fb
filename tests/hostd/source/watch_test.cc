#include "hostd/source/watch.h"

#include <gtest/gtest.h>

#include <thread>

#include "tests/hostd/ask.h"
#include "tests/hostd/hand_clock.h"
#include "tests/hostd/sensors/led_source.h"

namespace hostd {

TEST(Watch, StaysFreshAfterSomebodyAsked) {
    const LedSource source(1);
    Watch<int> watch("test", source.reader(), 10);
    tn::Looper looper({});
    static_cast<void>(watch.ask());
    EXPECT_TRUE(eventually([&] { return source.readings() >= 4; }, &looper));
}

TEST(Watch, RenewsWhatIsOlderThanItsAgeBeforeItIsShown) {
    HandClock clock;
    LedSource source(1);
    Watch<int> watch("test", source.reader(), 1000);
    for (const uint64_t pause : {0U, 1000U, 86'400'000U, 5000U}) {
        clock.milliseconds += pause;
        source.gives(static_cast<int>(pause));
        auto reading = watch.ask();
        ASSERT_TRUE(reading) << pause;
        EXPECT_EQ(*reading, static_cast<int>(pause));
        source.gives(-1);
        clock.milliseconds += 749;
        reading = watch.ask();  // young enough
        ASSERT_TRUE(reading) << pause;
        EXPECT_EQ(*reading, static_cast<int>(pause));
    }
    EXPECT_EQ(source.readings(), 4);
}

TEST(Watch, AHangingSourceIsWaitedForOnceAndItsLastReadingHoldsForAWhile) {
    HandClock clock;
    LedSource source(1);
    Watch<int> watch("test", source.reader(), 1000);
    auto hold = source.hangs();
    EXPECT_FALSE(watch.ask());
    hold.unlock();
    ASSERT_TRUE(eventually([&] { return watch.ask() != nullptr; }));
    source.gives(2);  // at once
    clock.milliseconds += 1000;
    ASSERT_TRUE(eventually([&] { return *watch.ask() == 2; }));

    hold.lock();
    clock.milliseconds += Watch<int>::kOldest;
    const auto before = std::chrono::steady_clock::now();
    for (int i = 0; i < 100; ++i) EXPECT_TRUE(watch.ask());
    const auto took = std::chrono::steady_clock::now() - before;
    EXPECT_GE(took, Watch<int>::kWait);
    EXPECT_LT(took, 10 * Watch<int>::kWait);
    clock.milliseconds += 1;
    EXPECT_FALSE(watch.ask());
    EXPECT_EQ(source.readings(), 3);
    hold.unlock();
    EXPECT_TRUE(eventually([&] { return watch.ask() != nullptr; }));
}

TEST(Watch, PolledSourcesAreReadAheadAndSlowOnesNotWaitedFor) {
    HandClock clock;
    LedSource source(1);
    Watch<int> watch("test", source.reader(), 1000);
    ASSERT_TRUE(watch.ask());
    source.gives(2);
    clock.milliseconds += 750;
    static_cast<void>(watch.ask());
    ASSERT_TRUE(eventually([&] { return *watch.ask() == 2; }));  // though it wasn't too old

    auto hold = source.hangs();
    clock.milliseconds += 1000;
    EXPECT_EQ(*watch.ask(), 2);                                       // waits, in vain
    ASSERT_TRUE(eventually([&] { return source.readings() == 3; }));  // it may have begun late
    std::this_thread::sleep_for(Watch<int>::kWait);
    source.gives(3);
    hold.unlock();
    ASSERT_TRUE(eventually([&] { return *watch.ask() == 3; }));
    hold.lock();
    clock.milliseconds += 1000;
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(*watch.ask(), 3);
    EXPECT_LT(std::chrono::steady_clock::now() - before, Watch<int>::kWait);
    hold.unlock();
}

TEST(Watch, HasSomethingYoungToShowSeldomPollersOfASlowSource) {
    HandClock clock;
    tn::Looper looper({});
    LedSource<uint64_t> source(0);
    Watch<uint64_t> watch("test", source.reader(), 10, 10);
    static_cast<void>(watch.ask());
    for (uint64_t passed = 0; passed < 600'000; passed += Watch<uint64_t>::kPause) {
        const int before = source.readings();
        clock.milliseconds += Watch<uint64_t>::kPause;
        source.gives(clock.milliseconds);
        ASSERT_TRUE(eventually([&] { return source.readings() > before; }, &looper));
    }
    const auto hold = source.hangs();
    const auto reading = watch.ask();
    ASSERT_TRUE(reading);
    EXPECT_GE(*reading, clock.milliseconds - Watch<uint64_t>::kPause);
}

}  // namespace hostd
