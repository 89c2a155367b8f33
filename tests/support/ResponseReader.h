#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace velm::test {

/// What came back for an intrinsic call.
struct WBEMAnswer {
    unsigned int httpStatus = 0;
    /// Names in lower case.
    std::map<std::string, std::string> headers;
    std::string body;

    /// The code of the ERROR element; 0 when there is none.
    int status() const;
    /// Its description; empty when there is none.
    std::string description() const;
    bool has(std::string_view text) const { return body.find(text) != std::string::npos; }
};

/// Parts the bytes that the daemon sends into HTTP responses and validates the message in each against the
/// DTD, also when it is an indication on a channel. Used by one thread.
class ResponseReader {
public:
    void append(std::string_view bytes) { _unread.append(bytes); }

    /// The next response that is whole.
    std::optional<WBEMAnswer> next();

    /// What came behind the last one.
    const std::string& unread() const { return _unread; }

private:
    std::string _unread;
};

}  // namespace velm::test
