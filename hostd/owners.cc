#include "hostd/owners.h"

#include <unistd.h>

#include "hostd/addresses.h"
#include "hostd/arp_entries.h"
#include "hostd/disk_table.h"
#include "hostd/forwarding.h"
#include "hostd/interfaces.h"
#include "hostd/neighbors.h"
#include "hostd/scripts.h"
#include "hostd/supervisor.h"
#include "hostd/system.h"
#include "hostd/undo_journal.h"
#include "tn/paths.h"

namespace hostd {

void addOptions(CLI::App& app, Options& options) {
    app.add_option("--proc", options.proc, "Read processes and memory from this tree")
        ->check(CLI::ExistingDirectory)
        ->option_text("DIR [/proc]");
    app.add_option("--sysfs", options.sysfs, "Read devices from this tree")
        ->check(CLI::ExistingDirectory)
        ->option_text("DIR [/sys]");
    app.add_flag("--allow-reboot", options.allowReboot, "Let whoever may write on the bus restart this machine");
}

Owners::Owners(const Options& options) {
    auto journal = std::make_unique<UndoJournal>();
    auto supervisor = std::make_unique<Supervisor>(options.proc, *journal);
    supervisor_ = supervisor.get();
    const SystemInfo::Places places{.proc = options.proc, .sysfs = options.sysfs};
    const auto own = [this](std::vector<uint32_t> path, std::unique_ptr<tn::Handler> handler) {
        owners_.push_back({std::move(path), std::move(handler)});
    };

    constexpr uint32_t kSupervisor = tn::number::Supervisor;
    constexpr uint32_t kSystem = tn::number::System;
    own({kSupervisor}, std::move(supervisor));
    own({kSupervisor, 1}, std::move(journal));
    own({kSystem}, std::make_unique<System>(options.allowReboot ? rebootMachine : Reboot()));
    own({kSystem, 0}, std::make_unique<SystemTime>());
    own({kSystem, 1}, std::make_unique<Identity>());
    own({kSystem, 2}, std::make_unique<SystemInfo>(places));
    own({10, 1}, std::make_unique<Neighbors>());
    own({16, 3}, std::make_unique<Forwarding>());
    own({20, 0}, std::make_unique<Interfaces>(options.sysfs));
    own({20, 1}, std::make_unique<Addresses>());
    own({20, 8}, std::make_unique<ArpEntries>());
    own({48, 101}, std::make_unique<Scripts>(tn::rooted("/tern/scripts")));
    own({79, 2}, std::make_unique<DiskTable>(options.proc));
}

Owners::~Owners() = default;

void Owners::addTo(tn::Looper& looper) {
    for (const Owner& owner : owners_) {
        looper.addHandler(owner.path, owner.handler.get());
        supervisor_->announce(static_cast<uint32_t>(::getpid()), owner.path.front());
    }
}

}  // namespace hostd
