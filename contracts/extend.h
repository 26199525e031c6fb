#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "tn/ids.h"

/// {24, 1100} and {24, 1101}: the commands that the administrator names in /etc/tarnix-snmp/extend.conf, and the lines
/// of their output. hostd/services/extend.h owns them. For the plug-in extend.
///
/// A command is run when a request wants its result and the last one is older than Cache. A request waits for it 200 ms
/// at most; then it gets the last result.

/// {24, 1100}: a row for each command, keyed by Name.
namespace contracts::extend {

inline constexpr std::array<uint32_t, 2> kPath = {24, 1100};

inline constexpr size_t kMostName = 32;  ///< octets

// Fields

inline constexpr tn::string_id Name{1};     ///< key, 1 to kMostName octets
inline constexpr tn::string_id Program{2};  ///< path
inline constexpr tn::string_id Args{3};     ///< separated by spaces
inline constexpr tn::u32_id Cache{4};       ///< s
// Result of the last run: absent before its end.
inline constexpr tn::string_id Output{
    5};  ///< standard output and error, at most 2,000 octets, without the last newline
inline constexpr tn::string_id FirstLine{6};  ///< at most 255 octets
inline constexpr tn::u32_id Lines{7};         ///< their number, at most 1,024
inline constexpr tn::u32_id Result{8};  ///< exit status; 128 and the signal that ended it; -1 if it was killed after
                                        ///< its time limit, can't be started or may not be

}  // namespace contracts::extend

/// {24, 1101}: a row for each line of the last runs' output, keyed by Name and Line.
namespace contracts::extend_lines {

inline constexpr std::array<uint32_t, 2> kPath = {24, 1101};

// Fields

inline constexpr tn::string_id Name{1};  ///< key, as above
inline constexpr tn::u32_id Line{2};     ///< key, from 1
inline constexpr tn::string_id Text{3};  ///< at most 255 octets

}  // namespace contracts::extend_lines
