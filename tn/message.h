#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "tn/address.h"
#include "tn/fields.h"
#include "tn/ids.h"

namespace tn {

/// The octets of one message, in a packet or a store. flatten.cc has their layout.
using flat_message = std::vector<uint8_t>;

constexpr size_t kMaxPacket = 256 * 1024;  ///< octets of one packet on the bus
constexpr size_t kMaxTogether = 16;        ///< messages in one packet
constexpr size_t kMaxNesting = 16;         ///< depth of nested messages, including the outermost

/// A set of typed fields, whose order has no meaning.
///
/// The fields are in one array, in the order of insertion, and each look-up starts where the last one ended. A row is
/// read in the order in which it was written, so reading its n fields takes n steps. Since a look-up changes that
/// position, only one thread at a time may read a message, even through const.
class message {
  public:
    message();
    message(const message&);  ///< copies nested messages, too
    message(message&&) noexcept;
    message& operator=(const message&);
    message& operator=(message&&) noexcept;
    ~message();

    struct Field;

    // Each inserts a field, in place of the one with this id if there is one.
    void insert_bool(bool_id id, bool value);
    void insert_u32(u32_id id, uint32_t value);
    void insert_be32(be32_id id, uint32_t value);  ///< value in host byte order, as for all be32 operations
    void insert_u64(u64_id id, uint64_t value);
    void insert_addr6(addr6_id id, const IPAddr6& value);
    void insert_string(string_id id, std::string value);
    void insert_raw(raw_id id, std::span<const uint8_t> value);
    void insert_message(message_id id, message value);
    void insert_u32_array(u32_array_id id, std::vector<uint32_t> value);
    void insert_be32_array(be32_array_id id, std::span<const uint32_t> value);
    void insert_string_array(string_array_id id, std::vector<std::string> value);
    void insert_message_array(message_array_id id, std::vector<message> value);
    void insert_field(const Field& field);  ///< a copy, whatever its kind
    /// Inserts copies of all fields of another message.
    void insert_all(const message& from);
    /// Appends numbers to a u32 array, creating it if there is none.
    void insert_vector(u32_array_id id, std::span<const uint32_t> values);
    void insert_vector(u32_array_id id, uint32_t value) { insert_vector(id, std::span(&value, 1)); }

    // Each returns the field's value. If there is no field with this id, it returns `absent`, or else an empty value. A
    // reference is valid until the message is changed.
    [[nodiscard]] bool get_bool(bool_id id, bool absent = false) const;
    [[nodiscard]] uint32_t get_u32(u32_id id, uint32_t absent = 0) const;
    [[nodiscard]] uint32_t get_be32(be32_id id, uint32_t absent = 0) const;
    [[nodiscard]] uint64_t get_u64(u64_id id, uint64_t absent = 0) const;
    [[nodiscard]] IPAddr6 get_addr6(addr6_id id, const IPAddr6& absent = {}) const;
    [[nodiscard]] std::string get_string(string_id id, std::string_view absent = {}) const;
    [[nodiscard]] std::vector<uint8_t> get_raw(raw_id id) const;
    [[nodiscard]] const message& get_message(message_id id) const;
    [[nodiscard]] const std::vector<uint32_t>& get_u32_array(u32_array_id id) const;
    [[nodiscard]] std::vector<uint32_t> get_be32_array(be32_array_id id) const;
    [[nodiscard]] const std::vector<std::string>& get_string_array(string_array_id id) const;
    [[nodiscard]] const std::vector<message>& get_message_array(message_array_id id) const;

    // Each returns the value for modification in place, creating an empty field if there is none. The reference is
    // valid until the message is changed in another way.
    std::vector<uint32_t>& get_u32_array_ref(u32_array_id id);
    std::vector<std::string>& get_string_array_ref(string_array_id id);
    std::vector<message>& get_message_array_ref(message_array_id id);
    message& get_message_ref(message_id id);

