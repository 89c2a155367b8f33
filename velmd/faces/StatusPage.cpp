#include "velmd/faces/StatusPage.h"

#include "velmd/faces/Curve.h"
#include "velmd/faces/Markup.h"
#include "velmd/faces/Text.h"

#include <algorithm>
#include <iterator>
#include <numeric>

#include <fmt/format.h>

namespace velm::faces {

namespace {

using status::Latency;
using status::Rate;
using status::ServerStatus;

constexpr std::size_t mostReasonsShown = 6;
constexpr std::size_t longestReason = 320;

/// A disc for the tab, so that the state shows while the page is behind another one.
std::string icon(bool isHealthy) {
    return fmt::format(
        R"(<link rel="icon" href="data:image/svg+xml,%3Csvg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 16 16'%3E)"
        R"(%3C{}/%3E%3C/svg%3E">)",
        isHealthy ? "circle cx='8' cy='8' r='6' fill='%231f7a4d'"
                  : "path d='M8 1 15 14H1Z' fill='%23b3261e'");
}

std::string pageHead(bool isHealthy, const PageOptions& options) {
    std::string html = R"(<!DOCTYPE html>
<html lang="en"><head><meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta name="color-scheme" content="light dark">
)";
    if (options.refreshes) {
        fmt::format_to(std::back_inserter(html), "<meta http-equiv=\"refresh\" content=\"{}\">\n",
                       refreshSeconds);
    }
    return html += fmt::format(
               "<title>{} \xC2\xB7 velmd</title>\n{}\n<link rel=\"stylesheet\" "
               "href=\"/style.css\"></head>\n<body>\n",
               isHealthy ? "Healthy" : "Attention", icon(isHealthy));
}

std::string refreshText(const PageOptions& options) {
    return options.refreshes
               ? fmt::format(R"(refreshes every {} s, <a href="/?refresh=off">pause</a>)", refreshSeconds)
               : std::string(R"(paused, <a href="/">go on</a>)");
}

std::string masthead(const ServerStatus& status, const PageOptions& options) {
    return fmt::format(R"(<header><p class="brand">velmd <span>{}</span></p>)"
                       R"(<p class="clock"><span>up {}, since <time datetime="{}">{}</time></span> )"
                       R"(<span>as of <time datetime="{}">{} UTC</time></span> <span>{}</span></p></header>)",
                       shown(status.version, 30), durationText(status.now - status.started),
                       isoText(status.started), momentText(status.now, status.started), isoText(status.now),
                       momentText(status.now, status.now), refreshText(options));
}

std::string pageFoot(const ServerStatus& status) {
    return fmt::format(
        "<footer><p>All times are UTC. velmd {}, built with {}.</p>"
        R"(<p>The same for programs: <a href="/status.json">/status.json</a>, <a href="/metrics">/metrics</a>, )"
        R"(<a href="/healthz">/healthz</a>, <a href="/readyz">/readyz</a>, )"
        R"(<a href="/log">/log</a> (the record of indications, {}).</p></footer>)",
        shown(status.version, 30), shown(status.compiler, 60),
        status.logsIndications ? "being written to " + shown(status.indicationsLog, 160)
                               : std::string("switched off"));
}

std::string healthyText(const ServerStatus& status) {
    const std::uint64_t waiting =
        std::accumulate(status.subscribers.begin(), status.subscribers.end(), std::uint64_t{0},
                        [](std::uint64_t sum, const status::Subscriber& each) { return sum + each.waiting; });
    const std::size_t subscribed = subscribedCount(status);
    return fmt::format("{}; {}.",
                       subscribed == 0 ? "Nobody is subscribed"
                                       : countText(subscribed, "subscriber, and it hears everything",
                                                   "subscribers, and all hear everything"),
                       waiting == 0
                           ? "nothing waits to be delivered"
                           : countText(waiting, "indication is on its way", "indications are on their way"));
}

std::string reasonList(const std::vector<std::string>& reasons) {
    std::string html = "<ul>";
    const std::size_t shownCount = std::min(reasons.size(), mostReasonsShown);
    for (std::size_t index = 0; index < shownCount; ++index) {
        html += "<li>" + shown(reasons[index], longestReason) + "</li>";
    }
    if (shownCount < reasons.size()) {
        html += fmt::format("<li>and {} more</li>", reasons.size() - shownCount);
    }
    return html + "</ul>";
}

std::string latencyFact(const Latency& latency) {
    const std::string half = boundText(latency, 0.5);
    const std::string most = boundText(latency, 0.95);
    if (half.empty()) {
        return latency.beyond == 0 ? "no delivery yet"
                                   : "half take longer than " +
                                         latencyText(latency.bounds.empty() ? 0 : latency.bounds.back());
    }
    return fmt::format(
        "half within {}<small>{}</small>", half,
        most.empty() ? std::string("some take longer than the last bound") : "95 % within " + most);
}

