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
    /// Adds the fields that write the record back to a set request, which has path, command and key already. Records
    /// that can't be written add nothing.
    virtual void reverseBuild(tn::message&) {}
};

/// Records of one class in the order of their index; each belongs to the list.
using Rows = std::vector<std::unique_ptr<Data>>;

/// A list of rows as one record, as tables and providers return them. It lives for one step of a request.
struct VData : Data {
    Rows rows;
};

/// Builds one record from a reply; an empty message gives the record's default values.
using BuildFunction = std::unique_ptr<Data> (*)(const tn::message&);

}  // namespace snmp
