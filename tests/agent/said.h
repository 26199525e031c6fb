#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "tn/log.h"
#include "tn/sources.h"

namespace snmp {

/// What a call writes to standard output, then what it writes to standard error. The log's limits don't show in it: the
/// clock is minutes past that of earlier calls, and what was left out before has been reported.
inline std::string said(const std::function<void()>& call) {
    struct : tn::Sources {
        uint64_t bootNanoseconds() override { return machine.bootNanoseconds() + minutes * 60'000'000'000; }
        tn::Sources machine;
        uint64_t minutes = 0;
    } static clock;
    const tn::lstream log(tn::lstream::Sink::Stderr);
    tn::Sources& before = tn::sources();
    clock.minutes += 10;
    tn::setSources(&clock);
    testing::internal::CaptureStderr();
    log << "reports what was left out";
    (void)testing::internal::GetCapturedStderr();
    clock.minutes += 10;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    call();
    tn::setSources(&before);
    const std::string out = testing::internal::GetCapturedStdout();
    return out + testing::internal::GetCapturedStderr();
}

}  // namespace snmp
