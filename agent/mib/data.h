#pragma once

#include <memory>
#include <vector>

#include "tn/message.h"

namespace snmp {

/// A record served: the fields of one object or row, built from a message of its owner.
struct Data {
    Data() = default;
    Data(const Data&) = delete;
    Data& operator=(const Data&) = delete;
    virtual ~Data() = default;
    /// Fills the request that writes the record back; nothing for records that can't be written.
    virtual void reverseBuild(tn::message&) {}
};

/// Rows in the order of their index.
using Rows = std::vector<std::unique_ptr<Data>>;

/// A list of rows, as tables hand them around.
struct VData : Data {
    Rows rows;
};

/// Builds one record from a reply; an empty message gives the record's default values.
using BuildFunction = std::unique_ptr<Data> (*)(const tn::message&);

}  // namespace snmp
