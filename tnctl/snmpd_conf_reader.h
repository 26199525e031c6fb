#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace tnctl {

/// A line of snmpd.conf(5) that is neither empty nor a comment.
struct Directive {
    size_t line = 0;
    std::string name;                    ///< as written
    std::string_view rest;               ///< all after the name, trimmed
    std::vector<std::string> arguments;  ///< the words of `rest`, without their quotes
    bool isOfSnmpd = true;               ///< false in the section of another program
};

/// Calls `call` with each directive, in order. Accepts any text; `text` must outlive the call.
void forEachDirective(std::string_view text, const std::function<void(const Directive&)>& call);

/// In lower case, as directives and most of their words are compared.
[[nodiscard]] std::string lowerCase(std::string text);

}  // namespace tnctl
