#include "velmctl/commands/StatusText.h"

#include "velmctl/client/ClientError.h"
#include "velmctl/output/Text.h"
#include "velmctl/output/TextTable.h"

#include <algorithm>
#include <numeric>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace velm {

namespace {

using namespace status;
using std::chrono::duration_cast;
using std::chrono::seconds;
using Lines = std::vector<std::string>;

constexpr std::size_t shownName = 60;
constexpr std::size_t shownSubject = 120;

void append(Lines& lines, Lines more) {
    std::move(more.begin(), more.end(), std::back_inserter(lines));
}

std::uint64_t sumOf(const std::map<std::string, std::uint64_t>& counts) {
    return std::accumulate(counts.begin(), counts.end(), std::uint64_t{0},
                           [](std::uint64_t sum, const auto& count) { return sum + count.second; });
}

Lines healthLines(const ServerStatus& status, const StatusView& view, const Output& output) {
    const std::string health =
        status.isReady ? output.coloured(Colour::green, "ready") : output.coloured(Colour::red, "not ready");
    const std::string compiler =
        status.compiler.empty() ? "" : fmt::format(" ({})", printable(status.compiler));
    Lines lines{fmt::format(
        "{}{} at {}: {}, up {}", output.coloured(Colour::bold, "velmd " + printable(status.version)),
        compiler, view.server, health, spanText(duration_cast<seconds>(status.now - status.started)))};
    if (!status.isReady) {
        for (const std::string& line : wrapped("Not ready: " + printable(status.notReady), view.width)) {
            lines.push_back(output.coloured(Colour::red, line));
        }
    }
    const std::string load =
        fmt::format("{} classes, {}, {}, {} under way, log {}", status.classes,
                    counted(status.providers.size(), "provider"), counted(status.connections, "connection"),
                    counted(status.requestsUnderWay, "request"), status.logsIndications ? "on" : "off");
    append(lines, wrapped(load, view.width));
    if (!status.indicationsEnabled) {
        lines.push_back(output.coloured(Colour::red, "Indications are switched off: nobody hears anything."));
    }
    return lines;
}

std::int64_t stepOf(const ServerStatus& status) {
    return std::max<std::int64_t>(1, status.rateStep.count());
}

/// How many steps the last minute has; fewer right after the start.
std::size_t stepsOfLastMinute(const ServerStatus& status) {
    const auto wanted = static_cast<std::size_t>(std::max<std::int64_t>(1, 60 / stepOf(status)));
    return std::min(wanted, status.rates.size());
}

/// The mean of the steps of the last minute.
Rate lastMinute(const ServerStatus& status) {
    const std::size_t count = stepsOfLastMinute(status);
    Rate mean;
    for (std::size_t index = status.rates.size() - count; index < status.rates.size(); ++index) {
        const double share = 1.0 / static_cast<double>(count);
        mean.reported += status.rates[index].reported * share;
        mean.delivered += status.rates[index].delivered * share;
        mean.failed += status.rates[index].failed * share;
        mean.dropped += status.rates[index].dropped * share;
    }
    return mean;
}

std::string spanOfRates(const ServerStatus& status) {
    const auto span = stepOf(status) * static_cast<std::int64_t>(stepsOfLastMinute(status));
    return span < 60 ? fmt::format("last {} s", span) : "last minute";
}

std::string rateText(double rate) {
    return rate == 0 ? "0/s" : rate < 10 ? fmt::format("{:.2f}/s", rate) : fmt::format("{:.0f}/s", rate);
}

std::string countsText(const char* what, const std::map<std::string, std::uint64_t>& counts) {
    Lines parts;
    for (const auto& [name, count] : counts) {
        if (count != 0) {
            parts.push_back(fmt::format("{} {}", printable(name), count));
        }
    }
    return parts.empty() ? "" : fmt::format("{}: {}", what, fmt::join(parts, ", "));
}

Lines countLines(const ServerStatus& status, const StatusView& view, const Output& output) {
    const Counters& counters = status.counters;
    const Rate rate = lastMinute(status);
    TextTable table({{"INDICATIONS"},
                     {"reported", true},
                     {"matched", true},
                     {"queued", true},
                     {"delivered", true},
                     {"failed", true},
                     {"dropped", true}});
    table.add({"since the start", counters.reported, counters.matched, counters.queued, counters.delivered,
               sumOf(counters.failed), sumOf(counters.dropped)});
    if (!status.rates.empty()) {
        table.add({spanOfRates(status), rateText(rate.reported), "-", "-", rateText(rate.delivered),
                   rateText(rate.failed), rateText(rate.dropped)});
    }
    for (const std::string& note :
         {countsText("failed", counters.failed), countsText("dropped", counters.dropped),
          countsText("subscribers removed", counters.removed)}) {
        if (!note.empty()) {
            table.addNote(note, Colour::yellow);
        }
    }
    return table.lines(view.width, output);
}

/// The bound below which this share of all deliveries stayed.
std::string withinText(const Latency& latency, double share) {
    const double all =
        static_cast<double>(std::accumulate(latency.counts.begin(), latency.counts.end(), latency.beyond));
    std::uint64_t sum = 0;
    for (std::size_t index = 0; index < std::min(latency.bounds.size(), latency.counts.size()); ++index) {
        sum += latency.counts[index];
        if (static_cast<double>(sum) >= share * all) {
            return fmt::format("within {:g} s", latency.bounds[index]);
        }
    }
    return fmt::format("in more than {:g} s", latency.bounds.empty() ? 0.0 : latency.bounds.back());
}

Lines latencyLines(const Latency& latency) {
    if (latency.beyond == 0 && std::ranges::all_of(latency.counts, [](auto count) { return count == 0; })) {
        return {};
    }
    return {fmt::format("Delivered after the report: half {}, 99 of 100 {}.", withinText(latency, 0.5),
                        withinText(latency, 0.99))};
}

constexpr std::size_t observersShown = 4;

/// What the provider says that it watches, and what it was asked to watch.
std::string watchesText(const Provider& provider, Time now) {
    Lines parts;
    for (const std::string& thing : provider.watched) {
        parts.push_back(shortened(printable(thing), shownName));
    }
    const std::size_t count = std::min(provider.observers.size(), observersShown);
    for (std::size_t index = 0; index < count; ++index) {
        const Observer& observer = provider.observers[index];
        parts.push_back(fmt::format("{} ({}, since {})", shortened(printable(observer.subject), shownSubject),
                                    printable(observer.indication), agoText(now, observer.since)));
    }
    if (const std::uint64_t rest = provider.observersLeftOut + provider.observers.size() - count; rest > 0) {
        parts.push_back(fmt::format("{} more", rest));
    }
    return parts.empty() ? "" : fmt::format("watches {}", fmt::join(parts, ", "));
}

Lines providerLines(const ServerStatus& status, const StatusView& view, const Output& output) {
    if (status.providers.empty()) {
        return {};
    }
    TextTable table({{"PROVIDER"},
                     {"classes", true},
                     {"reported", true},
                     {"refused", true},
                     {"calls", true},
                     {"failed calls", true}});
    for (const Provider& provider : status.providers) {
        table.add({shortened(printable(provider.name), shownName), provider.classes.size(), provider.reported,
                   provider.refused, provider.calls, provider.failedCalls});
        if (const std::string watches = watchesText(provider, status.now); !watches.empty()) {
            table.addNote(watches, Colour::faint);
        }
        if (provider.lastFailure) {
            table.addNote(failureText(*provider.lastFailure, status.now), Colour::red);
        }
    }
    Lines lines{""};
    append(lines, table.lines(view.width, output));
    return lines;
}

bool isFailing(const Subscriber& subscriber) {
    return subscriber.isFailing && !hasLeft(subscriber);
}

TextTable::Cell stateOf(const Subscriber& subscriber) {
    if (hasLeft(subscriber)) {
        return {"left", Colour::faint};
    }
    if (subscriber.isFailing) {
        return {"failing", Colour::red};
    }
    if (!subscriber.lastDelivery) {
        return {"new", Colour::yellow};
    }
    return {"ok", Colour::green};
}

std::string withForm(const std::string& name, bool isChannel) {
    return isChannel ? name + " channel" : name;
}

void addSubscriber(TextTable& table, const Subscriber& subscriber, Time now) {
    table.add({withForm(nameOf(subscriber), subscriber.isChannel), stateOf(subscriber), subscriber.waiting,
               subscriber.delivered, subscriber.failed + subscriber.dropped,
               subscriber.lastDelivery ? agoText(now, *subscriber.lastDelivery) : "never"});
    if (isFailing(subscriber) && subscriber.lastFailure) {
        table.addNote(failureText(*subscriber.lastFailure, now), Colour::red);
    }
    if (isFailing(subscriber) && subscriber.lastDrop) {
        table.addNote(dropText(*subscriber.lastDrop, now), Colour::yellow);
    }
}

/// Those that need somebody first, and those that left last.
std::vector<const Subscriber*> inOrder(const std::vector<Subscriber>& subscribers) {
    std::vector<const Subscriber*> order;
    for (const Subscriber& subscriber : subscribers) {
        order.push_back(&subscriber);
    }
    const auto rank = [](const Subscriber& subscriber) {
        return hasLeft(subscriber) ? 2 : subscriber.isFailing ? 0 : 1;
    };
    std::ranges::stable_sort(order, [rank](const Subscriber* left, const Subscriber* right) {
        return std::tuple(rank(*left), right->waiting) < std::tuple(rank(*right), left->waiting);
    });
    return order;
}

Lines headcountLines(const ServerStatus& status, const StatusView& view) {
    const auto left = std::ranges::count_if(status.subscribers, hasLeft);
    const auto present = std::ssize(status.subscribers) - left;
    const std::string more = left == 0 ? "" : fmt::format(" (+ {} that left)", left);
    if (present == 0) {
        return wrapped(fmt::format("Nobody is subscribed{}. velmctl listen hears everything; velmctl "
                                   "subscribe is for a listener of your own.",
                                   more),
                       view.width);
    }
    return left == 0 ? Lines{}
                     : Lines{counted(static_cast<std::uint64_t>(present), "subscriber") + more + ":"};
}

Lines subscriberLines(const ServerStatus& status, const StatusView& view, const Output& output) {
    Lines lines{""};
    append(lines, headcountLines(status, view));
    if (status.subscribers.empty()) {
        return lines;
    }
    TextTable table(
        {{"SUBSCRIBER"}, {"state"}, {"queue", true}, {"delivered", true}, {"lost", true}, {"last delivery"}});
    std::size_t room = view.maxSubscribers;
    std::size_t hidden = 0;
    for (const Subscriber* subscriber : inOrder(status.subscribers)) {
        if (isFailing(*subscriber) || room > 0) {
            addSubscriber(table, *subscriber, status.now);
            room -= isFailing(*subscriber) ? 0 : 1;
        } else {
            ++hidden;
        }
    }
    append(lines, table.lines(view.width, output));
    if (hidden != 0) {
        lines.push_back(fmt::format("... and {} that do not fail; --all shows them", hidden));
    }
    return lines;
}

Lines removedLines(const ServerStatus& status, const StatusView& view, const Output& output) {
    if (status.removed.empty()) {
        return {};
    }
    TextTable table({{"REMOVED"}, {"when"}, {"why"}, {"delivered", true}, {"lost", true}});
    for (const RemovedSubscriber& subscriber : status.removed) {
        table.add({withForm(nameOf(subscriber), subscriber.isChannel), agoText(status.now, subscriber.when),
                   printable(subscriber.reason), subscriber.delivered,
                   subscriber.failed + subscriber.dropped});
        if (subscriber.lastFailure) {
            table.addNote(failureText(*subscriber.lastFailure, status.now), Colour::yellow);
        }
        if (subscriber.lastDrop) {
            table.addNote(dropText(*subscriber.lastDrop, status.now), Colour::yellow);
        }
    }
    Lines lines{""};
    append(lines, table.lines(view.width, output));
    return lines;
}

}  // namespace

