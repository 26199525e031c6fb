#include "tnctl/run.h"

#include <CLI/CLI.hpp>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <ostream>
#include <utility>

#include "tn/log.h"
#include "tn/paths.h"
#include "tnctl/community_commands.h"
#include "tnctl/completion.h"
#include "tnctl/failure.h"
#include "tnctl/import_command.h"
#include "tnctl/message_commands.h"
#include "tnctl/nearest.h"
#include "tnctl/plugin_commands.h"
#include "tnctl/settings_commands.h"
#include "tnctl/snmp_words.h"
#include "tnctl/status_command.h"
#include "tnctl/supervisor_commands.h"
#include "tnctl/trap_commands.h"
#include "tnctl/user_commands.h"

namespace tnctl {

namespace {

/// Help without the types and ranges of the parser.
class HelpText : public CLI::Formatter {
  public:
    HelpText() {
        label("SUBCOMMAND", "COMMAND");
        label("Positionals", "Arguments");
    }
    std::string make_option_opts(const CLI::Option* option) const override {
        return option->get_option_text().empty() ? "" : " " + option->get_option_text();
    }
};

/// One command line: its words, and the tree of commands that parses them.
class CommandLine {
  public:
    CommandLine();
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    /// Throws CLI::ParseError.
    void parse(const std::vector<std::string>& arguments) {
        app_.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    }
    void perform(Console& console);
    /// Prints what can stand in place of the last word, one line each: for completion by shells.
    void complete(const std::vector<std::string>& words, Console& console);
    /// Prints the text of --help or --version, or the usage error. @return exit code
    int explain(const CLI::ParseError& error, Console& console);

  private:
    using Action = std::function<void(const Session&)>;
    void addHelp(CLI::App* parent);  ///< "help" as a command
    /// "show" as a command, for what `parent` shows without a command or with "list".
    void addShowing(CLI::App* parent, Action action);
    CLI::App* add(CLI::App* parent, const std::string& name, const std::string& help, const std::string& examples);
    void perform(CLI::App* command, Action action) { actions_.emplace_back(command, std::move(action)); }

    [[nodiscard]] static std::vector<std::string> commandNames(CLI::App& level);
    [[nodiscard]] static CLI::App* commandIn(CLI::App& level, const std::string& name);  ///< nullptr if there is none
    /// Options of this command and of the whole program, with "--".
    [[nodiscard]] std::vector<std::string> optionNames(CLI::App& level);

    void addSnmp();
    void addCommunity(CLI::App* snmp);
    void addUser(CLI::App* snmp);
    /// `show NAME`, the same for communities and users.
    void addShow(CLI::App* group, const std::string& examples);
    void addTraps(CLI::App* snmp);
    void addPlugins();
    void addBackup();
    void addStatus();
    void addSupervisor();
    void addMessages();
    void addYes(CLI::App* command) {
        command->add_flag(
            "--yes", options_.yes,
            "Don't ask for confirmation before granting access to all addresses, or changing users' keys");
    }
    void addForce(CLI::App* command) {
        command->add_flag("--force", options_.force,
                          "Accept passwords shorter than 8 characters, and security levels without a password");
    }
    void addSecrets(CLI::App* command) {
        command->add_flag("--secrets", options_.secrets, "Show passwords instead of ***");
    }
    void addWords(CLI::App* command, std::span<const Word> words, bool required = true) {
        command->add_option("ASSIGNMENTS", words_, "KEY=VALUE ..., see below")->required(required);
        completed_[command] = words;
        command->footer("Keys:\n" + helpOnWords(words) + "\n" + command->get_footer());
    }

