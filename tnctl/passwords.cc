#include "tnctl/passwords.h"

#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <istream>
#include <ostream>

#include "contracts/snmp.h"
#include "tn/log.h"
#include "tnctl/failure.h"

namespace tnctl {

namespace snmp = contracts::snmp;
namespace community = snmp::community;

namespace {

constexpr size_t kShortest = 8;  // characters of a password (RFC 3414, 11.2)

/// Switches the echo of the terminal on standard input off for the object's lifetime.
class EchoOff {
  public:
    EchoOff() : changed_(tcgetattr(STDIN_FILENO, &before_) == 0) {
        if (!changed_) return;
        termios silent = before_;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
    }
    ~EchoOff() {
        if (changed_) tcsetattr(STDIN_FILENO, TCSAFLUSH, &before_);
    }
    EchoOff(const EchoOff&) = delete;
    EchoOff& operator=(const EchoOff&) = delete;

  private:
    termios before_{};
    bool changed_;
};

std::string fromTerminal(const Console& console, std::string_view prompt) {
    console.err << prompt << ": " << std::flush;
    std::string line;
    {
        const EchoOff silence;
        std::getline(console.in, line);
    }
    console.err << '\n';
    return line;
}

std::string fromFile(const Word& word, const std::string& name) {
    std::ifstream file(name);
    std::string line;
    if (!std::getline(file, line))
        throw Failure(kUsage, std::string(word.name) + ": " + tn::escaped(name) + ": " +
                                  (file.is_open() ? "the file is empty" : std::strerror(errno)));
    return line;
}

/// The passwords of fillPasswords, in the order in which they are needed.
class Source {
  public:
    Source(const Console& console, const std::optional<std::string>& file) : console_(console), file_(file) {
        if (!file && !console.interactive)
            throw Failure(kUsage, "no terminal to type passwords at: use --passwords-from FILE (- for standard input)");
        if (!file || *file == "-") return;
        stream_.open(*file);
        if (!stream_.is_open()) throw Failure(kUsage, tn::escaped(*file) + ": " + std::strerror(errno));
    }

    std::string read(const std::string& name) {
        if (!file_) return typedTwice(name);
        std::string line;
        if (!std::getline(*file_ == "-" ? console_.in : stream_, line))
            throw Failure(kUsage, (*file_ == "-" ? "standard input" : tn::escaped(*file_)) +
                                      ": expected a line with the " + name);
        return line;
    }

  private:
    std::string typedTwice(const std::string& name) {
        std::string password = fromTerminal(console_, name);
        if (fromTerminal(console_, name + ", again") != password)
            throw Failure(kUsage, name + ": the two differ, nothing changed");
        return password;
    }

    const Console& console_;
    const std::optional<std::string>& file_;
    std::ifstream stream_;
};

void checkOne(tn::string_id number, std::string_view name, bool needed, const tn::message& current,
              const tn::message& change) {
    const bool given = change.has(number);
    const std::string password = change.get_string(number, current.get_string(number));
    if ((!given && !needed) || password.size() >= kShortest) return;
    throw Failure(kUsage, std::string(name) + ": expected at least 8 characters" +
                              (given ? "" : ", required by this security level") + " (--force accepts fewer)");
}

}  // namespace

std::string readPassword(const Console& console, const Word& word, std::string_view value) {
    if (value.starts_with("@@")) return std::string(value.substr(1));
    if (value.starts_with('@')) return fromFile(word, std::string(value.substr(1)));
    if (value != "-") return std::string(value);
    if (console.interactive) return fromTerminal(console, word.name);
    std::string line;
    if (!std::getline(console.in, line))
        throw Failure(kUsage, std::string(word.name) + ": expected a line on standard input");
    return line;
}

void fillPasswords(const Console& console, const std::optional<std::string>& file, tn::message& user) {
    const bool isPrivate = user.get_u32(community::Security) >= snmp::security::Private;
    const bool needsFirst = !user.has(community::AuthenticationPassword);
    const bool needsSecond = isPrivate && !user.has(community::EncryptionPassword);
    if (!needsFirst && !needsSecond) return;
    Source source(console, file);
    if (needsFirst) user.insert_string(community::AuthenticationPassword, source.read("authentication password"));
    if (needsSecond) user.insert_string(community::EncryptionPassword, source.read("encryption password"));
}

void checkPasswords(const tn::message& current, const tn::message& change) {
    // Passwords are judged again only by a change of the level: what was forced once stays settable.
    const uint32_t level = change.get_u32(community::Security);
    checkOne(community::AuthenticationPassword, "authentication-password", level >= snmp::security::Authorized, current,
             change);
    checkOne(community::EncryptionPassword, "encryption-password", level >= snmp::security::Private, current, change);
}

}  // namespace tnctl
