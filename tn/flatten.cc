// The flattened message. Numbers are little-endian; u32 below means four octets of that kind.
//
//   flattened   version octet (1), body
//   body        u32 number of fields, then the fields in their order
//   field       u32 id (number, kind and array bit), then the value:
//     bool           one octet, 0 or 1
//     u32, u64       4, 8 octets
//     addr6          16 octets
//     string, raw    u32 length, octets
//     message        body
//     u32 array      u32 number of elements, 4 octets each
//     string array   u32 number of elements, each u32 length and octets
//     message array  u32 number of elements, each a body
//
// A field appears at most once in a body. A packet is one flattened message, or several one after the other; nothing
// follows the last one. A change that readers of this version would misread gets a new version; a reader refuses
// versions it doesn't know.
//
// What is held in memory for one octet read stays below 16: the densest input, an array of empty messages, takes 4
// octets for each element of 32.
#include <algorithm>
#include <bit>
#include <concepts>
#include <cstring>

#include "tn/message.h"

namespace tn {

namespace {

static_assert(std::endian::native == std::endian::little, "numbers are copied as they lie in memory");

constexpr uint8_t kVersion = 1;
constexpr size_t kSmallestField = 5;    // id and a bool
constexpr size_t kSmallestElement = 4;  // number, empty string or empty message
// Room made for elements that are promised but not read yet. More comes as they arrive, so that a packet of promises
// nested into promises doesn't multiply.
constexpr size_t kReadAhead = 64;

/// The two outputs of Writer: the first run counts the octets, the second one copies them into a buffer of that size.
struct Counter {
    size_t count = 0;
    void octets(const void*, size_t length) { count += length; }
};
struct Copier {
    uint8_t* to;
    void octets(const void* from, size_t length) {
        if (length > 0) std::memcpy(to, from, length);
        to += length;
    }
};

template <class Out>
class Writer {
  public:
    explicit Writer(Out out) : out_(out) {}

    [[nodiscard]] bool flattened(const message& m) {
        number(kVersion);
        return body(m, 1);
    }
    [[nodiscard]] const Out& out() const { return out_; }

  private:
    void number(std::unsigned_integral auto n) { out_.octets(&n, sizeof n); }
    void size(size_t n) { number(static_cast<uint32_t>(n)); }
    void string(const std::string& s) {
        size(s.size());
        out_.octets(s.data(), s.size());
    }
    bool body(const message& m, size_t depth);
    bool value(const message::Field& field, size_t depth);

    Out out_;
};

template <class Out>
bool Writer<Out>::body(const message& m, size_t depth) {
    if (depth > kMaxNesting) return false;
    size(m.size());
    return std::all_of(m.fields().begin(), m.fields().end(), [&](const message::Field& field) {
        number(field.id);
        return value(field, depth);
    });
}

template <class Out>
bool Writer<Out>::value(const message::Field& field, size_t depth) {
    switch (field.kind()) {
        case Kind::Bool:
            number(static_cast<uint8_t>(std::get<uint64_t>(field.value)));
            return true;
        case Kind::U32:
            number(static_cast<uint32_t>(std::get<uint64_t>(field.value)));
            return true;
        case Kind::U64:
            number(std::get<uint64_t>(field.value));
            return true;
        case Kind::Addr6:
            out_.octets(std::get<IPAddr6>(field.value).octets().data(), 16);
            return true;
        case Kind::String:
        case Kind::Raw:
            string(std::get<std::string>(field.value));
            return true;
        case Kind::Message:
            return body(*std::get<std::unique_ptr<message>>(field.value), depth + 1);
        case Kind::U32Array: {
            const auto& numbers = std::get<std::vector<uint32_t>>(field.value);
            size(numbers.size());
            out_.octets(numbers.data(), numbers.size() * sizeof(uint32_t));
            return true;
        }
        case Kind::StringArray: {
            const auto& strings = std::get<std::vector<std::string>>(field.value);
            size(strings.size());
            for (const std::string& s : strings) string(s);
            return true;
        }
        case Kind::MessageArray: {
            const auto& messages = std::get<std::vector<message>>(field.value);
            size(messages.size());
            return std::all_of(messages.begin(), messages.end(), [&](const message& m) { return body(m, depth + 1); });
        }
    }
    return false;
}

}  // namespace

/// A cursor over octets of any origin. Everything is read through take(), which checks the length. A failed read makes
/// the whole message fail, so partial results don't matter.
class message::Reader {
  public:
    explicit Reader(std::span<const uint8_t> bytes) : rest_(bytes) {}

    [[nodiscard]] bool atEnd() const { return rest_.empty(); }
    [[nodiscard]] bool flattened(message& out) {
        uint8_t version = 0;
        return number(version) && version == kVersion && body(out, 1);
    }

