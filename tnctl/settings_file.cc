#include "tnctl/settings_file.h"

#include <algorithm>
#include <set>
#include <utility>

#include "contracts/snmp.h"
#include "tn/log.h"
#include "tnctl/access.h"
#include "tnctl/community_commands.h"
#include "tnctl/failure.h"
#include "tnctl/passwords.h"
#include "tnctl/prefixes.h"
#include "tnctl/snmp_words.h"
#include "tnctl/value_types.h"

namespace tnctl {

namespace snmp = contracts::snmp;
namespace community = snmp::community;

namespace {

using Kind = SettingsStep::Kind;
using Words = std::vector<std::string>;

struct LineForm {
    std::string_view command;
    Kind kind;
    bool isNamed;  ///< the name of an entry follows
};

constexpr LineForm kLineForms[] = {{"snmp reset", Kind::Reset, false},
                                   {"snmp set", Kind::Set, false},
                                   {"snmp community add", Kind::Add, false},
                                   {"snmp community set", Kind::Change, true},
                                   {"snmp community remove", Kind::Remove, true}};

/// The form that these words begin with, and removes its words.
const LineForm& takeForm(Words& words) {
    if (!words.empty() && words.front() == "tnctl") words.erase(words.begin());
    std::string begun;
    for (size_t count = 1; count <= words.size() && count <= 3; ++count) {
        begun += (count == 1 ? "" : " ") + words[count - 1];
        const LineForm* form = std::ranges::find(kLineForms, begun, &LineForm::command);
        if (form == std::end(kLineForms)) continue;
        words.erase(words.begin(), words.begin() + static_cast<std::ptrdiff_t>(count));
        return *form;
    }
    throw Failure(kUsage, tn::escaped(begun) +
                              ": expected snmp reset, snmp set, snmp community add, snmp community set or snmp "
                              "community remove");
}

SettingsStep parseStep(FileCommand command, const ReadSecret& readSecret) {
    Words& words = command.words;
    const LineForm& form = takeForm(words);
    SettingsStep step;
    step.line = command.line;
    step.kind = form.kind;
    step.isForced = std::erase(words, "--force") > 0;
    std::erase(words, "--yes");  // import asks once for all
    if (form.isNamed) {
        if (words.empty()) throw Failure(kUsage, std::string(form.command) + ": expected the name or id of an entry");
        step.name = words.front();
        words.erase(words.begin());
    }
    const bool hasWords = form.kind != Kind::Reset && form.kind != Kind::Remove;
    if (!hasWords && !words.empty()) throw Failure(kUsage, tn::escaped(words.front()) + ": unknown argument");
    if (hasWords && words.empty()) throw Failure(kUsage, std::string(form.command) + ": expected KEY=VALUE");
    if (hasWords)
        step.fields = parseWords(form.kind == Kind::Set ? settingWords() : communityWords(), words, readSecret);
    if (form.kind == Kind::Add && !step.fields.has(community::Name))
        throw Failure(kUsage, "name: expected name=VALUE for the new community");
    return step;
}

/// Applies steps to a configuration, and keeps the ids of entries.
class Applier {
  public:
    Applier(Configuration& configuration, const ReferenceNames& names)
        : now_(configuration), before_(configuration.entries), names_(names) {}

    void apply(const SettingsStep& step) {
        switch (step.kind) {
            case Kind::Reset:
                return reset();
            case Kind::Set:
                return set(step.fields);
            case Kind::Add:
                return add(step);
            case Kind::Change:
                return change(step, entryCalled(step.name));
            case Kind::Remove:
                break;
        }
        remove(entryCalled(step.name));
    }

  private:
    tn::message* entryNamed(std::vector<tn::message>& entries, const std::string& name) {
        const auto found = std::ranges::find(
            entries, name, [](const tn::message& entry) { return entry.get_string(community::Name); });
        return found == entries.end() ? nullptr : &*found;
    }

    tn::message& entryCalled(const std::string& nameOrId) {
        const tn::message& found = communityCalled(now_.entries, nameOrId);
        return *std::ranges::find(now_.entries, idOf(found), idOf);
    }

    void reset() {
        Configuration fresh = defaultConfiguration();
        now_.entries = std::move(fresh.entries);
        now_.settings.insert_all(fresh.settings);
        now_.settings.remove(snmp::setting::Interfaces);
        now_.settings.remove(snmp::setting::DisabledPlugins);
        added_.clear();
    }

    void set(const tn::message& fields) {
        tn::message resolved = fields;
        resolveReferences(now_.entries, names_, resolved);
        now_.settings.insert_all(resolved);
    }

    void add(const SettingsStep& step) {
        const std::string name = step.fields.get_string(community::Name);
        if (!added_.insert(name).second) throw Failure(kFailed, tn::escaped(name) + ": added twice");
        tn::message entry = newEntry();
        tn::message* current = entryNamed(now_.entries, name);
        entry.insert_u32(tn::field::ObjectId, current != nullptr ? idOf(*current) : idFor(name));
        if (current == nullptr) current = &now_.entries.emplace_back(entry);
        *current = std::move(entry);
        change(step, *current);
    }