SubscriberName SubscriberName::parse(std::string_view text) {
    const auto slash = text.rfind('/');
    SubscriberName name{HostPort::parse(text.substr(0, slash)), {}};
    if (slash != std::string_view::npos) {
        name.session = text.substr(slash + 1);
        if (name.session->empty() || name.session->find_first_not_of("0123456789") != std::string::npos) {
            throw ClientError(ClientError::Kind::badAddress,
                              fmt::format("'{}' is not HOST:PORT/SESSION, where SESSION is a number",
                                          printable(shortened(text, shownName))));
        }
    }
    return name;
}

std::string SubscriberName::text() const {
    return session ? fmt::format("{}/{}", address.text(), *session) : address.text();
}

template <class Subscriber>
std::string nameOf(const Subscriber& subscriber) {
    const HostPort address{shortened(printable(subscriber.host), shownName), printable(subscriber.port)};
    return fmt::format("{}/{}", address.text(), printable(subscriber.session));
}
template std::string nameOf(const Subscriber&);
template std::string nameOf(const RemovedSubscriber&);

std::string agoText(Time now, Time time) {
    const auto span = duration_cast<seconds>(now - time);
    const std::string text = spanText(span);
    const std::string largestUnit = text.substr(0, text.find(' ', text.find(' ') + 1));
    return span < seconds(1) ? "now" : largestUnit + " ago";
}

std::string dropText(const Failure& drop, Time now) {
    return fmt::format("{} ({})", printable(drop.text), agoText(now, drop.last));
}

std::string failureText(const Failure& failure, Time now) {
    const std::string last = agoText(now, failure.last);
    if (failure.count < 2) {
        return fmt::format("{} ({})", printable(failure.text), last);
    }
    return fmt::format("{} ({} times since {}, last {})", printable(failure.text), failure.count,
                       agoText(now, failure.since), last);
}

bool hasLeft(const Subscriber& subscriber) {
    return subscriber.subscriptions == 0 && subscriber.waiting == 0;
}

bool isHealthy(const ServerStatus& status) {
    return status.isReady && status.indicationsEnabled;
}

std::vector<std::string> statusLines(const ServerStatus& status, const StatusView& view,
                                     const Output& output) {
    Lines lines = healthLines(status, view, output);
    lines.emplace_back();
    append(lines, countLines(status, view, output));
    append(lines, latencyLines(status.latency));
    append(lines, providerLines(status, view, output));
    append(lines, subscriberLines(status, view, output));
    append(lines, removedLines(status, view, output));
    return lines;
}

}  // namespace velm
