#include "agent/core/walks.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <span>

#include "agent/core/operations.h"
#include "agent/core/written_bindings.h"
#include "tn/sources.h"

namespace snmp {

namespace {

constexpr size_t kMaxVarbinds = 2000;               // of a reply to GetBulk
constexpr std::chrono::milliseconds kMaxTime{500};  // that a GetBulk, or a search, goes on to fetch varbinds
constexpr size_t kUsualSize = 32;                   // octets of a varbind
constexpr uint32_t kMaxFetched = 512;               // varbinds of one name in a pass that searches visible ones

/// The objects after one name, fetched ahead of the reply.
struct Walk {
    struct Cell {
        size_t at, size;  ///< of the varbind in Walks::octets_
    };
    [[nodiscard]] bool hasCell() const { return used < cells.size(); }

    OID position;             ///< the walk continues after this name
    OID fetched;              ///< name of the last object that a branch wrote in this pass
    OID last;                 ///< name of the last cell; the requested one if there is none
    std::vector<Cell> cells;  ///< fetched so far
    size_t used = 0;          ///< cells that are in the reply
    bool isEnded = false;     ///< no object follows the cells
};

/// All walks of a request. Branches answer name by name: each fetch is a GetBulk of its own, in a separate context, for
/// the names that have no varbind left. Neighbouring names of a table are then still fetched together. The reply takes
/// the varbinds in turn.
class Walks {
  public:
    explicit Walks(Context& c) : c_(c), tree_(c, pdu::GetBulkRequest) {
        // A walk leaves what isn't in the view after a name that needn't exist (compat: 117).
        if (c.view != nullptr) tree_.rules = &kStandardRules;
    }
    /// Reads the names of the request, up to a maximum. False if one can't be read.
    bool readNames(size_t maximum);
    /// Appends the next objects of the walks from `first` up to `end`, `repetitions` times. Ends early if the reply is
    /// full, and after a repetition in which every walk had ended.
    /// @param isFilledUp  continue nevertheless, with endOfMibView
    /// @return an error that a branch gives, with c.bindingIndex; v1: NoSuchName at the end of a walk
    ErrorStatus answer(size_t first, size_t end, uint32_t repetitions, bool isFilledUp = false);

    [[nodiscard]] size_t count() const { return walks_.size(); }
    [[nodiscard]] bool isFull() const { return isFull_; }
    [[nodiscard]] size_t written() const { return written_; }

  private:
    using Group = std::span<Walk>;
    /// Fetches objects for the walk `needed` of the group until it has one or ends, and for the others with it.
    /// @param repetitions  those that remain
    ErrorStatus fetch(Group group, Walk& needed, uint32_t repetitions);
    /// One pass over the branches: up to `count` objects for each walk, in order, as far as a message has room.
    ErrorStatus pass(const std::vector<Walk*>& asked, uint32_t count);
    /// Distributes what the branches wrote from `begin` on: `count` varbinds for each walk.
    void take(std::span<Walk* const> walks, size_t begin, uint32_t count);
    /// Whether the sender may see an object. Others are left out, as if they weren't there.
    [[nodiscard]] bool isVisible(const WrittenBinding& object) const {
        const bool isForV2 = c_.isV1() && c_.rules->hasExceptions && object.tag == tag::Counter64;
        return !isForV2 && c_.isInView(object.name);
    }
    /// Moves a walk that has come to a name outside the view to the next visible part of the tree, or ends it.
    void leaveHidden(Walk& walk) const;
    /// Appends the next varbind of a walk. False, with the reply unchanged, if it doesn't fit.
    bool write(Walk& walk);
    /// How many objects of each walk fill the reply.
    [[nodiscard]] uint32_t objectsThatFit(size_t walks) const;
    /// Sets c.bindingIndex to the position of the walk's name. @return the status
    [[nodiscard]] ErrorStatus failAt(const Walk& walk, ErrorStatus status) const;

