// Spare parts on a shelf: an owner that stores them, and a table that shows them. Rows are managed with tnctl.
//
//     tnctl message 34,1000 add-object 1:string=fan 2:u32=3
//     tnctl message 34,1000 get-all
//
//     spareTable    INDEX { spare id }

#include "agent/mib/providers/get_all_provider.h"
#include "contracts/object_class.h"
#include "example.h"
#include "tn/amap.h"
#include "tn/looper.h"

namespace example {

namespace {

// The owner. tn::Map provides ids, the store, undo and notifications.

struct Spare : tn::Object {
    std::string name;
    uint32_t count = 0;

    void getConfig(tn::message& out, uint32_t) const override {
        out.insert_string(spares::Name, name);
        out.insert_u32(spares::Count, count);
    }
    /// Fields that are absent from the message remain unchanged.
    void setConfig(const tn::message& in) override {
        name = in.get_string(spares::Name, name);
        count = in.get_u32(spares::Count, count);
    }
};

class Spares : public tn::Map<Spare> {
  public:
    Spares() : Map("/tern/store/example-spares", "spare part") {}
    void loadPermData() override { load(); }

  protected:
    tn::message doAdd(Spare* added) override { return doSet(nullptr, added); }
    tn::message doSet(Spare*, Spare* changed) override {
        return changed->name.empty() ? tn::errorMsg(tn::error::Refused, "a spare part has a name") : tn::message();
    }
    tn::message doRemove(Spare*) override { return {}; }
};

// The table: the record of a row, its build function and its columns.

struct SpareRow : snmp::Data {
    unsigned int id = 0;
    std::string name;
    unsigned int count = 0;

    static std::unique_ptr<snmp::Data> build(const tn::message& m) {
        auto row = std::make_unique<SpareRow>();
        row->id = m.get_u32(tn::field::ObjectId);
        row->name = m.get_string(spares::Name);
        row->count = m.get_u32(spares::Count);
        return row;
    }
    /// Turns a Set of a column into a change of the owner's object.
    void reverseBuild(tn::message& m) override {
        m.insert_u32(tn::field::Command, tn::cmd::SetObj);
        m.insert_string(spares::Name, name);
        m.insert_u32(spares::Count, count);
    }
};

constexpr snmp::Column<SpareRow> kSpareIndex = {1, "spareIndex", snmp::tag::Integer, &SpareRow::id};  // not served
constexpr snmp::Column<SpareRow> kSpareColumns[] = {
    {kNameColumn, "spareName", snmp::tag::OctetString, &SpareRow::name, snmp::Access::ReadWrite},
    {kCountColumn, "spareCount", snmp::tag::Integer, &SpareRow::count, snmp::Access::ReadWrite},
};
static_assert(snmp::ascending(kSpareColumns));

}  // namespace

void startSpares() {
    tn::getLooper()->addHandler(spares::kPath, snmp::keep<Spares>());

    auto* rows =
        snmp::keep<snmp::GetAllProvider>(spares::kPath, snmp::oneRow<SpareRow::build>, contracts::object_class::kWhole);
    snmp::MapTable* table = snmp::keepTable(rows, {{kSpareIndex, tn::field::ObjectId.number}});
    snmp::addTable(snmp::OID(kSpareEntry), "spareEntry", table, kSpareColumns);
}

}  // namespace example
