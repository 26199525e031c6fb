// Serves paths on the bus as a script says.
#include <CLI/CLI.hpp>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>

#include "soak/scripted_owner.h"
#include "tn/daemon.h"
#include "tn/looper.h"
#include "tn/options.h"
#include "tnctl/numbers.h"

namespace {

int serve(const std::vector<std::string>& texts, const std::string& script) {
    std::vector<std::vector<uint32_t>> paths;
    std::vector<uint32_t> numbers;
    for (const std::string& text : texts) {
        const auto path = tnctl::parseNumbers(text);
        if (!path || path->empty()) throw std::runtime_error("expected a path such as 24,2, not '" + text + "'");
        paths.push_back(*path);
        if (std::ranges::find(numbers, path->front()) == numbers.end()) numbers.push_back(path->front());
    }
    std::vector<std::unique_ptr<soak::ScriptedOwner>> owners;
    for (size_t i = 0; i < paths.size(); ++i) owners.push_back(std::make_unique<soak::ScriptedOwner>(script));
    if (!tn::startDaemon(numbers)) return 1;
    tn::Looper looper({});
    for (size_t i = 0; i < paths.size(); ++i) looper.addHandler(paths[i], owners[i].get());
    return looper.run();
}

std::string contentOf(const std::string& file) {
    std::ifstream opened(file);
    std::istream& in = file == "-" ? std::cin : opened;
    std::string text(std::istreambuf_iterator<char>(in), {});
    if (!in) throw std::runtime_error(file + ": can't be read");
    return text;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app("Serves paths on the message bus with the replies of a script", "scripted-owner");
    app.footer(soak::kScriptHelp);
    std::vector<std::string> paths;
    std::string file = "-";
    tn::addCommonOptions(app);
    app.add_option("--script", file, "file with the script; - for standard input")->capture_default_str();
    app.add_option("PATH", paths,
                   "bus path to serve with all paths below it, such as 24,2. Each performs the script by itself")
        ->required();
    if (const auto leave = tn::parseOptions(app, argc, argv)) return *leave;
    try {
        return serve(paths, contentOf(file));
    } catch (const std::exception& failure) {
        std::cerr << "scripted-owner: " << failure.what() << "\n";
        return 2;
    }
}
