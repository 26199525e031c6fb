#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tn/handler.h"

namespace soak {

/// The grammar of scripts, for --help.
extern const char* const kScriptHelp;

/// An owner that replies, delays, hangs, lies and dies as the lines of a script say (kScriptHelp). Subscriptions and
/// get-policies are answered by the platform and consume no line.
class ScriptedOwner : public tn::Handler {
  public:
    /// Throws std::runtime_error, "line N: ...", if a line can't be parsed.
    explicit ScriptedOwner(std::string_view script);

    tn::message handle(const tn::message& request, uint32_t rights) override;
    /// The script answers for all paths below its own, too.
    tn::message handleBrkpath(const tn::message& request) override { return handle(request, tn::right::All); }

    std::vector<tn::message> requests;  ///< all that the script answered, if `remembers`
    bool remembers = false;

  protected:
    // What a line does to the process. A test in the same process overrides them.
    virtual void wait(std::chrono::milliseconds time);  ///< blocks the loop
    virtual void hang();                                ///< never returns; the process ends at SIGTERM
    virtual void die(int status);                       ///< exits at once

  private:
    enum class Verb { Answer, Lie, Delay, Hang, Die, Repeat };
    enum class Lie { Empty, Kinds, Order, Endless, Large };
    struct Step {
        Verb verb;
        tn::message reply = {};  ///< of Answer; of Lie, the one to falsify
        Lie lie = Lie::Empty;
        std::chrono::milliseconds time{};
        int status = 0;
    };
    /// The lines for one command. The last one repeats.
    struct Steps {
        std::vector<Step> steps;
        size_t next = 0;
    };
    class Parser;

    tn::message perform(Steps& list, const tn::message& request);
    static tn::message falsified(const Step& step, const tn::message& request);

    std::map<std::optional<uint32_t>, Steps> lists_;  ///< by command; nullopt: all commands without a list
};

}  // namespace soak
