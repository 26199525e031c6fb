#pragma once

#include <array>
#include <cstdint>

#include "tn/fields.h"

/// {1}: the processes on the bus. hostd/supervisor/supervisor.h owns them. Get-all lists those that have announced
/// themselves since it started and still run, ordered by pid, which is their id. tn::cmd::RecordUndo here adds a record
/// to the undo journal.
namespace contracts::supervisor {

inline constexpr std::array<uint32_t, 1> kPath = {tn::number::Supervisor};

/// Command: the sender serves the path number Number from now on. tn::error::Refused without Number.
inline constexpr uint32_t kAnnounce = 3;
inline constexpr tn::u32_id Number{5};

// Fields of a process, besides tn::field::Name, its name in PROC/PID/comm: at most 15 octets. Unit; source

inline constexpr tn::u32_array_id Numbers{5};  ///< ascending; kAnnounce
inline constexpr tn::u32_id Pid{6};            ///< tn::field::CallerPid of kAnnounce
inline constexpr tn::u32_id Age{7};            ///< s since it first announced itself

}  // namespace contracts::supervisor

/// {1, 1}: the undo journal, the last 100 changes that can be undone. hostd/supervisor/undo_journal.h owns it. Ids grow
/// with time. The fields of a record are those of tn::undo: get-all and cmd::Changed have Text, at most 1,000 octets,
/// and When; get and get-object have New and Old as well. They need right::Write, since New and Old contain what the
/// change did, passwords included.
///
/// Undoing is the client's work. It reads the record with get-object and sends Old to its destination, with
/// tn::field::NoUndo added so that the undo isn't recorded itself. If that succeeds, it removes the record with
/// remove-object. The journal never sends Old itself: the owner of the change may be waiting for this process at that
/// moment, and both would wait for each other.
namespace contracts::undo_journal {

inline constexpr std::array<uint32_t, 2> kPath = {tn::number::Supervisor, 1};

}  // namespace contracts::undo_journal
