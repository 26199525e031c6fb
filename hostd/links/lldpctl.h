#pragma once

#include <lldpctl.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "hostd/source/shared_library.h"

namespace hostd {

inline constexpr const char* kLldpLibrary = "liblldpctl.so.4";

/// The functions of liblldpctl that are used here.
struct LldpLibrary : SharedLibrary {
    decltype(&::lldpctl_new) open = nullptr;
    decltype(&::lldpctl_release) release = nullptr;
    decltype(&::lldpctl_log_callback) logTo = nullptr;
    decltype(&::lldpctl_get_interfaces) interfaces = nullptr;
    decltype(&::lldpctl_get_port) port = nullptr;
    decltype(&::lldpctl_get_local_chassis) localChassis = nullptr;
    decltype(&::lldpctl_atom_get) get = nullptr;
    decltype(&::lldpctl_atom_get_str) text = nullptr;
    decltype(&::lldpctl_atom_get_int) number = nullptr;
    decltype(&::lldpctl_atom_get_buffer) buffer = nullptr;
    decltype(&::lldpctl_atom_iter) first = nullptr;
    decltype(&::lldpctl_atom_iter_next) next = nullptr;
    decltype(&::lldpctl_atom_iter_value) value = nullptr;
    decltype(&::lldpctl_atom_dec_ref) drop = nullptr;

    LldpLibrary() : SharedLibrary(kLldpLibrary) {
        find("lldpctl_new", open);
        find("lldpctl_release", release);
        find("lldpctl_log_callback", logTo);
        find("lldpctl_get_interfaces", interfaces);
        find("lldpctl_get_port", port);
        find("lldpctl_get_local_chassis", localChassis);
        find("lldpctl_atom_get", get);
        find("lldpctl_atom_get_str", text);
        find("lldpctl_atom_get_int", number);
        find("lldpctl_atom_get_buffer", buffer);
        find("lldpctl_atom_iter", first);
        find("lldpctl_atom_iter_next", next);
        find("lldpctl_atom_iter_value", value);
        find("lldpctl_atom_dec_ref", drop);
        if (isWhole()) logTo([](int, const char*) {});  // the default writes to standard error
    }
};

/// An owning handle of one of the library's objects. The library must outlive it.
class LldpAtom {
  public:
    LldpAtom(const LldpLibrary& library, lldpctl_atom_t* atom) : library_(library), atom_(atom, library.drop) {}
    [[nodiscard]] bool isThere() const { return atom_ != nullptr; }
    [[nodiscard]] lldpctl_atom_t* raw() const { return atom_.get(); }
    [[nodiscard]] LldpAtom get(lldpctl_key_t key) const { return {library_, library_.get(raw(), key)}; }
    [[nodiscard]] std::string text(lldpctl_key_t key) const {
        const char* found = library_.text(raw(), key);
        return found == nullptr ? "" : found;
    }
    [[nodiscard]] long number(lldpctl_key_t key) const { return library_.number(raw(), key); }
    [[nodiscard]] std::vector<uint8_t> octets(lldpctl_key_t key) const {
        size_t size = 0;
        const uint8_t* found = library_.buffer(raw(), key, &size);
        return found == nullptr ? std::vector<uint8_t>() : std::vector<uint8_t>(found, found + size);
    }
    template <class Call>
    void forEach(const Call& call) const {
        for (auto* at = library_.first(raw()); at != nullptr; at = library_.next(raw(), at))
            if (const LldpAtom value(library_, library_.value(raw(), at)); value.isThere()) call(value);
    }

  private:
    const LldpLibrary& library_;
    std::unique_ptr<lldpctl_atom_t, decltype(&::lldpctl_atom_dec_ref)> atom_;
};

/// Connects to lldpd and reads from it. Waits for the daemon, so it can block.
/// @param read  called with the library, the interfaces (const LldpAtom&) and the connection (lldpctl_conn_t*); returns
///              false when lldpd doesn't answer
/// @return the problem, for ProblemLog; empty when there is none
template <class Read>
[[nodiscard]] std::string queryLldpd(const Read& read) {
    const LldpLibrary library;
    if (!library.isWhole()) return std::string(kLldpLibrary) + " isn't installed";
    const std::unique_ptr<lldpctl_conn_t, decltype(&::lldpctl_release)> connection(
        library.open(nullptr, nullptr, nullptr), library.release);
    const LldpAtom interfaces(library, connection ? library.interfaces(connection.get()) : nullptr);
    const bool isAnswered = interfaces.isThere() && read(library, interfaces, connection.get());
    return isAnswered ? "" : "lldpd doesn't answer";
}

}  // namespace hostd
