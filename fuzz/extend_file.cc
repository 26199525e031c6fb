// A file of commands, as an administrator writes it: whatever it contains, the commands are in order and can be run.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "hostd/services/extend_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const hostd::ExtendFile file = hostd::parseExtendFile({reinterpret_cast<const char*>(data), size});
    const hostd::ExtendCommand* before = nullptr;
    for (const hostd::ExtendCommand& command : file.commands) {
        const bool isNamed = !command.name.empty() && command.name.size() <= 32;
        const bool isNext = before == nullptr || before->name.size() < command.name.size() ||
                            (before->name.size() == command.name.size() && before->name < command.name);
        if (!isNamed || !isNext || command.words.empty() || !command.words.front().starts_with('/')) std::abort();
        const auto hasZero = [](const std::string& word) { return word.find('\0') != std::string::npos; };
        if (std::ranges::any_of(command.words, hasZero) || command.timeout.count() < 1) std::abort();
        before = &command;
    }
    return 0;
}
