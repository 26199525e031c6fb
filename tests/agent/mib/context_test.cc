#include "agent/mib/context.h"

#include "tests/agent/agent_test.h"

namespace snmp {
namespace {

TEST(Context, NothingOfARequestReachesTheNext) {
    Context c(std::vector<uint8_t>(9, 5));
    c.version = c.bindingIndex = c.nonRepeaters = c.maxRepetitions = c.pendingEndOfView = 3;
    c.community = "secret";
    c.pduType = pdu::GetBulkRequest;
    c.v3Error = V3Error::WrongDigest;
    c.requestedName = c.oid = c.branchPrefix = c.setPrefix = c.setSuffix = OID{1, 3};
    c.branchStatus = ErrorStatus::NoSuchName;
    c.out.startSeq(tag::Sequence);
    c.begin(std::vector<uint8_t>{5, 0});

    EXPECT_TRUE(c.in.getNull());
    EXPECT_EQ(c.out.size(), 0U);
    EXPECT_EQ(c.version + c.bindingIndex + c.nonRepeaters + c.maxRepetitions + c.pendingEndOfView, 0U);
    EXPECT_EQ(std::tuple(c.community, c.pduType, c.v3Error, c.branchStatus),
              std::tuple("", kNoTag, V3Error::None, ErrorStatus::NoError));
    for (const OID& name : {c.requestedName, c.oid, c.branchPrefix, c.setPrefix, c.setSuffix})
        EXPECT_TRUE(name.empty()) << name;
}

TEST(Context, RemainingVarbindsAreWrittenAsFarAsTheyFit) {
    Context c({});
    c.pendingEndOfView = 2;
    c.addEndOfMibView(OID{1, 3});
    EXPECT_EQ(c.pendingEndOfView, 0U);
    EXPECT_EQ(c.out.size(), 14U);
    c.pendingEndOfView = 10'000;
    c.addEndOfMibView(OID{1, 3});
    EXPECT_GT(c.pendingEndOfView, 0U);
    EXPECT_LE(c.out.size(), kMaxMessage + 7);
}

}  // namespace
}  // namespace snmp
