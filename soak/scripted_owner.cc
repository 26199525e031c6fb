#include "soak/scripted_owner.h"

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <stdexcept>
#include <thread>

#include "tnctl/command_file.h"
#include "tnctl/failure.h"
#include "tnctl/message_fields.h"
#include "tnctl/names.h"
#include "tnctl/numbers.h"

namespace soak {

using namespace std::chrono_literals;

const char* const kScriptHelp = R"(A script has one action per line. Each request performs the lines from where the
previous one stopped, up to the next reply:

  answer [NUMBER:KIND=VALUE...]  reply with these fields, as for tnctl message; without any, with success
  error CODE [TEXT]              reply with an error: not-found, refused, store-failed or a number
  lie empty|kinds|order|endless|large
                                 reply with the previous answer, falsified: without fields; every number and text of
                                 the other kind; rows in reverse order; always more rows; 200 KiB larger
  delay TIME                     wait (50ms, 2s) before the next line
  hang                           stop for good: answer and read nothing more
  die [STATUS]                   exit at once, without a reply
  repeat                         continue at the list's first line
  for COMMAND                    the following lines answer only this command (get, get-all, a number)

At the end of the list its last reply is repeated. Words are quoted as in a shell; # begins a comment.)";

namespace {

constexpr std::pair<std::string_view, uint32_t> kErrors[] = {{"not-found", tn::error::NotFound},
                                                             {"refused", tn::error::Refused},
                                                             {"not-permitted", tn::error::NotPermitted},
                                                             {"store-failed", tn::error::StoreFailed}};
constexpr size_t kLarge = 200'000;  // octets: fits into a packet, but not together with much else

std::chrono::milliseconds timeOf(std::string_view text) {
    const size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
    const std::string_view unit = text.substr(digits);
    const auto number = tnctl::parseNumber(text.substr(0, digits), 86'400'000);
    if (!number || (unit != "ms" && unit != "s"))
        throw std::runtime_error("expected a time such as 50ms or 2s, not '" + std::string(text) + "'");
    return std::chrono::milliseconds(*number * (unit == "s" ? 1000 : 1));
}

tn::message errorOf(const std::vector<std::string>& words) {
    if (words.empty() || words.size() > 2) throw std::runtime_error("error: expected CODE [TEXT]");
    const auto known = std::ranges::find(kErrors, words[0], &std::pair<std::string_view, uint32_t>::first);
    const auto number = tnctl::parseNumber(words[0]);
    if (known == std::end(kErrors) && !number) throw std::runtime_error("unknown error code '" + words[0] + "'");
    return tn::errorMsg(known != std::end(kErrors) ? known->second : static_cast<uint32_t>(*number),
                        words.size() > 1 ? words[1] : "scripted");
}

/// The message with every u32 as text and every text as a number, in nested messages, too.
tn::message withOtherKinds(const tn::message& from) {
    tn::message out;
    for (const tn::message::Field& field : from.fields()) {
        if (field.kind() == tn::Kind::U32) {
            out.insert_string(tn::string_id(field.number()), std::to_string(std::get<uint64_t>(field.value)));
        } else if (field.kind() == tn::Kind::String) {
            out.insert_u32(tn::u32_id(field.number()), 0xffffffff);
        } else if (const auto* items = std::get_if<std::vector<tn::message>>(&field.value)) {
            auto& others = out.get_message_array_ref(tn::message_array_id(field.number()));
            for (const tn::message& item : *items) others.push_back(withOtherKinds(item));
        } else {
            out.insert_field(field);
        }
    }
    return out;
}

}  // namespace

/// Reads the lines into the lists.
class ScriptedOwner::Parser {
  public:
    explicit Parser(std::map<std::optional<uint32_t>, Steps>& lists) : lists_(lists) {}

    void read(std::vector<std::string> words) {
        const std::string verb = words.front();
        words.erase(words.begin());
        if (verb == "for") return choose(words);
        std::vector<Step>& steps = lists_[command_].steps;
        if (!steps.empty() && steps.back().verb == Verb::Repeat)
            throw std::runtime_error("this line isn't reached: it follows a repeat");
        steps.push_back(stepOf(verb, words));
    }

    /// A list that never replies would make its owner loop.
    void end() const {
        for (const auto& [command, list] : lists_) {
            const bool replies = std::ranges::any_of(
                list.steps, [](const Step& step) { return step.verb != Verb::Delay && step.verb != Verb::Repeat; });
            if (!replies) throw std::runtime_error("the list of lines has no reply");
            if (list.steps.back().verb == Verb::Delay) throw std::runtime_error("no reply follows the last delay");
        }
    }

  private:
    void choose(const std::vector<std::string>& words) {
        if (words.size() != 1) throw std::runtime_error("for: expected one command");
        command_ = tnctl::parseCommand(words[0]);
        if (!command_) throw std::runtime_error("unknown command '" + words[0] + "'");
    }

