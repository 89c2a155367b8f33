#include "benchmarks/peers/PeerProcess.h"
#include "benchmarks/peers/Velmd.h"
#include "benchmarks/rows/Compare.h"
#include "benchmarks/rows/Rows.h"
#include "benchmarks/world/Events.h"

#include <algorithm>
#include <chrono>
#include <fstream>
#include <thread>

#include <fmt/format.h>

// 17: a burst of events through the daemon, to listeners and channels.

namespace velm::bench {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t listenerCount = 10;
constexpr std::uint32_t channelCount = 2;
constexpr auto silence = 20s;

std::string value(const std::string& text) {
    return "<VALUE>" + text + "</VALUE>";
}

Velmd::Parameters subscriber(std::uint16_t port, std::uint32_t session) {
    return {{"SubscriberHost", value("127.0.0.1")},
            {"SubscriberPort", value(std::to_string(port))},
            {"SessionID", value(std::to_string(session))}};
}

void createClass(Velmd& velmd) {
    std::string properties;
    for (const FullEventText::Property& property : fullEventText(0).properties) {
        const char* key = property.name == "Id"
                              ? "<QUALIFIER NAME=\"Key\" TYPE=\"boolean\"><VALUE>TRUE</VALUE></QUALIFIER>"
                              : "";
        properties +=
            fmt::format("<PROPERTY NAME=\"{}\" TYPE=\"{}\">{}</PROPERTY>", property.name, property.type, key);
    }
    velmd.call("CreateClass",
               {{"NewClass", fmt::format("<CLASS NAME=\"{}\">{}</CLASS>", burstClass, properties)}});
}

void subscribe(Velmd& velmd, Velmd::Parameters parameters) {
    parameters.emplace_back("IndicationType", value("Creation"));
    parameters.emplace_back("ClassName", fmt::format("<CLASSNAME NAME=\"{}\"/>", burstClass));
    velmd.call("Subscribe", parameters);
}

/// Everything that the burst arrives at.
class Receivers {
public:
    explicit Receivers(Velmd& velmd) : _listeners(anyCore, listenerCount) {
        std::vector<Socket> connections;
        for (std::uint32_t session = 1; session <= channelCount; ++session) {
            connections.push_back(velmd.call("RegisterNotificationChannel", subscriber(1, session)));
            subscribe(velmd, subscriber(1, session));
        }
        _channels = std::make_unique<ChannelReaders>(anyCore, std::move(connections));
        for (std::size_t index = 0; index < listenerCount; ++index) {
            subscribe(velmd, subscriber(_listeners.port(index), 1));
        }
        for (std::size_t index = 0; index < listenerCount; ++index) {
            _tallies.push_back(&_listeners.tally(index));
        }
        for (std::uint32_t index = 0; index < channelCount; ++index) {
            _tallies.push_back(&_channels->tally(index));
        }
    }

    std::uint64_t arrived() const {
        std::uint64_t sum = 0;
        for (const Tally* tally : _tallies) {
            sum += tally->messages;
        }
        return sum;
    }

    /// Messages lost, doubled or out of order: a message that is not the next one counts, and so does what is
    /// missing at the end.
    std::uint64_t wrong(std::uint32_t events) const {
        std::uint64_t sum = 0;
        for (const Tally* tally : _tallies) {
            const std::uint64_t messages = tally->messages;
            sum += tally->outOfOrder + std::max<std::uint64_t>(messages, events) -
                   std::min<std::uint64_t>(messages, events);
        }
        return sum;
    }

    double rate() const {
        std::int64_t first = _tallies.front()->first;
        std::int64_t latest = 0;
        for (const Tally* tally : _tallies) {
            first = std::min<std::int64_t>(first, tally->first);
            latest = std::max<std::int64_t>(latest, tally->latest);
        }
        return static_cast<double>(arrived()) * 1e9 /
               static_cast<double>(std::max<std::int64_t>(1, latest - first));
    }

private:
    Listeners _listeners;
    std::unique_ptr<ChannelReaders> _channels;
    std::vector<Tally*> _tallies;
};

/// Waits until everything is there, nothing has moved for a while, or no time is left.
void awaitBurst(const Session& session, const Receivers& receivers, std::uint64_t wanted) {
    auto lastMove = Clock::now();
    for (std::uint64_t last = 0; last < wanted && Clock::now() - lastMove < silence;) {
        if (Clock::now() > session.deadline()) {
            throw OutOfTime(
                fmt::format("out of time with {} of {} delivered, {}", formatCount(static_cast<double>(last)),
                            formatCount(static_cast<double>(wanted)), formatRate(receivers.rate())));
        }
        std::this_thread::sleep_for(50ms);
        const std::uint64_t now = receivers.arrived();
        if (now != last) {
            last = now;
            lastMove = Clock::now();
        }
    }
    // Whatever comes twice comes late.
    std::this_thread::sleep_for(1500ms);
}

void measure(Session& session) {
    const auto events = session.sized<std::uint32_t>(100'000, 1000);
    Velmd velmd(session.options().velmd, session.options().provider, session.folder());
    createClass(velmd);
    const Receivers receivers(velmd);
    std::ofstream(session.folder() / "go") << events << std::endl;
    awaitBurst(session, receivers, std::uint64_t{events} * (listenerCount + channelCount));
    session.add(
        Row{.number = 17,
            .what = fmt::format("burst of {}, 10 listeners and 2 channels, wrong", formatCount(events)),
            .placement = "any core",
            .ours = formatRate(receivers.rate()),
            .limit = "",
            .ratio = Series({static_cast<double>(receivers.wrong(events))}),
            .target = Target::atMost(0, 0)});
}

}  // namespace

void measureBurst(Session& session) {
    session.attempt(17, "burst through velmd", [&] { measure(session); });
}

}  // namespace velm::bench
