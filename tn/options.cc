#include "tn/options.h"

#include <iostream>
#include <map>
#include <string>

#include "tn/log.h"
#include "tn/paths.h"

namespace tn {

namespace {

const std::map<std::string, LogTarget> kLogTargets = {
    {"stderr", LogTarget::Stderr},
    {"syslog", LogTarget::Syslog},
    {"none", LogTarget::None},
};

}  // namespace

void addCommonOptions(CLI::App& app) {
    app.add_option_function<std::string>(
           "--root", [](const std::string& folder) { setRoot(folder); },
           "Root folder of all files and sockets (default: $TERN_ROOT, or the installation's folders)")
        ->type_name("DIR")
        ->trigger_on_parse();
    app.add_option_function<std::string>(
           "--log", [](const std::string& name) { setLogTarget(kLogTargets.at(name)); },
           "Log destination (default: syslog)")
        ->type_name("TARGET")
        ->check(CLI::IsMember(&kLogTargets))
        ->trigger_on_parse();
    app.set_version_flag("--version", app.get_name() + " " TARNIX_VERSION);
}

std::optional<int> parseOptions(CLI::App& app, int argc, const char* const* argv) {
    try {
        app.parse(argc, argv);
        return {};
    } catch (const CLI::Success& asked) {
        return app.exit(asked);
    } catch (const CLI::ParseError& wrong) {
        std::cerr << app.get_name() << ": " << wrong.what() << " (see --help)\n";
        return 2;
    }
}

}  // namespace tn