  private:
    [[nodiscard]] bool number(std::unsigned_integral auto& n) { return copy(&n, sizeof n); }
    [[nodiscard]] bool body(message& out, size_t depth);
    [[nodiscard]] const uint8_t* take(size_t length) {
        if (length > rest_.size()) return nullptr;
        const uint8_t* first = rest_.data();
        rest_ = rest_.subspan(length);
        return first;
    }
    [[nodiscard]] bool copy(void* to, size_t length) {
        const uint8_t* from = take(length);
        if (from != nullptr) std::memcpy(to, from, length);
        return from != nullptr;
    }
    /// Reads a number of elements. False if the rest is too short for that many elements of `smallest` octets.
    [[nodiscard]] bool count(uint32_t& n, size_t smallest) { return number(n) && n <= rest_.size() / smallest; }
    [[nodiscard]] bool string(std::string& s);
    [[nodiscard]] bool value(Field& field, size_t depth);
    template <std::unsigned_integral T>
    [[nodiscard]] bool number(Field& field) {
        T n{};
        if (!number(n)) return false;
        field.value = uint64_t{n};
        return true;
    }
    template <class T, class ReadElement>
    [[nodiscard]] bool array(Field& field, ReadElement readElement);

    std::span<const uint8_t> rest_;
};

bool message::Reader::body(message& out, size_t depth) {
    uint32_t fields = 0;
    if (depth > kMaxNesting || !count(fields, kSmallestField)) return false;
    out.fields_.reserve(std::min<size_t>(fields, kReadAhead));
    bool ascending = true;
    for (uint32_t i = 0; i < fields; ++i) {
        Field& field = out.fields_.emplace_back();
        if (!number(field.id) || !value(field, depth)) return false;
        ascending = ascending && (i == 0 || field.id > out.greatest_);
        out.greatest_ = std::max(out.greatest_, field.id);
    }
    return ascending || out.hasDistinctFields();
}

bool message::Reader::string(std::string& s) {
    uint32_t length = 0;
    if (!number(length)) return false;
    const uint8_t* octets = take(length);
    if (octets != nullptr) s.assign(reinterpret_cast<const char*>(octets), length);
    return octets != nullptr;
}

template <class T, class ReadElement>
bool message::Reader::array(Field& field, ReadElement readElement) {
    uint32_t elements = 0;
    if (!count(elements, kSmallestElement)) return false;
    auto& array = field.value.emplace<std::vector<T>>();
    array.reserve(std::min<size_t>(elements, kReadAhead));
    for (uint32_t i = 0; i < elements; ++i) {
        if (!readElement(array.emplace_back())) return false;
    }
    return true;
}

bool message::Reader::value(Field& field, size_t depth) {
    switch (field.kind()) {
        case Kind::Bool:
            return number<uint8_t>(field) && std::get<uint64_t>(field.value) <= 1;
        case Kind::U32:
            return number<uint32_t>(field);
        case Kind::U64:
            return number<uint64_t>(field);
        case Kind::Addr6:
            return copy(field.value.emplace<IPAddr6>().octets().data(), 16);
        case Kind::String:
        case Kind::Raw:
            return string(field.value.emplace<std::string>());
        case Kind::Message:
            return body(*field.value.emplace<std::unique_ptr<message>>(std::make_unique<message>()), depth + 1);
        case Kind::U32Array:
            return array<uint32_t>(field, [&](uint32_t& n) { return number(n); });
        case Kind::StringArray:
            return array<std::string>(field, [&](std::string& s) { return string(s); });
        case Kind::MessageArray:
            return array<message>(field, [&](message& m) { return body(m, depth + 1); });
    }
    return false;
}

bool message::hasDistinctFields() const {
    std::vector<uint32_t> ids(fields_.size());
    std::transform(fields_.begin(), fields_.end(), ids.begin(), [](const Field& field) { return field.id; });
    std::sort(ids.begin(), ids.end());
    return std::adjacent_find(ids.begin(), ids.end()) == ids.end();
}

size_t message::flatSize() const {
    Writer counter{Counter()};
    return counter.flattened(*this) ? counter.out().count : 0;
}

bool message::flattenTo(flat_message& out) const {
    const size_t size = flatSize();
    if (size == 0) return false;
    const size_t before = out.size();
    out.resize(before + size);
    return Writer(Copier{out.data() + before}).flattened(*this);
}

flat_message message::flatten() const {
    flat_message out;
    flattenTo(out);
    return out;
}

bool message::unflatten(std::span<const uint8_t> bytes, message& out) {
    out.clear();
    Reader reader(bytes);
    if (reader.flattened(out) && reader.atEnd()) return true;
    out.clear();
    return false;
}

bool message::unflatten(std::span<const uint8_t> bytes, std::vector<message>& out) {
    out.clear();
    Reader reader(bytes);
    while (out.size() < kMaxTogether && reader.flattened(out.emplace_back()))
        if (reader.atEnd()) return true;
    out.clear();
    return false;
}

}  // namespace tn
