#include "tnctl/names.h"

#include <algorithm>
#include <iterator>

#include "tn/fields.h"
#include "tnctl/numbers.h"

namespace tnctl {

namespace field = tn::field;

namespace {

struct Named {
    uint32_t number;
    std::string_view name;
};

constexpr Named kFields[] = {
    {field::Destination.number, "destination"},
    {field::Source.number, "source"},
    {field::RequestId.number, "request-id"},
    {field::ReplyTo.number, "reply-to"},
    {field::Command.number, "command"},
    {field::ErrorCode.number, "error-code"},
    {field::ErrorText.number, "error-text"},
    {field::NoUndo.number, "no-undo"},
    {field::NotifyCommand.number, "notify-command"},
    {field::NotifyFilter.number, "notify-filter"},
    {field::CallerPid.number, "caller-pid"},
    {field::ObjectId.number, "object-id"},
    {field::Objects.number, "objects"},
    {field::Continue.number, "continue"},
    {field::MaxObjects.number, "max-objects"},
    {field::NextId.number, "next-id"},
    {field::KeyIncomplete.number, "key-incomplete"},
    {field::Invalid.number, "invalid"},
    {field::Comment.number, "comment"},
    {field::Disabled.number, "disabled"},
    {field::GetFlags.number, "get-flags"},
    {field::IsDefault.number, "is-default"},
    {field::Name.number, "name"},
    {field::Count.number, "count"},
    {field::Key.number, "key"},
    {field::Defaults.number, "defaults"},
    {field::Gone.number, "gone"},
};

constexpr Named kCommands[] = {
    {tn::cmd::Subscribe, "subscribe"},
    {tn::cmd::Unsubscribe, "unsubscribe"},
    {tn::cmd::GetPolicies, "get-policies"},
    {tn::cmd::GetAll, "get-all"},
    {tn::cmd::AddObj, "add-object"},
    {tn::cmd::RemoveObj, "remove-object"},
    {tn::cmd::MoveObj, "move-object"},
    {tn::cmd::GetObj, "get-object"},
    {tn::cmd::SetObj, "set-object"},
    {tn::cmd::Reset, "reset"},
    {tn::cmd::Changed, "changed"},
    {tn::cmd::Shutdown, "shutdown"},
    {tn::cmd::Get, "get"},
    {tn::cmd::Set, "set"},
    {tn::cmd::Disconnected, "disconnected"},
    {tn::cmd::GetCount, "get-count"},
    {tn::cmd::RecordUndo, "record-undo"},
};

template <size_t N>
std::string_view nameIn(const Named (&table)[N], uint32_t number) {
    const auto* found =
        std::find_if(std::begin(table), std::end(table), [&](const Named& n) { return n.number == number; });
    return found == std::end(table) ? std::string_view() : found->name;
}

}  // namespace

std::string_view fieldName(uint32_t number) { return nameIn(kFields, number); }

std::optional<uint32_t> parseCommand(std::string_view text) {
    for (const Named& command : kCommands)
        if (command.name == text) return command.number;
    const auto number = parseNumber(text);
    return number ? std::optional(static_cast<uint32_t>(*number)) : std::nullopt;
}

std::string_view commandName(uint32_t command) { return nameIn(kCommands, command); }

}  // namespace tnctl