    Context& c_;
    Context tree_;  ///< of the passes over the branches; what one fetches serves the next
    std::vector<Walk> walks_;
    std::vector<uint8_t> octets_;  ///< of all cells
    size_t fetched_ = 0;           ///< cells,
    size_t written_ = 0;           ///< and varbinds of the reply
    bool isFull_ = false;
    std::chrono::milliseconds begun_ = tn::sinceBoot();
};

bool Walks::readNames(size_t maximum) {
    while (!c_.in.isSeqEnd() && walks_.size() < maximum) {
        if (!c_.processSeqStart()) return false;
        walks_.push_back({.position = c_.requestedName, .fetched = {}, .last = c_.requestedName, .cells = {}});
        leaveHidden(walks_.back());
        c_.processSeqEnd();
    }
    return true;
}

void Walks::leaveHidden(Walk& walk) const {
    if (c_.isInView(walk.position)) return;
    std::optional<OID> next = c_.view->skip(walk.position);
    walk.isEnded = !next;
    if (next) walk.position = std::move(*next);
}

ErrorStatus Walks::answer(size_t first, size_t end, uint32_t repetitions, bool isFilledUp) {
    const Group group = Group(walks_).subspan(first, end - first);
    bool isAtEnd = group.empty();
    for (uint32_t left = repetitions; left > 0 && !isAtEnd; --left) {
        isAtEnd = true;
        for (Walk& walk : group) {
            const ErrorStatus status = fetch(group, walk, left);
            if (status != ErrorStatus::NoError) return status;
            if (!walk.hasCell() && c_.isV1()) return failAt(walk, ErrorStatus::NoSuchName);
            isAtEnd = isAtEnd && !walk.hasCell() && !isFilledUp;
            if (isFull_ || !write(walk)) {
                isFull_ = true;
                return ErrorStatus::NoError;
            }
        }
    }
    return ErrorStatus::NoError;
}

ErrorStatus Walks::fetch(Group group, Walk& needed, uint32_t repetitions) {
    uint32_t count = std::min(repetitions, objectsThatFit(group.size()));
    bool isSearch = false;  // the passes so far found only objects that the sender may not see
    while (!needed.hasCell() && !needed.isEnded && !isFull_) {
        const bool canBeCut = c_.isBulk() && written_ > 0;
        if ((canBeCut || isSearch) && tn::sinceBoot() - begun_ >= kMaxTime) {
            if (!canBeCut) return failAt(needed, ErrorStatus::GenErr);
            isFull_ = true;
            break;
        }
        // The one that is needed comes first: a pass ends when its message is full.
        std::vector<Walk*> asked;
        for (Walk* walk = &needed; walk != group.data() + group.size(); ++walk)
            if (!walk->hasCell() && !walk->isEnded) asked.push_back(walk);
        for (Walk* walk = group.data(); walk != &needed; ++walk)
            if (!walk->hasCell() && !walk->isEnded) asked.push_back(walk);
        const OID position = needed.position;
        const ErrorStatus status = pass(asked, count);
        if (status != ErrorStatus::NoError) return status;
        if (needed.position == position && !needed.isEnded) {
            isFull_ = tree_.out.hasOverflowed();  // with a single varbind
            needed.isEnded = true;
        }
        // The next pass looks further.
        isSearch = true;
        count = std::min(std::max(count, kMaxFetched), 4 * count);
    }
    return ErrorStatus::NoError;
}

ErrorStatus Walks::pass(const std::vector<Walk*>& asked, uint32_t count) {
    OutStream names;
    std::vector<size_t> ends;  // of the varbinds
    for (Walk* walk : asked) {
        walk->fetched = walk->position;
        names.startSeq(tag::Sequence);
        names.addOID(walk->position, tag::ObjectIdentifier);
        names.addNull(tag::Null);
        names.endSeq();
        ends.push_back(names.size());
    }
    tree_.in.read(names.bytes());
    tree_.out.clear();
    tree_.bindingIndex = 0;
    while (!tree_.in.isSeqEnd() && !tree_.out.hasOverflowed()) {
        if (!tree_.processSeqStart()) return failAt(*asked.front(), ErrorStatus::GenErr);
        const size_t first = tree_.bindingIndex - 1;
        const size_t begin = tree_.out.size();
        tree_.maxRepetitions = count;
        tree_.pendingEndOfView = 0;
        tree_.branchStatus = ErrorStatus::NoError;
        const ErrorStatus status = snmpGetNextGetBulk(tree_);
        // Those of the first name, if its branch leaves them to the caller.
        if (status == ErrorStatus::NoError) tree_.addEndOfMibView(tree_.requestedName);
        // A branch may have consumed several names. The cursor is in the last one.
        const auto last = static_cast<size_t>(std::ranges::lower_bound(ends, tree_.in.position()) - ends.begin());
        take(std::span(asked).subspan(first, last - first + 1), begin, count);
        Walk& failed = *asked[std::clamp<size_t>(tree_.bindingIndex - 1, first, last)];
        if (status == ErrorStatus::NoSuchName) {
            failed.isEnded = true;
        } else if (status != ErrorStatus::NoError) {
            return failAt(failed, status);
        }
        tree_.bindingIndex = static_cast<uint32_t>(last) + 1;
        tree_.processSeqEnd();
    }
    return ErrorStatus::NoError;
}

void Walks::take(std::span<Walk* const> walks, size_t begin, uint32_t count) {
    size_t taken = 0;
    for (const WrittenBinding& object : writtenBindings(tree_.out, begin)) {
        Walk& walk = *walks[std::min(taken++ / count, walks.size() - 1)];
        // A plug-in's branch that goes back would be walked forever.
        const bool goesBack = !(walk.fetched < object.name);
        if (object.tag == tag::EndOfMibView || goesBack) walk.isEnded = true;
        // The rest of what was fetched may be hidden, too.
        walk.fetched = object.name;
        if (walk.isEnded || object.name <= walk.position) continue;
        walk.position = object.name;
        leaveHidden(walk);
        if (!isVisible(object)) continue;
        walk.last = object.name;
        walk.cells.push_back({octets_.size(), object.octets.size()});
        octets_.insert(octets_.end(), object.octets.begin(), object.octets.end());
        ++fetched_;
    }
}

bool Walks::write(Walk& walk) {
    const size_t before = c_.out.size();
    if (walk.hasCell()) {
        const auto [at, size] = walk.cells[walk.used++];
        c_.out.append(std::span(octets_).subspan(at, size));
    } else {
        c_.pendingEndOfView = 1;
        c_.addEndOfMibView(walk.last);
    }
    if (c_.out.hasOverflowed() || (c_.isBulk() && written_ == kMaxVarbinds)) {
        c_.out.truncate(before);
        return false;
    }
    ++written_;
    return true;
}

uint32_t Walks::objectsThatFit(size_t walks) const {
    const size_t size = fetched_ > 0 ? std::max<size_t>(octets_.size() / fetched_, 1) : kUsualSize;
    return static_cast<uint32_t>(std::max<size_t>(c_.out.room() / (size * walks), 1));
}

ErrorStatus Walks::failAt(const Walk& walk, ErrorStatus status) const {
    c_.bindingIndex = static_cast<uint32_t>(&walk - walks_.data()) + 1;
    return status;
}

}  // namespace

ErrorStatus answerNext(Context& c) {
    Walks walks(c);
    if (!walks.readNames(SIZE_MAX)) return ErrorStatus::Critical;
    const ErrorStatus status = walks.answer(0, walks.count(), 1);
    return status == ErrorStatus::NoError && walks.isFull() ? ErrorStatus::TooBig : status;
}

ErrorStatus answerBulk(Context& c) {
    Walks walks(c);
    if (!walks.readNames(kMaxVarbinds)) return ErrorStatus::Critical;
    const size_t once = std::min<size_t>(c.nonRepeaters, walks.count());
    ErrorStatus status = walks.answer(0, once, 1);
    if (status == ErrorStatus::NoError && !walks.isFull()) status = walks.answer(once, walks.count(), c.maxRepetitions);
    return status == ErrorStatus::NoError && walks.isFull() && walks.written() == 0 ? ErrorStatus::TooBig : status;
}

ErrorStatus answerInView(Context& c) {
    Walks walks(c);
    if (!walks.readNames(SIZE_MAX)) return ErrorStatus::Critical;
    for (size_t i = 0; i < walks.count() && !walks.isFull(); ++i) {
        const bool isOnce = !c.isBulk() || i < c.nonRepeaters;
        const ErrorStatus status = walks.answer(i, i + 1, isOnce ? 1 : c.maxRepetitions, /*isFilledUp=*/true);
        if (status != ErrorStatus::NoError) return status;
    }
    return walks.isFull() ? ErrorStatus::TooBig : ErrorStatus::NoError;
}

}  // namespace snmp
