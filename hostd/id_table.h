#pragma once

#include <cstdint>
#include <optional>

#include "tn/handler.h"

namespace hostd {

/// An owner of rows that are known by id. It answers get-all, get-object and get-count; a derived class supplies rows
/// in ascending order of their ids, and no more.
///
/// get-all starts at the row asked for (field::Continue), or at the first one, and gives at most field::MaxObjects
/// items, by default kPage. An item has its row's id and, where a row follows, that row's as field::NextId; the reply
/// has field::Continue when more follow than fit. Asked for one item at a row that isn't there: error::NotFound. Asked
/// for more: the first item stands for that row and says field::Gone, so that a walk goes on from a row that was
/// removed.
class IdTable : public tn::Handler {
  public:
    tn::message cmdGetAll(const tn::message& request) override;
    tn::message cmdGetObj(const tn::message& request) override;

  protected:
    static constexpr uint32_t kPage = 64;  ///< items, so that rows of up to 3 KiB fit into one packet

    /// Called once before a request reads rows.
    virtual void refresh() {}
    /// The id of the first row at or after this one.
    [[nodiscard]] virtual std::optional<uint32_t> firstFrom(uint32_t id) const = 0;
    /// The fields of a row that is there, as listed by get-all; the id is added by the caller.
    virtual void listRow(uint32_t id, tn::message& row) const = 0;
    /// The same for get-object, when that tells more.
    virtual void wholeRow(uint32_t id, tn::message& row) const { listRow(id, row); }

    [[nodiscard]] std::optional<uint32_t> rowAfter(uint32_t id) const;
};

}  // namespace hostd
