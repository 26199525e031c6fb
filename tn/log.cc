#include "tn/log.h"

#include <locale.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cwchar>
#include <cwctype>
#include <map>
#include <mutex>
#include <utility>

#include "tn/sources.h"

namespace tn {

constinit lstream sout(lstream::Sink::Stdout);
constinit lstream serr(lstream::Sink::Stderr);

namespace {

constexpr uint64_t kBurst = 256;    // lines of one cause at once
constexpr uint64_t kRefill = 1000;  // milliseconds until a cause may write one line more
constexpr size_t kMaxCauses = 256;  // each with a bucket of its own; any others share one for each stream
constexpr std::string_view kOtherCauses;

std::atomic<LogTarget> currentTarget{LogTarget::Syslog};

void writeLine(int fd, const std::string& text) {
    // One call for a line, so that lines of several processes don't mix. A line that can't be written has nobody to
    // tell.
    const std::string line = text + "\n";
    while (write(fd, line.data(), line.size()) < 0 && errno == EINTR) {
    }
}

/// How much one cause may write: a bucket of kBurst tokens that gets one back each kRefill.
struct Bucket {
    lstream origin;  // a copy: the stream may be gone when its last lines are accounted for
    uint64_t full;   // milliseconds since start when the bucket is full again
    uint64_t leftOut = 0;

    bool take(uint64_t now) {
        full = std::max(full, now);
        if (full - now > (kBurst - 1) * kRefill) return false;
        full += kRefill;
        return true;
    }
};

/// The buckets of the process. Helper threads log too, so all of it is under one lock.
class Limiter {
  public:
    /// Whether a line may be written; `summary` is called, under the lock, for each cause that has room to tell how
    /// much of it was left out.
    template <class Summary>
    bool admit(const lstream& stream, std::string_view cause, Summary summary) {
        const std::lock_guard lock(mutex_);
        const uint64_t now = getMilliseconds();
        for (auto& [key, bucket] : buckets_) {
            if (bucket.leftOut == 0 || !bucket.take(now)) continue;
            summary(bucket.origin, key.second, std::exchange(bucket.leftOut, 0));
        }
        Bucket& bucket = bucketOf(stream, cause, now);
        if (bucket.take(now)) return true;
        ++bucket.leftOut;
        return false;
    }

  private:
    using Key = std::pair<const lstream*, std::string>;

    Bucket& bucketOf(const lstream& stream, std::string_view cause, uint64_t now) {
        Key key(&stream, cause);
        if (const auto known = buckets_.find(key); known != buckets_.end()) return known->second;
        if (buckets_.size() >= kMaxCauses) {
            std::erase_if(buckets_,
                          [=](const auto& each) { return each.second.full <= now && each.second.leftOut == 0; });
        }
        if (buckets_.size() >= kMaxCauses) key.second = kOtherCauses;
        return buckets_.try_emplace(std::move(key), Bucket{stream, now}).first->second;
    }

    std::mutex mutex_;
    std::map<Key, Bucket> buckets_;
};

Limiter& limiter() {
    static Limiter& one = *new Limiter;  // never destroyed: objects that log in their destructors may outlive it
    return one;
}

/// Characters that iswprint lets pass and that reorder or break the line they stand in: line separators and
/// bidirectional overrides (Unicode 15, general categories Zl, Zp and the Bidi_Control property).
bool reorders(wint_t c) { return (c >= 0x2028 && c <= 0x202e) || (c >= 0x2066 && c <= 0x2069); }

/// Octets of the printable character that `text` begins with; 0 when it begins with anything else.
size_t printableLength(std::string_view text) {
    const auto first = static_cast<unsigned char>(text.front());
    if (first < 0x80) return first >= 0x20 && first != 0x7f && first != '\\' ? 1 : 0;
    wchar_t c = 0;
    std::mbstate_t state{};
    const size_t length = std::mbrtowc(&c, text.data(), text.size(), &state);
    if (length > text.size()) return 0;  // invalid or cut off
    const auto wide = static_cast<wint_t>(c);
    return std::iswprint(wide) != 0 && !reorders(wide) ? length : 0;
}

void appendEscape(std::string& out, char octet) {
    constexpr char kDigits[] = "0123456789abcdef";
    const auto n = static_cast<unsigned char>(octet);
    if (octet == '\n') {
        out += "\\n";
    } else if (octet == '\t') {
        out += "\\t";
    } else if (octet == '\\') {
        out += "\\\\";
    } else {
        out += {'\\', 'x', kDigits[n >> 4], kDigits[n & 15]};
    }
}

/// The locale that decodes UTF-8, whatever the process's own is; while it lives, for this thread.
class Utf8 {
  public:
    Utf8() : before_(uselocale(locale())) {}
    ~Utf8() { uselocale(before_); }
    Utf8(const Utf8&) = delete;
    Utf8& operator=(const Utf8&) = delete;

  private:
    static locale_t locale() {
        // Null where the C library has no such locale: then nothing changes and only ASCII counts as printable.
        static const locale_t made = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
        return made;
    }
    locale_t before_;
};

}  // namespace

void setLogTarget(LogTarget target) { currentTarget = target; }

std::string escaped(std::string_view text) {
    const Utf8 decoder;
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        const size_t length = printableLength(text);
        if (length > 0) {
            out += text.substr(0, length);
        } else {
            appendEscape(out, text.front());
        }
        text.remove_prefix(std::max<size_t>(length, 1));
    }
    return out;
}

void lstream::emit(std::string_view text) const {
    const LogTarget to = currentTarget;
    if (to == LogTarget::None) return;
    if (sink_ != Sink::Log) return writeLine(sink_ == Sink::Stdout ? STDOUT_FILENO : STDERR_FILENO, escaped(text));
    const std::string line = "[" + std::to_string(topic_) + "] " + escaped(text);
    if (to == LogTarget::Stderr) return writeLine(STDERR_FILENO, line);
    syslog(LOG_DAEMON | (level_ >= kDebugLevel ? LOG_DEBUG : LOG_INFO), "%s", line.c_str());
}

void lstream::write(std::string_view cause, std::string_view text) const {
    const bool admitted = limiter().admit(*this, cause, [](const lstream& origin, std::string_view of, uint64_t lines) {
        origin.emit(std::to_string(lines) + " lines left out that begin with: " + std::string(of));
    });
    if (admitted) emit(text);
}

}  // namespace tn
