#pragma once

#include <memory>
#include <span>
#include <vector>

#include "agent/mib/data.h"
#include "agent/mib/objects.h"

namespace snmp {

/// The source of one record. Nothing is cached between requests: each call queries the owner of the data.
class DataProvider {
  public:
    virtual ~DataProvider() = default;
    /// The current record, which the caller owns. Null if there is none: its objects aren't served then.
    [[nodiscard]] virtual std::unique_ptr<Data> get() = 0;
    /// Writes a changed record back to its owner.
    /// @param record  from get(), with the new value; remains the caller's
    /// @return false if it isn't written. After a timeout, the owner may still make the change
    virtual bool set(Data* record) = 0;
    /// The request to an owner that get() makes. Null if there is none or if it isn't always the same.
    [[nodiscard]] virtual const tn::message* request() const { return nullptr; }
    /// Where the record comes from, as text for docs/objects.md: see Object::source.
    [[nodiscard]] virtual std::string source() const { return "the agent"; }
};

/// A record that is fetched from an owner and written back to it. Plug-ins may derive from this class.
class SingleProvider : public DataProvider {
  public:
    std::unique_ptr<Data> get() final { return getData(); }
    bool set(Data* record) final { return setData(record); }

  protected:
    [[nodiscard]] virtual std::unique_ptr<Data> getData() = 0;  ///< as get()
    virtual bool setData(Data* record) = 0;                     ///< as set()
};

/// One object of an owner on the bus.
class GetProvider : public SingleProvider {
  public:
    /// @param build        makes the record from a reply; must not return null
    /// @param path         path of the owner on the bus
    /// @param getCommand   command that requests the object
    /// @param setCommand   command that changes it
    /// @param objectClass  one of contracts::object_class: sent with the get command as tn::field::GetFlags
    GetProvider(BuildFunction build, std::span<const uint32_t> path, uint32_t getCommand, uint32_t setCommand,
                uint32_t objectClass);
    const tn::message* request() const override { return &get_; }
    std::string source() const override { return pathText(path_); }

  protected:
    /// Never null. An error reply is logged, and the record has default values: its objects read as 0 or empty
    /// (compat: 20).
    std::unique_ptr<Data> getData() override;
    /// Sends the record's reverseBuild. False, with the reason logged, if the owner refuses or fails.
    bool setData(Data* record) override;

  private:
    BuildFunction build_;
    std::vector<uint32_t> path_;
    uint32_t setCommand_;
    tn::message get_;  ///< the request; it is always the same
};

/// A record that a function makes from the agent's own data. It can't be written.
class ProxyDataProvider : public DataProvider {
  public:
    /// May return null: its objects aren't served then.
    using Function = std::unique_ptr<Data> (*)();
    explicit ProxyDataProvider(Function function) : function_(function) {}
    std::unique_ptr<Data> get() override { return function_(); }
    bool set(Data*) override { return false; }

  private:
    Function function_;
};

}  // namespace snmp
