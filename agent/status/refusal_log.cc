#include "agent/status/refusal_log.h"

#include <algorithm>
#include <sstream>
#include <utility>

#include "agent/log.h"

namespace snmp {

namespace {

constexpr size_t kLongestUser = 32;  // octets of a name (RFC 3414, SnmpAdminString of usmUserName)

/// Notices in the journal. They don't count as lines about strangers: the dump of one bad packet would use up that
/// limit, and RefusalLog has its own.
constinit tn::lstream refusals(tn::lstream::Sink::Stderr, tn::lstream::About::Ourselves, LOG_NOTICE);

std::string times(uint64_t number) { return number == 1 ? "" : " (" + std::to_string(number) + " times)"; }

}  // namespace

void RefusalLog::log(Entry& entry) {
    std::string who = entry.source.str() + ": ";
    if (!entry.user.empty()) who += "user " + entry.user + ": ";
    refusals << "refused: " << who << rowOf(entry.cause).text << times(std::exchange(entry.unreported, 0));
    entry.isLogged = true;
}

void RefusalLog::add(const tn::IPAddr6& source, Counter cause, std::string_view user, std::chrono::milliseconds now) {
    const uint32_t unlogged = rowOf(cause).unlogged;
    if (unlogged == kNeverLogged) return;
    flush(now);
    user = user.substr(0, kLongestUser);
    const auto end = entries_.begin() + static_cast<std::ptrdiff_t>(used_);
    auto entry = std::find_if(entries_.begin(), end, [&](const Entry& one) {
        return one.source == source && one.cause == cause && one.user == user;
    });
    if (entry == entries_.end()) {  // not known, and no room
        if (others_++ == 0) othersSince_ = now;
        return;
    }
    if (entry == end) {
        ++used_;
        *entry = {.source = source, .cause = cause, .user = std::string(user), .since = now};
    }
    if (++entry->unreported > unlogged && !entry->isLogged) log(*entry);
}

void RefusalLog::flush(std::chrono::milliseconds now) {
    for (size_t i = 0; i < used_;) {
        Entry& entry = entries_[i];
        if (now - entry.since < kInterval) {
            ++i;
        } else if (entry.isLogged && entry.unreported > 0) {
            log(entry);
            entry.since = now;
            ++i;
        } else {
            std::swap(entry, entries_[--used_]);
        }
    }
    if (others_ > 0 && now - othersSince_ >= kInterval)
        refusals << "refused: requests for other reasons or from other sources" << times(std::exchange(others_, 0));
}

}  // namespace snmp
