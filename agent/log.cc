#include "agent/log.h"

namespace snmp {

namespace {
constexpr unsigned kTopic = 20;

tn::lstream mutedLog() {
    tn::lstream stream(kTopic);
    stream.mute();
    return stream;
}
}  // namespace

tn::lstream slog = mutedLog();
tn::lstream dlog(kTopic, 5);
tn::lstream soutWarn(tn::lstream::Sink::Stdout, tn::lstream::About::Ourselves, LOG_WARNING);

}  // namespace snmp
