#include "hostd/machine/host_facts.h"

#include <utmpx.h>

#include <cstring>
#include <filesystem>

#include "contracts/host.h"
#include "hostd/source/pseudo_file.h"
#include "hostd/source/sysfs.h"
#include "hostd/table/row_text.h"

namespace hostd {

namespace host_facts = contracts::host_facts;

namespace {

/// The sessions in the content of utmp whose processes exist: a crash may leave others behind.
uint32_t countUsers(std::string_view content, const std::string& proc) {
    uint32_t users = 0;
    for (utmpx entry{}; content.size() >= sizeof entry; content.remove_prefix(sizeof entry)) {
        std::memcpy(&entry, content.data(), sizeof entry);
        std::error_code failed;
        if (entry.ut_type == USER_PROCESS && entry.ut_user[0] != '\0' &&
            std::filesystem::exists(proc + "/" + std::to_string(entry.ut_pid), failed))
            ++users;
    }
    return users;
}

}  // namespace

tn::message HostFacts::cmdGet(const tn::message&) {
    tn::message reply;
    reply.insert_u32(host_facts::Users, countUsers(readFile(utmp_), proc_));
    insertText(reply, host_facts::BootParameters, readAttribute(proc_ + "/cmdline"));
    return reply;
}

}  // namespace hostd