    /// Whether there is a field with this id, whatever its value.
    template <Kind K, int View>
    [[nodiscard]] bool has(field_id<K, View> id) const {
        return find(id.full()) != nullptr;
    }
    [[nodiscard]] bool has_array(u32_array_id id) const { return has(id); }
    [[nodiscard]] bool has_array(string_array_id id) const { return has(id); }
    [[nodiscard]] bool has_array(message_array_id id) const { return has(id); }
    /// Number of elements; 0 if there is no such field.
    [[nodiscard]] size_t size(u32_array_id id) const { return get_u32_array(id).size(); }
    [[nodiscard]] size_t size(string_array_id id) const { return get_string_array(id).size(); }
    [[nodiscard]] size_t size(message_array_id id) const { return get_message_array(id).size(); }
    /// Removes the field, if there is one.
    template <Kind K, int View>
    void remove(field_id<K, View> id) {
        removeField(id.full());
    }

    [[nodiscard]] bool empty() const { return fields_.empty(); }
    /// Number of fields.
    [[nodiscard]] size_t size() const;
    void clear();
    /// Allocates memory for this number of fields.
    void reserve(size_t fields);

    /// Appends the flattened message to `out`. False, with `out` unchanged, for a message nested deeper than
    /// kMaxNesting, which no receiver accepts.
    bool flattenTo(flat_message& out) const;
    /// The flattened message; empty if it is nested too deep.
    [[nodiscard]] flat_message flatten() const;
    /// The size of flatten() in octets, without building it.
    [[nodiscard]] size_t flatSize() const;
    /// Rebuilds a message from octets of any origin. Every length is checked, nesting is limited to kMaxNesting, and
    /// memory to 16 times the number of octets. False, with `out` empty, if the octets aren't exactly one message.
    [[nodiscard]] static bool unflatten(std::span<const uint8_t> bytes, message& out);
    /// The same for the messages of a packet: one, or up to kMaxTogether that follow one another.
    [[nodiscard]] static bool unflatten(std::span<const uint8_t> bytes, std::vector<message>& out);

    /// True for the same fields with the same values, in any order.
    friend bool operator==(const message& a, const message& b);

    /// All fields, in the order of insertion.
    [[nodiscard]] const std::vector<Field>& fields() const { return fields_; }

  private:
    class Reader;

    [[nodiscard]] bool hasDistinctFields() const;
    /// The field with this id, or nullptr.
    [[nodiscard]] const Field* find(uint32_t fullId) const;
    template <class T>
    [[nodiscard]] const T* value(uint32_t fullId) const;
    /// The value of a field, for writing; the field is created if there is none.
    template <class T>
    T& slot(uint32_t fullId);
    void removeField(uint32_t fullId);

    std::vector<Field> fields_;
    uint32_t greatest_ = 0;      ///< greatest full id ever inserted: look-ups of a greater one end at once
    mutable uint32_t next_ = 0;  ///< where the next look-up starts
};

/// One field. Bool, u32 and u64 values are held as uint64_t (be32 in network byte order), string and raw as
/// std::string.
struct message::Field {
    using Value = std::variant<uint64_t, IPAddr6, std::string, std::vector<uint32_t>, std::vector<std::string>,
                               std::vector<message>, std::unique_ptr<message>>;
    uint32_t id = 0;  ///< number, kind and array bit
    Value value;      ///< of the type for kind()

    [[nodiscard]] uint32_t number() const { return id & kFieldNumberMask; }
    [[nodiscard]] Kind kind() const { return static_cast<Kind>(id & ~kFieldNumberMask); }
};

inline size_t message::size() const { return fields_.size(); }

/// The name of a kind for people: "bool", "u32", "string" and so on; arrays as "u32-array".
[[nodiscard]] std::string_view kindName(Kind kind);

/// Prints the whole message in one line, for logs.
std::ostream& operator<<(std::ostream& out, const message& m);

/// An error reply: a code of tn::error and one line for people.
[[nodiscard]] message errorMsg(uint32_t code, std::string text);
/// Whether a reply is an error.
/// @param code, text  set for an error, else unchanged; may be nullptr
bool isError(const message& reply, uint32_t* code = nullptr, std::string* text = nullptr);
/// The text of an error reply; empty for any other reply.
[[nodiscard]] std::string getError(const message& reply);

/// A request with this destination and command, for adding fields.
[[nodiscard]] message request(std::span<const uint32_t> path, uint32_t command);

}  // namespace tn