std::string fact(std::string_view name, std::string_view html) {
    return fmt::format("<div><dt>{}</dt><dd>{}</dd></div>", name, html);
}

std::string factsOf(const ServerStatus& status) {
    std::uint64_t waiting = 0;
    std::uint64_t channels = 0;
    for (const status::Subscriber& subscriber : status.subscribers) {
        waiting += subscriber.waiting;
        channels += subscriber.isChannel && !hasLeft(subscriber) ? 1U : 0U;
    }
    std::string html = R"(<dl class="facts">)";
    html += fact("Subscribers", fmt::format("{}<small>{} on a channel</small>",
                                            numberText(subscribedCount(status)), numberText(channels)));
    html += fact("Waiting in queues", numberText(waiting));
    html += fact("From report to delivery", latencyFact(status.latency));
    html += fact("Connections", fmt::format("{}<small>{} under way</small>", numberText(status.connections),
                                            countText(status.requestsUnderWay, "request", "requests")));
    html += fact("Classes", numberText(status.classes));
    return html += "</dl>";
}

std::uint64_t sumOf(const std::map<std::string, std::uint64_t>& counts) {
    return std::accumulate(counts.begin(), counts.end(), std::uint64_t{0},
                           [](std::uint64_t sum, const auto& each) { return sum + each.second; });
}

std::string rateCard(const ServerStatus& status, std::string_view what, double Rate::*member,
                     std::uint64_t total, std::string_view style) {
    Curve curve{what, {}, status.rateStep};
    for (const Rate& rate : status.rates) {
        curve.values.push_back(rate.*member);
    }
    const double now = curve.values.empty() ? 0 : curve.values.back();
    const double most = curve.values.empty() ? 0 : *std::ranges::max_element(curve.values);
    return fmt::format(R"(<figure class="card {}{}"><figcaption><span class="what">{}</span>)"
                       R"(<span class="rate">{}<small>/s</small></span><span class="total">{} in all</span>)"
                       "</figcaption>{}</figure>\n",
                       style, most > 0 ? "" : " still", what, rateText(now), numberText(total),
                       curve.drawing());
}

}  // namespace

std::string headline(const ServerStatus& status, const Verdict& verdict) {
    const bool isFine = verdict.isHealthy();
    return fmt::format(
        R"(<section class="verdict {0}"><svg class="sign" viewBox="0 0 16 16" aria-hidden="true"><use href="#{1}"/></svg>)"
        R"(<div><h1>{2}</h1>{3}</div></section>)"
        "\n",
        isFine ? "fine" : "attention", isFine ? "good" : "warn", isFine ? "Healthy" : "Attention",
        isFine ? "<p>" + healthyText(status) + "</p>" : reasonList(verdict.reasons));
}

std::string ratesSection(const ServerStatus& status) {
    const status::Counters& counters = status.counters;
    std::string html =
        fmt::format(R"(<section aria-labelledby="rates"><h2 id="rates">{}</h2><div class="cards">)",
                    status.rates.empty() ? std::string("Rates")
                                         : "The last " + durationText(status.rateStep * status.rates.size()));
    html += rateCard(status, "Reported", &Rate::reported, counters.reported, "flow");
    html += rateCard(status, "Delivered", &Rate::delivered, counters.delivered, "flow");
    html += rateCard(status, "Failed", &Rate::failed, sumOf(counters.failed), "loss");
    html += rateCard(status, "Dropped", &Rate::dropped, sumOf(counters.dropped), "loss");
    return html + "</div>" + factsOf(status) + "</section>\n";
}

std::string tablesSection(const PageOptions& options) {
    const char* const pause =
        options.refreshes ? R"( <a href="/?refresh=off#tables">Pause the page</a> to read them in peace.)"
                          : "";
    return fmt::format(
        R"(<section aria-labelledby="tables"><h2 id="tables">Diagnostic tables</h2>)"
        R"(<p class="lead">Who is subscribed to what, by instance and by class; <a href="/tables">alone and whole</a>.{}</p>)"
        R"(<iframe sandbox src="/tables?excerpt" title="Who is subscribed to what"></iframe></section>)"
        "\n",
        pause);
}

std::string statusPage(const ServerStatus& status, const std::string& illness, const PageOptions& options) {
    const Verdict verdict = judge(status, illness);
    return pageHead(verdict.isHealthy(), options) + signs() + masthead(status, options) + "<main>\n" +
           headline(status, verdict) + ratesSection(status) + subscribersSection(status) +
           removedSection(status) + providersSection(status) + countersSection(status) +
           tablesSection(options) + "</main>\n" + pageFoot(status) + "\n</body></html>\n";
}

}  // namespace velm::faces
