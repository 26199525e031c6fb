#include "hostd/source/readings.h"

#include "contracts/readings.h"
#include "hostd/source/watch.h"
#include "tests/hostd/ask.h"
#include "tests/hostd/logged.h"
#include "tests/hostd/manual_clock.h"
#include "tests/hostd/source/scripted_source.h"

namespace hostd {

namespace {

namespace readings = contracts::readings;

/// "name age problem" of each source; - for no age or problem.
std::vector<std::string> reported() {
    Readings table;
    std::vector<std::string> all;
    for (const tn::message& row : rowsOf(table)) {
        const bool hasAge = row.has(readings::Age);
        EXPECT_EQ(row.get_bool(readings::Failing), row.has(readings::Text));
        all.push_back(row.get_string(tn::field::Name) + " " +
                      (hasAge ? std::to_string(row.get_u64(readings::Age)) : "-") + " " +
                      row.get_string(readings::Text, "-"));
    }
    return all;
}

}  // namespace

TEST(ReadingsTest, EachSourceHasTheAgeOfWhatItHoldsAndTheReasonWhyItFails) {
    using Value = std::optional<Reading<int>>;
    ManualClock clock;
    ScriptedSource<Value> source{Reading<int>{"", {1}}};
    Watch<Reading<int>> watch("second", source.reader(), 1000ms);
    const auto becomes = [](const std::string& line) {
        return eventually([&] { return reported() == std::vector{line}; });
    };
    {
        const Watch<int> first(
            "first", [] { return 1; }, 1000ms);
        EXPECT_THAT(reported(), ElementsAre("first - -", "second - -"));
    }
    (void)watch.latest();
    EXPECT_TRUE(becomes("second 0 -"));
    clock.time += 900ms;
    EXPECT_THAT(reported(), ElementsAre("second 900 -"));
    source.gives(Reading<int>{"no sensor", {1}});
    (void)watch.latest();
    EXPECT_TRUE(becomes("second 0 no sensor"));
    source.gives(Reading<int>{std::string(1200, 'x'), {}});
    clock.time += 1000ms;
    (void)watch.latest();
    EXPECT_TRUE(becomes("second 0 " + std::string(1000, 'x')));
    source.gives(std::nullopt);
    clock.time += 1000ms;
    (void)watch.latest();
    EXPECT_TRUE(becomes("second 1000 no data"));
    source.gives(Reading<int>{});
    clock.time += 1000ms;
    (void)watch.latest();
    EXPECT_TRUE(becomes("second 0 -"));
    auto hold = source.hangs();
    clock.time += 1000ms;
    (void)watch.latest();
    clock.time += kMaxReadingAge - 1ms;
    EXPECT_THAT(reported(), ElementsAre("second 90999 -"));
    clock.time += 1ms;
    EXPECT_THAT(reported(), ElementsAre("second 91000 no answer"));
    hold.unlock();
    EXPECT_TRUE(becomes("second 90000 -"));
}

}  // namespace hostd
