#include "tn/log.h"

#include <fcntl.h>
#include <locale.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <ctime>
#include <cwchar>
#include <cwctype>
#include <map>
#include <mutex>
#include <utility>

#include "tn/bus_socket.h"
#include "tn/sources.h"

namespace tn {

constinit lstream sout(lstream::Sink::Stdout);
constinit lstream serr(lstream::Sink::Stderr);
constinit lstream strangersOut(lstream::Sink::Stdout, lstream::About::Strangers);
constinit lstream strangersErr(lstream::Sink::Stderr, lstream::About::Strangers);

namespace {

constexpr int kBurst = 256;                         // lines of one cause at once
constexpr std::chrono::milliseconds kRefill{1000};  // until a cause may write one line more
constexpr size_t kStrangersLines = 10;              // in any kStrangersTime
constexpr std::chrono::milliseconds kStrangersTime{1000};
constexpr size_t kMaxCauses = 256;  // each with a bucket of its own; any others share one for each stream
constexpr std::string_view kOtherCauses;

std::atomic<LogTarget> currentTarget{LogTarget::Syslog};

/// Writes as much as there is room for. @return octets written, or -1
ssize_t writeWithoutWaiting(int fd, std::string_view octets) {
    const ssize_t sent = send(fd, octets.data(), octets.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (sent >= 0 || errno != ENOTSOCK) return sent;
    // The descriptor is shared with our parent process, so O_NONBLOCK isn't ours to set: a pipe or terminal is opened
    // once more. That is done for each line, since a descriptor kept open would hide the end of the output from its
    // reader after a dup2.
    struct stat status = {};
    if (fstat(fd, &status) == 0 && (S_ISFIFO(status.st_mode) || isatty(fd) != 0)) {
        const std::string path = "/proc/self/fd/" + std::to_string(fd);
        const Descriptor own(open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
        if (own) return write(own.get(), octets.data(), octets.size());
    }
    // Files, and what another user opened for us. A pipe that is writable has room for PIPE_BUF octets.
    pollfd output = {.fd = fd, .events = POLLOUT, .revents = 0};
    if (poll(&output, 1, 0) != 1) return -1;
    return write(fd, octets.data(), std::min<size_t>(octets.size(), PIPE_BUF));
}

/// Where lines go that may have no room for them.
class Output {
  public:
    void writeLine(const std::string& text, int severity = LOG_INFO) {
        const std::lock_guard lock(mutex_);
        if (lost_ > 0 && put(std::to_string(lost_) + " lines lost here: their reader was too slow or away", LOG_INFO)) {
            lost_ = 0;
        }
        if (lost_ > 0 || !put(text, severity)) ++lost_;
    }

  protected:
    ~Output() = default;
    virtual bool put(const std::string& text, int severity) = 0;  ///< false when nothing of the line is written
    std::mutex mutex_;

  private:
    uint64_t lost_ = 0;
};

/// Standard output or standard error.
class StandardOutput final : public Output {
  public:
    explicit StandardOutput(int fd) : fd_(fd) {}

  private:
    /// One call for a line, mostly, so that lines of several processes don't mix.
    bool put(const std::string& text, int /*severity*/) override {
        if (!writeRest()) return false;
        rest_ = text + "\n";
        const bool begun = writeRest() || rest_.size() <= text.size();
        if (!begun) rest_.clear();
        return begun;
    }

    bool writeRest() {
        while (!rest_.empty()) {
            const ssize_t written = writeWithoutWaiting(fd_, rest_);
            if (written < 0 && errno == EINTR) continue;
            if (written <= 0) return false;
            rest_.erase(0, static_cast<size_t>(written));
        }
        return true;
    }

    int fd_;
    std::string rest_;  ///< of a line whose beginning is written
};

/// The system log. syslog(3) would wait for a reader that is stuck.
class SystemLog final : public Output {
  public:
    /// @param path  the socket that the system log's daemon reads
    void setPath(const std::string& path) {
        const std::lock_guard lock(mutex_);
        address_ = {.sun_family = AF_UNIX, .sun_path = {}};
        path.copy(address_.sun_path, sizeof address_.sun_path - 1);
    }

  private:
    /// One datagram in the form of syslog(3) (RFC 3164, section 4.1, without the host), to the present reader.
    bool put(const std::string& text, int severity) override {
        const time_t now = sources().wallSeconds();
        tm local = {};
        localtime_r(&now, &local);
        char stamp[32];
        const size_t length = std::strftime(stamp, sizeof stamp, "%b %e %H:%M:%S ", &local);
        const std::string line = "<" + std::to_string(LOG_DAEMON | severity) + ">" + std::string(stamp, length) +
                                 program_invocation_short_name + "[" + std::to_string(getpid()) + "]: " + text;
        const Descriptor own(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
        return sendto(own.get(), line.data(), line.size(), MSG_DONTWAIT | MSG_NOSIGNAL,
                      reinterpret_cast<const sockaddr*>(&address_), sizeof address_) >= 0;
    }

    sockaddr_un address_ = {.sun_family = AF_UNIX, .sun_path = "/dev/log"};
};

// Never destroyed: objects that log in their destructors may outlive them.
StandardOutput& standardOutput() {
    static auto& one = *new StandardOutput(STDOUT_FILENO);
    return one;
}
StandardOutput& standardError() {
    static auto& one = *new StandardOutput(STDERR_FILENO);
    return one;
}
SystemLog& systemLog() {
    static auto& one = *new SystemLog;
    return one;
}

/// How much one cause may write: a bucket of kBurst tokens that gets one back each kRefill.
struct Bucket {
    lstream origin;                  // a copy: the stream may be gone when its last lines are accounted for
    std::chrono::milliseconds full;  // when the bucket is full again, as sinceBoot
    uint64_t leftOut = 0;

    bool take(std::chrono::milliseconds now) {
        full = std::max(full, now);
        if (full - now > (kBurst - 1) * kRefill) return false;
        full += kRefill;
        return true;
    }
};

/// When the last lines about strangers were written.
struct Window {
    std::array<std::chrono::milliseconds, kStrangersLines> written{};
    size_t oldest = 0;
    uint64_t leftOut = 0;
    std::chrono::milliseconds
        told{};  ///< when `leftOut` was; once in a window, or a flood leaves room for nothing else

    bool take(std::chrono::milliseconds now) {
        if (now - written[oldest] < kStrangersTime) return false;
        written[oldest] = now;
        oldest = (oldest + 1) % written.size();
        return true;
    }
};

/// The buckets of the process. Helper threads log too, so all of it is under one lock.
class Limiter {
  public:
    /// Whether a line may be written. For each cause, and for strangers, that has room again, calls `summary`, under
    /// the lock, with the number of lines left out.
    template <class Summary>
    bool admit(const lstream& stream, std::string_view cause, Summary summary) {
        const std::lock_guard lock(mutex_);
        const std::chrono::milliseconds now = sinceBoot();
        for (auto& [key, bucket] : buckets_) {
            if (bucket.leftOut == 0 || !bucket.take(now)) continue;
            summary(bucket.origin, "that begin with: " + key.second, std::exchange(bucket.leftOut, 0));
        }
        if (strangers_.leftOut > 0 && now - strangers_.told >= kStrangersTime && strangers_.take(now)) {
            strangers_.told = now;
            summary(serr, "that strangers brought about", std::exchange(strangers_.leftOut, 0));
        }
        if (stream.isAboutStrangers()) return strangers_.take(now) || (++strangers_.leftOut, false);
        Bucket& bucket = bucketOf(stream, cause, now);
        return bucket.take(now) || (++bucket.leftOut, false);
    }

  private:
    using Key = std::pair<const lstream*, std::string>;

    Bucket& bucketOf(const lstream& stream, std::string_view cause, std::chrono::milliseconds now) {
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
    Window strangers_;
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

void setLogTarget(LogTarget target, const std::string& systemLogPath) {
    systemLog().setPath(systemLogPath);
    currentTarget = target;
}

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
    if (sink_ == Sink::Stdout) return standardOutput().writeLine(escaped(text));
    if (sink_ == Sink::Stderr) return standardError().writeLine(escaped(text));
    const std::string line = "[" + std::to_string(topic_) + "] " + escaped(text);
    if (to == LogTarget::Stderr) return standardError().writeLine(line);
    systemLog().writeLine(line, level_ >= kDebugLevel ? LOG_DEBUG : LOG_INFO);
}

void lstream::write(std::string_view cause, std::string_view text) const {
    const bool admitted =
        limiter().admit(*this, cause, [](const lstream& origin, const std::string& which, uint64_t lines) {
            origin.emit(std::to_string(lines) + " lines left out " + which);
        });
    if (admitted) emit(text);
}

}  // namespace tn
