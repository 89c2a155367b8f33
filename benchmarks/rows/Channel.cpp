#include "benchmarks/harness/Placement.h"
#include "benchmarks/harness/ProcessTime.h"
#include "benchmarks/limits/AppendRendering.h"
#include "benchmarks/peers/PeerProcess.h"
#include "benchmarks/rows/Compare.h"
#include "benchmarks/rows/DeliveryRound.h"
#include "benchmarks/rows/Rows.h"
#include "benchmarks/world/Events.h"
#include "benchmarks/world/World.h"

#include <chrono>
#include <memory>
#include <thread>
#include <unistd.h>

#include <fmt/format.h>

// 3: messages on a persistent channel, against one write for each.

namespace velm::bench {

namespace {

/// A connection whose one end a reader on `core` holds.
struct Channel {
    explicit Channel(int core) {
        auto [mine, theirs] = connectedPair();
        end = std::move(mine);
        std::vector<Socket> connections;
        connections.push_back(std::move(theirs));
        readers = std::make_unique<ChannelReaders>(core, std::move(connections));
    }

    Socket end;
    std::unique_ptr<ChannelReaders> readers;
};

std::vector<Measurement> ours(const Session& session, Channel& channel, std::uint32_t count) {
    const auto world = std::make_shared<World>(session.options().schema, session.folder(), cores().first);
    const SubscriberID id(new CSubscriberID("client.example.org", "40000", 1));
    const ORVSmrPtr<CSubscriberNetworkConnection> connection(new CSubscriberNetworkConnection(
        ORVSmrPtr<ORVHTTPTransport>(new ORVHTTPTransport(channel.end.release()))));
    world->manager().registerNotificationChannel(id, localHost, localPort, connection, 0);
    world->subscribeToCreations(id, fileClass);
    Tally& tally = channel.readers->tally();
    while (tally.messages == 0) {
        // The answer to the registration has not come yet.
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return {[world, &tally, count] { return measureDelivery(*world, tally, count); }};
}

/// The bytes that the library sends for the event with this number.
std::string message(std::uint32_t index) {
    std::string body;
    appendDocument(fullEventText(index), "1000000", "20261120153342.000000+000", body);
    const std::string_view property =
        "<PROPERTY NAME=\"DeliveredOnChannel\" TYPE=\"boolean\"><VALUE>TRUE"
        "</VALUE></PROPERTY>";
    body.insert(body.rfind("</INSTANCE>"), property);
    return fmt::format(
        "HTTP/1.1 200 OK\r\n"
        "CIMOperation: MethodResponse\r\n"
        "Content-Type: application/xml; charset=\"utf-8\"\r\n"
        "Content-Length: {}\r\n\r\n{}",
        body.size(), body);
}

std::vector<Measurement> limit(Channel& channel, std::uint32_t count) {
    pinThread(cores().first);
    std::vector<std::string> messages;
    for (std::uint32_t index = 0; index < count; ++index) {
        messages.push_back(message(index));
    }
    return {[&channel, messages = std::move(messages)] {
        Tally& tally = channel.readers->tally();
        tally.reset();
        const double before = processTime();
        for (const std::string& text : messages) {
            sendAll(channel.end.get(), text);
        }
        const double spent = processTime() - before;
        while (tally.messages < messages.size()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        requireAll(tally, static_cast<std::uint32_t>(messages.size()));
        return Sample{tally.rate(), spent / static_cast<double>(messages.size()) * 1e9};
    }};
}

void measure(Session& session, int readerCore, const char* placement) {
    const auto count = session.sized<std::uint32_t>(20'000, 5000);
    Channel oursChannel(readerCore);
    Channel limitChannel(readerCore);
    Worker oursWorker([&] { return ours(session, oursChannel, count); });
    Worker limitWorker([&] { return limit(limitChannel, count); });
    const auto sides = measureInTurn(session.rounds(), {session.side(oursWorker), session.side(limitWorker)});
    session.add(rateRow({3, "messages on a persistent channel", placement}, sides[0].value, sides[1].value,
                        Target::atLeast(0.9, 1.0)));
}

}  // namespace

void measureChannel(Session& session) {
    for (const auto& [core, placement] : placements()) {
        session.attempt(3, fmt::format("channel, {}", placement), [&] { measure(session, core, placement); });
    }
}

}  // namespace velm::bench
