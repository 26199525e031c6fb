#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "tn/message.h"

namespace snmp {

/// An IPv4 address or mask as the value of a be32 field, in host byte order. A uint32_t is the value of a u32 field.
struct Ip4 {
    uint32_t value;
};
using Raw = std::vector<uint8_t>;
using Messages = std::vector<tn::message>;

/// A field with its value, whose type determines the kind.
struct Field {
    using Value = std::variant<bool, uint32_t, uint64_t, Ip4, tn::IPAddr6, std::string, Raw, std::vector<uint32_t>,
                               std::vector<std::string>, Messages>;
    Field(uint32_t id, Value v) : number(id), value(std::move(v)) {}
    template <tn::Kind kind, int view>
    Field(tn::field_id<kind, view> id, Value v) : number(id.number), value(std::move(v)) {}

    void into(tn::message& m) const {
        struct Insert {
            tn::message& m;
            uint32_t id;
            void operator()(bool v) { m.insert_bool(tn::bool_id(id), v); }
            void operator()(uint32_t v) { m.insert_u32(tn::u32_id(id), v); }
            void operator()(uint64_t v) { m.insert_u64(tn::u64_id(id), v); }
            void operator()(Ip4 v) { m.insert_be32(tn::be32_id(id), v.value); }
            void operator()(const tn::IPAddr6& v) { m.insert_addr6(tn::addr6_id(id), v); }
            void operator()(const std::string& v) { m.insert_string(tn::string_id(id), v); }
            void operator()(const Raw& v) { m.insert_raw(tn::raw_id(id), v); }
            void operator()(const std::vector<uint32_t>& v) { m.insert_u32_array(tn::u32_array_id(id), v); }
            void operator()(const std::vector<std::string>& v) { m.insert_string_array(tn::string_array_id(id), v); }
            void operator()(const Messages& v) { m.insert_message_array(tn::message_array_id(id), v); }
        };
        std::visit(Insert{m, number}, value);
    }

    uint32_t number;
    Value value;
};
using Fields = std::vector<Field>;

/// Inserts fields into a message, in place of those with the same number and kind.
inline tn::message& put(tn::message& m, const Fields& fields) {
    for (const Field& field : fields) field.into(m);
    return m;
}

inline tn::message messageOf(const Fields& fields) {
    tn::message m;
    return put(m, fields);
}

}  // namespace snmp
