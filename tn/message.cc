#include "tn/message.h"

#include <arpa/inet.h>

#include <algorithm>
#include <utility>

namespace tn {

namespace {

// Room made at the first insertion: most rows fit, so they never move, and it is the most that malloc still serves from
// its cache for the thread (1,032 octets).
constexpr size_t kFirstFields = 21;

const message kEmptyMessage;
const std::vector<uint32_t> kNoNumbers;
const std::vector<std::string> kNoStrings;
const std::vector<message> kNoMessages;

message::Field::Value copied(const message::Field::Value& value) {
    return std::visit(
        []<class T>(const T& held) -> message::Field::Value {
            if constexpr (std::is_same_v<T, std::unique_ptr<message>>) {
                return std::make_unique<message>(*held);
            } else {
                return held;
            }
        },
        value);
}

bool sameValue(const message::Field::Value& a, const message::Field::Value& b) {
    if (const auto* nested = std::get_if<std::unique_ptr<message>>(&a)) {
        const auto* other = std::get_if<std::unique_ptr<message>>(&b);
        return other != nullptr && **nested == **other;
    }
    return a == b;
}

}  // namespace

message::message() = default;
message::~message() = default;

message::message(const message& other) : greatest_(other.greatest_) {
    fields_.reserve(other.fields_.size());
    for (const Field& field : other.fields_) fields_.push_back(Field{field.id, copied(field.value)});
}

message::message(message&& other) noexcept
    : fields_(std::move(other.fields_)), greatest_(std::exchange(other.greatest_, 0)) {}

message& message::operator=(const message& other) {
    if (this != &other) *this = message(other);
    return *this;
}

message& message::operator=(message&& other) noexcept {
    // Through a third one: the source may be nested in what this message holds now.
    message taken(std::move(other));
    fields_.swap(taken.fields_);
    greatest_ = taken.greatest_;
    next_ = 0;
    return *this;
}

const message::Field* message::find(uint32_t fullId) const {
    if (fullId > greatest_) return nullptr;
    const size_t count = fields_.size();
    const size_t start = std::min<size_t>(next_, count);
    for (size_t i = start; i < count; ++i) {
        if (fields_[i].id != fullId) continue;
        next_ = static_cast<uint32_t>(i + 1);
        return &fields_[i];
    }
    for (size_t i = 0; i < start; ++i) {
        if (fields_[i].id != fullId) continue;
        next_ = static_cast<uint32_t>(i + 1);
        return &fields_[i];
    }
    return nullptr;
}

template <class T>
const T* message::value(uint32_t fullId) const {
    const Field* field = find(fullId);
    return field == nullptr ? nullptr : std::get_if<T>(&field->value);
}

template <class T>
T& message::slot(uint32_t fullId) {
    // The kind is part of the id, so a field that is found holds a T.
    if (const T* held = value<T>(fullId)) return const_cast<T&>(*held);
    if (fields_.capacity() == 0) fields_.reserve(kFirstFields);
    Field& field = fields_.emplace_back();
    field.id = fullId;
    greatest_ = std::max(greatest_, fullId);
    if constexpr (std::is_same_v<T, uint64_t>) {
        return *std::get_if<uint64_t>(&field.value);
    } else {
        return field.value.emplace<T>();
    }
}

void message::removeField(uint32_t fullId) {
    std::erase_if(fields_, [=](const Field& field) { return field.id == fullId; });
}

void message::insert_all(const message& from) {
    for (const Field& field : from.fields_) insert_field(field);
}

void message::insert_field(const Field& field) {
    removeField(field.id);
    fields_.push_back(Field{field.id, copied(field.value)});
    greatest_ = std::max(greatest_, field.id);
}

void message::clear() {
    fields_.clear();
    greatest_ = 0;
    next_ = 0;
}

void message::reserve(size_t fields) { fields_.reserve(fields); }

void message::insert_bool(bool_id id, bool value) { slot<uint64_t>(id.full()) = value ? 1 : 0; }
void message::insert_u32(u32_id id, uint32_t value) { slot<uint64_t>(id.full()) = value; }
void message::insert_be32(be32_id id, uint32_t value) { slot<uint64_t>(id.full()) = htonl(value); }
void message::insert_u64(u64_id id, uint64_t value) { slot<uint64_t>(id.full()) = value; }
void message::insert_addr6(addr6_id id, const IPAddr6& value) { slot<IPAddr6>(id.full()) = value; }
void message::insert_string(string_id id, std::string value) { slot<std::string>(id.full()) = std::move(value); }

void message::insert_raw(raw_id id, std::span<const uint8_t> value) {
    slot<std::string>(id.full()).assign(value.begin(), value.end());
}

void message::insert_message(message_id id, message value) { get_message_ref(id) = std::move(value); }

void message::insert_u32_array(u32_array_id id, std::vector<uint32_t> value) {
    get_u32_array_ref(id) = std::move(value);
}

void message::insert_be32_array(be32_array_id id, std::span<const uint32_t> value) {
    std::vector<uint32_t> numbers(value.begin(), value.end());
    for (uint32_t& number : numbers) number = htonl(number);
    slot<std::vector<uint32_t>>(id.full()) = std::move(numbers);
}

void message::insert_string_array(string_array_id id, std::vector<std::string> value) {
    get_string_array_ref(id) = std::move(value);
}

void message::insert_message_array(message_array_id id, std::vector<message> value) {
    get_message_array_ref(id) = std::move(value);
}

void message::insert_vector(u32_array_id id, std::span<const uint32_t> values) {
    std::vector<uint32_t>& numbers = get_u32_array_ref(id);
    numbers.insert(numbers.end(), values.begin(), values.end());
}

bool message::get_bool(bool_id id, bool absent) const {
    const auto* held = value<uint64_t>(id.full());
    return held == nullptr ? absent : *held != 0;
}

uint32_t message::get_u32(u32_id id, uint32_t absent) const {
    const auto* held = value<uint64_t>(id.full());
    return held == nullptr ? absent : static_cast<uint32_t>(*held);
}

uint32_t message::get_be32(be32_id id, uint32_t absent) const {
    const auto* held = value<uint64_t>(id.full());
    return held == nullptr ? absent : ntohl(static_cast<uint32_t>(*held));
}

uint64_t message::get_u64(u64_id id, uint64_t absent) const {
    const auto* held = value<uint64_t>(id.full());
    return held == nullptr ? absent : *held;
}

IPAddr6 message::get_addr6(addr6_id id, const IPAddr6& absent) const {
    const auto* held = value<IPAddr6>(id.full());
    return held == nullptr ? absent : *held;
}

std::string message::get_string(string_id id, std::string_view absent) const {
    const auto* held = value<std::string>(id.full());
    return held == nullptr ? std::string(absent) : *held;
}

std::vector<uint8_t> message::get_raw(raw_id id) const {
    const auto* held = value<std::string>(id.full());
    if (held == nullptr) return {};
    return {held->begin(), held->end()};
}

const message& message::get_message(message_id id) const {
    const auto* held = value<std::unique_ptr<message>>(id.full());
    return held == nullptr ? kEmptyMessage : **held;
}

const std::vector<uint32_t>& message::get_u32_array(u32_array_id id) const {
    const auto* held = value<std::vector<uint32_t>>(id.full());
    return held == nullptr ? kNoNumbers : *held;
}

std::vector<uint32_t> message::get_be32_array(be32_array_id id) const {
    std::vector<uint32_t> numbers = get_u32_array(u32_array_id(id.number));
    for (uint32_t& number : numbers) number = ntohl(number);
    return numbers;
}

const std::vector<std::string>& message::get_string_array(string_array_id id) const {
    const auto* held = value<std::vector<std::string>>(id.full());
    return held == nullptr ? kNoStrings : *held;
}

const std::vector<message>& message::get_message_array(message_array_id id) const {
    const auto* held = value<std::vector<message>>(id.full());
    return held == nullptr ? kNoMessages : *held;
}

std::vector<uint32_t>& message::get_u32_array_ref(u32_array_id id) { return slot<std::vector<uint32_t>>(id.full()); }

std::vector<std::string>& message::get_string_array_ref(string_array_id id) {
    return slot<std::vector<std::string>>(id.full());
}

std::vector<message>& message::get_message_array_ref(message_array_id id) {
    return slot<std::vector<message>>(id.full());
}

message& message::get_message_ref(message_id id) {
    auto& nested = slot<std::unique_ptr<message>>(id.full());
    if (!nested) nested = std::make_unique<message>();
    return *nested;
}

bool operator==(const message& a, const message& b) {
    if (a.fields_.size() != b.fields_.size()) return false;
    return std::all_of(a.fields_.begin(), a.fields_.end(), [&](const message::Field& field) {
        const message::Field* other = b.find(field.id);
        return other != nullptr && sameValue(field.value, other->value);
    });
}

message errorMsg(uint32_t code, std::string text) {
    message reply;
    reply.insert_u32(field::ErrorCode, code);
    reply.insert_string(field::ErrorText, std::move(text));
    return reply;
}

bool isError(const message& reply, uint32_t* code, std::string* text) {
    if (!reply.has(field::ErrorCode)) return false;
    if (code != nullptr) *code = reply.get_u32(field::ErrorCode);
    if (text != nullptr) *text = reply.get_string(field::ErrorText);
    return true;
}

std::string getError(const message& reply) { return reply.get_string(field::ErrorText); }

message request(std::span<const uint32_t> path, uint32_t command) {
    message m;
    m.insert_vector(field::Destination, path);
    m.insert_u32(field::Command, command);
    return m;
}

}  // namespace tn
