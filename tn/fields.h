#pragma once

#include "tn/ids.h"

/// The numbers that all processes on the bus share: system fields, commands, error codes, rights, path numbers.
/// The paths, commands and fields of one owner are in contracts/.
namespace tn {

/// Fields that have the same meaning in every message. 0xff...: of the bus; 0xfe...: of objects and lists.
namespace field {
constexpr u32_array_id Destination{0xff0001};  // path of the handler a message goes to
constexpr u32_array_id Source{0xff0002};       // path of the handler it comes from
constexpr u32_id RequestId{0xff0003};          // sender's number for a request; absent if no reply is wanted
constexpr u32_id ReplyTo{0xff0004};            // in a reply: RequestId of the request it answers
constexpr u32_id Command{0xff0007};
constexpr u32_id ErrorCode{0xff0008};         // in an error reply: one of tn::error
constexpr string_id ErrorText{0xff0009};      // in an error reply: one line for people
constexpr bool_id NoUndo{0xff000a};           // this change is itself an undo: don't record it
constexpr u32_id CallerPid{0xff000d};         // set by the receiving bus: pid of the process that sent the message
constexpr u32_id NotifyCommand{0xff000b};     // in (un)subscribe: the notification wanted
constexpr message_id NotifyFilter{0xff000c};  // in (un)subscribe: passed to Handler::shouldNotify

constexpr u32_id ObjectId{0xfe0001};           // row's id in its owner
constexpr message_array_id Objects{0xfe0002};  // items of a get-all reply
constexpr u32_id Continue{0xfe0003};           // request: start at this id; reply: more rows follow, from this id
constexpr u32_id MaxObjects{0xfe0004};         // get-all request: maximum number of items
constexpr u32_id NextId{0xfe0005};             // item: id of the row after it
constexpr bool_id KeyIncomplete{0xfe0007};     // in Key: start at the first row whose key isn't below this one
constexpr bool_id Invalid{0xfe0008};           // item: listed but not in force
constexpr string_id Comment{0xfe0009};         // item: the administrator's remark
constexpr bool_id Disabled{0xfe000a};          // item: disabled by the administrator
constexpr u32_id GetFlags{0xfe000c};           // get request: contracts/object_class.h, kWantDefaults, kTopLevelFirst
constexpr bool_id IsDefault{0xfe000d};         // object: the one that can't be removed
constexpr string_id Name{0xfe0010};            // list item: its name
constexpr u32_id Count{0xfe0014};              // get-count reply
constexpr message_id Key{0xfe001b};            // index fields of a row, for tables keyed by content
constexpr message_id Defaults{0xfe001d};       // get reply: the defaults, for kWantDefaults
constexpr u32_array_id Fields{0xfe00fe};       // get-all request: full ids of the fields wanted; absent: all
constexpr bool_id Gone{0xfe00ff};              // item: placeholder for a requested row that has been removed
}  // namespace field

constexpr uint32_t kWantDefaults = 1U << 29;   // bit of GetFlags: add Defaults to the reply
constexpr uint32_t kTopLevelFirst = 1U << 31;  // bit of GetFlags: repeat the first element of a list at top level

/// Commands (field::Command): those that every handler has a hook for, those of the bus, and RecordUndo.
namespace cmd {
constexpr uint32_t Subscribe = 0xfe0001;
constexpr uint32_t Unsubscribe = 0xfe0002;
constexpr uint32_t GetPolicies = 0xfe0003;
constexpr uint32_t GetAll = 0xfe0004;
constexpr uint32_t AddObj = 0xfe0005;
constexpr uint32_t RemoveObj = 0xfe0006;
constexpr uint32_t MoveObj = 0xfe0007;
constexpr uint32_t GetObj = 0xfe0008;
constexpr uint32_t SetObj = 0xfe0009;
constexpr uint32_t Reset = 0xfe000a;
constexpr uint32_t Changed = 0xfe000b;  // notification: an object (or, without ObjectId, the handler) has changed
constexpr uint32_t Shutdown = 0xfe000c;
constexpr uint32_t Get = 0xfe000d;
constexpr uint32_t Set = 0xfe000e;
constexpr uint32_t Disconnected = 0xfe000f;  // made by the bus itself when a peer that had subscriptions goes away
constexpr uint32_t GetCount = 0xfe0015;
constexpr uint32_t RecordUndo = 0xfe0016;  // to the supervisor {1}, with the fields of `undo`
}  // namespace cmd

/// Fields of an undo record, as sent to {1} with cmd::RecordUndo and stored in the journal {1, 1}.
namespace undo {
constexpr message_id New{1};  // the request that made the change
constexpr message_id Old{2};  // the request that undoes it, with command and destination
constexpr string_id Text{3};  // what was done, for people
constexpr u32_id When{4};     // seconds since the epoch, set by the journal
}  // namespace undo

/// Values of field::ErrorCode.
namespace error {
constexpr uint32_t NoSuchCommand = 0xfe0001;
constexpr uint32_t NoSuchHandler = 0xfe0002;
constexpr uint32_t NotFound = 0xfe0004;      // the requested object doesn't exist
constexpr uint32_t Refused = 0xfe0006;       // request not allowed in this state or configuration; ErrorText says why
constexpr uint32_t NotPermitted = 0xfe0009;  // the caller lacks the right for the command
constexpr uint32_t Unreachable = 0xfe000a;   // no process serves the number, or the connection died
constexpr uint32_t TimedOut = 0xfe000b;
constexpr uint32_t TooLarge = 0xfe000c;     // the message doesn't fit into one packet
constexpr uint32_t StoreFailed = 0xfe000d;  // not written; the old value is still in force
}  // namespace error

/// Rights of callers, as bits. The policy of a command is a mask; a caller needs at least one of its bits.
namespace right {
constexpr uint32_t Read = 64;
constexpr uint32_t Write = 128;
constexpr uint32_t Monitor = 512;  // read state, but not configuration
constexpr uint32_t Reading = Read | Monitor;
constexpr uint32_t All = 0xffffffff;
}  // namespace right

/// First elements of the paths, one for each process or subject.
namespace number {
constexpr uint32_t Supervisor = 1;
constexpr uint32_t Snmp = 34;
}  // namespace number

/// The id of no object. In requests it means the whole handler.
constexpr uint32_t kNoId = 0xffffffff;

}  // namespace tn
