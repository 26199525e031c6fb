#include "tnctl/differences.h"

#include <algorithm>
#include <utility>

#include "contracts/snmp.h"
#include "contracts/supervisor.h"
#include "tn/log.h"
#include "tnctl/access.h"
#include "tnctl/snmp_words.h"

namespace tnctl {

namespace snmp = contracts::snmp;
namespace change = snmp::change;
namespace community = snmp::community;

namespace {

std::string shown(const std::string& text) { return text.empty() ? "-" : tn::escaped(text); }

std::string entryName(const tn::message& entry) {
    return "community " + tn::escaped(entry.get_string(community::Name));
}

void addEntryDifferences(const tn::message& before, const tn::message& after, std::vector<std::string>& lines) {
    for (const Word& word : communityWords()) {
        const std::string was = valueText(word, before), is = valueText(word, after);
        if (was == is) continue;
        const std::string what = word.type.secret ? "changed" : shown(was) + " -> " + shown(is);
        lines.push_back(entryName(before) + ": " + std::string(word.name) + ": " + what);
    }
}

bool goesTo(const tn::message& request, std::span<const uint32_t> path) {
    return std::ranges::equal(request.get_u32_array(tn::field::Destination), path);
}

/// The configurations before and after a change, as far as its undo record has them.
std::pair<Configuration, Configuration> aroundChange(const tn::message& done, const tn::message& undo) {
    Configuration before, after;
    if (goesTo(undo, snmp::kSettingsPath)) {
        before = {undo, undo.get_message_array(change::Entries)};
        after = {undo, done.get_message_array(change::Entries)};
        after.settings.insert_all(done);
    } else if (goesTo(undo, snmp::kCommunitiesPath)) {
        const uint32_t command = undo.get_u32(tn::field::Command);
        if (command != tn::cmd::RemoveObj) before.entries.push_back(undo);
        if (command != tn::cmd::AddObj) {
            tn::message entry = command == tn::cmd::SetObj ? undo : newEntry();
            entry.insert_all(done);
            after.entries.push_back(std::move(entry));
        }
    }
    return {std::move(before), std::move(after)};
}

}  // namespace

std::vector<std::string> differences(const Configuration& before, const Configuration& after,
                                     const ReferenceNames& names) {
    std::vector<std::string> lines;
    for (const Word& word : settingWords()) {
        const std::string was = settingText(word, before.settings, names),
                          is = settingText(word, after.settings, names);
        if (word.settable && was != is)
            lines.push_back(std::string(word.name) + ": " + shown(was) + " -> " + shown(is));
    }
    for (const tn::message& entry : before.entries) {
        if (const tn::message* same = entryWithId(after.entries, idOf(entry)))
            addEntryDifferences(entry, *same, lines);
        else
            lines.push_back(entryName(entry) + ": removed");
    }
    for (const tn::message& entry : after.entries)
        if (entryWithId(before.entries, idOf(entry)) == nullptr)
            lines.push_back(entryName(entry) + ": added: " + accessOf(entry).text());
    return lines;
}

std::vector<std::string> differencesOf(const tn::message& record, const ReferenceNames& names) {
    const auto around = aroundChange(record.get_message(tn::undo::New), record.get_message(tn::undo::Old));
    return differences(around.first, around.second, names);
}

}  // namespace tnctl
