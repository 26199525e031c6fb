#include "agent/mib/get_all_provider.h"

#include <algorithm>

#include "agent/log.h"
#include "tn/looper.h"

namespace snmp {

namespace {

// An owner may list items that give no rows (rows of another bridge, routes not in force); after this many exchanges in
// a row without a new one the fetch ends. The number asked for doubles each time, so a large table is still crossed.
constexpr unsigned kFruitlessPasses = 64;
constexpr unsigned kMostAsked = 1024;

/// One fetch: passes of one exchange each, until enough rows are there or the table ends.
class Fetch {
  public:
    Fetch(const Key& key, const MapTable* table, const GetAllProvider::Source& source, unsigned count, VData& out)
        : key_(key),
          table_(table),
          source_(source),
          count_(count),
          rows_(out.rows),
          before_(out.rows.size()),
          cursor_(key),
          stdKey_(table->hasStdKey()),
          greatest_(count > 0 ? key.index : OID()) {}

    /// False when the owner doesn't know the key.
    bool run() {
        for (unsigned fruitless = 0; !full() && fruitless < kFruitlessPasses; ++fruitless) {
            const size_t had = added();
            const tn::message reply = exchange(fruitless);
            uint32_t code = 0;
            if (tn::isError(reply, &code)) {
                if (code == tn::error::NotFound) {
                    if (key_.empty()) return true;
                    serr << "bad key";
                    return false;
                }
                serr << "get-all error: " << tn::getError(reply);
                return true;
            }
            const std::vector<tn::message>& items = reply.get_message_array(tn::field::Objects);
            if (count_ == 0) {  // exactly the row at the key: no other will do
                if (!items.empty() && !items.front().get_bool(tn::field::Gone)) build(items.front());
                return true;
            }
            const bool goesOn = take(items) || mayHideMore(items.size());
            if (isAtEnd_ || !goesOn || !reply.has(tn::field::Continue)) return true;
            if (added() > had) fruitless = 0;
        }
        return true;
    }

  private:
    [[nodiscard]] size_t added() const { return rows_.size() - before_; }
    [[nodiscard]] bool full() const { return count_ > 0 && added() >= count_; }

    tn::message exchange(unsigned fruitless) {
        // One more than wanted: the first item is the asked row itself when the rows behind it are wanted.
        const unsigned wanted = count_ + 1 - static_cast<unsigned>(added());
        asked_ = std::min(wanted << std::min(fruitless, 16U), std::max(wanted, kMostAsked));
        tn::message request = tn::request(source_.path, tn::cmd::GetAll);
        request.insert_u32(tn::field::MaxObjects, asked_);
        request.insert_u32(tn::field::GetFlags, source_.objectClass);
        if (!stdKey_) {
            if (!cursor_.message.empty()) request.insert_message(tn::field::Key, cursor_.message);
        } else if (const uint32_t id = cursor_.nextId != tn::kNoId ? cursor_.nextId : cursor_.objectId;
                   id != tn::kNoId) {
            request.insert_u32(tn::field::Continue, id);
        }
        return tn::getLooper()->exchangeMessage(request);
    }

    /// Builds the rows of one reply; false when the owner hasn't moved on, so that asking again leads nowhere.
    bool take(const std::vector<tn::message>& items) {
        const Key start = cursor_;
        for (const tn::message& item : items) {
            isAtEnd_ = source_.isBehind != nullptr && source_.isBehind(item);
            if (full() || isAtEnd_) break;
            if (!skips(item)) build(item);
            if (stdKey_) moveTo(item);
        }
        if (!dlog.isMuted()) dlog << "added: " << added();
        if (!stdKey_) updateKey();
        // A key message names a row that is here already; an object id is only left behind for the next one.
        cursor_.skipFirst = !stdKey_;
        if (!(cursor_ == start) && forward(start)) return true;
        trace("no more data");
        return false;
    }

    /// Rows that share their key don't move the cursor on: others may follow behind them, as long as the owner gave as
    /// many as it was asked for and more can be asked for.
    [[nodiscard]] bool mayHideMore(size_t items) const { return !stdKey_ && items >= asked_ && asked_ < kMostAsked; }

    /// The asked row itself, or what stands for it when it has gone.
    bool skips(const tn::message& item) {
        const bool first = std::exchange(cursor_.skipFirst, false);
        const bool asked = !stdKey_ || item.get_u32(tn::field::ObjectId, tn::kNoId) == cursor_.objectId;
        if (!item.get_bool(tn::field::Gone) && !(first && asked)) return false;
        trace("skip first");
        return true;
    }

