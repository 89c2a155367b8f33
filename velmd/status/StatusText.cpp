#include "velmd/status/StatusText.h"

#include "server/xml/Utf8.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

namespace velm::status {

namespace {

template <class Condition>
std::string replaced(std::string_view text, Condition isBad) {
    constexpr std::string_view replacement = "\xEF\xBF\xBD";
    std::string result;
    result.reserve(text.size());
    for (std::size_t position = 0; position < text.size();) {
        const Utf8Character character = utf8At(text, position);
        result += isBad(character) ? replacement : text.substr(position, character.length);
        position += character.length;
    }
    return result;
}

}  // namespace

std::string utcText(Time time) {
    const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
    const auto milliseconds = std::chrono::floor<std::chrono::milliseconds>(time - seconds);
    return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z", fmt::gmtime(Time::clock::to_time_t(seconds)),
                       milliseconds.count());
}

std::string wellFormed(std::string_view text) {
    return replaced(text, [](const Utf8Character& character) { return !character.isValid; });
}

std::string printable(std::string_view text) {
    return replaced(text, [](const Utf8Character& character) {
        return !character.isValid || character.value < U' ' || character.value == U'\x7F';
    });
}

}  // namespace velm::status
