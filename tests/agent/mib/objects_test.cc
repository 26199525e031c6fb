#include "agent/mib/objects.h"

#include <gtest/gtest.h>

namespace snmp {
namespace {

TEST(ObjectsTest, ADebugLineNamesTheNearestObjectAndTheInstance) {
    objects = {{OID{1, 3, 2}, {.name = "portEntry", .source = {}, .index = {}}},
               {OID{1, 3, 2, 2}, {.name = "portName", .source = {}, .index = {}}}};
    const std::pair<OID, std::string> cases[] = {{{1, 3, 2, 2, 7, 1}, " (portName.7.1)"},
                                                 {{1, 3, 2, 2}, " (portName)"},
                                                 {{1, 3, 2, 3, 7}, " (portEntry.3.7)"},
                                                 {{1, 3, 3, 2}, ""},
                                                 {{1, 3}, ""},
                                                 {{}, ""}};
    for (const auto& [name, note] : cases) EXPECT_EQ(nameNote(name), note) << name;
    objects.clear();
}

}  // namespace
}  // namespace snmp
