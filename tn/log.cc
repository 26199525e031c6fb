#include "tn/log.h"

#include <atomic>

#include "tn/log_limiter.h"
#include "tn/log_output.h"

namespace tn {

constinit lstream sout(lstream::Sink::Stdout);
constinit lstream serr(lstream::Sink::Stderr);
constinit lstream swarn(lstream::Sink::Stderr, lstream::About::Ourselves, LOG_WARNING);
constinit lstream strangersOut(lstream::Sink::Stdout, lstream::About::Strangers);
constinit lstream strangersErr(lstream::Sink::Stderr, lstream::About::Strangers);

namespace {

std::atomic<LogTarget> currentTarget{LogTarget::Syslog};

}  // namespace

void setLogTarget(LogTarget target, const std::string& systemLogPath) {
    setSystemLogPath(systemLogPath);
    currentTarget = target;
}

void lstream::emit(std::string_view text) const {
    const LogTarget to = currentTarget;
    if (to == LogTarget::None) return;
    if (sink_ == Sink::Stdout) return standardOutput().writeLine(escaped(text), severity_);
    if (sink_ == Sink::Stderr) return standardError().writeLine(escaped(text), severity_);
    const std::string line = "[" + std::to_string(topic_) + "] " + escaped(text);
    if (to == LogTarget::Stderr) return standardError().writeLine(line, severity_);
    systemLog().writeLine(line, severity_);
}

void lstream::write(std::string_view cause, std::string_view text) const {
    const bool isAdmitted =
        admitLine(*this, cause, [](const lstream& origin, const std::string& which, uint64_t lines) {
            origin.emit(std::to_string(lines) + " lines suppressed " + which);
        });
    if (isAdmitted) emit(text);
}

}  // namespace tn
