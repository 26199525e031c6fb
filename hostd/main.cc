#include <algorithm>
#include <iostream>
#include <optional>

#include "hostd/owners.h"
#include "hostd/supervisor/end_process.h"
#include "hostd/supervisor/spawner.h"
#include "tn/bus_socket.h"
#include "tn/daemon.h"
#include "tn/options.h"
#include "tn/paths.h"

namespace {

constexpr uint32_t kSpawned = tn::number::Snmp;  // the bus number that the spawned program serves

/// The spawned program's command line: its path, our --root and --log, then our arguments after "--". Empty if the
/// program isn't found; the reason is then printed to standard error.
std::vector<std::string> spawnCommand(const std::string& name, const CLI::App& app, std::span<char*> rest) {
    const std::string path = hostd::findProgram(name);
    if (path.empty()) {
        std::cerr << app.get_name() << ": --spawn: " << name << " not found beside this program or in $PATH\n";
        return {};
    }
    std::vector<std::string> command = {path, "--root", tn::root()};
    if (const CLI::Option* log = app.get_option("--log"); log->count() > 0)
        command.insert(command.end(), {"--log", log->as<std::string>()});
    command.insert(command.end(), rest.begin(), rest.end());
    return command;
}

/// Runs the loop and the spawned program until the loop ends, then stops the program. @return exit status; 1, with the
/// reason on standard error, if the program's socket can't be opened or the program can't be started
int runWithSpawned(tn::Looper& looper, const std::vector<std::string>& command) {
    std::string why;
    tn::BusListener listener = tn::openBusListener(kSpawned, why);
    if (!listener.socket) {
        std::cerr << why << "\n";
        return 1;
    }
    int status = 1;
    {
        hostd::Spawner spawner(looper, {command, listener.socket.get(), std::to_string(kSpawned)});
        if (spawner.start()) status = looper.run();
    }
    listener.withdraw(kSpawned);
    return status;
}

/// Runs the daemon. @return exit status
int serve(int argc, char** argv) {
    CLI::App app("Provides Linux host data on the message bus", "tarnix-hostd");
    app.footer("Arguments after -- are passed to PROGRAM: tarnix-hostd --spawn tarnix-snmpd -- --port 1161");
    hostd::Options options;
    std::string program;
    tn::addCommonOptions(app);
    hostd::addOptions(app, options);
    app.add_option("--spawn", program, "Start PROGRAM; restart it after a crash, and on demand after an idle exit")
        ->type_name("PROGRAM");

    const std::span words(argv, static_cast<size_t>(argc));
    const auto divider = std::find(words.begin(), words.end(), std::string_view("--"));
    if (const auto leave = tn::parseOptions(app, static_cast<int>(divider - words.begin()), argv)) return *leave;
    const std::span<char*> rest(divider == words.end() ? divider : divider + 1, words.end());
    if (program.empty() && divider != words.end()) {
        std::cerr << app.get_name() << ": -- needs --spawn PROGRAM\n";
        return 2;
    }
    std::vector<std::string> command;
    if (!program.empty()) command = spawnCommand(program, app, rest);
    if (!program.empty() && command.empty()) return 1;

    hostd::Owners owners(options);
    std::vector<uint32_t> numbers = owners.numbers();
    if (!program.empty()) numbers.push_back(kSpawned);
    if (!tn::startDaemon(numbers)) return 1;

    tn::Looper looper({});
    owners.addTo(looper);
    if (!looper.listen()) return 1;
    return program.empty() ? looper.run() : runWithSpawned(looper, command);
}

}  // namespace

int main(int argc, char** argv) { hostd::endProcess(serve(argc, argv)); }
