#include "tnctl/message_fields.h"

#include <charconv>
#include <optional>
#include <utility>

#include "tn/log.h"
#include "tnctl/failure.h"
#include "tnctl/nearest.h"
#include "tnctl/numbers.h"

namespace tnctl {

namespace field = tn::field;

namespace {

// Puts the value into a field; false when the text isn't one.
using Put = bool (*)(uint32_t number, std::string_view text, tn::message& out, size_t depth);

bool putBool(uint32_t number, std::string_view text, tn::message& out, size_t) {
    const bool yes = text == "yes" || text == "true";
    if (!yes && text != "no" && text != "false") return false;
    out.insert_bool(tn::bool_id(number), yes);
    return true;
}

bool putU32(uint32_t number, std::string_view text, tn::message& out, size_t) {
    const auto value = parseNumber(text);
    if (value) out.insert_u32(tn::u32_id(number), static_cast<uint32_t>(*value));
    return value.has_value();
}

bool putU64(uint32_t number, std::string_view text, tn::message& out, size_t) {
    const auto value = parseNumber(text, UINT64_MAX);
    if (value) out.insert_u64(tn::u64_id(number), *value);
    return value.has_value();
}

std::optional<uint32_t> parseBe32(std::string_view text) {
    if (const auto value = parseNumber(text)) return static_cast<uint32_t>(*value);
    const auto address = tn::IPAddr6::parse(text);
    return address && address->isIPv4() ? std::optional(address->getIPv4()) : std::nullopt;
}

bool putBe32(uint32_t number, std::string_view text, tn::message& out, size_t) {
    const auto value = parseBe32(text);
    if (value) out.insert_be32(tn::be32_id(number), *value);
    return value.has_value();
}

bool putAddr6(uint32_t number, std::string_view text, tn::message& out, size_t) {
    const auto address = tn::IPAddr6::parse(text);
    if (address) out.insert_addr6(tn::addr6_id(number), *address);
    return address.has_value();
}

bool putString(uint32_t number, std::string_view text, tn::message& out, size_t) {
    out.insert_string(tn::string_id(number), std::string(text));
    return true;
}

bool putRaw(uint32_t number, std::string_view text, tn::message& out, size_t) {
    if (text.size() % 2 != 0) return false;
    std::vector<uint8_t> octets(text.size() / 2);
    for (size_t i = 0; i < octets.size(); ++i) {
        const char* begin = text.data() + 2 * i;
        if (const auto [end, fault] = std::from_chars(begin, begin + 2, octets[i], 16);
            fault != std::errc() || end != begin + 2)
            return false;
    }
    out.insert_raw(tn::raw_id(number), octets);
    return true;
}

bool putU32Array(uint32_t number, std::string_view text, tn::message& out, size_t) {
    auto values = text.empty() ? std::vector<uint32_t>() : parseNumbers(text);
    if (values) out.insert_u32_array(tn::u32_array_id(number), std::move(*values));
    return values.has_value();
}

bool putBe32Array(uint32_t number, std::string_view text, tn::message& out, size_t) {
    std::vector<uint32_t> values;
    if (!text.empty()) {
        for (const std::string_view piece : splitAtCommas(text)) {
            const auto value = parseBe32(piece);
            if (!value) return false;
            values.push_back(*value);
        }
    }
    out.insert_be32_array(tn::be32_array_id(number), values);
    return true;
}

bool putStringArray(uint32_t number, std::string_view text, tn::message& out, size_t) {
    std::vector<std::string> values;
    if (!text.empty())
        for (const std::string_view piece : splitAtCommas(text)) values.emplace_back(piece);
    out.insert_string_array(tn::string_array_id(number), std::move(values));
    return true;
}

// The pieces between separators that stand outside braces; nothing when the braces don't match.
std::optional<std::vector<std::string_view>> splitOutsideBraces(std::string_view text, char separator) {
    std::vector<std::string_view> pieces;
    size_t open = 0;
    size_t begin = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '{') ++open;
        if (text[i] == '}' && open-- == 0) return std::nullopt;
        if (text[i] != separator || open > 0) continue;
        pieces.push_back(text.substr(begin, i - begin));
        begin = i + 1;
    }
    if (open > 0) return std::nullopt;
    pieces.push_back(text.substr(begin));
    return pieces;
}

void parseField(std::string_view text, tn::message& out, size_t depth);

