#pragma once

#include <syslog.h>

#include <cstdint>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>

#include "tn/escape.h"

namespace tn {

/// Where lines for the log go. Lines of sout and serr always go to standard output and standard error, unless the
/// target is None, which drops all lines.
///
/// Writing doesn't block: when a pipe, a terminal or the system log is full, lines are lost, and a line with their
/// number follows once there is room. One exception remains: a pipe or terminal of another user, which this process
/// can't reopen, blocks if it fills up during the write.
///
/// Each line has a severity of syslog(3). It reaches the system log, and the journal if that reads standard output or
/// standard error ($JOURNAL_STREAM). Elsewhere these show only the text.
enum class LogTarget { Stderr, Syslog, None };
/// Sets the target of all streams; Syslog until then. May be called at any time, by any thread.
/// @param systemLogPath  the datagram socket that the system log's daemon reads
void setLogTarget(LogTarget target, const std::string& systemLogPath = "/dev/log");

/// A stream of lines. One statement is one line:
///
///     slog << "packet from: " << source << " version: " << version;
///
/// Unprintable octets are escaped (escaped()), so that no peer can forge a line. A muted stream formats nothing. May be
/// used by any thread.
///
/// Lines are limited by cause, which is the stream and the first piece of text: a burst of 256 lines, then one a
/// second. When the cause may write again, the next line of any stream is preceded by the number of suppressed lines. A
/// statement therefore begins with constant text, and the output of a program (tnctl's tables) isn't written to a
/// stream.
///
/// Lines caused by strangers (anyone who sends datagrams, with access rights or without) are limited to 10 in 2 seconds
/// in total, whatever their causes. The number of suppressed lines is reported in the same way.
class lstream {
  public:
    enum class Sink { Log, Stdout, Stderr };
    enum class About { Ourselves, Strangers };
    static constexpr unsigned kDebugLevel = 5;

    /// @param topic  number at the beginning of each line
    /// @param level  0 for what operators should see, 5 for debugging; streams of level 5 start muted
    explicit constexpr lstream(unsigned topic, unsigned level = 0)
        : severity_(level >= kDebugLevel ? LOG_DEBUG : LOG_INFO), topic_(topic), muted_(level >= kDebugLevel) {}
    explicit constexpr lstream(Sink sink, About about = About::Ourselves, int severity = LOG_INFO)
        : sink_(sink), about_(about), severity_(severity) {}

    /// Whether its lines are caused by strangers.
    [[nodiscard]] bool isAboutStrangers() const { return about_ == About::Strangers; }
    [[nodiscard]] bool isMuted() const { return muted_; }
    void mute(bool on = true) { muted_ = on; }

    /// A line under construction. The destructor writes it, at the end of the statement.
    class Line {
      public:
        explicit Line(const lstream* stream) : stream_(stream) {
            if (stream_ != nullptr) text_ = std::make_unique<std::ostringstream>();
        }
        Line(Line&&) noexcept = default;
        Line(const Line&) = delete;
        Line& operator=(const Line&) = delete;
        Line& operator=(Line&&) = delete;
        ~Line() {
            if (text_) stream_->write(cause_, text_->str());
        }
        template <class T>
        Line&& operator<<(const T& piece) && {
            if (text_) {
                *text_ << piece;
                if (cause_.empty()) cause_ = text_->str();
            }
            return std::move(*this);
        }

      private:
        const lstream* stream_;
        std::unique_ptr<std::ostringstream> text_;
        std::string cause_;
    };

    /// Begins a line. @param piece  the line's cause, see above
    template <class T>
    Line operator<<(const T& piece) const {
        Line line(muted_ ? nullptr : this);
        std::move(line) << piece;  // moves nothing: the piece is added to the line
        return line;               // NOLINT(bugprone-use-after-move)
    }

  private:
    void write(std::string_view cause, std::string_view text) const;  ///< writes the line unless a limit suppresses it
    void emit(std::string_view text) const;                           ///< writes the line

    Sink sink_ = Sink::Log;
    About about_ = About::Ourselves;
    int severity_ = LOG_INFO;
    unsigned topic_ = 0;
    bool muted_ = false;
};

/// Lines of the process itself on standard output and standard error, without a topic.
extern lstream sout;
extern lstream serr;
/// Standard error, for faults that an operator should look at: warnings in the journal.
extern lstream swarn;
/// Standard output and standard error, for lines caused by strangers.
extern lstream strangersOut;
extern lstream strangersErr;

}  // namespace tn
