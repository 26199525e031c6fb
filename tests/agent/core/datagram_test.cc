#include "agent/core/datagram.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "agent/ber/tags.h"

namespace snmp {
namespace {

TEST(Datagrams, RepliesAreSentInOrderAndOneThatCannotBeSentIsDropped) {
    int ends[2];  // AF_UNIX, which can't send what is larger than the buffer
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0, ends), 0);
    const int least = 1;
    ASSERT_EQ(setsockopt(ends[0], SOL_SOCKET, SO_SNDBUF, &least, sizeof least), 0);
    const std::string unsendable(60'000, 'x'), tooLarge(kMaxDatagram + 1, 'y');
    const std::string* const replies[] = {&unsendable, nullptr, &tooLarge};

    Datagrams datagrams;
    for (int round = 0; round < 2; ++round) {  // the second one with the buffers of the first
        for (const char request : {'a', 'b', 'c', 'd', 'e'}) EXPECT_EQ(send(ends[1], &request, 1, 0), 1);
        datagrams.receive(ends[0]);
        std::string seen;
        while (datagrams.next()) {
            const size_t i = seen.size();
            const std::string request(datagrams.bytes().begin(), datagrams.bytes().end());
            seen += request;
            const std::string* reply = i >= 1 && i <= 3 ? replies[i - 1] : &seen;
            if (reply != nullptr) datagrams.answer({reinterpret_cast<const uint8_t*>(reply->data()), reply->size()});
        }
        EXPECT_EQ(seen, "abcde");
        datagrams.send(ends[0]);
        char reply[8];
        for (const char* expected : {"a", "abcde"}) {
            const ssize_t size = recv(ends[1], reply, sizeof reply, MSG_DONTWAIT);
            EXPECT_EQ(std::string(reply, size > 0 ? static_cast<size_t>(size) : 0), expected);
        }
        EXPECT_EQ(recv(ends[1], reply, sizeof reply, MSG_DONTWAIT), -1);
    }
    datagrams.receive(ends[0]);
    EXPECT_FALSE(datagrams.hasNext());
    for (const int end : ends) close(end);
}

}  // namespace
}  // namespace snmp
