#include "velmd/faces/Markup.h"
#include "velmd/faces/StatusPage.h"
#include "velmd/faces/Text.h"

#include <algorithm>
#include <filesystem>
#include <functional>

#include <fmt/format.h>

namespace velm::faces {

namespace {

using status::Provider;

constexpr std::size_t longestSubject = 160;

std::string classesOf(const Provider& provider) {
    std::string html;
    const std::size_t shownCount = std::min(provider.classes.size(), mostClassesShown);
    for (std::size_t index = 0; index < shownCount; ++index) {
        html += (index == 0 ? "" : ", ") + shown(provider.classes[index]);
    }
    if (shownCount < provider.classes.size()) {
        html += fmt::format(" and {} more", numberText(provider.classes.size() - shownCount));
    }
    return html.empty() ? "nothing" : html;
}

std::string observerText(const status::Observer& observer, status::Time now) {
    std::string what = shown(observer.indication, 20);
    if (!observer.otherClass.empty()) {
        what += " of " + shown(observer.otherClass);
    }
    for (std::size_t index = 0; index < observer.properties.size(); ++index) {
        what += (index == 0 ? " of " : ", ") + shown(observer.properties[index], 40);
    }
    return fmt::format(R"(<div class="watch">{}<div class="when">{}{}, since {}</div></div>)",
                       shown(observer.subject, longestSubject),
                       observer.isInstance ? "" : "every instance: ", what, momentText(now, observer.since));
}

/// What it says itself, and what it was asked for.
std::string watchesOf(const Provider& provider, status::Time now) {
    std::string html;
    for (const std::string& thing : provider.watched) {
        html += fmt::format(R"(<div class="watch">{}</div>)", shown(thing, longestSubject));
    }
    const std::size_t shownCount = std::min(provider.observers.size(), mostObserversShown);
    for (std::size_t index = 0; index < shownCount; ++index) {
        html += observerText(provider.observers[index], now);
    }
    const std::uint64_t rest = provider.observersLeftOut + provider.observers.size() - shownCount;
    if (rest > 0) {
        html += fmt::format(R"(<div class="watch when">and {} more</div>)", numberText(rest));
    }
    return html;
}

std::string callsCell(const Provider& provider) {
    status::Latency all;
    for (const status::ProviderCalls& calls : provider.durations) {
        all.bounds = calls.durations.bounds;
        all.counts.resize(calls.durations.counts.size());
        std::ranges::transform(all.counts, calls.durations.counts, all.counts.begin(), std::plus());
        all.beyond += calls.durations.beyond;
    }
    const std::string most = boundText(all, 0.95);
    return most.empty() ? countCell("Calls", provider.calls)
                        : cell("Calls",
                               fmt::format(R"({}<div class="when">95 % within {}</div>)",
                                           numberText(provider.calls), most),
                               "number");
}

std::string rowOf(const Provider& provider, status::Time now) {
    const bool hasFailed = provider.lastFailure && now - provider.lastFailure->last < recent;
    std::string row = hasFailed ? R"(<tr class="bad">)" : "<tr>";
    row += fmt::format(R"(<th scope="row">{}<div class="when">{}</div></th>)", shown(provider.name),
                       shown(std::filesystem::path(provider.file).filename().string()));
    row += cell("Serves", classesOf(provider), "classes");
    const std::string watches = watchesOf(provider, now);
    row += watches.empty() ? cell("Watches", "nothing", "watches zero") : cell("Watches", watches, "watches");
    row += countCell("Reported", provider.reported);
    row += countCell("Refused", provider.refused);
    row += callsCell(provider);
    row += countCell("Failed calls", provider.failedCalls);
    row += failureCell(provider.lastFailure, Course::wasLast, now);
    return row += "</tr>\n";
}

}  // namespace

std::string providersSection(const status::ServerStatus& status) {
    std::string html = R"(<section aria-labelledby="providers"><h2 id="providers">Providers</h2>)";
    if (status.providers.empty()) {
        return html +=
               "<p class=\"none\">None is loaded: only changes to stored instances are reported.</p>"
               "</section>\n";
    }
    html +=
        tableHead(fmt::format("{} and what {}", countText(status.providers.size(), "provider", "providers"),
                              status.providers.size() == 1 ? "it watches" : "they watch"),
                  {{"Provider"},
                   {"Serves"},
                   {"Watches"},
                   {"Reported", true},
                   {"Refused", true},
                   {"Calls", true},
                   {"Failed calls", true},
                   {"Last error"}});
    const std::size_t shownCount = std::min(status.providers.size(), mostProvidersShown);
    for (std::size_t index = 0; index < shownCount; ++index) {
        html += rowOf(status.providers[index], status.now);
    }
    html += "</tbody></table>";
    if (shownCount < status.providers.size()) {
        html += fmt::format(R"(<p class="note">{} more are left out here.</p>)",
                            numberText(status.providers.size() - shownCount));
    }
    return html += "</section>\n";
}

}  // namespace velm::faces
