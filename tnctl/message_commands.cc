#include "tnctl/message_commands.h"

#include <algorithm>
#include <ctime>
#include <ostream>
#include <utility>

#include "contracts/snmp.h"
#include "tn/log.h"
#include "tn/looper.h"
#include "tn/sources.h"
#include "tnctl/client.h"
#include "tnctl/failure.h"
#include "tnctl/listing.h"
#include "tnctl/message_fields.h"
#include "tnctl/message_text.h"
#include "tnctl/names.h"
#include "tnctl/numbers.h"
#include "tnctl/snmp_words.h"

namespace tnctl {

namespace snmp = contracts::snmp;
namespace field = tn::field;

namespace {

Path parsePath(const std::string& text) {
    const auto path = parseNumbers(text);
    if (!path)
        throw Failure(kUsage, tn::escaped(text) + ": expected a path, numbers separated by commas, such as 24,2");
    return *path;
}

uint32_t parseCommandWord(const std::string& text) {
    const auto command = parseCommand(text);
    if (!command)
        throw Failure(kUsage,
                      tn::escaped(text) + ": expected a command, a number such as 0xfe000d or a name such as get");
    return *command;
}

// Community passwords travel to and from the communities, and in the requests that undo records hold.
Secrets secretsOf(const Session& session, const Path& path) {
    const bool has = std::ranges::equal(path, snmp::kCommunitiesPath) || path == Path{tn::number::Supervisor, 1};
    return has && !session.options.secrets ? Secrets::Hide : Secrets::Show;
}

std::string timeOfDay() {
    const std::time_t now = tn::sources().wallSeconds();
    std::tm local{};
    localtime_r(&now, &local);
    char text[16];
    return {text, std::strftime(text, sizeof text, "%H:%M:%S", &local)};
}

// Where notifications come in: 0 is no process's number, and connections tell clients apart.
const Path kOwnPath{0, 1};

class Watcher : public tn::Handler {
  public:
    Watcher(const Session& session, Secrets secrets) : session_(session), secrets_(secrets) {}

    tn::message handle(const tn::message& notification, uint32_t) override {
        std::ostream& out = session_.console.out;
        const uint32_t command = notification.get_u32(field::Command);
        Json fields = messageJson(notification, secrets_);
        for (const char* routing : kRouting) fields.erase(routing);
        if (session_.options.json) {
            const Json line{{"time", tn::sources().wallSeconds()}, {"command", command}, {"fields", std::move(fields)}};
            out << jsonText(line, -1) << '\n';
        } else {
            const std::string_view name = commandName(command);
            out << timeOfDay() << ' ' << (name.empty() ? std::to_string(command) : std::string(name)) << '\n';
            printFields(out, fields, 2);
        }
        if (!out.flush()) tn::getLooper()->shutdown();  // nobody reads any more (a full disk, a closed pipe)
        return {};
    }

  private:
    // What only says how the notification got here.
    static constexpr const char* kRouting[] = {"0xff0001:u32[]", "0xff0002:u32[]", "0xff0003:u32", "0xff0007:u32",
                                               "0xff000d:u32"};

    const Session& session_;
    Secrets secrets_;
};

// A wrong path ends the command now; an owner that isn't up yet is waited for.
void checkOwner(const Session& session, const Path& path) {
    tn::message probe = tn::request(path, tn::cmd::GetPolicies);
    const tn::message reply = tn::getLooper()->exchangeMessage(probe, session.options.timeout);
    uint32_t code = 0;
    if (!tn::isError(reply, &code)) return;
    if (code != tn::error::Unreachable && code != tn::error::TimedOut) throw Failure(kFailed, tn::getError(reply));
    session.console.err << "tnctl: " << tn::getError(reply) << ": waiting for it" << std::endl;
}

}  // namespace

void sendMessage(const Session& session, const std::string& path, const std::string& command,
                 const std::vector<std::string>& fields) {
    const Path to = parsePath(path);
    const uint32_t number = parseCommandWord(command);
    tn::message request = parseFields(fields);
    const tn::message reply = Client(session.options.timeout).ask(to, number, std::move(request));
    const Json json = messageJson(reply, secretsOf(session, to));
    if (session.options.json)
        session.console.out << jsonText(json) << '\n';
    else
        printFields(session.console.out, json);
}

void watch(const Session& session, const std::string& path, const std::optional<std::string>& notification) {
    const Path to = parsePath(path);
    const uint32_t command = notification ? parseCommandWord(*notification) : tn::cmd::Changed;
    checkOwner(session, to);
    Watcher watcher(session, secretsOf(session, to));
    tn::Looper& looper = *tn::getLooper();
    looper.addHandler(kOwnPath, &watcher);
    watcher.subscribe(to, command, {});
    looper.ThinRunner::run();  // not the looper's own, which would open a socket for others to call
    watcher.unsubscribe(to, command, {});
}

}  // namespace tnctl