std::optional<tn::message> parseBraces(std::string_view text, size_t depth) {
    if (depth >= tn::kMaxNesting || text.size() < 2 || text.front() != '{' || text.back() != '}') return std::nullopt;
    const auto pieces = splitOutsideBraces(text.substr(1, text.size() - 2), ' ');
    if (!pieces) return std::nullopt;
    tn::message nested;
    for (const std::string_view piece : *pieces)
        if (!piece.empty()) parseField(piece, nested, depth + 1);
    return nested;
}

bool putMessage(uint32_t number, std::string_view text, tn::message& out, size_t depth) {
    auto nested = parseBraces(text, depth);
    if (nested) out.insert_message(tn::message_id(number), std::move(*nested));
    return nested.has_value();
}

bool putMessageArray(uint32_t number, std::string_view text, tn::message& out, size_t depth) {
    std::vector<tn::message> values;
    const auto pieces = splitOutsideBraces(text, ',');
    if (!pieces) return false;
    for (const std::string_view piece : *pieces) {
        if (text.empty()) break;
        auto nested = parseBraces(piece, depth);
        if (!nested) return false;
        values.push_back(std::move(*nested));
    }
    out.insert_message_array(tn::message_array_id(number), std::move(values));
    return true;
}

struct KindWord {
    std::string_view name;
    std::string_view expected;
    Put put;
};

constexpr KindWord kKinds[] = {
    {"bool", "yes or no", putBool},
    {"u32", "a 32-bit number", putU32},
    {"be32", "an IPv4 address", putBe32},
    {"u64", "a 64-bit number", putU64},
    {"addr6", "an IPv6 or IPv4 address", putAddr6},
    {"string", "a text", putString},
    {"raw", "hexadecimal digits, two per octet", putRaw},
    {"message", "{FIELD FIELD ...}", putMessage},
    {"u32[]", "numbers separated by commas", putU32Array},
    {"be32[]", "IPv4 addresses separated by commas", putBe32Array},
    {"string[]", "texts separated by commas", putStringArray},
    {"message[]", "{FIELD ...},{FIELD ...}", putMessageArray},
};

const KindWord& findKind(std::string_view where, std::string_view name) {
    std::vector<std::string_view> names;
    for (const KindWord& kind : kKinds) {
        if (kind.name == name) return kind;
        names.push_back(kind.name);
    }
    throw Failure(kUsage, tn::escaped(where) + ": expected a kind, one of " + expectedOneOf(name, names));
}

bool routes(uint32_t number) {
    constexpr uint32_t kRouting[] = {field::Destination.number, field::Source.number,   field::RequestId.number,
                                     field::ReplyTo.number,     field::Command.number,  field::ErrorCode.number,
                                     field::ErrorText.number,   field::CallerPid.number};
    for (const uint32_t routing : kRouting)
        if (routing == number) return true;
    return false;
}

uint32_t parseFieldNumber(std::string_view where, std::string_view text, size_t depth) {
    const auto number = parseNumber(text, tn::kFieldNumberMask);
    if (!number)
        throw Failure(kUsage, tn::escaped(where) + ": expected " + std::string(kFieldSyntax) +
                                  ", where NUMBER is at most 0x7ffffff");
    if (depth == 1 && routes(static_cast<uint32_t>(*number)))
        throw Failure(kUsage, tn::escaped(where) + ": reserved, the bus sets this field");
    return static_cast<uint32_t>(*number);
}

void parseField(std::string_view text, tn::message& out, size_t depth) {
    const size_t equals = text.find('=');
    const std::string_view where = text.substr(0, equals);  // all that errors repeat: the value may be a secret
    const size_t colon = where.find(':');
    if (colon == std::string_view::npos || equals == std::string_view::npos)
        throw Failure(kUsage, tn::escaped(where) + ": expected " + std::string(kFieldSyntax));
    const uint32_t number = parseFieldNumber(where, where.substr(0, colon), depth);
    const KindWord& kind = findKind(where, where.substr(colon + 1));
    const size_t before = out.size();
    if (!kind.put(number, text.substr(equals + 1), out, depth))
        throw Failure(kUsage, tn::escaped(where) + ": expected " + std::string(kind.expected));
    if (out.size() == before) throw Failure(kUsage, tn::escaped(where) + ": given twice");
}

}  // namespace

tn::message parseFields(const std::vector<std::string>& texts) {
    tn::message out;
    for (const std::string& text : texts) parseField(text, out, 1);
    return out;
}

}  // namespace tnctl
