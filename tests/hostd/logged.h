#pragma once

#include <gtest/gtest.h>

#include <string>

#include "tn/log.h"

namespace hostd {

/// The lines that this call logs.
template <class Call>
std::string logged(const Call& call) {
    tn::setLogTarget(tn::LogTarget::Stderr);
    ::testing::internal::CaptureStderr();
    call();
    tn::setLogTarget(tn::LogTarget::Syslog);
    return ::testing::internal::GetCapturedStderr();
}

}  // namespace hostd
