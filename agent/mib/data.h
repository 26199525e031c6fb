#pragma once

#include <memory>
#include <vector>

#include "tn/message.h"

namespace snmp {

/// A record: the fields of one object or row, built from a message of its owner. It lives while a request is answered.
struct Data {
    Data() = default;
    Data(const Data&) = delete;
    Data& operator=(const Data&) = delete;
    virtual ~Data() = default;
    /// Adds the fields that can be written to a set message to the owner. The message has the path, the command and,
    /// for a row, the key already. By default there are no such fields. A record may change the command, or perform the
    /// action itself.
    virtual void reverseBuild(tn::message&) {}
};

/// Records of one class, never null, in the order of their index. The list owns them.
using Rows = std::vector<std::unique_ptr<Data>>;

/// A list of rows, as tables and providers return it.
struct VData : Data {
    Rows rows;
};

/// Builds one record from a reply or an item of a list; from an empty message, a record of default values. Never null,
/// except where a provider allows it (GetFirstProvider).
using BuildFunction = std::unique_ptr<Data> (*)(const tn::message&);

}  // namespace snmp
