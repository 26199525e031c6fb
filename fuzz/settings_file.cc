// Files that tnctl imports: the first octet chooses a settings file or an snmpd.conf.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "tnctl/settings_file.h"
#include "tnctl/snmpd_conf.h"

namespace {

std::vector<tnctl::SettingsStep> parsed(const std::vector<tnctl::FileCommand>& commands) {
    return tnctl::parseSettings(commands,
                                [](const tnctl::Word&, std::string_view value) { return std::string(value); });
}

/// What was applied can be written, and is the same when it is read again.
void checkRoundTrip(const std::vector<tnctl::SettingsStep>& steps) {
    const tnctl::ReferenceNames names;
    tnctl::Configuration made = tnctl::defaultConfiguration();
    tnctl::applySettings(steps, made, names);
    const std::string text = tnctl::settingsText(made, names, /*secrets=*/false);
    if (tnctl::splitCommands(text).empty()) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
    try {
        if (data[0] != 'c') {
            checkRoundTrip(parsed(tnctl::splitCommands(text)));
            return 0;
        }
    } catch (const tnctl::LineFault&) {
        return 0;
    }
    const tnctl::SnmpdConf conf = tnctl::translateSnmpdConf(text);
    for (const tnctl::FileCommand& command : conf.commands)
        if (command.line == 0 || command.words.size() < 3) std::abort();
    try {
        (void)parsed(conf.commands);
    } catch (const tnctl::LineFault&) {
        // A name or text that is too long: import names its line.
    }
    return 0;
}
