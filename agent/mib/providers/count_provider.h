#pragma once

#include "agent/log.h"
#include "agent/mib/table.h"

namespace snmp {

/// The number of rows of a table, as a record; 0 if the owner fails. It can't be written.
class CountProvider : public DataProvider {
  public:
    struct CountData : Data {
        unsigned int count = 0;
    };

    /// @param table  must outlive the provider
    explicit CountProvider(Table* table) : table_(table) {}
    /// Never null.
    std::unique_ptr<Data> get() override {
        auto record = std::make_unique<CountData>();
        record->count = table_->count();
        return record;
    }
    std::string source() const override { return table_->source() + ", counted"; }
    /// Always fails, with a log line.
    bool set(Data*) override {
        serr << "CountProvider::set";
        return false;
    }

  private:
    Table* table_;
};

}  // namespace snmp