    void build(const tn::message& item) {
        const size_t from = rows_.size();
        std::unique_ptr<Data> unlisted = source_.build(item, rows_);
        unbuilt_ = unlisted == nullptr && rows_.size() == from;
        if (unlisted != nullptr) unlisted_ = std::move(unlisted);
        if (rows_.size() > from && count_ > 0) keepGrowing(from);
    }

    /// The last row seen, listed or not, is where the next pass begins.
    void updateKey() {
        const Data* last = unlisted_ != nullptr ? unlisted_.get() : added() > 0 ? rows_.back().get() : nullptr;
        if (last != nullptr) {
            trace("update key");
            table_->addKeyToMessage(last, cursor_.message);
        } else if (std::exchange(unbuilt_, false)) {
            serr << "unable to update key";
        }
    }

    static void trace(const char* what) {
        if (!dlog.isMuted()) dlog << what;
    }

    void moveTo(const tn::message& item) {
        cursor_.objectId = item.get_u32(tn::field::ObjectId, tn::kNoId);
        cursor_.nextId = item.get_u32(tn::field::NextId, tn::kNoId);
    }

    /// Leaves out the rows from `from` on whose index isn't greater than every one before.
    void keepGrowing(size_t from) {
        size_t kept = from;
        for (size_t i = from; i < rows_.size(); ++i) {
            index_.clear();
            table_->addKeyToName(rows_[i].get(), index_);
            unlisted_ = nullptr;
            if (greatest_ < index_ && kept - before_ < count_) {
                greatest_.swap(index_);
                std::swap(rows_[kept++], rows_[i]);
            } else {
                unlisted_ = std::move(rows_[i]);
            }
        }
        rows_.resize(kept);
    }

    /// Ids that go back would be asked for again and again.
    [[nodiscard]] bool forward(const Key& start) const {
        return !stdKey_ || start.empty() || (cursor_.objectId != tn::kNoId && cursor_.objectId >= start.objectId) ||
               start.objectId == tn::kNoId;
    }

    const Key& key_;
    const MapTable* table_;
    const GetAllProvider::Source& source_;
    const unsigned count_;
    Rows& rows_;
    const size_t before_;
    Key cursor_;
    const bool stdKey_;
    unsigned asked_ = 0;              ///< items of the last request
    OID greatest_;                    ///< greatest index so far, the asked one to begin with
    OID index_;                       ///< of the row being looked at
    std::unique_ptr<Data> unlisted_;  ///< the last row seen, when it isn't listed
    bool unbuilt_ = false;            ///< the last item gave no row at all
    bool isAtEnd_ = false;            ///< an item was seen that lies behind the table's rows
};

}  // namespace

std::unique_ptr<VData> GetAllProvider::getData(const Key& key, const MapTable* table, unsigned int count) {
    auto out = std::make_unique<VData>();
    if (!getData(key, table, source_, count, *out)) return nullptr;
    return out;
}

std::unique_ptr<VData> GetAllProvider::getFirst(unsigned int count, const MapTable* table) {
    if (!dlog.isMuted()) dlog << "get first: " << count;
    return getData(Key(), table, count);
}

bool GetAllProvider::getData(const Key& key, const MapTable* table, const Source& source, unsigned int count,
                             VData& out) {
    return Fetch(key, table, source, count, out).run();
}

bool GetAllProvider::setData(Data* row, const MapTable* table, const Source& source, uint32_t base) {
    tn::message request;
    table->addKeyToMessage(row, request);
    if (base != 0) request.insert_u32(tn::field::ObjectId, request.get_u32(tn::field::ObjectId) & ~base);
    request.insert_u32_array(tn::field::Destination, source.path);
    request.insert_u32(tn::field::Command, tn::cmd::Set);
    row->reverseBuild(request);
    const tn::message reply = tn::getLooper()->exchangeMessage(request);
    if (!tn::isError(reply)) return true;
    serr << "setData err: " << tn::getError(reply);
    return false;
}

bool GetAllProvider::getCount(const Source& source, unsigned int& n) {
    n = 0;
    const tn::message reply = tn::getLooper()->exchangeMessage(tn::request(source.path, tn::cmd::GetCount));
    if (!tn::isError(reply) && reply.has(tn::field::Count)) {
        n = reply.get_u32(tn::field::Count);
        return true;
    }
    serr << "getCount err: " << tn::getError(reply);
    return false;
}

}  // namespace snmp
