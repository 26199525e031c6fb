#include "hostd/links/link_status_debouncer.h"

#include <gmock/gmock.h>

#include "contracts/interfaces.h"

namespace hostd {

namespace interfaces = contracts::interfaces;

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr uint32_t kDown = 0;
constexpr uint32_t kCarrier = interfaces::status::Up;
constexpr uint32_t kOperational = interfaces::status::Operational;
constexpr uint32_t kUp = kCarrier | kOperational;

class StatusNewsTest : public ::testing::Test {
  protected:
    StatusNewsTest() {
        link.index = 4;
        link.name = "eth0";
    }
    /// The link goes through these states, from the one it is in.
    void becomes(std::initializer_list<uint32_t> states) {
        for (const uint32_t state : states) {
            news.changed(link, status, state, now);
            status = state;
        }
    }
    void waits(uint64_t milliseconds) {
        now += milliseconds;
        news.tellLasting(now);
    }

    uint64_t now = 5000;
    uint32_t status = kDown;
    Link link;
    std::vector<uint32_t> told;
    StatusNews news{[this](uint32_t index, const std::string& name, uint32_t state) {
        EXPECT_EQ(index, 4U);
        EXPECT_EQ(name, "eth0");
        told.push_back(state);
    }};
};

}  // namespace

TEST_F(StatusNewsTest, AChangeInTwoStepsIsToldOnce) {
    becomes({kCarrier, kUp, kOperational, kDown, kUp, kCarrier, kDown});
    EXPECT_THAT(told, ElementsAre(kUp, kDown, kUp, kDown));
    EXPECT_EQ(news.due(), std::nullopt);
}

TEST_F(StatusNewsTest, TheWayThereAndBackIsNoNews) {
    becomes({kCarrier, kDown, kUp, kOperational, kUp});
    waits(StatusNews::kSettle);
    EXPECT_THAT(told, ElementsAre(kUp));
}

TEST_F(StatusNewsTest, HalfWayIsNewsOnceItLasts) {
    becomes({kCarrier});
    EXPECT_EQ(news.due(), now + StatusNews::kSettle);
    waits(StatusNews::kSettle - 1);
    EXPECT_THAT(told, IsEmpty());
    becomes({kOperational, kCarrier});  // this doesn't put it off
    waits(1);
    EXPECT_THAT(told, ElementsAre(kCarrier));
    becomes({kUp, kCarrier});
    waits(StatusNews::kSettle);
    EXPECT_THAT(told, ElementsAre(kCarrier, kUp, kCarrier));
    waits(StatusNews::kSettle);
    EXPECT_EQ(told.size(), 3U);
}

}  // namespace hostd
