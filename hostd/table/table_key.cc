#include "hostd/table/table_key.h"

#include <algorithm>
#include <utility>

#include "tn/fields.h"

namespace hostd {

TableKey::TableKey(std::vector<KeyField> fields) : fields_(std::move(fields)) {
    for (const KeyField& field : fields_) size_ += field.width();
}

RequestedRow TableKey::read(const tn::message& request, const RowKey& defaults) const {
    RequestedRow requested{.key = defaults};
    size_t at = 0;
    for (size_t i = 0; i < fields_.size(); at += fields_[i].width(), ++i) {
        const size_t width = fields_[i].width();
        if (!fields_[i].isIn(request)) continue;
        requested.fits = fields_[i].read(request, requested.key.part(at, width)) && requested.fits;
        requested.fields = i + 1;
        requested.octets = at + width;
    }
    std::ranges::fill(requested.key.part(requested.octets, size_ - requested.octets), uint8_t{0});
    requested.isExact = requested.fields > 0 && !request.get_bool(tn::field::KeyIncomplete);
    return requested;
}

RequestedRow TableKey::ofId(uint32_t id) const {
    return {.key = RowKey::ofId(id), .fields = 1, .octets = size_, .isExact = true};
}

void TableKey::write(const RequestedRow& requested, tn::message& item) const {
    size_t at = 0;
    for (size_t i = 0; i < requested.fields; at += fields_[i++].width())
        fields_[i].write(requested.key.part(at, fields_[i].width()), item);
}

}  // namespace hostd