    Step stepOf(const std::string& verb, const std::vector<std::string>& words) {
        if (verb == "answer") return {.verb = Verb::Answer, .reply = answer_ = tnctl::parseFields(words)};
        if (verb == "error") return {.verb = Verb::Answer, .reply = errorOf(words)};
        if (verb == "lie") return {.verb = Verb::Lie, .reply = answer_, .lie = lieOf(only(verb, words))};
        if (verb == "delay") return {.verb = Verb::Delay, .time = timeOf(only(verb, words))};
        if (verb == "die") return {.verb = Verb::Die, .status = words.empty() ? 0 : statusOf(only(verb, words))};
        if ((verb == "hang" || verb == "repeat") && words.empty())
            return {.verb = verb == "hang" ? Verb::Hang : Verb::Repeat};
        throw std::runtime_error("unknown line '" + verb + "'");
    }

    static const std::string& only(const std::string& verb, const std::vector<std::string>& words) {
        if (words.size() != 1) throw std::runtime_error(verb + ": expected one word");
        return words[0];
    }

    static Lie lieOf(std::string_view name) {
        constexpr std::string_view kLies[] = {"empty", "kinds", "order", "endless", "large"};
        const auto found = std::ranges::find(kLies, name);
        if (found == std::end(kLies)) throw std::runtime_error("unknown lie '" + std::string(name) + "'");
        return static_cast<Lie>(found - std::begin(kLies));
    }

    static int statusOf(const std::string& text) {
        const auto status = tnctl::parseNumber(text, 255);
        if (!status) throw std::runtime_error("die: expected a status of 0 to 255");
        return static_cast<int>(*status);
    }

    std::map<std::optional<uint32_t>, Steps>& lists_;
    std::optional<uint32_t> command_;
    tn::message answer_;  ///< the last one
};

ScriptedOwner::ScriptedOwner(std::string_view script) {
    Parser parser(lists_);
    size_t line = 1;
    try {
        for (tnctl::FileCommand& command : tnctl::splitCommands(script)) {
            line = command.line;
            parser.read(std::move(command.words));
        }
        parser.end();
    } catch (const tnctl::LineFault& fault) {
        throw std::runtime_error("line " + std::to_string(fault.line) + ": " + fault.what());
    } catch (const std::runtime_error& failure) {
        throw std::runtime_error("line " + std::to_string(line) + ": " + failure.what());
    }
}

tn::message ScriptedOwner::handle(const tn::message& request, uint32_t) {
    const uint32_t command = request.get_u32(tn::field::Command);
    if (command == tn::cmd::Subscribe || command == tn::cmd::Unsubscribe || command == tn::cmd::GetPolicies)
        return handleCmd(request, command);
    if (remembers) requests.push_back(request);
    auto list = lists_.find(command);
    if (list == lists_.end()) list = lists_.find(std::nullopt);
    return list != lists_.end() ? perform(list->second, request) : Handler::cmdUnknown(request, command);
}

tn::message ScriptedOwner::perform(Steps& list, const tn::message& request) {
    for (;;) {
        const Step& step = list.steps[list.next];
        if (list.next + 1 < list.steps.size()) ++list.next;
        switch (step.verb) {
            case Verb::Answer:
                return step.reply;
            case Verb::Lie:
                return falsified(step, request);
            case Verb::Delay:
                wait(step.time);
                break;
            case Verb::Hang:
                hang();
                return {};
            case Verb::Die:
                die(step.status);
                return {};
            case Verb::Repeat:
                list.next = 0;
                break;
        }
    }
}

tn::message ScriptedOwner::falsified(const Step& step, const tn::message& request) {
    tn::message reply = step.reply;
    switch (step.lie) {
        case Lie::Empty:
            return {};
        case Lie::Kinds:
            return withOtherKinds(reply);
        case Lie::Order:
            std::ranges::reverse(reply.get_message_array_ref(tn::field::Objects));
            return reply;
        case Lie::Endless:
            reply.insert_u32(tn::field::Continue, request.get_u32(tn::field::Continue));
            return reply;
        case Lie::Large:
            reply.insert_raw(tn::raw_id(0xfdffff), std::vector<uint8_t>(kLarge, 'x'));
            return reply;
    }
    return reply;
}

void ScriptedOwner::wait(std::chrono::milliseconds time) { std::this_thread::sleep_for(time); }

void ScriptedOwner::hang() {
    // The loop reads signals from a descriptor, which it no longer does.
    sigset_t none;
    sigemptyset(&none);
    for (const int number : {SIGTERM, SIGINT}) (void)std::signal(number, SIG_DFL);
    (void)pthread_sigmask(SIG_SETMASK, &none, nullptr);
    for (;;) pause();
}

void ScriptedOwner::die(int status) { _exit(status); }

}  // namespace soak
