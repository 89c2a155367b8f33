#pragma once

#include <stdexcept>
#include <string>

namespace velm {

/// What the exception that is being handled says of itself, cut to a length that fits a log line. Providers
/// may throw anything, also exceptions that throw again when they are asked. Requires: called inside a catch
/// block.
std::string currentExceptionText();

/// Calls into a provider. Whatever it throws becomes a std::runtime_error that says `failure` and the text of
/// the original, whose class may live in the provider's shared object: it is gone before that can be closed.
template <class Call>
auto callProviderCode(const char* failure, Call call) -> decltype(call()) {
    try {
        return call();
    } catch (...) {
        throw std::runtime_error(failure + (": " + currentExceptionText()));
    }
}

}  // namespace velm
