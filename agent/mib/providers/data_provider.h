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
    /// The current record; null when there is none, and the object isn't served.
    [[nodiscard]] virtual std::unique_ptr<Data> get() = 0;
    /// Writes a changed record back. False when it can't be written, and then nothing has changed.
    virtual bool set(Data* record) = 0;
    /// Where the record comes from, for people: see Object::source.
    [[nodiscard]] virtual std::string source() const { return "the agent"; }
};

/// A record fetched from and written to one owner. Plug-ins may derive from it.
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
    /// @param build        makes the record of a reply; must not return null
    /// @param path         of the owner on the bus
    /// @param objectClass  sent as tn::field::GetFlags with the get
    GetProvider(BuildFunction build, std::span<const uint32_t> path, uint32_t getCommand, uint32_t setCommand,
                uint32_t objectClass);
    std::string source() const override { return pathText(path_); }

  protected:
    /// An error reply is logged and gives the record's default values: the object is served rather than failing.
    std::unique_ptr<Data> getData() override;
    /// Sends the record's reverseBuild. False, after logging the reason, when the owner refuses or can't be reached.
    bool setData(Data* record) override;

  private:
    BuildFunction build_;
    std::vector<uint32_t> path_;
    uint32_t setCommand_;
    tn::message get_;  ///< the same each time
};

/// A record that a function makes, from data of the agent's own. It can't be written.
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
