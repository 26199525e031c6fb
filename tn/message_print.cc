#include <iomanip>
#include <ostream>
#include <utility>

#include "tn/log.h"
#include "tn/message.h"

namespace tn {

namespace {

/// Writes one field per line or, if `indent` is kOneLine, all fields in one line.
class Printer {
  public:
    static constexpr unsigned kOneLine = ~0U;

    explicit Printer(std::ostream& out) : out_(out) {}

    void fields(const message& m, unsigned indent) {
        const char* separator = "";
        for (const message::Field& field : m.fields()) {
            begin(separator, indent);
            separator = ", ";
            out_ << "0x" << std::hex << field.number() << std::dec << ":" << kindName(field.kind()) << "=";
            std::visit([&](const auto& held) { value(field, held, indent); }, field.value);
            if (indent != kOneLine) out_ << "\n";
        }
    }

  private:
    void begin(const char* separator, unsigned indent) {
        if (indent == kOneLine) {
            out_ << separator;
        } else {
            out_ << std::string(indent, ' ');
        }
    }

    void value(const message::Field& field, uint64_t number, unsigned) {
        if (field.kind() == Kind::Bool) {
            out_ << (number != 0 ? "yes" : "no");
        } else {
            out_ << number;
        }
    }
    void value(const message::Field&, const IPAddr6& address, unsigned) { out_ << address.str(); }
    void value(const message::Field& field, const std::string& octets, unsigned) {
        if (field.kind() == Kind::String) return quoted(octets);
        for (const char octet : octets) {
            const auto n = static_cast<unsigned>(static_cast<unsigned char>(octet));
            out_ << std::hex << std::setw(2) << std::setfill('0') << n << std::dec;
        }
    }
    void value(const message::Field&, const std::unique_ptr<message>& nested, unsigned indent) {
        block(*nested, indent);
    }
    template <class T>
    void value(const message::Field&, const std::vector<T>& elements, unsigned indent) {
        const char* separator = "";
        for (const T& each : elements) {
            out_ << std::exchange(separator, ",");
            element(each, indent);
        }
    }

    void element(uint32_t number, unsigned) { out_ << number; }
    void element(const std::string& text, unsigned) { quoted(text); }
    void element(const message& nested, unsigned indent) { block(nested, indent); }

    void quoted(const std::string& text) { out_ << '"' << escaped(text) << '"'; }

    void block(const message& nested, unsigned indent) {
        if (nested.empty() || indent == kOneLine) {
            out_ << "{";
            fields(nested, indent);
        } else {
            out_ << "{\n";
            fields(nested, indent + 2);
            out_ << std::string(indent, ' ');
        }
        out_ << "}";
    }

    std::ostream& out_;
};

}  // namespace

std::string_view kindName(Kind kind) {
    switch (kind) {
        case Kind::Bool:
            return "bool";
        case Kind::U32:
            return "u32";
        case Kind::U64:
            return "u64";
        case Kind::Addr6:
            return "addr6";
        case Kind::String:
            return "string";
        case Kind::Message:
            return "message";
        case Kind::Raw:
            return "raw";
        case Kind::U32Array:
            return "u32-array";
        case Kind::StringArray:
            return "string-array";
        case Kind::MessageArray:
            return "message-array";
    }
    return "unknown";
}

void message::print(std::ostream& out, unsigned indent) const { Printer(out).fields(*this, indent); }

std::ostream& operator<<(std::ostream& out, const message& m) {
    out << "{";
    Printer(out).fields(m, Printer::kOneLine);
    return out << "}";
}

}  // namespace tn
