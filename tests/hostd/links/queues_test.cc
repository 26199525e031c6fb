// Queues of interfaces and trees of classes, from messages such as the kernel sends.

#include "hostd/links/queues.h"

#include <linux/gen_stats.h>
#include <linux/pkt_sched.h>
#include <linux/rtnetlink.h>

#include "contracts/queues.h"
#include "tests/hostd/ask.h"
#include "tests/hostd/manual_clock.h"
#include "tests/hostd/netlink/netlink_message.h"
#include "tests/hostd/source/scripted_source.h"
#include "tn/looper.h"

namespace hostd {

namespace queues = contracts::queues;

namespace {

using ::testing::UnorderedElementsAre;
using TcMessage = NetlinkMessage<tcmsg>;

constexpr uint32_t handle(uint32_t major, uint32_t minor = 0) { return major << 16 | minor; }

Qdisc one(uint32_t ifindex, uint32_t handle, uint32_t parent, const char* kind, uint64_t octets = 0) {
    return {ifindex, handle, parent, kind, {octets, octets / 100, 0}};
}

std::string nameOf(uint32_t ifindex) { return ifindex == 99 ? "" : "eth" + std::to_string(ifindex); }

/// "name in parent" of each class; the parent's id must be that of the class with this name.
std::vector<std::string> tree(const std::vector<Qdisc>& qdiscs, const std::vector<Qdisc>& classes) {
    std::vector<std::string> all;
    const QueueRows rows = makeQueueRows(qdiscs, classes, nameOf);
    for (const auto& [id, queue] : rows.classes) {
        all.push_back(queue.name + " in " + queue.parent);
        EXPECT_EQ(
            queue.parentId == 0 ? queue.name.substr(0, queue.name.find(' ')) : rows.classes.at(queue.parentId).name,
            queue.parent);
    }
    return all;
}

}  // namespace

TEST(Qdisc, IsReadWithWideCountersAndWithoutThoseThatAreCut) {
    TcMessage wide(RTM_NEWQDISC, {AF_UNSPEC, 0, 0, 3, handle(1), TC_H_ROOT, 0});
    wide.nest(TCA_STATS2, [&](TcMessage& m) {
        m.octets(TCA_STATS_BASIC, std::vector<uint8_t>(12, 1)).value(TCA_STATS_PKT64, uint64_t{0x2'0000'0000});
        m.octets(TCA_STATS_QUEUE, std::vector<uint8_t>(4, 1));
    });
    const auto read = readQdisc(wide.message());
    ASSERT_TRUE(read);
    EXPECT_EQ(std::tuple(read->ifindex, read->handle, read->parent, read->kind),
              std::tuple(3U, handle(1), TC_H_ROOT, ""));
    EXPECT_EQ(std::tuple(read->counters.octets, read->counters.packets, read->counters.drops),
              std::tuple(0x0101'0101'0101'0101U, 0x2'0000'0000U, 0U));
    EXPECT_FALSE(readQdisc(TcMessage(RTM_DELQDISC, {AF_UNSPEC, 0, 0, 3, 0, 0, 0}).message()));
    EXPECT_FALSE(readQdisc(TcMessage(RTM_NEWQDISC, {AF_UNSPEC, 0, 0, 0, 0, 0, 0}).message()));
    wide.raw()->nlmsg_len = NLMSG_HDRLEN + 16;
    EXPECT_FALSE(readQdisc(wide.message()));

    EXPECT_FALSE(hasClasses(one(3, 0, TC_H_ROOT, "mq")));  // not configured
    EXPECT_TRUE(hasClasses(one(3, handle(1), TC_H_ROOT, "mq")));
    EXPECT_FALSE(hasClasses(one(3, handle(1), TC_H_ROOT, "fq_codel")));
}

TEST(InterfaceQueues, AreThoseThatAreConfigured) {
    const auto rows =
        makeQueueRows({one(2, 0, TC_H_ROOT, "noqueue", 1), one(4, 0, TC_H_ROOT, "noqueue", 1),
                       one(4, handle(0xffff), TC_H_CLSACT, "clsact", 500), one(99, handle(1), TC_H_ROOT, "htb", 1)},
                      {}, nameOf);
    ASSERT_EQ(rows.interfaces.size(), 1U);
    EXPECT_FALSE(rows.interfaces.at(4).sent);
    EXPECT_EQ(rows.interfaces.at(4).received.value().packets, 5U);
}

TEST(QueueTree, ContinuesAcrossQdiscsUpToTheInterface) {
    // eth3 -> 1: htb -> 1:1 -> 1:10 -> a: prio -> a:1; a prio's classes name their qdisc as their parent.
    const std::vector<Qdisc> qdiscs = {one(3, handle(1), TC_H_ROOT, "htb"), one(3, handle(10), handle(1, 0x10), "prio"),
                                       one(5, handle(1), TC_H_ROOT, "htb")};
    EXPECT_THAT(tree(qdiscs, {one(3, handle(1, 1), TC_H_ROOT, "htb"), one(3, handle(1, 0x10), handle(1, 1), "htb"),
                              one(3, handle(10, 1), handle(10), "prio"), one(5, handle(1, 1), TC_H_ROOT, "htb"),
                              one(6, handle(1, 1), TC_H_ROOT, "htb"), one(99, handle(1, 1), TC_H_ROOT, "htb")}),
                UnorderedElementsAre("eth3 1:1 in eth3", "eth3 1:10 in eth3 1:1", "eth3 a:1 in eth3 1:10",
                                     "eth5 1:1 in eth5", "eth6 1:1 in eth6"));
}

TEST(QueueTree, IdsDependOnNothingButTheNameAndAreUnique) {
    std::vector<Qdisc> classes;
    for (const uint32_t major : {1U, 2U, 3U})
        for (uint32_t minor = 1; minor <= 0xffff; ++minor)
            classes.push_back(one(3, handle(major, minor), TC_H_ROOT, "htb"));
    const QueueRows rows = makeQueueRows({}, classes, nameOf);
    EXPECT_EQ(rows.classes.size(), classes.size());  // some of their names give the same
    EXPECT_GE(rows.classes.begin()->first, 1U);
    EXPECT_LE(rows.classes.rbegin()->first, 0x7fff'ffffU);
    const QueueRows alone =
        makeQueueRows({}, {one(7, handle(1, 0x10), TC_H_ROOT, "htb")}, [](uint32_t) { return std::string("eth3"); });
    EXPECT_EQ(rows.classes.at(alone.classes.begin()->first).name, "eth3 1:10");
}

class QueueTables : public ::testing::Test {
  protected:
    static constexpr uint64_t kWide = 0x1'0000'0000;
    static QueueRows someRows() {
        return {.interfaces = {{3, {"eth3", QueueCounters{kWide + 1, kWide + 2, 9}, {}}}},
                .classes = {{7, {"eth3 1:10", "eth3 1:1", 6, {kWide + 1, 4, 5}}}, {6, {"eth3 1:1", "eth3", 0, {}}}}};
    }
    ManualClock clock;
    ScriptedSource<std::optional<QueueRows>> kernel{someRows()};
    std::shared_ptr<Queues> watch = watchQueues(kernel.reader());
    InterfaceQueues interfaces{watch};
    QueueTree classes{watch};
};

TEST_F(QueueTables, ShowOneReadingWithPacketsAndDropsCutTo32Bits) {
    EXPECT_EQ(PrintToString(rowsOf(interfaces).at(0)),  // nothing about what was received
              "{0x68:u32=3, 0xc9:u32=2, 0xd5:u32=9, 0xc8:u64=4294967297, 0x2:string=\"eth3\", 0xfe0001:u32=3}");
    EXPECT_THAT(listed(classes, queues::Name), ElementsAre("6:eth3 1:1", "7:eth3 1:10"));
    EXPECT_EQ(PrintToString(rowsOf(classes).at(1)),
              "{0x1:u32=6, 0xc9:u32=4, 0xd5:u32=5, 0xc8:u64=4294967297, 0x2:string=\"eth3 1:10\", "
              "0xc:string-array=\"eth3 1:1\", 0xfe0001:u32=7}");
    EXPECT_EQ(kernel.readings(), 1);
}

TEST_F(QueueTables, AreReadBeforeTheFirstRequestAndEmptyWithoutAnAnswer) {
    kernel.gives(std::nullopt);
    tn::Looper looper({});
    looper.addHandler(queues::kInterfacesPath, &interfaces);
    EXPECT_TRUE(eventually([&] { return kernel.readings() == 1; }));
    EXPECT_EQ(rowsOf(interfaces).size(), 0U);
    EXPECT_EQ(ask(classes, tn::cmd::GetCount).get_u32(tn::field::Count), 0U);
}

}  // namespace hostd
