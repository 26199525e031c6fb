
#include "agent/mib/providers/get_all_multi_provider.h"
#include "agent/mib/providers/get_first_provider.h"
#include "tests/agent/mib/ports.h"

namespace snmp {
namespace {

constexpr tn::u32_id kFilter{77};
constexpr uint32_t kNobody[] = {99};
constexpr uint32_t kIdentity[] = {20, 3};
unsigned written = 0;

/// Three sources in one table at 1.3.5: a function with row 1 and one that isn't its own, the ports at 0x100 and more,
/// and from 0x200 on an owner that isn't there.
class MultiProviderTest : public PortsTest {
  protected:
    MultiProviderTest() {
        opensCommon(true);
        multi->addSource(oneRow<Port::build>, kNobody, 5, 0x200);
        multi->addSource(buildHere, kPath, 5, 0x100);
        multi->addSource(own, 1, [](const Data& row) {
            written = static_cast<const Port&>(row).value;
            return true;
        });
        addTable(OID{1, 3, 5}, "portEntry", table, kPortColumns);
        hasPorts({1, 2, 0x101});  // the last one's index is that of the first
    }
    static void own(Rows& rows) {
        for (const uint32_t id : {1U, 0x150U}) rows.push_back(Port::build(messageOf({{tn::field::ObjectId, id}})));
    }
    static std::unique_ptr<Data> buildHere(const tn::message& item, Rows& rows) {
        rows.push_back(Port::build(item));
        static_cast<Port&>(*rows.back()).id |= 0x100;
        return nullptr;
    }

    GetAllMultiProvider* multi = keep<GetAllMultiProvider>();
    MapTable* table = keepTable(multi, {{kPortColumns[0], tn::field::ObjectId.number}});
};

TEST_F(MultiProviderTest, ATableOfSeveralSourcesIsWalkedInOrder) {
    for (const uint32_t repetitions : {0U, 1U, 2U, 9U}) EXPECT_EQ(shown(walk("1.3.5.1", repetitions)), "1 257 258");
    EXPECT_EQ(next({"1.3.5.1.0"}).bindings.at(0), number("1.3.5.1.1", 1)) << "below every source";
    EXPECT_EQ(values({"1.3.5.2.257", "1.3.5.2.1", "1.3.5.2.336", "1.3.5.2.0", "1.3.5.2.513"}), "p1 '' - - -");
    EXPECT_EQ(next({"1.3.5.1.513"}).bindings.at(0).name, "1.3.5.2.1");
    EXPECT_EQ(table->count(), 5U);
}

TEST_F(MultiProviderTest, ARowIsWrittenWhereItCameFrom) {
    (void)set({number("1.3.5.4.258", 77)});
    EXPECT_EQ(ports.requests.back().get_u32(tn::field::ObjectId), 2U);
    EXPECT_EQ(ports.requests.back().get_u32(kValue), 77U);
    (void)set({number("1.3.5.4.1", 5)});
    EXPECT_EQ(written, 5U);
    Port below;
    EXPECT_FALSE(multi->setData(&below, table));
}

TEST_F(PortsTest, TheFirstRowThatQualifiesIsFoundOrTheSearchEnds) {
    const BuildFunction big = [](const tn::message& m) { return m.get_u32(kValue) >= 30 ? Port::build(m) : nullptr; };
    GetFirstProvider provider(kPath, big, messageOf({{kFilter, 5U}}));
    EXPECT_EQ(provider.get(), nullptr);
    EXPECT_EQ(provider.getFirstObjId(), tn::kNoId);
    hasPorts({1, 2, 3, 4});
    EXPECT_EQ(provider.getFirstObjId(), 3U);
    EXPECT_EQ(ports.requests.back().get_u32(kFilter), 5U);
    ports.loses(3);
    EXPECT_EQ(provider.getFirstObjId(), 3U) << "found before";
    EXPECT_EQ(static_cast<Port&>(*provider.get()).id, 4U);
    EXPECT_EQ(provider.getFirstObjId(), 4U);

    const tn::message gone = messageOf({{tn::field::Gone, true}, {kValue, 99U}});
    for (const auto& [lie, fetches] : {std::pair(messageOf({{tn::field::Continue, 5U}}), 2U),  // doesn't increase
                                       {messageOf({{tn::field::Objects, Messages{gone}}}), 1U},
                                       {tn::errorMsg(tn::error::Unreachable, "no owner"), 1U}}) {
        ports.fetches = 0;
        ports.lies = [answer = lie](const tn::message&) { return answer; };
        EXPECT_EQ(provider.get(), nullptr) << lie;
        EXPECT_EQ(ports.fetches, fetches) << lie;
    }
    EXPECT_EQ(provider.getFirstObjId(), tn::kNoId);
}

TEST_F(PortsTest, ARecordIsServedWithDefaultsWhenItsOwnerFails) {
    GetProvider provider(Port::build, kIdentity, tn::cmd::Get, tn::cmd::Set, 5);
    ScriptedOwner& identity = owner(kIdentity);
    identity.reply = messageOf({{kValue, 7U}});
    EXPECT_EQ(static_cast<Port&>(*provider.get()).value, 7U);
    EXPECT_EQ(identity.requests.back().get_u32(tn::field::GetFlags), 5U);
    Port changed;
    changed.value = 9;
    EXPECT_TRUE(provider.set(&changed));
    EXPECT_EQ(identity.requests.back().get_u32(kValue), 9U);
    identity.reply = tn::errorMsg(tn::error::Refused, "no");
    EXPECT_EQ(static_cast<Port&>(*provider.get()).value, 0U);
    EXPECT_FALSE(provider.set(&changed));
}

}  // namespace
}  // namespace snmp
