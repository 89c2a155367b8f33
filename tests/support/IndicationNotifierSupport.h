#pragma once

#include "Indications/IndicationNotifierDelivery.h"
#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/subscribers/CSubscriber.h"
#include "foundation/subscribers/ISubscriberManager.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

/// What the notifier's tests share: a manager that remembers, subscribers at real sockets, and the notifier's
/// inner steps.
namespace velm::test {

inline constexpr std::chrono::milliseconds patience{10000};

/// A manager that keeps a list of subscribers and remembers what it was asked. Any thread may call it.
class RecordingManager : public ISubscriberManager {
public:
    using Clock = std::chrono::steady_clock;

    struct Removal {
        std::string subscriber;  ///< CSubscriberID::toString()
        bool informConnectionMonitor;
        bool cleanupDeletedSubscribers;
        bool operator==(const Removal&) const = default;
    };

    /// Called in each removal, before it is noted. Set before the manager is shared.
    std::function<void()> duringRemoval = [] {};

    /// Adds to the list; a null handle stays in it as such.
    void add(const ORVSmrPtr<CSubscriber>& subscriber);

    void removeSubscriber(const CSubscriberID& subscriberID, bool informConnectionMonitor,
                          bool cleanupDeletedSubscribers) override;
    void checkSubscriberStatus() override {}
    ORVSmrPtr<ORVValSlist<ORVSmrPtr<CSubscriber>>> getCurrentSubscribers() override;

    std::vector<Removal> removals() const;
    /// When the list was asked for.
    std::vector<Clock::time_point> passes() const;
    bool waitForPasses(std::size_t count) const;

private:
    mutable std::mutex _mutex;
    mutable std::condition_variable _changed;
    ORVValSlist<ORVSmrPtr<CSubscriber>> _subscribers;
    std::vector<Removal> _removals;
    std::vector<Clock::time_point> _passes;
};

bool everyHostIsRemote(const ORVString& host, int addressFamily);

/// A notifier that tells remote subscribers as the test says, and names its inner steps.
class TestNotifier : public CIndicationNotifier {
public:
    using CDelivery = CIndicationNotifier::CDelivery;
    using LocalAddressTest = CIndicationNotifier::LocalAddressTest;

    TestNotifier(const ORVSmrPtr<ISubscriberManager>& manager, LocalAddressTest isLocalAddress)
        : CIndicationNotifier(manager, isLocalAddress) {}
};

/// The thread's steps, one by one and on the calling thread.
class Delivery : public TestNotifier::CDelivery {
public:
    using CDelivery::_fire;
    using CDelivery::_fireindications;
    using CDelivery::_logIndication;
    using CDelivery::_pass;
    using CDelivery::_requireResponseStream;
    using CDelivery::CDelivery;

    bool fire(ORVSmrPtr<CSubscriber> subscriber, ORVSmrPtr<IOrvoIndication> indication) {
        return _fire(subscriber, indication);
    }
};

/// A manager that owns itself as the real one does: the handles that it gave away refer to nothing after its
/// end.
class SelfOwned {
public:
    SelfOwned() : self(static_cast<ISubscriberManager*>(&manager)) {}
    SelfOwned(const SelfOwned&) = delete;
    SelfOwned& operator=(const SelfOwned&) = delete;
    ~SelfOwned() { self.Set(nullptr); }

    RecordingManager manager;
    ORVSmrPtr<ISubscriberManager> self;
};

/// A manager and its notifier, which end in the order of the real ones.
class Host {
public:
    explicit Host(TestNotifier::LocalAddressTest isLocalAddress)
        : notifier(new TestNotifier(_owned.self, isLocalAddress)) {}
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;
    ~Host();

    RecordingManager& manager() { return _owned.manager; }

private:
    SelfOwned _owned;

public:
    ORVSmrPtr<CIndicationNotifier> notifier;
};

/// The far end of a persistent channel: a client's connected socket.
class ChannelPeer {
public:
    ChannelPeer();
    ChannelPeer(const ChannelPeer&) = delete;
    ChannelPeer& operator=(const ChannelPeer&) = delete;
    ~ChannelPeer();

    /// The server's end.
    ORVSmrPtr<CSubscriberNetworkConnection> connection() const { return _connection; }

    /// What has come in once it ends with `end`; what there is at the deadline otherwise.
    std::string receiveUntil(const std::string& end) const;

    void close();
    void reset();

private:
    int _socket = -1;
    ORVSmrPtr<CSubscriberNetworkConnection> _connection;
};

/// A subscriber that listens at 127.0.0.1, or has `connection`. The server's address for it is
/// server.example:5989.
ORVSmrPtr<CSubscriber> subscriberAt(const std::string& port,
                                    const ORVSmrPtr<CSubscriberNetworkConnection>& connection = nullptr,
                                    const std::string& host = "127.0.0.1");

/// An indication of an object's creation whose only property holds `size` bytes of text.
ORVSmrPtr<IOrvoIndication> creation(std::size_t size = 10);

/// An indication without an object: no message can be made of it, and no text.
ORVSmrPtr<IOrvoIndication> unsendable();

using Indications = std::vector<ORVSmrPtr<IOrvoIndication>>;
CSubscriber::IndicationList batch(const Indications& indications);
void queue(const ORVSmrPtr<CSubscriber>& subscriber, const Indications& indications);

/// How many delivery threads this process has now.
std::size_t deliveryThreadCount();
bool waitForDeliveryThreads(std::size_t count, std::chrono::milliseconds deadline = patience);

}  // namespace velm::test
