#include "tnctl/supervisor_commands.h"

#include <algorithm>
#include <ctime>
#include <ostream>
#include <utility>

#include "contracts/supervisor.h"
#include "tn/log.h"
#include "tnctl/client.h"
#include "tnctl/configuration.h"
#include "tnctl/differences.h"
#include "tnctl/failure.h"
#include "tnctl/listing.h"
#include "tnctl/numbers.h"

namespace tnctl {

namespace field = tn::field;
namespace undo = tn::undo;

namespace {

namespace supervisor = contracts::supervisor;
namespace undo_journal = contracts::undo_journal;

const Path kProcesses(supervisor::kPath.begin(), supervisor::kPath.end());
const Path kJournal(undo_journal::kPath.begin(), undo_journal::kPath.end());

// Local time, as log lines have it.
std::string timeText(uint32_t seconds) {
    const std::time_t when = seconds;
    std::tm local{};
    localtime_r(&when, &local);
    char text[32];
    return {text, std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local)};
}

uint32_t newestRecord(const Client& client) {
    uint32_t newest = 0;
    const std::vector<tn::message> records = client.list(kJournal);
    if (records.empty()) throw Failure(kFailed, "nothing to undo");
    for (const tn::message& record : records) newest = std::max(newest, record.get_u32(field::ObjectId));
    return newest;
}

uint32_t recordId(const std::string& text) {
    const auto id = parseNumber(text);
    if (!id) throw Failure(kUsage, tn::escaped(text) + ": expected an id from `tnctl undo list`, or the command list");
    return static_cast<uint32_t>(*id);
}

/// Reads what changed from whole records, which contain passwords: members of the group may not read them.
class ChangeReader {
  public:
    explicit ChangeReader(const Client& client) : client_(client) {}

    std::vector<std::string> changesOf(uint32_t id) {
        if (!mayRead_) return {};
        tn::message which;
        which.insert_u32(field::ObjectId, id);
        try {
            const tn::message record = client_.ask(kJournal, tn::cmd::GetObj, std::move(which));
            if (!names_) names_ = referenceNames(client_, {});
            return differencesOf(record, *names_);
        } catch (const Failure&) {
            mayRead_ = false;
            return {};
        }
    }

  private:
    const Client& client_;
    bool mayRead_ = true;
    std::optional<ReferenceNames> names_;
};

}  // namespace

void listProcesses(const Session& session) {
    std::vector<Json> rows;
    for (const tn::message& item : Client(session.options.timeout).list(kProcesses)) {
        const uint32_t age = item.get_u32(supervisor::Age);
        rows.push_back({{"pid", item.get_u32(supervisor::Pid)},
                        {"name", item.get_string(field::Name)},
                        {"numbers", item.get_u32_array(supervisor::Numbers)},
                        {"age", session.options.json ? Json(age) : Json(ageText(age))}});
    }
    printList(session, {{"PID", "pid"}, {"NAME", "name"}, {"UP", "age"}, {"NUMBERS", "numbers"}}, rows);
}

void listUndo(const Session& session) {
    const Client client(session.options.timeout);
    ChangeReader reader(client);
    std::vector<Json> rows;
    for (const tn::message& record : client.list(kJournal)) {
        const uint32_t when = record.get_u32(undo::When);
        Json& row = rows.emplace_back(Json{{"id", record.get_u32(field::ObjectId)},
                                           {"when", session.options.json ? Json(when) : Json(timeText(when))},
                                           {"text", record.get_string(undo::Text)}});
        const std::vector<std::string> changes = reader.changesOf(record.get_u32(field::ObjectId));
        if (session.options.json) {
            row["changes"] = changes;
            continue;
        }
        std::string what;
        for (const std::string& change : changes) what += (what.empty() ? "" : "; ") + change;
        if (!what.empty()) row["text"] = what;
    }
    printList(session, {{"ID", "id"}, {"WHEN", "when"}, {"WHAT", "text"}}, rows);
}

void undoChange(const Session& session, const std::optional<std::string>& id) {
    tn::message which;
    if (id) which.insert_u32(field::ObjectId, recordId(*id));
    const Client client(session.options.timeout);
    if (!id) which.insert_u32(field::ObjectId, newestRecord(client));
    const tn::message record = client.ask(kJournal, tn::cmd::GetObj, which);

    tn::message takeBack = record.get_message(undo::Old);
    takeBack.insert_bool(field::NoUndo, true);
    (void)client.exchange(takeBack);  // ends here, the record kept, when its owner refuses

    const std::string text = tn::escaped(record.get_string(undo::Text));
    session.console.out << "undone: " << text << '\n';
    client.ask(kJournal, tn::cmd::RemoveObj, std::move(which));
}

}  // namespace tnctl
