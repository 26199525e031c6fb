#pragma once

#include <dlfcn.h>

#include <string>

#include "tests/agent/agent_test.h"

namespace snmp {

/// The agent with one shipped plug-in, loaded from its file. Community "common" may read from everywhere.
class PluginTest : public AgentTest {
  protected:
    /// Call load() after the owners were added.
    explicit PluginTest(const std::string& name) : file_(SHIPPED_PLUGINS + name + ".so") { opensCommon(true); }

    /// Loads the plug-in and calls its autorun. A second test of the process calls that of the object that is loaded.
    void load() {
        void* object = dlopen(file_.c_str(), RTLD_NOW);
        ASSERT_NE(object, nullptr) << dlerror();
        reinterpret_cast<void (*)()>(dlsym(object, "autorun"))();
    }

  private:
    std::string file_;
};

}  // namespace snmp
