// Counters of links, from a kernel that may answer late.

#include "hostd/links/link_monitor.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <utility>

#include "hostd/links/net_dev.h"
#include "tests/hostd/links/link_messages.h"
#include "tests/hostd/netlink/scripted_kernel.h"
#include "tests/tn/eventually.h"

namespace hostd {

namespace {

using namespace std::chrono_literals;

constexpr uint32_t kLinks = 100;  // more than fit into one packet of requests

/// Has the links eth1, eth2, ..., which have received nothing when they are listed.
class LinksKernel : public ScriptedKernel {
  public:
    /// What sockets for counters use, which live as long as helper threads.
    struct Counted {
        std::mutex lock;      ///< held: requests for counters aren't answered
        uint64_t octets = 0;  ///< received, and as many CRC errors
        bool isRefused = false;
    };
    void begin(uint16_t) override {}
    Packet nextPacket() override {
        Packet all;
        for (uint32_t i = 1; i <= kLinks; ++i)
            all.push_back(octetsOf(LinkMessage(static_cast<int>(i), ("eth" + std::to_string(i)).c_str(), kUp)
                                       .counters(rtnl_link_stats64{})
                                       .message()));
        all.push_back(done());
        return all;
    }
    std::shared_ptr<Counted> counted = std::make_shared<Counted>();
};

class CounterSocket : public NetlinkSocket {
  public:
    explicit CounterSocket(std::shared_ptr<LinksKernel::Counted> counted) : counted_(std::move(counted)) {}
    bool open(int, unsigned, int) override { return true; }
    bool send(NetlinkRequests& requests) override {
        const std::lock_guard lock(counted_->lock);
        if (counted_->isRefused) return false;
        forEachMessage(requests.bytes(), [&](const nlmsghdr& request) {
            if_stats_msg header{};
            header.ifindex = countedLink(request);
            NetlinkMessage<if_stats_msg> message(RTM_NEWSTATS, header);
            rtnl_link_stats64 counters{};
            counters.rx_bytes = counters.rx_crc_errors = counted_->octets;
            mnl_attr_put(message.raw(), IFLA_STATS_LINK_64, sizeof counters, &counters);
            replies_.push_back(octetsOf(message.message()));
        });
        return true;
    }
    Outcome receive(size_t, const Consumer& consumer) const override {
        EXPECT_LE(replies_.size(), 64U) << "the socket's buffer";
        for (const MessageOctets& reply : std::exchange(replies_, {}))
            consumer(*reinterpret_cast<const nlmsghdr*>(reply.data()));
        return Outcome::Empty;
    }

  private:
    std::shared_ptr<LinksKernel::Counted> counted_;
    mutable std::vector<MessageOctets> replies_;
};

class LinkMonitorTest : public ::testing::Test {
  protected:
    LinkMonitorTest() {
        showsInNetDev(7);
        monitor.start();
        now = *link(1).countersAt;
    }
    ~LinkMonitorTest() override { std::filesystem::remove(netDev); }

    void showsInNetDev(uint64_t octets) {
        std::string lines = "Inter-|   Receive\n eth1: 9 9\n eth2 9 9 9 9 9 9 9 9 9 9 9 9 9 9 9 9\n none: x\n";
        for (uint32_t i = 1; i <= kLinks; ++i)
            lines += "  eth" + std::to_string(i) + ": " + std::to_string(octets) + " 0 2 30 4 0 0 5 0 0 0 6 0 0 0 0\n";
        std::ofstream(netDev) << lines;
    }
    const Link& link(uint32_t index) { return *std::as_const(links).find(index); }
    /// The octets that the last link has received; of all links, the counters are refreshed.
    uint64_t read() {
        std::vector<uint32_t> indexes(kLinks);
        for (uint32_t i = 0; i < kLinks; ++i) indexes[i] = i + 1;
        monitor.refreshCounters(indexes, now += 300ms, 250ms);
        EXPECT_EQ(link(1).counters.rx_bytes, link(kLinks).counters.rx_bytes);
        return link(kLinks).counters.rx_bytes;
    }

