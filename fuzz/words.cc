// Words of tnctl: the first octet chooses KEY=VALUE arguments of an entry, of the settings, or typed fields of a
// message; the rest are the arguments, one per line. What is accepted can be sent and shown, as JSON and to people.
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "tnctl/failure.h"
#include "tnctl/message_fields.h"
#include "tnctl/message_text.h"
#include "tnctl/snmp_words.h"
#include "tnctl/words.h"

namespace {

std::vector<std::string> linesOf(std::string text) {
    std::vector<std::string> lines;
    std::istringstream in(std::move(text));
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

void checkWords(std::span<const tnctl::Word> words, const std::vector<std::string>& arguments) {
    const tn::message m = tnctl::parseWords(
        words, arguments, [](const tnctl::Word&, std::string_view value) { return std::string(value); });
    const tnctl::Json shown = tnctl::showWords(words, m, /*secrets=*/false);
    for (const tnctl::Word& word : words) {
        if (!word.type.secret) continue;
        const auto value = shown.at(std::string(word.name)).get<std::string>();
        if (!value.empty() && value != "***") std::abort();
    }
}

void checkFields(const std::vector<std::string>& arguments) {
    const tn::message m = tnctl::parseFields(arguments);
    tn::message sent;
    if (!tn::message::unflatten(m.flatten(), sent) || !(sent == m)) std::abort();
    std::ostringstream text;
    tnctl::printFields(text, tnctl::messageJson(sent, tnctl::Secrets::Hide));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const std::vector<std::string> arguments = linesOf({reinterpret_cast<const char*>(data) + 1, size - 1});
    try {
        if (data[0] == 'e') {
            checkWords(tnctl::communityWords(), arguments);
        } else if (data[0] == 's') {
            checkWords(tnctl::settingWords(), arguments);
        } else {
            checkFields(arguments);
        }
    } catch (const tnctl::Failure& failure) {
        if (std::string_view(failure.what()).find('\n') != std::string_view::npos) std::abort();
    }
    return 0;
}
