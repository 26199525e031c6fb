#include "hostd/machine/model.h"

#include <strings.h>

#include <algorithm>

#include "hostd/source/sysfs.h"

namespace hostd {

namespace {

/// Texts that firmware has in place of a name. They are compared case-insensitively.
constexpr const char* kFillers[] = {
    "To be filled by O.E.M.",
    "To be filled by OEM",
    "O.E.M.",
    "OEM",
    "Default string",
    "System Product Name",
    "System manufacturer",
    "System Name",
    "Product Name",
    "Base Board Product Name",
    "Base Board Manufacturer",
    "Type2 - Board Product Name1",
    "Type2 - Board Vendor Name1",
    "All Series",
    "Not Specified",
    "Not Applicable",
    "Not Available",
    "N/A",
    "None",
    "Unknown",
    "Undefined",
    "Invalid",
    "Empty",
    "1.0",
    "123456789",
};

/// A name from firmware without surrounding blanks; empty for a placeholder.
std::string readName(const std::string& path) {
    constexpr const char* kBlanks = " \t";
    std::string name = readAttribute(path);
    name.erase(name.find_last_not_of(kBlanks) + 1);
    name.erase(0, name.find_first_not_of(kBlanks));
    const auto isName = [&name](const char* filler) { return ::strcasecmp(filler, name.c_str()) == 0; };
    const bool isPlaceholder = name.find_first_not_of("0xX.-_*? ") == std::string::npos;
    return isPlaceholder || std::ranges::any_of(kFillers, isName) ? "" : name;
}

}  // namespace

std::string readModel(const std::string& sysfs, const std::string& proc) {
    const std::string dmi = sysfs + "/class/dmi/id/";
    if (std::string product = readName(dmi + "product_name"); !product.empty()) return product;
    if (std::string board = readName(dmi + "board_name"); !board.empty()) {
        std::string vendor = readName(dmi + "board_vendor");
        if (vendor.empty()) vendor = readName(dmi + "sys_vendor");
        return vendor + (vendor.empty() ? "" : " ") + board;
    }
    const std::string model = readAttribute(proc + "/device-tree/model");
    return model.substr(0, model.find('\0'));
}

}  // namespace hostd
