#include "velmd/providers/ProviderException.h"

#include "foundation/utilities/OrvoBaseException.h"

#include <string_view>

namespace velm {

namespace {

constexpr std::size_t longestText = 300;

std::string shortened(std::string_view text) {
    return text.size() <= longestText ? std::string(text) : std::string(text.substr(0, longestText)) + "...";
}

std::string textOfCurrent() {
    try {
        throw;
    } catch (const OrvoBaseException& exception) {
        return shortened(exception.getMessage().view());
    } catch (const std::exception& exception) {
        return shortened(exception.what());
    } catch (...) {
        return "an exception of an unknown type";
    }
}

}  // namespace

std::string currentExceptionText() {
    try {
        return textOfCurrent();
    } catch (...) {
        return "an exception that cannot be asked for its text";
    }
}

}  // namespace velm