    CLI::App app_{"Configure, monitor and debug the SNMP agent and the daemons it queries", "tnctl"};
    Options options_;
    ImportOptions import_;
    double timeout_ = std::chrono::duration<double>(tn::kExchangeTimeout).count();  // seconds
    std::string name_, path_, command_;
    std::optional<std::string> id_, notification_, passwordsFrom_;
    std::optional<double> interval_;  // seconds
    std::vector<std::string> words_;
    std::map<const CLI::App*, std::span<const Word>> completed_;  ///< commands with assignments
    std::vector<std::pair<CLI::App*, Action>> actions_;           ///< inner commands before those that hold them
};

CommandLine::CommandLine() {
    app_.formatter(std::make_shared<HelpText>());
    app_.set_help_flag("-h,--help", "Print this text");
    app_.fallthrough();
    app_.require_subcommand(1);
    app_.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    app_.add_option_function<std::string>(
            "--root", [](const std::string& folder) { tn::setRoot(folder); },
            "Root folder of the daemons' sockets (default: $TERN_ROOT, or the installation's folders)")
        ->option_text("DIR");
    app_.add_flag("--json", options_.json, "Print JSON instead of columns");
    app_.add_option("--timeout", timeout_, "Seconds to wait for a reply")
        ->option_text("S [6]")
        ->check(CLI::Range(0.001, 3600.0));
    app_.set_version_flag("--version", "tnctl " TARNIX_VERSION, "Print the version");
    app_.footer(
        "Examples:\n  tnctl snmp\n  tnctl snmp set enabled=yes contact=noc\n  tnctl snmp community list\n  tnctl "
        "status\n"
        "Each command has its own --help. Exit status: 0 success, 1 refused or failed, 2 usage error");
    addHelp(&app_);
    addSnmp();
    addPlugins();
    addBackup();
    addStatus();
    addSupervisor();
    addMessages();
}

CLI::App* CommandLine::add(CLI::App* parent, const std::string& name, const std::string& help,
                           const std::string& examples) {
    CLI::App* command = parent->add_subcommand(name, help);
    command->require_subcommand(0, 1);
    command->group("Commands");
    command->footer("Examples:\n" + examples);
    return command;
}

void CommandLine::addHelp(CLI::App* parent) {
    CLI::App* help = parent->add_subcommand("help", "")->group("");
    help->add_option("COMMAND", words_, "Print help on this command");
    actions_.emplace_back(help, [this, parent](const Session& session) {
        CLI::App* command = parent;
        for (const std::string& word : words_) {
            command = commandIn(*command, word);
            if (command == nullptr) throw Failure(kUsage, tn::escaped(word) + ": no such command");
        }
        // Not App::help, which prints the help on the command that was given: this one.
        std::string name = command->get_name();
        for (const CLI::App* outer = command->get_parent(); outer != nullptr; outer = outer->get_parent())
            name.insert(0, outer->get_name() + " ");
        session.console.out << command->get_formatter()->make_help(command, name, CLI::AppFormatMode::Normal);
    });
}

void CommandLine::addShowing(CLI::App* parent, Action action) {
    perform(parent->add_subcommand("show", "")->group(""), std::move(action));
}

void CommandLine::addSnmp() {
    CLI::App* snmp = add(&app_, "snmp", "Show or change the agent's settings", "  tnctl snmp\n  tnctl --json snmp");
    addHelp(snmp);
    addShowing(snmp, showSettings);
    addShowing(&app_, showSettings);
    CLI::App* set = add(snmp, "set", "Change the named settings and leave the others unchanged",
                        "  tnctl snmp set enabled=yes contact=\"noc\" location=\"rack 4\" engine-id=core1\n"
                        "  tnctl snmp set trap-version=2c trap-community=monitor trap-targets=192.0.2.1,2001:db8::1");
    addWords(set, settingWords());
    addYes(set);
    CLI::App* reset = add(snmp, "reset", "Return to the settings of a new agent, without access for anyone",
                          "  tnctl snmp reset\n  tnctl undo");
    perform(reset, resetSettings);
    addCommunity(snmp);
    addUser(snmp);
    addTraps(snmp);
    perform(set, [this](const Session& session) { setSettings(session, words_); });
    perform(snmp, showSettings);
}

void CommandLine::addCommunity(CLI::App* snmp) {
    CLI::App* community = add(snmp, "community", "Manage communities and SNMPv3 users", "  tnctl snmp community list");
    community->require_subcommand(1);
    addHelp(community);

    CLI::App* list = add(community, "list", "List communities and SNMPv3 users",
                         "  tnctl snmp community list\n  tnctl --json snmp community list");
    addSecrets(list);
    perform(list, listCommunities);
    addShow(community, "  tnctl snmp community show monitor\n  tnctl snmp community show 3 --secrets");

    CLI::App* added = add(community, "add", "Add a community or SNMPv3 user",
                          "  tnctl snmp community add name=monitor addresses=127.0.0.0/8,::1/128 security=private \\\n"
                          "        authentication-protocol=sha1 authentication-password=- encryption-password=@FILE");
    addWords(added, communityWords());
    addYes(added);
    addForce(added);
    perform(added, [this](const Session& session) { tnctl::addCommunity(session, words_); });

    CLI::App* set = add(community, "set", "Change the named fields of an entry and leave the others unchanged",
                        "  tnctl snmp community set common addresses=192.0.2.0/24 write-access=no\n"
                        "  tnctl snmp community set 3 name=noc");
    set->add_option("NAME", name_, "Name or id of the entry")->required();
    addWords(set, communityWords());
    addYes(set);
    addForce(set);
    perform(set, [this](const Session& session) { setCommunity(session, name_, words_); });

    CLI::App* removed =
        add(community, "remove", "Remove a community or SNMPv3 user", "  tnctl snmp community remove monitor");
    removed->add_option("NAME", name_, "Name or id of the entry")->required();
    perform(removed, [this](const Session& session) { removeCommunity(session, name_); });
}

void CommandLine::addUser(CLI::App* snmp) {
    CLI::App* user = add(snmp, "user", "Add an SNMPv3 user, or show how managers query the agent as this user",
                         "  tnctl snmp user add ops addresses=192.0.2.7/32\n"
                         "To list, change and remove users, use tnctl snmp community: users are entries of its list.");
    user->require_subcommand(1);
    addHelp(user);

    CLI::App* added =
        add(user, "add", "Add an SNMPv3 user with the level private, SHA-256 and AES-128, unless others are given",
            "  tnctl snmp user add ops addresses=192.0.2.7/32\n"
            "  tnctl snmp user add ops addresses=192.0.2.7/32 --passwords-from FILE");
    added->add_option("NAME", name_, "Name of the new user")->required();
    addWords(added, userWords(), /*required=*/false);
    added
        ->add_option("--passwords-from", passwordsFrom_,
                     "Read the authentication password and the encryption password from two lines of FILE (- for "
                     "standard input) instead of prompting for them")
        ->option_text("FILE");
    addYes(added);
    addForce(added);
    addSecrets(added);
    perform(added, [this](const Session& session) { tnctl::addUser(session, name_, words_, passwordsFrom_); });
    addShow(user, "  tnctl snmp user show ops\n  tnctl snmp user show ops --secrets");
}

void CommandLine::addShow(CLI::App* group, const std::string& examples) {
    CLI::App* show =
        add(group, "show", "Show one entry, and the settings for snmpwalk, Prometheus, Zabbix, Telegraf and LibreNMS",
            examples);
    show->add_option("NAME", name_, "Name or id of the entry")->required();
    addSecrets(show);
    perform(show, [this](const Session& session) { showEntry(session, name_); });
}

void CommandLine::addTraps(CLI::App* snmp) {
    CLI::App* trap = add(snmp, "trap", "Show trap generators and send a test trap",
                         "  tnctl snmp trap list\n"
                         "  tnctl snmp set trap-generators=start-trap,interfaces interfaces=all");
    trap->require_subcommand(1);
    addHelp(trap);
    addShowing(trap, listGenerators);

    CLI::App* list = add(trap, "list", "List the trap generators", "  tnctl snmp trap list");
    perform(list, listGenerators);

    CLI::App* send = add(trap, "send", "Make the agent send a trap to every target, with one varbind or none",
                         "  tnctl snmp trap send\n"
                         "  tnctl snmp trap send oid=1.3.6.1.4.1.49999.1 type=string value=hello");
    addWords(send, trapWords(), /*required=*/false);
    perform(send, [this](const Session& session) { sendTrap(session, words_); });
}

void CommandLine::addPlugins() {
    CLI::App* plugin = add(&app_, "plugin", "Show, enable or disable the agent's plug-ins", "  tnctl plugin list");
    plugin->require_subcommand(1);
    addHelp(plugin);
    addShowing(plugin, listPlugins);

    CLI::App* list = add(plugin, "list", "List the plug-ins: what they serve, or why they were refused",
                         "  tnctl plugin list\n  tnctl --json plugin list");
    perform(list, listPlugins);

    for (const bool isEnabled : {true, false}) {
        const std::string word = isEnabled ? "enable" : "disable";
        CLI::App* switched =
            add(plugin, word, std::string(isEnabled ? "Load" : "Don't load") + " a plug-in when the agent starts",
                "  tnctl plugin " + word + " ifx");
        switched->add_option("NAME", name_, "Name of the plug-in's file, without .so")->required();
        perform(switched, [this, isEnabled](const Session& session) { switchPlugin(session, name_, isEnabled); });
    }
}

void CommandLine::addBackup() {
    CLI::App* exported = add(&app_, "export", "Print settings, communities and users as commands for import",
                             "  tnctl export --secrets > settings\n"
                             "  tnctl export --secrets | ssh OTHER tnctl import -");
    addSecrets(exported);
    perform(exported, exportSettings);

    CLI::App* imported = add(&app_, "import", "Apply a file of commands, as one change that can be undone",
                             "  tnctl import --dry-run settings\n  tnctl import settings\n"
                             "  tnctl import --snmpd-conf /etc/snmp/snmpd.conf");
    imported->add_option("FILE", import_.file, "As written by tnctl export; - for standard input")->required();
    imported->add_flag("--dry-run", import_.isDryRun, "Show the differences and change nothing");
    imported->add_flag("--snmpd-conf", import_.isSnmpdConf,
                       "Translate a configuration of Net-SNMP's agent, and name the lines that can't be translated");
    addYes(imported);
    perform(imported, [this](const Session& session) { importSettings(session, import_); });
}

void CommandLine::addStatus() {
    CLI::App* status = add(&app_, "status", "Show what the agent answers and refuses, to whom, and why",
                           "  tnctl status\n  tnctl --json status\n  tnctl status --watch 5");
    status->add_option("--watch", interval_, "Repeat every SECONDS, with rates, until Ctrl-C (default: 1)")
        ->expected(0, 1)
        ->default_str("1")
        ->check(CLI::Range(0.01, 86400.0))
        ->option_text("[SECONDS]");
    perform(status, [this](const Session& session) { showStatus(session, interval_); });
}

void CommandLine::addSupervisor() {
    CLI::App* processes =
        add(&app_, "processes", "List the running daemons and the bus numbers they serve", "  tnctl processes");
    perform(processes, listProcesses);

    CLI::App* undo = add(&app_, "undo", "Undo the newest change, or list the changes that can be undone",
                         "  tnctl undo list\n  tnctl undo\n  tnctl undo 17");
    addHelp(undo);
    addShowing(undo, listUndo);
    undo->add_option("ID", id_, "Undo this change instead of the newest");
    CLI::App* list = add(undo, "list", "List the changes that can be undone, newest last", "  tnctl undo list");
    perform(list, listUndo);
    perform(undo, [this](const Session& session) { undoChange(session, id_); });
}

void CommandLine::addMessages() {
    CLI::App* message =
        add(&app_, "message", "Send a command to a path on the bus and print the reply",
            "  tnctl message 24,2 get\n  tnctl message 24,2 0xfe000d\n"
            "  tnctl message 34,1 get-object 0xfe0001:u32=0\n"
            "  tnctl message 34,1 set-object 0xfe0001:u32=3 '27:message[]={8:be32=10.0.0.0 9:be32=255.0.0.0}'");
    message->add_option("PATH", path_, "Numbers separated by commas, such as 24,2")->required();
    message->add_option("COMMAND", command_, "A number, or a name such as get, get-all, set, set-object")->required();
    message->add_option(
        "FIELDS", words_,
        "NUMBER:KIND=VALUE ...; KIND is bool, u32, be32, u64, addr6, string, raw, message, or a list of values "
        "separated by commas: u32[], be32[], string[], message[]");
    addSecrets(message);
    perform(message, [this](const Session& session) { sendMessage(session, path_, command_, words_); });

    CLI::App* watched = add(&app_, "watch", "Print the notifications of a path as they arrive, until Ctrl-C",
                            "  tnctl watch 34\n  tnctl watch 20,0 0x10004");
    watched->add_option("PATH", path_, "Numbers separated by commas, such as 24,2")->required();
    watched->add_option("NOTIFICATION", notification_, "Number or name of the notification (default: changed)");
    addSecrets(watched);
    perform(watched, [this](const Session& session) { watch(session, path_, notification_); });
}

void CommandLine::perform(Console& console) {
    options_.timeout = std::chrono::round<std::chrono::milliseconds>(std::chrono::duration<double>(timeout_));
    const Session session{console, options_};
    for (const auto& [command, action] : actions_)
        if (command->parsed()) return action(session);
}

std::vector<std::string> CommandLine::commandNames(CLI::App& level) {
    std::vector<std::string> names;
    for (const CLI::App* command : level.get_subcommands({}))
        if (!command->get_group().empty()) names.push_back(command->get_name());
    return names;
}

CLI::App* CommandLine::commandIn(CLI::App& level, const std::string& name) {
    for (CLI::App* command : level.get_subcommands({}))
        if (command->get_name() == name) return command;
    return nullptr;
}

std::vector<std::string> CommandLine::optionNames(CLI::App& level) {
    std::vector<std::string> names;
    for (CLI::App* from = &level; from != nullptr; from = from == &app_ ? nullptr : &app_)
        for (const CLI::Option* option : from->get_options())
            if (option->nonpositional() && (from == &app_ || option != from->get_help_ptr()))
                names.push_back("--" + option->get_lnames().front());
    return names;
}

void CommandLine::complete(const std::vector<std::string>& words, Console& console) {
    CLI::App* level = &app_;
    bool isValue = false;  // the word is an option's
    for (size_t i = 0; i + 1 < words.size(); ++i) {
        if (isValue && words[i - 1] == "--root") tn::setRoot(words[i]);
        const bool wasValue = std::exchange(isValue, false);
        if (wasValue) continue;
        if (words[i].starts_with("--")) {
            const CLI::Option* option = level->get_option_no_throw(words[i]);
            if (option == nullptr) option = app_.get_option_no_throw(words[i]);
            isValue = option != nullptr && option->get_expected_min() > 0;
        } else if (CLI::App* inner = commandIn(*level, words[i])) {
            level = inner;
        }
    }
    const std::string typed = words.empty() ? "" : words.back();
    std::vector<std::string> candidates;
    if (isValue) return;
    if (typed.starts_with("-")) {
        candidates = optionNames(*level);
    } else {
        candidates = commandNames(*level);
        const bool isNamed = level->get_option_no_throw("NAME") != nullptr && words.size() >= 2 &&
                             words[words.size() - 2] == level->get_name() && level->get_name() != "add" &&
                             level->get_parent()->get_name() != "plugin";
        const auto assigned = completed_.find(level);
        if (isNamed)
            candidates = completeEntry();
        else if (assigned != completed_.end())
            candidates = completeWord(assigned->second, typed);
    }
    for (const std::string& candidate : candidates)
        if (candidate.starts_with(typed)) console.out << candidate << '\n';
}

int CommandLine::explain(const CLI::ParseError& error, Console& console) {
    if (error.get_exit_code() == 0) return app_.exit(error, console.out, console.err);
    CLI::App* innermost = &app_;
    std::string where = "tnctl";
    while (!innermost->get_subcommands().empty()) {
        innermost = innermost->get_subcommands().front();
        where += " " + innermost->get_name();
    }
    const std::vector<std::string> extras = app_.remaining(/*recurse=*/true);
    const std::vector<std::string> names =
        !extras.empty() && extras.front().starts_with('-') ? optionNames(*innermost) : commandNames(*innermost);
    const std::vector<std::string_view> known(names.begin(), names.end());
    console.err << where << ": ";
    if (!extras.empty())
        console.err << tn::escaped(extras.front()) << ": unknown argument"
                    << (known.empty() ? "" : ": expected " + expectedOneOf(extras.front(), known)) << '\n';
    else if (innermost->get_require_subcommand_min() > 0)
        console.err << "expected a command: " << expectedOneOf("", known) << '\n';
    else
        console.err << error.what() << " (see " << where << " --help)\n";
    return kUsage;
}

}  // namespace

int run(const std::vector<std::string>& arguments, Console console) {
    CommandLine line;
    int code = kDone;
    if (!arguments.empty() && arguments.front() == "complete") {
        line.complete({arguments.begin() + 1, arguments.end()}, console);
        return kDone;
    }
    try {
        line.parse(arguments);
        line.perform(console);
    } catch (const CLI::ParseError& error) {
        code = line.explain(error, console);
    } catch (const Failure& failure) {
        console.err << "tnctl: " << failure.what() << '\n';
        code = failure.code;
    }
    if (console.out.flush() || code != kDone) return code;
    console.err << "tnctl: standard output: can't be written\n";
    return kFailed;
}

}  // namespace tnctl