    LinksKernel kernel;
    std::string netDev = std::filesystem::temp_directory_path() / ("net-dev-" + std::to_string(::getpid()));
    LinkTable links{[](const std::string&) { return false; }, [](const Link&, uint32_t, uint32_t) {}};
    LinkMonitor monitor{links, netDev, [this, made = 0, sockets = kernel.sockets()]() mutable {
                            return ++made < 3 ? sockets()
                                              : std::unique_ptr<NetlinkSocket>(new CounterSocket(kernel.counted));
                        }};
    std::chrono::milliseconds now{};
};

}  // namespace

TEST_F(LinkMonitorTest, CountersAreCurrentWhileTheKernelsLockIsHeld) {
    const auto waits = [] {  // of this thread, without those for a processor
        rusage usage{};
        EXPECT_EQ(getrusage(RUSAGE_THREAD, &usage), 0);
        return usage.ru_nvcsw;
    };
    const auto isTold = [&](uint64_t octets) {  // a busy machine may not let the helper thread answer in time
        return tn::eventually([&] { return read() == octets && link(2).counters.rx_crc_errors == octets; });
    };
    kernel.counted->octets = 7;
    ASSERT_TRUE(isTold(7));
    kernel.counted->octets = 9;
    showsInNetDev(8);
    std::unique_lock held(kernel.counted->lock);
    const auto waited = waits();
    for (int i = 0; i < 1000; ++i) EXPECT_EQ(read(), 8U);
    EXPECT_LT(waits() - waited, 500) << "only the first is waited for";
    EXPECT_EQ(link(2).counters.rx_dropped, 30U);
    EXPECT_EQ(link(2).counters.tx_dropped, 6U);
    EXPECT_EQ(link(2).counters.rx_crc_errors, 7U) << "the last that the kernel told";
    showsInNetDev(9);
    held.unlock();
    ASSERT_TRUE(isTold(9));
    EXPECT_EQ(link(2).discontinuityAt, 0ms) << "they never went back";
}

TEST_F(LinkMonitorTest, CountersAreCurrentWhenTheKernelRefuses) {
    kernel.counted->isRefused = true;
    EXPECT_EQ(read(), 7U);
    EXPECT_EQ(*link(1).countersAt, now);
}

TEST_F(LinkMonitorTest, AWalkReadsSomeLinksAhead) {
    kernel.counted->octets = 7;
    const auto reads = [&](uint32_t index) {  // the number of links that have been read by now
        monitor.refreshCounters(std::vector{index}, now, 250ms);
        uint32_t count = 0;
        for (uint32_t i = 1; i <= kLinks; ++i) count += *link(i).countersAt == now ? 1 : 0;
        return count;
    };
    // 31 follows 30: as far as 38. 39 is as far as 46, 47 as far as 49. All are read if the helper thread was late.
    const std::vector<uint32_t> expected{1, 2, 3, 11, 11, 19, 22};
    EXPECT_TRUE(tn::eventually([&] {
        now += 300ms;
        std::vector<uint32_t> read;
        for (const uint32_t index : {50U, 20U, 30U, 31U, 38U, 39U, 47U}) read.push_back(reads(index));
        return read == expected;
    }));
}

TEST(NetDev, PacketsMissedAreCountedAsDroppedOnce) {
    const auto read = parseNetDev("wlan0:1 2 3 40 5 6 7 8 9 10 11 12 13 14 15 16");
    rtnl_link_stats64 counters{};
    for (const uint64_t missed : {15U, 50U}) {
        counters.rx_missed_errors = missed;
        updateCounters(read.at("wlan0"), counters);
        EXPECT_EQ(counters.rx_dropped, missed == 15 ? 25U : 0U);
    }
    EXPECT_EQ(counters.multicast, 8U);
    EXPECT_EQ(counters.collisions, 14U);
    EXPECT_EQ(counters.tx_compressed, 16U);
}

}  // namespace hostd
