#include "agent/core/two_phase_set.h"

#include <set>

#include "agent/mib/columns.h"
#include "agent/mib/providers/get_all_provider.h"
#include "agent/mib/request_writes.h"
#include "tests/agent/agent_test.h"
#include "tests/agent/table_owner.h"

namespace snmp {
namespace {

constexpr tn::u32_id kLevel{1};
constexpr tn::string_id kLabel{2};

struct Tank : Data {
    unsigned int id = 0, level = 0, address = 0;
    std::string label;
    static std::unique_ptr<Data> build(const tn::message& m) {
        auto tank = std::make_unique<Tank>();
        tank->id = m.get_u32(tn::field::ObjectId);
        tank->level = m.get_u32(kLevel);
        tank->label = m.get_string(kLabel);
        return tank;
    }
    void reverseBuild(tn::message& m) override {
        m.insert_u32(kLevel, level);
        m.insert_string(kLabel, label);
    }
};

constexpr Column<Tank> kTankColumns[] = {
    {1, "tankId", tag::Integer, &Tank::id},
    {2, "tankLevel", tag::Gauge32, &Tank::level, Access::ReadWrite},
    {3, "tankLabel", tag::OctetString, &Tank::label, Access::ReadWrite, 4},
    {4, "tankAddress", tag::IpAddress, &Tank::address, Access::ReadWrite},
};

/// Applies Sets, except those of refused rows and those after the last that it accepts.
class TankOwner : public TableOwner {
  public:
    tn::message handle(const tn::message& request, uint32_t rights) override {
        if (request.get_u32(tn::field::Command) != tn::cmd::Set) return TableOwner::handle(request, rights);
        const uint32_t id = request.get_u32(tn::field::ObjectId);
        if (refused.contains(id) || ++accepted > most) return tn::errorMsg(tn::error::NotPermitted, "no");
        rows[id].insert_u32(kLevel, request.get_u32(kLevel));
        rows[id].insert_string(kLabel, request.get_string(kLabel));
        return {};
    }
    std::set<uint32_t> refused;
    unsigned accepted = 0, most = 1000;
};

/// A standard agent with tanks 1 to 3 at 1.3.5, the constant 1.3.4 and, at 1.3.6, a branch that knows nothing of
/// checks.
class TwoPhaseSetTest : public AgentTest {
  protected:
    TwoPhaseSetTest() {
        opensCommon(true);
        agent->setRules(kStandardRules);
        agent->addHandler(kPath, &tanks);
        auto* provider = keep<GetAllProvider>(kPath, oneRow<Tank::build>, 5U);
        addTable(OID{1, 3, 5}, "tankEntry", keepTable(provider, {{kTankColumns[0], tn::field::ObjectId.number}}),
                 kTankColumns);
        addScalarConstNumLeaf(OID{1, 3, 4}, 4, tag::Integer);
        addBranch(OID{1, 3, 6}) = &unaware;
        for (uint32_t id = 1; id <= 3; ++id) put(tanks.row(id), {{kLevel, id * 10}, {kLabel, "t"}});
    }
    /// Takes what it is told under .1, writes it later under .2, and has nothing else.
    class Unaware : public Branch {
      public:
        Answer get(Context&) override { return kNotMine; }
        Answer getNext(Context&) override { return kNotMine; }
        Answer set(Context& c) override {
            if (c.setSuffix == OID{2}) RequestWrites::atEnd([] { return false; });
            if (c.setSuffix == OID{9}) return kNotMine;
            c.out.addVarBind({c.setPrefix + c.setSuffix, tag::Integer, "1"});
            return kAnswered;
        }
    };
    static wire::Binding gauge(const std::string& name, uint32_t value) {
        return {name, tag::Gauge32, std::to_string(value)};
    }
    std::string levels() { return values({"1.3.5.2.1", "1.3.5.2.2", "1.3.5.2.3"}); }
    std::tuple<uint32_t, uint32_t> statusOf(const std::vector<wire::Binding>& bindings, uint32_t version = kVersion2c) {
        const RequestWrites writes;
        const wire::Message reply = set(bindings, version);
        EXPECT_EQ(reply.bindings, bindings) << "in an error as in a success";
        return {reply.errorStatus, reply.errorIndex};
    }

    inline static const std::vector<uint32_t> kPath = {20, 0};
    TankOwner tanks;
    Unaware unaware;
};

TEST_F(TwoPhaseSetTest, EveryVarbindIsCheckedBeforeTheFirstIsSet) {
    const std::tuple<wire::Binding, uint32_t, uint32_t> cases[] = {
        // The error in v2c and in v1.
        {number("1.3.5.2.2", 5), 7, 3},     {text("1.3.5.2.2", "5"), 7, 3},
        {text("1.3.5.3.2", "12345"), 8, 3}, {{"1.3.5.4.2", tag::IpAddress, "12345"}, 8, 3},
        {number("1.3.5.1.2", 5), 17, 2},    {number("1.3.4.0", 5), 17, 2},
        {number("1.3.4.1", 5), 11, 2},      {gauge("1.3.5.2.9", 5), 11, 2},
        {gauge("1.3.5.2", 5), 11, 2},       {gauge("1.3.5", 5), 11, 2},
        {gauge("1.3.5.9.1", 5), 11, 2},     {number("1.9.9.0", 5), 11, 2},
    };
    for (const auto& [binding, status, v1Status] : cases) {
        EXPECT_EQ(statusOf({gauge("1.3.5.2.1", 5), binding}), std::tuple(status, 2U)) << binding;
        EXPECT_EQ(statusOf({binding, gauge("1.3.5.2.1", 5)}, kVersion1), std::tuple(v1Status, 1U)) << binding;
    }
    EXPECT_EQ(tanks.accepted, 0U);
    const std::vector<wire::Binding> good = {gauge("1.3.5.2.1", 5), text("1.3.5.3.1", "1234"), number("1.3.6.1", 1)};
    EXPECT_EQ(set(good).bindings, good);
    EXPECT_EQ(values({"1.3.5.2.1", "1.3.5.3.1"}), "5 1234");
}

TEST_F(TwoPhaseSetTest, AFailureTakesBackWhatWasSet) {
    const std::vector<wire::Binding> all = {gauge("1.3.5.2.1", 5), gauge("1.3.5.2.2", 6), gauge("1.3.5.2.3", 7)};
    tanks.refused = {3};
    EXPECT_EQ(statusOf(all), std::tuple(14U, 3U));
    EXPECT_EQ(statusOf(all, kVersion1), std::tuple(5U, 3U));
    EXPECT_EQ(levels(), "10 20 30");
    // A branch that finds out only when it sets; a write that fails at the end of the request.
    EXPECT_EQ(statusOf({all[0], number("1.3.6.9", 1)}), std::tuple(11U, 2U));
    EXPECT_EQ(levels(), "10 20 30");
    EXPECT_EQ(statusOf({number("1.3.6.2", 1)}), std::tuple(15U, 0U)) << "its old value can't be read";
    tanks.accepted = 0;
    tanks.most = 3;
    EXPECT_EQ(statusOf(all), std::tuple(15U, 0U)) << "the second isn't restored";
    EXPECT_EQ(levels(), "10 6 30");
}

}  // namespace
}  // namespace snmp
