#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "tn/allocator.h"
#include "tn/handler.h"
#include "tn/store.h"

namespace tn {

/// An object of a map, configured by messages. The names of its operations are fixed: plug-ins override them.
class Object {
  public:
    virtual ~Object() = default;
    /// Adds its configuration to `out`. @param flags  of field::GetFlags; 0 for what is stored
    virtual void getConfig(message& out, uint32_t flags) const = 0;
    /// Applies the fields that `in` has; the others stay as they are. Can't fail: the map's hook refuses bad values
    /// afterwards.
    virtual void setConfig(const message& in) = 0;
    uint32_t id = kNoId;  ///< in its map; kNoId before it is added
};

/// A handler that owns objects of one class by id, persistently: loads them from its store, answers the object commands
/// and get-all, and checks each change with the derived class. A change is made on a copy, checked, written to the
/// store, and only then put in place, so an error reply means that nothing changed. Each change is notified
/// (cmd::Changed with the object's new configuration, or with field::Gone for a removed one) and recorded for undo.
///
/// Errors: error::NotFound for an unknown id, error::Refused for an id to add that is taken and whatever the derived
/// class says, error::StoreFailed with the store's own text.
class AMap : public Handler {
  public:
    /// @param storePath  platform path; empty for a map without a store
    /// @param what       what one object is called in error texts and undo records ("snmp community")
    AMap(const std::string& storePath, std::string what);

    message cmdGetAll(const message& request) override;
    message cmdGetObj(const message& request) override;
    message cmdSetObj(const message& request) override;
    message cmdAddObj(const message& request) override;
    message cmdRemoveObj(const message& request) override;
    message getObject(uint32_t id) override;
    uint32_t getObjectCount() override;

    [[nodiscard]] bool hasStore() const { return store_ != nullptr; }

  protected:
    // For Map, which knows the object's own type.
    [[nodiscard]] virtual std::unique_ptr<Object> make() const = 0;
    [[nodiscard]] virtual std::unique_ptr<Object> copy(const Object& object) const = 0;
    /// Each allows the change with an empty reply and refuses it with an error reply, which goes to the caller. The
    /// objects stay the map's. `added` and `changed` may be edited: they are what is then stored.
    virtual message mayAdd(Object* added) = 0;
    virtual message maySet(Object* current, Object* changed) = 0;
    virtual message mayRemove(Object* removed) = 0;

    /// Reads every object of the store. An unreadable store gives none, and refuses changes from then on.
    void load();
    /// Adds an object without a check, and stores it under its id or, when it has none, the lowest free one. False,
    /// nothing changed, when the store refuses.
    bool insert(std::unique_ptr<Object> object);

    using Objects = std::map<uint32_t, std::unique_ptr<Object>>;
    [[nodiscard]] const Objects& objects() const { return objects_; }
    Allocator allocator_;  ///< ids of objects(), and those that a derived class has reserved

  private:
    /// Stores the object. @return empty, also when there is no store; else error::StoreFailed
    [[nodiscard]] message write(const Object& object);
    [[nodiscard]] message notFound(uint32_t id) const;
    /// The request that takes a change back, without the object's fields.
    [[nodiscard]] message undoRequest(uint32_t command, uint32_t id) const;
    /// Notifies subscribers of a change that is in place, and records how it is undone.
    void changed(const message& newRequest, message oldRequest, uint32_t id, const std::string& done);

    std::string what_;
    std::unique_ptr<Store> store_;
    Objects objects_;
};

/// AMap with the object's own type, which is copied for each change, in place of Object.
template <class Item>
class Map : public AMap {
  public:
    using AMap::AMap;

  protected:
    // As AMap's mayAdd, maySet and mayRemove. The names are fixed: plug-ins override them.
    virtual message doAdd(Item* added) = 0;
    virtual message doSet(Item* current, Item* changed) = 0;
    virtual message doRemove(Item* removed) = 0;

    /// Calls f(const Item&) in ascending id order until it returns true; the item it returned true for, or nullptr.
    template <class F>
    [[nodiscard]] Item* findIf(F f) const {
        for (const auto& [id, object] : objects())
            if (auto* item = static_cast<Item*>(object.get()); f(*item)) return item;
        return nullptr;
    }

  private:
    [[nodiscard]] std::unique_ptr<Object> make() const final { return std::make_unique<Item>(); }
    [[nodiscard]] std::unique_ptr<Object> copy(const Object& object) const final {
        return std::make_unique<Item>(static_cast<const Item&>(object));
    }
    message mayAdd(Object* added) final { return doAdd(static_cast<Item*>(added)); }
    message maySet(Object* current, Object* changed) final {
        return doSet(static_cast<Item*>(current), static_cast<Item*>(changed));
    }
    message mayRemove(Object* removed) final { return doRemove(static_cast<Item*>(removed)); }
};

}  // namespace tn
