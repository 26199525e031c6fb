#pragma once

#include <string>

#include "hostd/source/pseudo_file.h"
#include "tn/handler.h"

namespace hostd {

/// {24, 1011}: main memory and swap space. contracts/memory.h has the fields.
class MemorySizes : public tn::Handler {
  public:
    /// @param proc  path of the kernel's process tree ("/proc")
    explicit MemorySizes(const std::string& proc) : meminfo_(proc + "/meminfo") {}
    tn::message cmdGet(const tn::message& request) override;

  private:
    PseudoFile meminfo_;
};

}  // namespace hostd
