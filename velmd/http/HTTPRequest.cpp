#include "velmd/http/HTTPServer.h"

#include <algorithm>

namespace velm {

namespace {

/// Of ASCII only, whatever the locale.
char lowerCase(char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

}  // namespace

const std::string* HTTPRequest::header(std::string_view name) const {
    const auto found = std::ranges::find_if(headers, [name](const auto& header) {
        return std::ranges::equal(header.first, name, {}, lowerCase, lowerCase);
    });
    return found == headers.end() ? nullptr : &found->second;
}

}  // namespace velm
