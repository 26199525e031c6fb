#include "tnctl/import_command.h"

#include <fstream>

#include "contracts/snmp_settings.h"
#include "tests/tn/temp_root.h"
#include "tests/tnctl/scripted_bus.h"
#include "tn/store.h"
#include "tnctl/configuration.h"
#include "tnctl/settings_file.h"

namespace tnctl {
namespace {

namespace change = contracts::snmp::change;
namespace stored = contracts::snmp::store;

constexpr char kOps[] =
    "snmp community add name=ops addresses=192.0.2.0/24 security=authorized authentication-password=maplesyrup\n";

class Import : public CommandTest {
  protected:
    Import() {
        settings.answers[tn::cmd::Get] = defaultConfiguration().settings;
        communities.rows = {communityRow(0, "common", "127.0.0.0/8"), communityRow(4, "old", "10.0.0.0/8")};
    }
    int import(const std::string& text, const std::string& options = {}) {
        files.write("settings", text);
        return type("import " + options + " " + files.path("settings"));
    }
    tn::message sent() {
        EXPECT_THAT(settings.changes(), SizeIs(1));
        return settings.changes().empty() ? tn::message() : settings.changes()[0];
    }
    tn::TempTree files;
};

TEST_F(Import, ExportedSettingsComeBackWhateverTheyContain) {
    Configuration made = defaultConfiguration();
    const ReferenceNames names{{{0, "common"}, {7, "o'ps \n\\"}}, {{0, "interfaces"}}, {{3, "eth0"}}};
    made.settings.insert_all(parseWords(settingWords(),
                                        {"enabled=yes", "contact=a 'b' # \"c\"\n\t$HOME\\", "location=\xff\x01",
                                         "trap-targets=192.0.2.1", "trap-generators=0", "interfaces=3"},
                                        {}));
    made.settings.insert_u32(contracts::snmp::setting::TrapCommunity, 7);
    made.entries[0] = communityRow(0, "renamed", "0.0.0.0/0");
    made.entries.push_back(communityRow(7, "o'ps \n\\", "::1/128"));
    made.entries[1].insert_string(community::AuthenticationPassword, "@short");
    made.entries[1].insert_u32(community::Security, contracts::snmp::security::Private);

    const std::string text = settingsText(made, names, /*secrets=*/true);
    Configuration read = defaultConfiguration();
    read.entries.push_back(communityRow(7, "o'ps \n\\", "10.0.0.0/8"));
    read.entries.push_back(communityRow(9, "gone", "10.0.0.0/8"));
    const auto readSecret = [](const Word&, std::string_view value) { return std::string(value.substr(1)); };
    applySettings(parseSettings(splitCommands(text), readSecret), read, names);
    EXPECT_EQ(changeBetween(made, read), tn::message()) << text;
    EXPECT_EQ(settingsText(read, names, true), text);
    EXPECT_THAT(text, HasSubstr("--force"));
    EXPECT_THAT(settingsText(made, names, /*secrets=*/false), Not(HasSubstr("short")));

    // The default entry of a new agent: any edit would open it to everyone.
    EXPECT_THAT(settingsText(defaultConfiguration(), names, true), Not(HasSubstr("snmp community")));
}

TEST_F(Import, AFaultyLineIsNamedAndNothingChanges) {
    const std::string good = "# comment\nsnmp set \\\n  contact=noc\n";
    for (const auto& [line, reason] : {std::pair("snmp set contat=x", "contact"),
                                       {"snmp set contact='x", "quote without an end"},
                                       {"status", "expected snmp reset"},
                                       {"snmp community add name=ops security=private", "at least 8 characters"},
                                       {"snmp community add name=x addresses=::1\nsnmp community add name=x", ""},
                                       {"snmp community add name=x authentication-password=-", "@FILE"},
                                       {"snmp community set 0 name=old", "another entry"},
                                       {"snmp community remove common", "default entry"},
                                       {"snmp community remove nobody", "nobody"},
                                       {"snmp set trap-community=nobody", "nobody"},
                                       {"snmp set trap-generators=nothing", "nothing"},
                                       {"snmp reset now", "now"}}) {
        EXPECT_EQ(import(good + line), kFailed) << line;
        EXPECT_THAT(err, HasSubstr(files.path("settings") + (*reason == '\0' ? ":5: " : ":4: "))) << line;
        EXPECT_THAT(err, HasSubstr(reason));
        EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << err;
    }
    EXPECT_THAT(settings.changes(), IsEmpty());
    EXPECT_EQ(type("import " + files.path("missing")), kFailed);
}

TEST_F(Import, SendsWhatDiffersAsOneChangeAndShowsIt) {
    const std::string text =
        std::string(kOps) + "snmp community remove old\ntnctl snmp set contact=noc trap-community=ops enabled=no\n";
    ASSERT_EQ(import(text, "--dry-run"), kDone) << err;
    EXPECT_THAT(settings.changes(), IsEmpty());
    const std::string lines =
        "contact: - -> noc\ntrap-community: none -> ops\ncommunity old: removed\n"
        "community ops: added: ops may read from 192.0.2.0/24 with SNMPv3, authenticated\n";
    EXPECT_EQ(out, lines + "nothing changed: --dry-run\n");

    ASSERT_EQ(import(text), kDone) << err;
    EXPECT_EQ(out, lines + "applied; tnctl undo reverts it\n");
    const tn::message request = sent();
    EXPECT_EQ(commandOf(request), change::kApply);
    EXPECT_EQ(request.get_u32_array(change::Removed), std::vector<uint32_t>{4});
    ASSERT_THAT(request.get_message_array(change::Entries), SizeIs(1));
    EXPECT_EQ(request.get_message_array(change::Entries)[0].get_string(community::AuthenticationPassword),
              "maplesyrup");
    EXPECT_EQ(request.get_u32(contracts::snmp::setting::TrapCommunity), 1U);
    EXPECT_FALSE(request.has(contracts::snmp::setting::Enabled));

    ASSERT_EQ(import("snmp set contact=''\n"), kDone);
    EXPECT_EQ(out, "no differences\n");
    EXPECT_THAT(settings.changes(), SizeIs(1));
}

TEST_F(Import, GrantingEveryoneAccessAndNewKeysNeedConfirmation) {
    EXPECT_EQ(import("snmp set enabled=yes\nsnmp community add name=x addresses=0.0.0.0/0"), kUsage);
    EXPECT_EQ(import("snmp community add name=x addresses=0.0.0.0/0"), kDone) << err;  // the service is off

    communities.rows[1].insert_u32(community::Security, contracts::snmp::security::Authorized);
    EXPECT_EQ(import("snmp set engine-id=b"), kDone) << err;  // the first one
    settings.answers[tn::cmd::Get].insert_string(contracts::snmp::setting::EngineId, "a");
    for (const char* line : {"snmp set engine-id=b", "import"}) {
        settings.asked.clear();
        const auto run = [&](const std::string& yes) {
            return line == std::string("import") ? import("snmp set engine-id=b", yes) : type(line + (" " + yes));
        };
        EXPECT_EQ(run(""), kUsage);
        EXPECT_THAT(err, HasSubstr("those of old change"));
        EXPECT_THAT(settings.changes(), IsEmpty());
        EXPECT_EQ(run("--yes"), kDone) << err;
        EXPECT_THAT(settings.changes(), SizeIs(1));
    }
    EXPECT_EQ(type("snmp set engine-id=a"), kDone) << err;  // as it is
}

TEST(ImportWithoutAgent, IsStoredForTheNextStartAndKeepsAnEarlierOne) {
    const tn::TempRoot root;
    tn::Looper looper{std::vector<uint32_t>{}};
    const auto type = [&](const std::vector<std::string>& words, const std::string& input = {}) {
        std::istringstream in(input);
        std::ostringstream out, err;
        const int code = run(words, {in, out, err, false});
        return std::to_string(code) + " " + out.str() + err.str();
    };
    EXPECT_THAT(type({"export"}), HasSubstr("doesn't exist"));
    EXPECT_THAT(type({"import", "-"}, kOps), HasSubstr("0 community ops: added"));
    EXPECT_THAT(type({"import", "-"}, "snmp set contact=noc trap-generators=start-trap"),
                HasSubstr("no agent is running"));
    EXPECT_THAT(type({"export"}), testing::AllOf(HasSubstr("name=ops"), HasSubstr("contact=noc"),
                                                 HasSubstr("trap-generators=start-trap")));
    const tn::message pending = tn::Store(stored::kSettings).get(stored::kPending);
    EXPECT_THAT(pending.get_message_array(change::Entries), SizeIs(1));
    EXPECT_EQ(pending.get_string(contracts::snmp::setting::Contact), "noc");
    EXPECT_FALSE(tn::Store(stored::kSettings).find(stored::kCurrent));
}

}  // namespace
}  // namespace tnctl
