#include "hostd/links/link_status_debouncer.h"

#include <gmock/gmock.h>

#include "contracts/interfaces.h"

namespace hostd {

namespace interfaces = contracts::interfaces;

namespace {

using ::testing::ElementsAre;
using namespace std::chrono_literals;

constexpr uint32_t kDown = 0;
constexpr uint32_t kCarrier = interfaces::status::Up;
constexpr uint32_t kOperational = interfaces::status::Operational;
constexpr uint32_t kBoth = kCarrier | kOperational;

}  // namespace

TEST(LinkStatusDebouncer, ReportsEachChangeOnceAndATransitionalStatusOnlyIfItLasts) {
    std::vector<uint32_t> reported;
    LinkStatusDebouncer debouncer([&](uint32_t, const std::string&, uint32_t status) { reported.push_back(status); });
    Link link;
    uint32_t status = kDown;
    auto now = 5000ms;
    const auto change = [&](std::initializer_list<uint32_t> statuses) {
        for (const uint32_t next : statuses) debouncer.change(link, std::exchange(status, next), next, now);
    };
    const auto wait = [&](std::chrono::milliseconds time) { debouncer.reportLasting(now += time); };

    change({kCarrier, kBoth, kOperational, kDown, kBoth, kCarrier, kDown});
    EXPECT_THAT(reported, ElementsAre(kBoth, kDown, kBoth, kDown));
    EXPECT_EQ(debouncer.due(), std::nullopt);
    reported.clear();

    change({kCarrier, kDown});  // there and back
    change({kCarrier});
    EXPECT_EQ(debouncer.due(), now + LinkStatusDebouncer::kSettlingTime);
    wait(LinkStatusDebouncer::kSettlingTime - 1ms);
    EXPECT_THAT(reported, ElementsAre());
    change({kOperational, kCarrier});  // doesn't postpone it
    wait(1ms);
    EXPECT_THAT(reported, ElementsAre(kCarrier));
    change({kBoth, kCarrier, kBoth});
    wait(LinkStatusDebouncer::kSettlingTime);
    EXPECT_THAT(reported, ElementsAre(kCarrier, kBoth));
}

}  // namespace hostd
