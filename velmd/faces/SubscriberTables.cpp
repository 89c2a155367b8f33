#include "velmd/faces/Markup.h"
#include "velmd/faces/StatusPage.h"
#include "velmd/faces/Text.h"

#include <algorithm>
#include <iterator>

#include <fmt/format.h>

namespace velm::faces {

namespace {

using status::RemovedSubscriber;
using status::ServerStatus;
using status::Subscriber;
using status::Time;

std::string standingBadge(Standing standing, bool isChannel) {
    switch (standing) {
        case Standing::failing:
            return badge("bad", "failing");
        case Standing::dropped:
            return badge("warn", "lost some");
        case Standing::waiting:
            return badge("calm", "waiting");
        case Standing::fine:
            return badge("good", "fine");
        case Standing::left:
            // Who keeps a channel open is still there.
            return badge("gone", isChannel ? "idle" : "left");
        case Standing::untested:
            break;
    }
    return badge("calm", "nothing yet");
}

const char* styleOf(Standing standing) {
    return standing == Standing::failing ? "bad" : standing == Standing::dropped ? "warn" : "plain";
}

/// A row's name: who it is, and below it `details`.
std::string nameCell(std::string_view host, std::string_view port, const std::string& details) {
    return fmt::format(R"(<th scope="row"><bdi>{}</bdi><div class="when">{}</div></th>)",
                       escaped(addressText(host, port)), details);
}

std::string kindText(bool isChannel, std::string_view session) {
    return fmt::format("{}, session {}", isChannel ? "channel" : "listener", shown(session, 20));
}

std::string detailsOf(const Subscriber& subscriber, Time now) {
    std::string text = kindText(subscriber.isChannel, subscriber.session);
    if (subscriber.lastHeartbeat) {
        text += fmt::format(R"(, heartbeat <span class="whole">{}</span>)",
                            agoText(now, *subscriber.lastHeartbeat));
    }
    return text + fmt::format("<br>{} since {}",
                              countText(subscriber.subscriptions, "subscription", "subscriptions"),
                              momentText(now, subscriber.since));
}

std::string noteText(const std::optional<status::Failure>& note, std::string_view before, Time now) {
    return note ? fmt::format(R"(<div class="drop">{}{}<div class="when">{}</div></div>)", before,
                              shown(note->text, 120), agoElement(now, note->last))
                : std::string();
}

/// Besides failures: what was lost with them, and answers that a delivery does not depend on.
std::string notesOf(const Subscriber& subscriber, Time now) {
    return noteText(subscriber.lastDrop, "", now) +
           noteText(
               subscriber.lastImproperAnswer,
               countText(subscriber.improperAnswers, "improper answer: ", "improper answers; the last: "),
               now);
}

std::string rowOf(const Subscriber& subscriber, Time now) {
    const Standing standing = standingOf(subscriber, now);
    std::string row = fmt::format(R"(<tr class="{}">)", styleOf(standing));
    row += cell("State", standingBadge(standing, subscriber.isChannel), "state");
    row += nameCell(subscriber.host, subscriber.port, detailsOf(subscriber, now));
    row += countCell("Waiting", subscriber.waiting);
    row += countCell("Delivered", subscriber.delivered);
    row += countCell("Failed", subscriber.failed);
    row += countCell("Dropped", subscriber.dropped);
    row += subscriber.lastDelivery ? cell("Last delivery", agoElement(now, *subscriber.lastDelivery))
                                   : cell("Last delivery", "never", "zero");
    row += failureCell(subscriber.lastFailure, subscriber.isFailing ? Course::goesOn : Course::isOver, now,
                       notesOf(subscriber, now));
    return row += "</tr>\n";
}

std::string rowOf(const RemovedSubscriber& removed, Time now) {
    std::string row = "<tr>";
    row += nameCell(removed.host, removed.port, kindText(removed.isChannel, removed.session));
    row += cell("Removed", agoElement(now, removed.when));
    row += cell("Reason", shown(removed.reason));
    row += countCell("Delivered", removed.delivered);
    row += countCell("Failed", removed.failed);
    row += countCell("Dropped", removed.dropped);
    row += failureCell(removed.lastFailure, Course::wasLast, now, noteText(removed.lastDrop, "", now));
    return row += "</tr>\n";
}

std::string captionOf(const ServerStatus& status) {
    const std::size_t subscribed = subscribedCount(status);
    const std::size_t others = status.subscribers.size() - subscribed;
    return fmt::format(
        "{}{}, the ones that need attention first", countText(subscribed, "subscriber", "subscribers"),
        others == 0 ? std::string() : fmt::format(" and {} without a subscription", numberText(others)));
}

/// What became of those that are not in the table.
std::string leftOut(const ServerStatus& status, const std::vector<const Subscriber*>& shownOnes) {
    const auto failing = static_cast<std::size_t>(
        std::ranges::count_if(status.subscribers, [](const Subscriber& each) { return each.isFailing; }));
    const auto failingShown = static_cast<std::size_t>(
        std::ranges::count_if(shownOnes, [](const Subscriber* each) { return each->isFailing; }));
    const std::size_t hiddenFailing = failing - failingShown;
    return fmt::format(
        R"(<p class="note">{} are left out here, {}. <a href="/status.json">/status.json</a> has all.</p>)",
        countText(status.subscribers.size() - shownOnes.size(), "more subscriber", "more subscribers"),
        hiddenFailing == 0 ? std::string("none of them failing")
                           : numberText(hiddenFailing) + " of them failing");
}

}  // namespace

std::string subscribersSection(const ServerStatus& status) {
    std::string html = R"(<section aria-labelledby="subscribers"><h2 id="subscribers">Subscribers</h2>)";
    if (status.subscribers.empty()) {
        return html +=
               "<p class=\"none\">Nobody is subscribed. <code>velmctl listen</code> does, and shows "
               "what it hears.</p></section>\n";
    }
    const auto rows = mostInteresting(status, mostSubscribersShown);
    html += tableHead(captionOf(status), {{"State"},
                                          {"Subscriber"},
                                          {"Waiting", true},
                                          {"Delivered", true},
                                          {"Failed", true},
                                          {"Dropped", true},
                                          {"Last delivery"},
                                          {"Last error"}});
    for (const Subscriber* subscriber : rows) {
        html += rowOf(*subscriber, status.now);
    }
    html += "</tbody></table>";
    if (rows.size() < status.subscribers.size()) {
        html += leftOut(status, rows);
    }
    return html += "</section>\n";
}

std::string removedSection(const ServerStatus& status) {
    if (status.removed.empty()) {
        return {};
    }
    std::vector<const RemovedSubscriber*> rows;
    for (const RemovedSubscriber& removed : status.removed) {
        rows.push_back(&removed);
    }
    std::ranges::stable_sort(rows, std::ranges::greater(), [](const auto* each) { return each->when; });
    rows.resize(std::min(rows.size(), mostRemovedShown));
    std::string html = R"(<section aria-labelledby="removed"><h2 id="removed">Removed subscribers</h2>)";
    html +=
        tableHead(fmt::format("The last {} that went, the latest first", rows.size()), {{"Subscriber"},
                                                                                        {"Removed"},
                                                                                        {"Reason"},
                                                                                        {"Delivered", true},
                                                                                        {"Failed", true},
                                                                                        {"Dropped", true},
                                                                                        {"Last error"}});
    for (const RemovedSubscriber* removed : rows) {
        html += rowOf(*removed, status.now);
    }
    return html += "</tbody></table></section>\n";
}

}  // namespace velm::faces
