#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "wire/codec.h"

namespace bench {

/// A request as the load generators send it.
struct Request {
    std::string community = "common";
    std::string operation = "get";  ///< get, getnext or getbulk
    std::vector<wire::Oid> oids;
    unsigned maxRepetitions = 10;  ///< of a getbulk
};

/// The v2c datagram (RFC 3416), encoded once: only the four octets of the request id change.
class Datagram {
  public:
    /// Throws std::invalid_argument on a bad operation or a request too long, with a text for the user.
    explicit Datagram(const Request& request);
    /// The octets with this request id, in 0x01000000 to 0x7fffffff so that its shortest form has four octets.
    [[nodiscard]] std::span<const uint8_t> withId(uint32_t id);

  private:
    wire::Bytes octets_;
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
    wire::Oid name;
    bool hasValue = false;  ///< false: an exception (noSuchObject to endOfMibView) in place of a value
};

struct Response {
    uint32_t id = 0;
    std::vector<Binding> bindings;
};

/// Reads a Response with its names; nothing when it is not well-formed or carries an error-status.
[[nodiscard]] std::optional<Response> readResponse(std::span<const uint8_t> answer);

}  // namespace bench
