#include "velmd/faces/Text.h"

#include "server/xml/Utf8.h"
#include "server/xml/XMLText.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <utility>

#include <fmt/chrono.h>
#include <fmt/format.h>

namespace velm::faces {

namespace {

using std::chrono::seconds;
using std::chrono::system_clock;

constexpr std::string_view replacement = "\xEF\xBF\xBD";
constexpr std::string_view ellipsis = "\xE2\x80\xA6";

constexpr std::size_t longestHost = 60;
constexpr seconds halfAYear{180 * 24 * 3600};

/// First and last of what is not seen, or changes how its neighbours are seen.
constexpr std::pair<char32_t, char32_t> misleading[]{
    {0x00, 0x1F},     {0x7F, 0x9F},     {0xAD, 0xAD},     {0x61C, 0x61C},   {0x200B, 0x200F},
    {0x2028, 0x202E}, {0x2060, 0x206F}, {0xFEFF, 0xFEFF}, {0xFFF9, 0xFFFB}, {0xE0000, 0xE007F},
};

bool isShown(const Utf8Character& character) {
    return character.isValid && std::ranges::none_of(misleading, [&](const auto& range) {
               return character.value >= range.first && character.value <= range.second;
           });
}

seconds wholeSeconds(system_clock::duration duration) {
    return std::max(seconds(0), std::chrono::duration_cast<seconds>(duration));
}

std::string formatTime(const char* format, status::Time time) {
    return fmt::format(fmt::runtime(format), fmt::gmtime(system_clock::to_time_t(time)));
}

}  // namespace

std::string shortened(std::string_view text, std::size_t longest) {
    std::string result;
    std::size_t count = 0;
    for (std::size_t position = 0; position < text.size(); ++count) {
        if (count == longest) {
            return result.append(ellipsis);
        }
        const Utf8Character character = utf8At(text, position);
        result += isShown(character) ? text.substr(position, character.length) : replacement;
        position += character.length;
    }
    return result;
}

std::string escaped(std::string_view text) {
    std::string result;
    appendXMLText(result, text, XMLContext::attribute, 0);
    return result;
}

std::string shown(std::string_view text, std::size_t longest) {
    return fmt::format("<bdi>{}</bdi>", escaped(shortened(text, longest)));
}

std::string numberText(std::uint64_t number) {
    std::string digits = std::to_string(number);
    for (std::size_t place = digits.size(); place > 3; place -= 3) {
        digits.insert(place - 3, ",");
    }
    return digits;
}

std::string countText(std::uint64_t number, std::string_view singular, std::string_view plural) {
    return fmt::format("{} {}", numberText(number), number == 1 ? singular : plural);
}

std::string rateText(double perSecond) {
    if (!(perSecond >= 0.005)) {
        return "0";
    }
    if (perSecond >= 99.5) {
        return numberText(static_cast<std::uint64_t>(std::llround(perSecond)));
    }
    std::string text = fmt::format("{:.{}f}", perSecond, perSecond < 0.95 ? 2 : perSecond < 9.95 ? 1 : 0);
    if (text.find('.') != text.npos) {
        text.erase(text.find_last_not_of('0') + 1);
    }
    if (text.back() == '.') {
        text.pop_back();
    }
    return text;
}

std::string durationText(system_clock::duration duration) {
    constexpr std::array<std::pair<std::int64_t, const char*>, 4> units{
        {{24 * 3600, "d"}, {3600, "h"}, {60, "min"}, {1, "s"}}};
    const std::int64_t all = wholeSeconds(duration).count();
    for (std::size_t index = 0; index + 1 < units.size(); ++index) {
        const auto& [size, name] = units[index];
        const auto& [smallerSize, smallerName] = units[index + 1];
        if (all >= size) {
            const std::int64_t rest = all % size / smallerSize;
            return rest == 0 ? fmt::format("{} {}", all / size, name)
                             : fmt::format("{} {} {} {}", all / size, name, rest, smallerName);
        }
    }
    return fmt::format("{} s", all);
}

std::string latencyText(double inSeconds) {
    if (inSeconds >= 1) {
        return fmt::format("{:.3g} s", inSeconds);
    }
    return inSeconds >= 0.001 ? fmt::format("{:.3g} ms", inSeconds * 1e3)
                              : fmt::format("{:.3g} \xC2\xB5s", inSeconds * 1e6);
}

std::string boundText(const status::Latency& latency, double share) {
    const std::uint64_t all = std::accumulate(latency.counts.begin(), latency.counts.end(), latency.beyond);
    double sum = 0;
    for (std::size_t index = 0; index < std::min(latency.counts.size(), latency.bounds.size()); ++index) {
        sum += static_cast<double>(latency.counts[index]);
        if (all > 0 && sum >= share * static_cast<double>(all)) {
            return latencyText(latency.bounds[index]);
        }
    }
    return {};
}

std::string momentText(status::Time now, status::Time time) {
    if (formatTime("{:%F}", now) == formatTime("{:%F}", time)) {
        return formatTime("{:%T}", time);
    }
    return formatTime(now - time < halfAYear ? "{:%b %d, %T}" : "{:%F %T}", time);
}

std::string agoText(status::Time now, status::Time time) {
    return now - time < seconds(2) ? "just now" : durationText(now - time) + " ago";
}

std::string agoElement(status::Time now, status::Time time) {
    return fmt::format(R"(<time datetime="{}">{}<small> {}</small></time>)", isoText(time),
                       agoText(now, time), momentText(now, time));
}

std::string isoText(status::Time time) {
    return formatTime("{:%FT%TZ}", time);
}

std::string addressText(std::string_view host, std::string_view port) {
    const bool isV6 = host.find(':') != host.npos;
    return fmt::format("{}{}{}:{}", isV6 ? "[" : "", shortened(host, longestHost), isV6 ? "]" : "",
                       shortened(port, 8));
}

}  // namespace velm::faces
