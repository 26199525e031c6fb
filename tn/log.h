#pragma once

#include <cstdint>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>

#include "tn/escape.h"

namespace tn {

/// Where log streams write. Writing never blocks: when a pipe, a terminal or the system log is full, lines are lost,
/// and a line with their number follows once there is room again. (There is one exception: a pipe or terminal of
/// another user that this process can't open itself. A write then waits if it fills at that moment.) Lines for standard
/// output and standard error go there whatever the target is, except for None.
enum class LogTarget { Stderr, Syslog, None };
/// Sets the target of all streams. May be called at any time, by any thread.
/// @param systemLogPath  the datagram socket that the system log's daemon reads
void setLogTarget(LogTarget target, const std::string& systemLogPath = "/dev/log");

/// A stream of log lines. One statement is one line:
///
///     slog << "packet from: " << source << " version: " << version;
///
/// What isn't printable is escaped (\n, \t, \x1b), so that no peer can forge a line. One cause, that is one
/// first piece of text on one stream, may write a burst of 256 lines and one a second after that; the number of lines
/// left out follows with the next line of any stream when there is room again. So a statement begins with fixed text,
/// and the output of a program (tnctl's tables) goes elsewhere. A muted stream formats nothing. May be used by any
/// thread.
///
/// Lines caused by strangers (peers that haven't proved any access rights) are limited to 10 a second in total,
/// whatever their causes; how many were left out is reported in the same way.
class lstream {
  public:
    enum class Sink { Log, Stdout, Stderr };
    enum class About { Ourselves, Strangers };
    static constexpr unsigned kDebugLevel = 5;

    /// @param topic  number shown with the line in the system log
    /// @param level  0 for what operators should see, 5 for debugging; streams of level 5 start muted
    explicit constexpr lstream(unsigned topic, unsigned level = 0)
        : topic_(topic), level_(level), muted_(level >= kDebugLevel) {}
    explicit constexpr lstream(Sink sink, About about = About::Ourselves) : sink_(sink), about_(about) {}

    /// Whether its lines are caused by strangers.
    [[nodiscard]] bool isAboutStrangers() const { return about_ == About::Strangers; }
    [[nodiscard]] bool isMuted() const { return muted_; }
    void mute(bool on = true) { muted_ = on; }

    /// A line being written; it ends with the statement.
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

    /// Begins a line. @param piece  its cause, for the limits
    template <class T>
    Line operator<<(const T& piece) const {
        Line line(muted_ ? nullptr : this);
        std::move(line) << piece;  // moves nothing: the piece is added to the line
        return line;               // NOLINT(bugprone-use-after-move)
    }

  private:
    void write(std::string_view cause, std::string_view text) const;  ///< unless the limits forbid it
    void emit(std::string_view text) const;                           ///< without a limit

    Sink sink_ = Sink::Log;
    About about_ = About::Ourselves;
    unsigned topic_ = 0;
    unsigned level_ = 0;
    bool muted_ = false;
};

/// The process's own lines on standard output and standard error, without a topic.
extern lstream sout;
extern lstream serr;
/// The same, for lines caused by strangers.
extern lstream strangersOut;
extern lstream strangersErr;

}  // namespace tn
