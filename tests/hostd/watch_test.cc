#include "hostd/watch.h"

#include <gtest/gtest.h>

#include "tests/hostd/ask.h"
#include "tests/hostd/hand_clock.h"
#include "tests/hostd/led_source.h"

namespace hostd {

TEST(Watch, StaysFreshAfterSomebodyAsked) {
    const LedSource source(1);
    Watch<int> watch("test", source.reader(), 10, 1000);
    tn::Looper looper({});
    static_cast<void>(watch.ask());
    EXPECT_TRUE(eventually([&] { return source.readings() >= 4; }, &looper));
}

TEST(Watch, TellsSeldomPollersWhatIsTrue) {
    HandClock clock;
    tn::Looper looper({});
    LedSource<uint64_t> source(0);
    Watch<uint64_t> watch("test", source.reader(), 10, 1000, 10);
    static_cast<void>(watch.ask());
    for (const uint64_t minutes : {5U, 60U}) {
        for (uint64_t passed = 0; passed < minutes * 60'000; passed += Watch<uint64_t>::kPause) {
            const int before = source.readings();
            clock.milliseconds += Watch<uint64_t>::kPause;
            source.gives(clock.milliseconds);
            ASSERT_TRUE(eventually([&] { return source.readings() > before; }, &looper));
            watch.readFirst(std::chrono::seconds(5));  // none is due: waits for the one under way
        }
        const uint64_t lastRead = clock.milliseconds;
        clock.milliseconds += Watch<uint64_t>::kPause - 1;
        const auto reading = watch.ask();
        ASSERT_TRUE(reading) << minutes;
        EXPECT_EQ(*reading, lastRead) << minutes;
    }
}

TEST(Watch, ShowsNothingOld) {
    HandClock clock;
    LedSource source(1);
    Watch<int> watch("test", source.reader(), 1000, 1000);
    watch.readFirst(std::chrono::seconds(5));
    clock.milliseconds += 86'400'000;
    source.gives(2);
    auto reading = watch.ask();  // the first question, a day after the start
    ASSERT_TRUE(reading);
    EXPECT_EQ(*reading, 2);

    source.gives(3);
    clock.milliseconds += Watch<int>::kOldest;
    reading = watch.ask();
    ASSERT_TRUE(reading);
    EXPECT_EQ(*reading, 2);
    watch.readFirst(std::chrono::seconds(5));
    clock.milliseconds += Watch<int>::kOldest + 1;
    EXPECT_FALSE(watch.ask());
    EXPECT_TRUE(eventually([&] { return watch.ask() != nullptr; }));
}

}  // namespace hostd
