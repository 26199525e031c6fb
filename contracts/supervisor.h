#pragma once

#include <array>
#include <cstdint>

#include "tn/fields.h"

/// {1}: the processes on the bus. hostd/supervisor/supervisor.h owns them. Get-all lists the processes that have
/// announced numbers since the supervisor started, and still run and serve them. A process's id is its pid.
/// tn::cmd::RecordUndo to this path adds a record to the undo journal.
namespace contracts::supervisor {

inline constexpr std::array<uint32_t, 1> kPath = {tn::number::Supervisor};

/// Command: the sender serves the number Number from now on, and the process that announced it before no longer does.
/// tn::error::Refused without Number.
inline constexpr uint32_t kAnnounce = 3;
inline constexpr tn::u32_id Number{5};

// Fields of a process: unit; source. It also has tn::field::Name, from PROC/PID/comm: at most 15 octets.

inline constexpr tn::u32_array_id Numbers{5};  ///< in ascending order; kAnnounce
inline constexpr tn::u32_id Pid{6};            ///< tn::field::CallerPid of kAnnounce
inline constexpr tn::u32_id Age{7};            ///< s since it first announced itself

}  // namespace contracts::supervisor

/// {1, 1}: the undo journal, the last 100 changes that can be undone. hostd/supervisor/undo_journal.h owns it. A newer
/// record has a greater id. The fields of a record are those of tn::undo. Get-all and cmd::Changed have Text, at most
/// 1,000 octets, and When. Get and get-object have New and Old as well, and need right::Write, since these contain the
/// changed values, passwords included.
///
/// The client performs an undo. It reads the record with get-object, adds tn::field::NoUndo to Old, so that the undo
/// isn't recorded, and sends Old to its destination. If that succeeds, the client removes the record with
/// remove-object. The journal doesn't send Old itself: its destination may be waiting for this process, and each would
/// then wait for the other.
namespace contracts::undo_journal {

inline constexpr std::array<uint32_t, 2> kPath = {tn::number::Supervisor, 1};

}  // namespace contracts::undo_journal
