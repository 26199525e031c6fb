#pragma once

#include <gmock/gmock.h>

#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "contracts/snmp.h"
#include "contracts/snmp_status.h"
#include "tn/looper.h"
#include "tnctl/client.h"
#include "tnctl/failure.h"
#include "tnctl/message_fields.h"
#include "tnctl/run.h"
#include "tnctl/snmp_words.h"
#include "tnctl/words.h"

namespace tnctl {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
namespace community = contracts::snmp::community;

/// The text of the usage error that a call throws. The test fails if it doesn't throw one.
template <class Call>
std::string refusalOf(const Call& call) {
    try {
        call();
        ADD_FAILURE() << "was taken";
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.code, kUsage);
        return failure.what();
    }
    return {};
}

inline uint32_t commandOf(const tn::message& request) { return request.get_u32(tn::field::Command); }

/// The fields of a request, without destination and command.
inline tn::message fieldsOf(tn::message request) {
    request.remove(tn::field::Destination);
    request.remove(tn::field::Command);
    return request;
}

/// Expects exactly one request, with this command and these fields (parseFields).
inline void expectOne(const std::vector<tn::message>& requests, uint32_t command,
                      const std::vector<std::string>& fields) {
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(commandOf(requests[0]), command);
    EXPECT_EQ(fieldsOf(requests[0]), parseFields(fields));
}

/// A handler that answers each command with a reply from the test, and records the requests.
class ScriptedOwner : public tn::Handler {
  public:
    tn::message handle(const tn::message& request, uint32_t) override {
        const uint32_t command = commandOf(request);
        // The platform answers subscriptions and get-policies.
        if (command == tn::cmd::Subscribe || command == tn::cmd::Unsubscribe || command == tn::cmd::GetPolicies)
            return handleCmd(request, command);
        asked.push_back(request);
        if (command == tn::cmd::GetAll && !answers.contains(command)) return page(request.get_u32(tn::field::Continue));
        return answers[command];
    }

    /// The recorded requests, except reading ones.
    [[nodiscard]] std::vector<tn::message> changes() const {
        std::vector<tn::message> found = asked;
        std::erase_if(found, [](const tn::message& request) {
            const uint32_t command = commandOf(request);
            return command == tn::cmd::Get || command == tn::cmd::GetAll || command == tn::cmd::GetObj;
        });
        return found;
    }

    std::vector<tn::message> rows;            ///< items for get-all
    size_t rowsPerPage = 100;                 ///< of a get-all reply
    std::map<uint32_t, tn::message> answers;  ///< replies to other commands, or to get-all instead of the rows
    std::vector<tn::message> asked;           ///< all requests except those that the platform answers

  private:
    [[nodiscard]] tn::message page(size_t from) const {
        tn::message reply;
        const size_t to = std::min(rows.size(), from + rowsPerPage);
        for (size_t i = from; i < to; ++i) reply.get_message_array_ref(tn::field::Objects).push_back(rows[i]);
        if (to < rows.size()) reply.insert_u32(tn::field::Continue, static_cast<uint32_t>(to));
        return reply;
    }
};

/// A test with all owners that tnctl has commands for, and a function that runs command lines.
class CommandTest : public testing::Test {
  protected:
    CommandTest() {
        looper.addHandler(Path{34}, &settings);
        looper.addHandler(Path{34, 1}, &communities);
        looper.addHandler(Path{34, 2}, &generators);
        looper.addHandler(Path{34, 3}, &status);
        looper.addHandler(Path{20, 0}, &interfaces);
        looper.addHandler(Path{1}, &supervisor);
        looper.addHandler(Path{1, 1}, &journal);
    }

    /// Runs a command line of these words. Its output is in `out` and `err` afterwards.
    /// @param input        standard input
    /// @param interactive  whether standard input counts as a terminal
    /// @return exit code
    int type(const std::vector<std::string>& words, const std::string& input = {}, bool interactive = false) {
        std::istringstream in(input);
        std::ostringstream outStream;
        std::ostringstream errStream;
        const int code = run(words, {in, outStream, errStream, interactive});
        out = outStream.str();
        err = errStream.str();
        return code;
    }

    /// The same for a line, split at spaces. Quotes have no meaning.
    int type(const std::string& line, const std::string& input = {}, bool interactive = false) {
        std::istringstream text(line);
        return type(std::vector<std::string>(std::istream_iterator<std::string>(text), {}), input, interactive);
    }

    /// A row of the communities that may read.
    static tn::message communityRow(uint32_t id, const std::string& name, const std::string& addresses = {}) {
        std::vector<std::string> words{"name=" + name, "read-access=yes", "write-access=no"};
        if (!addresses.empty()) words.push_back("addresses=" + addresses);
        tn::message row = parseWords(communityWords(), words, {});
        row.insert_u32(tn::field::ObjectId, id);
        return row;
    }

    ScriptedOwner settings, communities, generators, status, interfaces, supervisor,
        journal;  // outlive the looper
    tn::Looper looper{std::vector<uint32_t>{}};
    std::string out, err;
};

}  // namespace tnctl
