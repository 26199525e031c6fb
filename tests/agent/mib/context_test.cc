#include "agent/mib/context.h"

#include "tests/agent/agent_test.h"

namespace snmp {
namespace {

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
