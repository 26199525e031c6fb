#include "agent/core/look_ahead.h"

#include "agent/ber/tags.h"
#include "agent/core/snmp_looper.h"
#include "agent/log.h"
#include "agent/mib/branch.h"

namespace snmp {

namespace {

/// Mutes the faults of datagrams, which are logged when these are served.
class Muted {
  public:
    Muted() { tn::strangersOut.mute(true); }
    ~Muted() { tn::strangersOut.mute(wasMuted_); }
    Muted(const Muted&) = delete;
    Muted& operator=(const Muted&) = delete;

  private:
    bool wasMuted_ = tn::strangersOut.isMuted();
};

const View* viewOf(const Item& entry) { return entry.view.isEverything() ? nullptr : &entry.view; }

}  // namespace

bool LookAhead::add(Context& serving) {
    if (serving.pduType == pdu::SetRequest) return false;
    if (serving.pduType != pdu::GetRequest) return true;
    const Muted muted;
    InStream::StreamPos here;
    serving.in.saveSeq(here);
    serving.in.restoreSeq(serving.firstBinding);
    in_.read(serving.in.restOfSeq());
    serving.in.restoreSeq(here);
    addBindings(serving.view);
    return true;
}

bool LookAhead::add(std::span<const uint8_t> datagram, const tn::IPAddr6& source) {
    const Muted muted;
    in_.read(datagram);
    const int version = in_.getVersion();
    std::string community;
    if (version < 0 || static_cast<uint32_t>(version) >= kVersion3 || !in_.getString(&community)) return false;
    const uint8_t type = in_.getType();
    if (type == pdu::SetRequest) return false;
    const Item* entry = loop->communities().find(community);
    const bool isAdmitted = entry != nullptr && entry->security == 0 && entry->accepts(source) && entry->readAccess;
    uint32_t ignored = 0;
    if (type == pdu::GetRequest && isAdmitted && in_.enterSeq() >= 0 && in_.getInt(&ignored) && in_.getInt(&ignored) &&
        in_.getInt(&ignored) && in_.enterSeq() >= 0) {
        addBindings(viewOf(*entry));
    }
    return true;
}

std::vector<tn::message> LookAhead::take() {
    if (in_.capacity() > Context::kRetainedRequest) {
        in_ = InStream({});
        name_ = OID();
    }
    return fetches_.take();
}

void LookAhead::addBindings(const View* view) {
    fetches_.beginRequest();
    const auto isVisible = [&] { return view == nullptr || view->has(name_); };
    for (bool isRead = readName(); isRead;) {
        auto at = branches.upper_bound(name_);
        if (at == branches.begin() || !name_.hasPrefix((--at)->first) || !isVisible()) {
            isRead = readName();
            continue;
        }
        const auto& [prefix, branch] = *at;
        std::vector<RequestItem> items;  // those that get() will serve together
        do {
            items.push_back({OID(name_.data() + prefix.size(), name_.data() + name_.size())});
            isRead = readName();
        } while (isRead && name_.hasPrefix(prefix) && isVisible());
        branch->addFetches(items, fetches_);
    }
}

bool LookAhead::readName() {
    if (in_.isSeqEnd() || in_.enterSeq() < 0 || !in_.getOID(&name_)) return false;
    in_.exitSeq();
    return true;
}

}  // namespace snmp
