#include "tnctl/message_text.h"

#include <ostream>

#include "contracts/snmp.h"
#include "tn/log.h"
#include "tnctl/listing.h"
#include "tnctl/names.h"
#include "tnctl/numbers.h"

namespace tnctl {

namespace snmp = contracts::snmp;
namespace community = snmp::community;

namespace {

// Arrays are written with brackets, as on the command line.
std::string kindText(tn::Kind kind) {
    std::string text(tn::kindName(kind));
    constexpr std::string_view kArray = "-array";
    if (text.ends_with(kArray)) text.replace(text.size() - kArray.size(), kArray.size(), "[]");
    return text;
}

constexpr char kDigits[] = "0123456789abcdef";

std::string hexadecimal(const std::string& octets) {
    std::string text;
    for (const char octet : octets) {
        text += kDigits[static_cast<uint8_t>(octet) >> 4];
        text += kDigits[octet & 15];
    }
    return text;
}

// System fields are known by their hexadecimal numbers, those of owners by decimal ones.
std::string numberText(uint32_t number) {
    constexpr uint32_t kFirstSystem = 0x10000;
    if (number < kFirstSystem) return std::to_string(number);
    std::string text;
    for (; number > 0; number >>= 4) text.insert(text.begin(), kDigits[number & 15]);
    return "0x" + text;
}

bool isPassword(uint32_t id) {
    return id == community::AuthenticationPassword.full() || id == community::EncryptionPassword.full();
}

Json valueJson(const tn::message::Field& field, Secrets secrets) {
    struct Visitor {
        const tn::message::Field& field;
        Secrets secrets;

        Json operator()(uint64_t number) const {
            return field.kind() == tn::Kind::Bool ? Json(number != 0) : Json(number);
        }
        Json operator()(const tn::IPAddr6& address) const { return address.str(); }
        Json operator()(const std::string& text) const {
            if (field.kind() == tn::Kind::Raw) return hexadecimal(text);
            const bool hidden = secrets == Secrets::Hide && isPassword(field.id) && !text.empty();
            return hidden ? "***" : text;
        }
        Json operator()(const std::vector<uint32_t>& numbers) const { return numbers; }
        Json operator()(const std::vector<std::string>& texts) const { return texts; }
        Json operator()(const std::vector<tn::message>& messages) const {
            Json array = Json::array();
            for (const tn::message& each : messages) array.push_back(messageJson(each, secrets));
            return array;
        }
        Json operator()(const std::unique_ptr<tn::message>& nested) const { return messageJson(*nested, secrets); }
    };
    return std::visit(Visitor{field, secrets}, field.value);
}

// A nested message below its field's line; an element of an array is set off by a dash.
void printNested(std::ostream& out, const Json& value, size_t indent) {
    if (value.is_object()) return printFields(out, value, indent);
    for (const Json& element : value) {
        out << std::string(indent, ' ') << "-\n";
        printFields(out, element, indent + 2);
    }
}

}  // namespace

Json messageJson(const tn::message& m, Secrets secrets) {
    Json object = Json::object();
    for (const tn::message::Field& field : m.fields())
        object[numberText(field.number()) + ":" + kindText(field.kind())] = valueJson(field, secrets);
    return object;
}

void printFields(std::ostream& out, const Json& fields, size_t indent) {
    for (const auto& [key, value] : fields.items()) {
        const bool nested = key.ends_with(":message") || key.ends_with(":message[]");
        const std::string_view number = std::string_view(key).substr(0, key.find(':'));
        const std::string_view name = fieldName(static_cast<uint32_t>(parseNumber(number).value_or(0)));
        out << std::string(indent, ' ') << key << '=';
        const bool empty = value.is_string() ? value.get_ref<const std::string&>().empty() : value.empty();
        if (!nested && !empty) out << cellText(value);
        if (!name.empty()) out << "  # " << name;
        out << '\n';
        if (nested) printNested(out, value, indent + 2);
    }
}

}  // namespace tnctl
