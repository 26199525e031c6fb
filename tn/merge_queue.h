#pragma once

#include <cstdint>
#include <list>
#include <map>
#include <optional>
#include <tuple>
#include <utility>
#include <vector>

namespace tn {

class Handler;

/// Number of queued entries from which notifications about one object are merged. A shorter queue holds each one, so a
/// burst of 256 changes arrives complete.
constexpr size_t kMergeBeyond = 256;

/// Identifies the state that a notification reports. Of several notifications with the same key only the latest counts.
/// Ordered, as the key of a map.
struct NoteKey {
    Handler* owner = nullptr;  ///< the notifying handler; nullptr in the receiving process
    uint32_t command = 0;
    std::optional<uint32_t> object;    ///< id; nullopt for the whole handler
    std::vector<uint32_t> subscriber;  ///< path

    friend auto operator<=>(const NoteKey& a, const NoteKey& b) {
        return std::tie(a.owner, a.command, a.object, a.subscriber) <=>
               std::tie(b.owner, b.command, b.object, b.subscriber);
    }
};

/// The items that wait for one receiver, in order. From kMergeBeyond entries on, a notification replaces the newest one
/// with the same key instead of growing the queue, so a slow receiver still gets the latest state of every object.
///
/// Users of the queue must limit it: items that can't be merged let it grow without bound.
template <class Item>
class MergeQueue {
  public:
    /// Appends an item that is never merged.
    void push(Item item) { entries_.push_back({std::move(item), std::nullopt}); }

    /// Appends a notification, or merges it with an older one.
    /// @param item  moved from if appended; after a merge, the older item, which has left the queue
    /// @return false if it was merged
    bool push(NoteKey key, Item& item) {
        const auto known = newest_.find(key);
        if (entries_.size() >= kMergeBeyond && known != newest_.end()) {
            std::swap(known->second->item, item);
            return false;
        }
        entries_.push_back({std::move(item), key});
        newest_.insert_or_assign(std::move(key), std::prev(entries_.end()));
        return true;
    }

    [[nodiscard]] bool empty() const { return entries_.empty(); }
    [[nodiscard]] size_t size() const { return entries_.size(); }
    /// The first item. The queue isn't empty.
    [[nodiscard]] Item& front() { return entries_.front().item; }

    /// Removes the first item. The queue isn't empty.
    /// @return the owner of a notification; nullptr for any other item
    Handler* pop() {
        Handler* owner = nullptr;
        if (const std::optional<NoteKey>& key = entries_.front().key) {
            owner = key->owner;
            const auto known = newest_.find(*key);
            if (known != newest_.end() && known->second == entries_.begin()) newest_.erase(known);
        }
        entries_.pop_front();
        return owner;
    }

  private:
    struct Entry {
        Item item;
        std::optional<NoteKey> key;
    };
    std::list<Entry> entries_;
    /// The entry that the next notification with this key replaces.
    std::map<NoteKey, typename std::list<Entry>::iterator> newest_;
};

}  // namespace tn
