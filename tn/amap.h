#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tn/allocator.h"
#include "tn/handler.h"
#include "tn/store.h"

namespace tn {

/// An object of a map, configured by messages. The names of its operations are fixed: plug-ins override them.
class Object {
  public:
    virtual ~Object() = default;
    /// Adds the object's configuration to `out`.
    /// @param flags  of field::GetFlags; 0 for the form that is stored
    virtual void getConfig(message& out, uint32_t flags) const = 0;
    /// Applies the fields in `in` and leaves the others unchanged. Accepts bad values; the map's hook refuses them
    /// afterwards.
    virtual void setConfig(const message& in) = 0;
    uint32_t id = kNoId;  ///< unique in its map; kNoId until it is added
};

/// A handler that owns objects of one class, keyed by id, and stores them. It answers get-all, get-count, and the
/// commands that get, set, add and remove one object. The derived class checks each change.
///
/// A change is made on a copy, checked, written to the store, and only then put in place, so an error reply means that
/// nothing changed. Subscribers get cmd::Changed with the object's new configuration, or with field::Gone for a removed
/// object. Each change is recorded for undo.
///
/// Errors: error::NotFound for an unknown id, error::Refused if the id to add exists, error::StoreFailed with the
/// store's reason, and those of the derived class.
class AMap : public Handler {
  public:
    /// @param storePath  platform path; empty for a map without a store
    /// @param what       what an object is called in error texts and undo records ("snmp community")
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
    // Implemented by Map, which knows the type of the objects.
    [[nodiscard]] virtual std::unique_ptr<Object> make() const = 0;
    [[nodiscard]] virtual std::unique_ptr<Object> copy(const Object& object) const = 0;
    /// Each returns an empty message to allow the change, or else the error reply for the caller. The map owns the
    /// objects. `added` and `changed` may be modified: they are stored as the hook leaves them.
    virtual message mayAdd(Object* added) = 0;
    virtual message maySet(Object* current, Object* changed) = 0;
    virtual message mayRemove(Object* removed) = 0;

    /// Loads all objects from the store. If the store is unreadable, there are none and changes get error::StoreFailed.
    void load();
    /// Adds the object that an empty store begins with, without a check. It gets the lowest free id. It is added also
    /// if it can be stored only later, but not if the store can't be read.
    void seed(std::unique_ptr<Object> object);

    /// Puts objects in place of those with their ids and removes others, without a check. All have ids. It notifies
    /// subscribers and doesn't record an undo.
    /// @return empty; error::StoreFailed, with nothing changed
    [[nodiscard]] message replace(std::vector<std::unique_ptr<Object>> put, const std::vector<uint32_t>& removed);

    using Objects = std::map<uint32_t, std::unique_ptr<Object>>;
    [[nodiscard]] const Objects& objects() const { return objects_; }
    Allocator allocator_;  ///< ids of objects(), and those that a derived class has reserved

  private:
    /// Stores the object if the map has a store. @return empty; error::StoreFailed if that fails
    [[nodiscard]] message write(const Object& object);
    [[nodiscard]] message notFound(uint32_t id) const;
    /// The request that undoes a change, without the object's fields.
    [[nodiscard]] message undoRequest(uint32_t command, uint32_t id) const;
    void notifyOf(uint32_t id);  ///< notifies subscribers of the object's new configuration, or that it is gone
    /// Notifies subscribers of a change that has been made, and sends its undo record.
    /// @param done  the verb of the record's text: "added", "changed" or "removed"
    void changed(const message& newRequest, message oldRequest, uint32_t id, const std::string& done);

    std::string what_;
    std::unique_ptr<Store> store_;
    Objects objects_;
};

/// AMap for objects of type Item, a copyable class derived from Object.
template <class Item>
class Map : public AMap {
  public:
    using AMap::AMap;

  protected:
    // As AMap's mayAdd, maySet and mayRemove. The names are fixed: plug-ins override them.
    virtual message doAdd(Item* added) = 0;
    virtual message doSet(Item* current, Item* changed) = 0;
    virtual message doRemove(Item* removed) = 0;

    /// The first item, by id, for which f(const Item&) returns true; nullptr if there is none. The map owns the item.
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
