#include "tn/escape.h"

#include <locale.h>

#include <algorithm>
#include <cwchar>
#include <cwctype>

namespace tn {

namespace {

/// True for characters that reorder or break the line they are in, although iswprint accepts them: line separators and
/// bidirectional controls (Unicode 15, general categories Zl and Zp, property Bidi_Control).
bool reorders(wint_t c) { return (c >= 0x2028 && c <= 0x202e) || (c >= 0x2066 && c <= 0x2069); }

/// Number of octets of the printable character that `text` begins with; 0 if it begins with anything else.
size_t printableLength(std::string_view text) {
    const auto first = static_cast<unsigned char>(text.front());
    if (first < 0x80) return first >= 0x20 && first != 0x7f && first != '\\' ? 1 : 0;
    wchar_t c = 0;
    std::mbstate_t state{};
    const size_t length = std::mbrtowc(&c, text.data(), text.size(), &state);
    if (length > text.size()) return 0;  // invalid or cut off
    const auto wide = static_cast<wint_t>(c);
    return std::iswprint(wide) != 0 && !reorders(wide) ? length : 0;
}

void appendEscape(std::string& out, char octet) {
    constexpr char kDigits[] = "0123456789abcdef";
    const auto n = static_cast<unsigned char>(octet);
    if (octet == '\n') {
        out += "\\n";
    } else if (octet == '\t') {
        out += "\\t";
    } else if (octet == '\\') {
        out += "\\\\";
    } else {
        out += {'\\', 'x', kDigits[n >> 4], kDigits[n & 15]};
    }
}

/// Makes this thread decode UTF-8 for the object's lifetime, whatever the locale of the process.
class Utf8 {
  public:
    Utf8() : before_(uselocale(locale())) {}
    ~Utf8() { uselocale(before_); }
    Utf8(const Utf8&) = delete;
    Utf8& operator=(const Utf8&) = delete;

  private:
    static locale_t locale() {
        // Null where the C library has no such locale: then nothing changes and only ASCII counts as printable.
        static const locale_t made = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
        return made;
    }
    locale_t before_;
};

}  // namespace

std::string escaped(std::string_view text) {
    const Utf8 decoder;
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        const size_t length = printableLength(text);
        if (length > 0) {
            out += text.substr(0, length);
        } else {
            appendEscape(out, text.front());
        }
        text.remove_prefix(std::max<size_t>(length, 1));
    }
    return out;
}

}  // namespace tn
