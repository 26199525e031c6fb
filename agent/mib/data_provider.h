#pragma once

#include <memory>
#include <span>
#include <vector>

#include "agent/mib/data.h"

namespace snmp {

/// The source of one record. Nothing is kept between requests: the owner of the data is asked each time.
class DataProvider {
  public:
    virtual ~DataProvider() = default;
    [[nodiscard]] virtual std::unique_ptr<Data> get() = 0;  ///< null when there is no record
    virtual bool set(Data* record) = 0;                     ///< writes a changed record back
};

/// A record fetched from and written to one owner.
class SingleProvider : public DataProvider {
  public:
    std::unique_ptr<Data> get() final { return getData(); }
    bool set(Data* record) final { return setData(record); }

  protected:
    [[nodiscard]] virtual std::unique_ptr<Data> getData() = 0;
    virtual bool setData(Data* record) = 0;
};

/// One object of an owner on the bus, fetched with a get command.
class GetProvider : public SingleProvider {
  public:
    /// @param objectClass  sent as tn::field::GetFlags with the get
    GetProvider(BuildFunction build, std::span<const uint32_t> path, uint32_t getCommand, uint32_t setCommand,
                uint32_t objectClass);

  protected:
    /// An error reply is logged and gives the record's default values: the object is served rather than failing.
    std::unique_ptr<Data> getData() override;
    /// Sends the record's reverseBuild; true when the owner took it.
    bool setData(Data* record) override;

  private:
    BuildFunction build_;
    std::vector<uint32_t> path_;
    uint32_t setCommand_;
    tn::message get_;  ///< the same each time
};

/// A record that a function makes. It can't be written.
class ProxyDataProvider : public DataProvider {
  public:
    using Function = std::unique_ptr<Data> (*)();
    explicit ProxyDataProvider(Function function) : function_(function) {}
    std::unique_ptr<Data> get() override { return function_(); }
    bool set(Data*) override { return false; }

  private:
    Function function_;
};

}  // namespace snmp
