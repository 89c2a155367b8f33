#pragma once

#include <functional>
#include <optional>
#include <string>

namespace velm {

/// What an operation answers when it succeeds.
struct OperationResult {
    /// What stands inside IRETURNVALUE; without one the response holds no IRETURNVALUE at all.
    std::optional<std::string> returnValue;

    /// Set: the operation answers on the connection itself, which is its own from then on. The argument is
    /// the socket.
    std::function<void(int)> takeOver;
};

}  // namespace velm
