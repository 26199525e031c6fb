#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace bench {

using Oid = std::vector<uint32_t>;

/// Reads 1.3.6.1 and the like. Throws std::invalid_argument with a text for the user.
[[nodiscard]] Oid parseOid(const std::string& dotted);

/// A request as the load generators send it. The codec is the bench's own: an agent measured with its own codec would
/// get away with a fault in it.
struct Request {
    std::string community = "common";
    std::string operation = "get";  ///< get, getnext or getbulk
    std::vector<Oid> oids;
    unsigned maxRepetitions = 10;  ///< of a getbulk
};

/// The v2c datagram (RFC 3416), and where in it the four octets of the request id lie.
class Datagram {
  public:
    /// Throws std::invalid_argument on a bad operation or a request too long, with a text for the user.
    explicit Datagram(const Request& request);
    /// The octets with this request id, in 0x01000000 to 0x7fffffff so that its shortest form has four octets.
    [[nodiscard]] std::span<const uint8_t> withId(uint32_t id);

  private:
    std::string octets_;
    size_t idAt_ = 0;
};

/// The PDU of a message of v1 or v2c, its tag and length included.
[[nodiscard]] std::span<const uint8_t> pduOf(std::span<const uint8_t> message);

enum class AnswerKind { Response, Echo };

/// Reads an answer.
/// @param kind  Echo: the PDU has the request's own tag
/// @return  the request id; 0 when it is no well-formed answer, carries an error-status, no binding, or an exception
///          (RFC 3416, noSuchObject to endOfMibView) in place of a value
[[nodiscard]] uint32_t checkAnswer(std::span<const uint8_t> answer, AnswerKind kind);

struct Binding {
    Oid name;
    bool hasValue = false;  ///< false: an exception (noSuchObject to endOfMibView) in place of a value
};

struct Response {
    uint32_t id = 0;
    std::vector<Binding> bindings;
};

/// Reads a Response with its names; nothing when it is not well-formed or carries an error-status.
[[nodiscard]] std::optional<Response> readResponse(std::span<const uint8_t> answer);

}  // namespace bench
