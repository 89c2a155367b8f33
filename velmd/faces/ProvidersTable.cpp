#include "velmd/faces/Markup.h"
#include "velmd/faces/StatusPage.h"
#include "velmd/faces/Text.h"

#include <algorithm>
#include <filesystem>

#include <fmt/format.h>

namespace velm::faces {

namespace {

using status::Provider;

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

std::string rowOf(const Provider& provider, status::Time now) {
    const bool hasFailed = provider.lastFailure && now - provider.lastFailure->last < recent;
    std::string row = hasFailed ? R"(<tr class="bad">)" : "<tr>";
    row += fmt::format(R"(<th scope="row">{}<div class="when">{}</div></th>)", shown(provider.name),
                       shown(std::filesystem::path(provider.file).filename().string()));
    row += cell("Serves", classesOf(provider), "classes");
    row += countCell("Reported", provider.reported);
    row += countCell("Refused", provider.refused);
    row += countCell("Calls", provider.calls);
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
    html += tableHead(
        fmt::format("{} and what they serve", countText(status.providers.size(), "provider", "providers")),
        {{"Provider"},
         {"Serves"},
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
