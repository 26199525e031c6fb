#include "hostd/machine/activity.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <span>
#include <utility>

#include "contracts/activity.h"
#include "hostd/source/text_lines.h"
#include "hostd/table/sizes.h"
#include "tn/sources.h"

namespace hostd {

namespace activity = contracts::activity;
namespace load_averages = contracts::load_averages;

namespace {

using Values = std::array<std::optional<uint64_t>, 16>;

/// The place of a counter in ActivityCounters.
constexpr size_t placeOf(tn::u64_id field) { return field.number - activity::User.number; }
static_assert(placeOf(activity::SwappedOut) + 1 == std::tuple_size_v<Values>);

/// The increase of the sum of some counters; 0 if it has decreased.
uint64_t increase(const ActivityCounters& from, const ActivityCounters& to, std::initializer_list<tn::u64_id> fields) {
    uint64_t before = 0;
    uint64_t now = 0;
    for (const tn::u64_id field : fields) {
        before += from.values[placeOf(field)].value_or(0);
        now += to.values[placeOf(field)].value_or(0);
    }
    return now > before ? now - before : 0;
}

uint32_t rounded(uint64_t part, uint64_t whole) { return whole == 0 ? 0 : saturated((part + whole / 2) / whole); }

}  // namespace

// ---- {24, 1012}

// A line of /proc/stat is "cpu user nice system idle iowait irq softirq steal guest guest_nice", "cpu0 ...",
// "intr total ..." or "ctxt total"; one of /proc/vmstat is "pgpgin 123".
ActivityCounters parseActivity(std::string_view stat, std::string_view vmstat) {
    ActivityCounters counters;
    while (!stat.empty()) {
        std::string_view line = takeLine(stat);
        const std::string_view name = takeWord(line);
        if (name == "cpu") {
            for (size_t i = placeOf(activity::User); i <= placeOf(activity::GuestNice); ++i)
                counters.values[i] = takeNumber(line);
        } else if (name.starts_with("cpu")) {
            ++counters.processors;
        } else if (name == "intr") {
            counters.values[placeOf(activity::Interrupts)] = takeNumber(line);
        } else if (name == "ctxt") {
            counters.values[placeOf(activity::ContextSwitches)] = takeNumber(line);
        }
    }
    static constexpr std::pair<std::string_view, tn::u64_id> kPaging[] = {
        {"pgpgin", activity::ReadKib},
        {"pgpgout", activity::WrittenKib},
        {"pswpin", activity::SwappedIn},
        {"pswpout", activity::SwappedOut},
    };
    while (!vmstat.empty()) {
        std::string_view line = takeLine(vmstat);
        const std::string_view name = takeWord(line);
        const auto found = std::ranges::find(kPaging, name, &std::pair<std::string_view, tn::u64_id>::first);
        if (found != std::end(kPaging)) counters.values[placeOf(found->second)] = takeNumber(line);
    }
    return counters;
}

Activity::Sample Activity::read() {
    Sample now{tn::awakeSinceBoot(), parseActivity(stat_.read(), vmstat_.read())};
    if (past_.empty() || now.at - past_.back().at >= kSpacing) {
        const auto inside = std::ranges::find_if(past_, [&](const Sample& one) { return now.at - one.at < kWindow; });
        if (inside - past_.begin() > 1) past_.erase(past_.begin(), inside - 1);
        past_.push_back(now);
    }
    timer_.start(kInterval, [this] { (void)read(); });
    return now;
}

Activity::Sample Activity::startOfInterval(std::chrono::milliseconds now) const {
    Sample start;
    for (const Sample& one : past_) {
        if (now - one.at < kSpacing) break;
        start = one;
        if (now - one.at <= kOldest) break;
    }
    return start;
}

tn::message Activity::cmdGet(const tn::message&) {
    using namespace activity;
    const Sample now = read();
    const Sample start = startOfInterval(now.at);
    tn::message reply;
    reply.reserve(27);
    for (size_t i = 0; i < now.counters.values.size(); ++i)
        if (const auto& value = now.counters.values[i])
            reply.insert_u64(tn::u64_id(User.number + static_cast<uint32_t>(i)), *value);
    if (now.counters.processors > 0) reply.insert_u32(Processors, now.counters.processors);
    reply.insert_u32(PageOctets, static_cast<uint32_t>(::sysconf(_SC_PAGESIZE)));

    const auto grown = [&](std::initializer_list<tn::u64_id> fields) {
        return increase(start.counters, now.counters, fields);
    };
    uint64_t ticks = 0;  // each kind of its own, since the idle time may decrease
    for (const tn::u64_id kind : {User, Nice, System, Idle, Wait, Interrupt, SoftIrq, Steal}) ticks += grown({kind});
    reply.insert_u32(UserPercent, rounded(grown({User, Nice}) * 100, ticks));
    reply.insert_u32(SystemPercent, rounded(grown({System, Interrupt, SoftIrq}) * 100, ticks));
    reply.insert_u32(IdlePercent, rounded(grown({Idle}) * 100, ticks));
    static constexpr std::pair<tn::u32_id, tn::u64_id> kRates[] = {
        {InterruptRate, Interrupts}, {ContextSwitchRate, ContextSwitches},
        {ReadRate, ReadKib},         {WriteRate, WrittenKib},
        {SwapInRate, SwappedIn},     {SwapOutRate, SwappedOut},
    };
    const auto elapsed = static_cast<uint64_t>((now.at - start.at).count());
    for (const auto& [rate, counter] : kRates) reply.insert_u32(rate, rounded(grown({counter}) * 1000, elapsed));
    return reply;
}

// ---- {24, 1013}

// "0.20 0.18 0.12 1/80 11206"
std::vector<uint32_t> parseLoadavg(std::string_view text) {
    std::vector<uint32_t> loads;
    std::string_view line = takeLine(text);
    for (int i = 0; i < 3; ++i) {
        const std::string_view word = takeWord(line);
        double load = 0;
        const auto [rest, failed] = std::from_chars(word.data(), word.data() + word.size(), load);
        if (failed != std::errc() || rest != word.data() + word.size() || !(load >= 0 && load < 1e6)) return {};
        loads.push_back(static_cast<uint32_t>(std::lround(load * 100)));
    }
    return loads;
}

void LoadAverages::refresh() { loads_ = parseLoadavg(loadavg_.read()); }

std::optional<uint32_t> LoadAverages::firstFrom(uint32_t id) const {
    const uint32_t first = std::max(id, 1U);
    return first <= loads_.size() ? std::optional(first) : std::nullopt;
}

void LoadAverages::writeRow(uint32_t id, tn::message& item) const {
    constexpr uint32_t kMinutes[] = {1, 5, 15};
    item.insert_u32(load_averages::Minutes, kMinutes[id - 1]);
    item.insert_u32(load_averages::Load, loads_[id - 1]);
}

}  // namespace hostd
