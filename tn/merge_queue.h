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

constexpr size_t kMergeBeyond = 256;  ///< queued entries past which notifications about one object are merged

/// What makes two notifications to one subscriber versions of the same thing.
struct NoteKey {
    Handler* owner = nullptr;
    uint32_t command = 0;
    std::optional<uint32_t> object;  ///< nothing: the whole handler
    std::vector<uint32_t> subscriber;

    friend auto operator<=>(const NoteKey& a, const NoteKey& b) {
        return std::tie(a.owner, a.command, a.object, a.subscriber) <=>
               std::tie(b.owner, b.command, b.object, b.subscriber);
    }
};

/// What waits for one receiver, in order. Past kMergeBeyond entries a notification replaces the newest one with its key
/// instead of growing the queue, so a receiver that is slow still learns the latest state of every object.
template <class Item>
class MergeQueue {
  public:
    void push(Item item) { entries_.push_back({std::move(item), std::nullopt}); }

    /// False when the notification took the place of an older one, which `item` then holds.
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
    [[nodiscard]] Item& front() { return entries_.front().item; }

    /// Takes the first entry off. @return whose notification it was; nullptr when it was none
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
    std::map<NoteKey, typename std::list<Entry>::iterator> newest_;
};

}  // namespace tn
