#include <iomanip>
#include <ostream>
#include <utility>

#include "tn/log.h"
#include "tn/message.h"

namespace tn {

namespace {

/// Writes messages in one line.
class Printer {
  public:
    explicit Printer(std::ostream& out) : out_(out) {}

    void print(const message& m) {
        const char* separator = "";
        out_ << "{";
        for (const message::Field& field : m.fields()) {
            out_ << std::exchange(separator, ", ");
            out_ << "0x" << std::hex << field.number() << std::dec << ":" << kindName(field.kind()) << "=";
            std::visit([&](const auto& held) { value(field, held); }, field.value);
        }
        out_ << "}";
    }

  private:
    void value(const message::Field& field, uint64_t number) {
        if (field.kind() == Kind::Bool) {
            out_ << (number != 0 ? "yes" : "no");
        } else {
            out_ << number;
        }
    }
    void value(const message::Field&, const IPAddr6& address) { out_ << address.str(); }
    void value(const message::Field& field, const std::string& octets) {
        if (field.kind() == Kind::String) return quoted(octets);
        for (const char octet : octets) {
            const auto n = static_cast<unsigned>(static_cast<unsigned char>(octet));
            out_ << std::hex << std::setw(2) << std::setfill('0') << n << std::dec;
        }
    }
    void value(const message::Field&, const std::unique_ptr<message>& nested) { print(*nested); }
    template <class T>
    void value(const message::Field&, const std::vector<T>& elements) {
        const char* separator = "";
        for (const T& each : elements) {
            out_ << std::exchange(separator, ",");
            element(each);
        }
    }

    void element(uint32_t number) { out_ << number; }
    void element(const std::string& text) { quoted(text); }
    void element(const message& nested) { print(nested); }

    void quoted(const std::string& text) { out_ << '"' << escaped(text) << '"'; }

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

std::ostream& operator<<(std::ostream& out, const message& m) {
    Printer(out).print(m);
    return out;
}

}  // namespace tn
