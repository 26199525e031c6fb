#include "hostd/source/sysfs.h"

#include <algorithm>
#include <charconv>
#include <filesystem>

#include "hostd/source/pseudo_file.h"

namespace hostd {

std::string readAttribute(const std::string& path) {
    std::string text = readFile(path);
    text.erase(std::min(text.find('\n'), text.size()));
    return text;
}

std::optional<uint32_t> readNumber(const std::string& path, int base) {
    std::string text = readAttribute(path);
    if (base == 16 && text.starts_with("0x")) text.erase(0, 2);
    uint32_t number = 0;
    const auto [rest, failed] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    if (failed != std::errc() || rest != text.data() + text.size()) return {};
    return number;
}

std::vector<std::string> namesIn(const std::string& folder) {
    std::vector<std::string> names;
    std::error_code failed;
    for (std::filesystem::directory_iterator at(folder, failed), end; !failed && at != end; at.increment(failed))
        names.push_back(at->path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace hostd
