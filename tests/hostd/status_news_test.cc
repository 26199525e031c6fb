#include "hostd/status_news.h"

#include <gmock/gmock.h>

#include "hostd/interfaces.h"
#include "tests/hostd/link_messages.h"
#include "tests/tn/temp_root.h"
#include "tn/looper.h"

namespace hostd {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr uint32_t kDown = 0;
constexpr uint32_t kCarrier = link_status::Up;
constexpr uint32_t kOperational = link_status::Operational;
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

namespace {

/// Takes down what it is told of each interface.
class Listener : public tn::Handler {
  public:
    tn::message cmdUnknown(const tn::message& notification, uint32_t command) override {
        EXPECT_EQ(command, interface::kStatusChanged);
        state[notification.get_u32(tn::field::ObjectId)] = notification.get_u32(interface::Status);
        ++count;
        return {};
    }
    std::map<uint32_t, uint32_t> state;
    size_t count = 0;
};

}  // namespace

/// Interfaces that flap faster than a subscriber is told of it: it gets fewer notifications, and the last one of each.
TEST(Interfaces, TheLastStatusOfEachArrivesHoweverManyFlap) {
    constexpr int kFirst = 1'000'000;  // far from the indexes of this machine's own
    constexpr int kLinks = 500;
    constexpr int kFlaps = 21;  // an odd number: up in the end
    constexpr unsigned kLinkUp = IFF_UP | IFF_LOWER_UP | IFF_RUNNING;
    const tn::TempRoot root;
    tn::Looper looper({20});
    Interfaces interfaces("/nowhere");
    Listener listener;
    looper.addHandler(0, &interfaces);
    looper.addHandler(1, &listener);
    tn::message filter;
    filter.insert_u32(interface::Status, interface::kStatusChanges);
    listener.subscribe(interfaces.path(), interface::kStatusChanged, filter);
    const auto flap = [&](int link, bool up) {
        if (up) interfaces.take(LinkMessage(kFirst + link, "f", IFF_UP | IFF_LOWER_UP).message());
        interfaces.take(LinkMessage(kFirst + link, "f", up ? kLinkUp : 0).message());
    };
    const auto state = [&](int link) { return listener.state[static_cast<uint32_t>(kFirst + link)]; };
    const auto settle = [&] {
        while (looper.runOnce(0)) continue;
    };
    for (int i = 0; i < kFlaps; ++i)
        for (int link = 0; link < kLinks; ++link) flap(link, i % 2 == 0);
    settle();
    // 256 notifications wait as they are, then one for each interface.
    EXPECT_LE(listener.count, 256U + kLinks);
    for (int link = 0; link < kLinks; ++link) {
        EXPECT_EQ(state(link), kUp);
        flap(link, false);
        settle();
        EXPECT_EQ(state(link), kDown);
    }
}

}  // namespace hostd
