#include "velmctl/commands/SubscriberReport.h"

#include "velmctl/output/Text.h"

#include <algorithm>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace velm {

namespace {

using namespace status;
using std::chrono::duration_cast;
using std::chrono::seconds;

std::string ago(Time now, const std::optional<Time>& time) {
    return time ? agoText(now, *time) : "never";
}

std::string addressOf(const Subscriber& subscriber) {
    return HostPort{printable(subscriber.host), printable(subscriber.port)}.text();
}

std::string sessionOption(const std::string& session) {
    return session == "1" ? "" : " --session " + printable(session);
}

void addFailure(SubscriberReport& report, const char* what, const std::optional<Failure>& failure, Time now) {
    if (failure) {
        report.details.emplace_back(what, failureText(*failure, now));
    }
}

void addDrop(SubscriberReport& report, const std::optional<Failure>& drop, Time now) {
    if (drop) {
        report.details.emplace_back("last drop", dropText(*drop, now));
    }
}

void addDetails(SubscriberReport& report, const Subscriber& subscriber, Time now) {
    report.details = {
        {"form", subscriber.isChannel ? "a channel: the connection that it keeps open"
                                      : "a listener: it is connected to for each indication"},
        {"subscribed", fmt::format("{}, first seen {}", counted(subscriber.subscriptions, "subscription"),
                                   agoText(now, subscriber.since))},
        {"queued", fmt::format("{} in all, {} wait now", subscriber.queued, subscriber.waiting)},
        {"delivered",
         fmt::format("{} in all, last: {}", subscriber.delivered, ago(now, subscriber.lastDelivery))},
        {"not delivered", fmt::format("{} failed, {} dropped", subscriber.failed, subscriber.dropped)},
        {"last heartbeat", ago(now, subscriber.lastHeartbeat)}};
    addFailure(report, subscriber.isFailing ? "failing" : "last failure", subscriber.lastFailure, now);
    addDrop(report, subscriber.lastDrop, now);
    addFailure(report, "last odd answer", subscriber.lastImproperAnswer, now);
}

/// What keeps everything away from it although nothing fails. Answers whether there is such a thing.
bool explainAbsence(SubscriberReport& report, const ServerStatus& status, const Subscriber& subscriber) {
    if (!isHealthy(status)) {
        report.finding = "The daemon is not ready to deliver: " +
                         (status.isReady ? "indications are switched off" : printable(status.notReady)) + ".";
        report.advice = "velmctl status shows the daemon's own state; its log tells more.";
    } else if (subscriber.subscriptions == 0) {
        report.finding = "It is subscribed to nothing, or no longer; the daemon forgets it by itself.";
        report.advice = fmt::format("Subscribe: velmctl subscribe CLASS --to {}{}", addressOf(subscriber),
                                    sessionOption(subscriber.session));
    } else {
        return false;
    }
    return true;
}

/// Why it heard nothing yet although it will. Answers whether that is so.
bool explainQuiet(SubscriberReport& report, const ServerStatus& status, const Subscriber& subscriber) {
    if (subscriber.queued == 0 && status.counters.reported == 0) {
        report.finding = "Nothing was reported to the daemon yet, by a provider or by a client.";
        report.advice = "Make something happen: velmctl emit create CLASS NAME=VALUE";
    } else if (subscriber.queued == 0) {
        report.finding = fmt::format("None of the {} fits what it is subscribed to, or it subscribed later.",
                                     counted(status.counters.reported, "reported event"));
        report.advice = "Compare: velmctl dump shows what it is subscribed to, velmctl listen what happens.";
    } else if (subscriber.delivered == 0 && subscriber.waiting != 0) {
        report.finding =
            fmt::format("{} on the way: the daemon delivers once a second, one after the other.",
                        subscriber.waiting == 1 ? "1 indication is"
                                                : fmt::format("{} indications are", subscriber.waiting));
        report.advice = "Look again in a moment; a slow listener elsewhere delays all: velmctl status";
    } else {
        return false;
    }
    return true;
}

void explainWell(SubscriberReport& report, const Subscriber& subscriber) {
    if (subscriber.improperAnswers != 0) {
        report.finding = fmt::format("{} delivered, but not all were answered as they should be.",
                                     counted(subscriber.delivered, "indication"));
        report.advice =
            fmt::format("See the answer explained: velmctl ping-listener {}", addressOf(subscriber));
    } else if (subscriber.dropped != 0 || subscriber.failed != 0) {
        report.finding = "All is well now, but it has lost indications.";
        report.advice = "They are not sent again; the daemon's log names the times.";
    } else {
        report.finding = "All is well: what was queued for it was delivered.";
        report.advice = "To see what exactly: velmctl log on, then velmctl log tail --follow";
    }
}

std::string adviceForFailing(const Subscriber& subscriber) {
    if (subscriber.isChannel) {
        return "Close the connection and open the channel anew.";
    }
    const std::string address = addressOf(subscriber);
    return fmt::format(
        "Start the listener or mend it, then try: velmctl ping-listener {}\n"
        "To be rid of it: velmctl unsubscribe CLASS --to {} --session {}, with what velmctl dump shows of it",
        address, address, printable(subscriber.session));
}

SubscriberReport reportOf(const ServerStatus& status, const Subscriber& subscriber) {
    SubscriberReport report;
    report.name = nameOf(subscriber);
    addDetails(report, subscriber, status.now);
    if (subscriber.isFailing && !hasLeft(subscriber)) {
        report.finding = "What is sent to it does not arrive.";
        report.advice = adviceForFailing(subscriber);
        return report;
    }
    report.isWell = !explainAbsence(report, status, subscriber);
    if (report.isWell && !explainQuiet(report, status, subscriber)) {
        explainWell(report, subscriber);
    }
    return report;
}

SubscriberReport reportOf(const ServerStatus& status, const RemovedSubscriber& removed) {
    SubscriberReport report;
    report.name = nameOf(removed);
    report.details = {
        {"removed", fmt::format("{}: {}", agoText(status.now, removed.when), printable(removed.reason))},
        {"delivered", std::to_string(removed.delivered)},
        {"not delivered", fmt::format("{} failed, {} dropped", removed.failed, removed.dropped)}};
    addFailure(report, "last failure", removed.lastFailure, status.now);
    addDrop(report, removed.lastDrop, status.now);
    report.finding = "It is no longer subscribed.";
    report.advice = removed.isChannel
                        ? "Open the channel and subscribe again."
                        : fmt::format("Subscribe again: velmctl subscribe CLASS --to {}{}",
                                      HostPort{printable(removed.host), printable(removed.port)}.text(),
                                      sessionOption(removed.session));
    return report;
}

/// Subscribers that may have been meant: on the same port, or of another session.
std::vector<std::string> similarTo(const SubscriberName& name, const ServerStatus& status) {
    constexpr std::size_t most = 5;
    std::vector<std::string> similar;
    for (const Subscriber& subscriber : status.subscribers) {
        if (subscriber.port == name.address.port && similar.size() < most) {
            similar.push_back(nameOf(subscriber));
        }
    }
    return similar;
}

SubscriberReport reportOfNobody(const ServerStatus& status, const SubscriberName& name) {
    SubscriberReport report;
    report.name = printable(name.text());
    report.finding = "Nobody of this name is subscribed.";
    const auto similar = similarTo(name, status);
    if (!similar.empty()) {
        report.finding +=
            fmt::format(" There is {}; host and session count as they were given.", fmt::join(similar, ", "));
    }
    report.advice = fmt::format("Subscribe: velmctl subscribe CLASS --to {}{}",
                                printable(name.address.text()), sessionOption(name.session.value_or("1")));
    return report;
}

bool isBack(const ServerStatus& status, const RemovedSubscriber& removed) {
    const SubscriberName name{{removed.host, removed.port}, removed.session};
    return std::ranges::any_of(status.subscribers, [&](const auto& present) { return name.names(present); });
}

}  // namespace

std::vector<SubscriberReport> reportSubscribers(const ServerStatus& status, const SubscriberName& name) {
    std::vector<SubscriberReport> reports;
    for (const Subscriber& subscriber : status.subscribers) {
        if (name.names(subscriber)) {
            reports.push_back(reportOf(status, subscriber));
        }
    }
    for (const RemovedSubscriber& removed : status.removed) {
        if (name.names(removed) && !isBack(status, removed)) {
            reports.push_back(reportOf(status, removed));
        }
    }
    if (reports.empty()) {
        reports.push_back(reportOfNobody(status, name));
    }
    return reports;
}

}  // namespace velm