    void change(const SettingsStep& step, tn::message& entry) {
        if (!step.isForced) checkPasswords(entry, step.fields);
        entry.insert_all(step.fields);
        if (entry.get_message_array(community::Addresses).empty())
            entry.insert_message_array(community::Addresses, {prefixMessage(tn::IPPrefix6::ofIPv4(0, 0))});
        const std::string name = entry.get_string(community::Name);
        const auto hasName = [&](const tn::message& each) { return each.get_string(community::Name) == name; };
        if (std::ranges::count_if(now_.entries, hasName) > 1)
            throw Failure(kFailed, "another entry has the name " + tn::escaped(name));
    }

    void remove(const tn::message& entry) {
        const uint32_t id = idOf(entry);
        if (id == 0) throw Failure(kFailed, "the default entry, id 0, can't be removed");
        std::erase_if(now_.entries, [&](const tn::message& each) { return idOf(each) == id; });
    }

    /// That of the entry that had this name, or else a free one.
    uint32_t idFor(const std::string& name) {
        const tn::message* old = entryNamed(before_, name);
        if (old != nullptr && entryWithId(now_.entries, idOf(*old)) == nullptr) return idOf(*old);
        uint32_t id = 1;
        while (entryWithId(now_.entries, id) != nullptr || entryWithId(before_, id) != nullptr) ++id;
        return id;
    }

    Configuration& now_;
    std::vector<tn::message> before_;
    const ReferenceNames& names_;
    std::set<std::string> added_;
};

/// The words of a command, with what is left out.
struct Line {
    std::string text;
    std::string leftOut;  ///< names of words
};

/// Whether the word is read as it is written.
bool isReadBack(const Word& word, const std::string& text, const tn::message& in) {
    tn::message read;
    return word.type.parse(text, word.number, read) &&
           word.type.show(read, word.number) == word.type.show(in, word.number);
}

bool hasWeakPasswords(tn::message entry) {
    for (const tn::string_id password : {community::AuthenticationPassword, community::EncryptionPassword})
        if (entry.get_string(password).empty()) entry.remove(password);  // it isn't in the line
    try {
        checkPasswords({}, entry);
    } catch (const Failure&) {
        return true;
    }
    return false;
}

Line entryLine(const tn::message& entry, bool secrets) {
    const bool isDefault = idOf(entry) == 0;
    Line line{isDefault ? "snmp community set" : "snmp community add", ""};
    if (secrets && hasWeakPasswords(entry)) line.text += " --force";
    if (isDefault) line.text += " 0";
    for (const Word& word : communityWords()) {
        std::string text = valueText(word, entry);
        if (word.type.secret && text.empty()) continue;
        // "-" and "@" have a meaning; a password of one octet can be set with --force.
        if (word.type.secret && text.starts_with('@')) text.insert(0, "@");
        if ((word.type.secret && (!secrets || text == "-")) || (!word.type.secret && !isReadBack(word, text, entry)))
            line.leftOut += (line.leftOut.empty() ? "" : ", ") + std::string(word.name);
        else
            line.text += " " + std::string(word.name) + "=" + shellQuoted(text);
    }
    return line;
}

}  // namespace

std::vector<SettingsStep> parseSettings(const std::vector<FileCommand>& commands, const ReadSecret& readSecret) {
    std::vector<SettingsStep> steps;
    for (const FileCommand& command : commands) {
        try {
            steps.push_back(parseStep(command, readSecret));
        } catch (const Failure& failure) {
            throw LineFault(command.line, failure.what());
        }
    }
    return steps;
}

void applySettings(std::span<const SettingsStep> steps, Configuration& configuration, const ReferenceNames& names) {
    Applier applier(configuration, names);
    for (const SettingsStep& step : steps) {
        try {
            applier.apply(step);
        } catch (const Failure& failure) {
            throw LineFault(step.line, failure.what());
        }
    }
    std::ranges::sort(configuration.entries, {}, idOf);
}

std::string settingsText(const Configuration& configuration, const ReferenceNames& names, bool secrets) {
    std::string text = "snmp reset\n";
    for (const tn::message& entry : configuration.entries) {
        // The default entry of a new agent: the reset makes it, and any edit would open it to every IPv4 source.
        if (entry.get_message_array(community::Addresses).empty()) continue;
        const Line line = entryLine(entry, secrets);
        if (!line.leftOut.empty())
            text += "# " + tn::escaped(entry.get_string(community::Name)) + ": left out: " + line.leftOut + "\n";
        text += line.text + "\n";
    }
    for (const Word& word : settingWords())
        if (word.settable)
            text += "snmp set " + std::string(word.name) + "=" +
                    shellQuoted(settingText(word, configuration.settings, names)) + "\n";
    return text;
}

}  // namespace tnctl
