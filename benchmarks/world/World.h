#pragma once

#include "CIMOM_Indications/CIMOMClassManager.h"
#include "Indications/IndicationManager.h"
#include "Indications/IndicationNotifier.h"
#include "foundation/services/IVELMServer.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

/// The library as a host runs it: real class tree, real manager with its threads, indications enabled.
namespace velm::bench {

inline constexpr const char* nameSpace = "root/kob/talmora";
inline constexpr const char* localHost = "server.example.org";
inline constexpr const char* localPort = "5988";

using SubscriberID = ORVSmrPtr<CSubscriberID>;
using InstanceName = ORVSmrPtr<IOrvoInstanceName>;
using Indication = ORVSmrPtr<IOrvoIndication>;

/// A subscriber whose real queue the real delivery thread empties once a second, and then forgets: what is
/// measured with it is routing and queueing, without the network.
class DrainedSubscriber : public CSubscriber {
public:
    explicit DrainedSubscriber(const SubscriberID& id) : CSubscriber(id, localHost, localPort, nullptr) {}
    IndicationList getIndications() override;
};

/// Sets the library up in this process and keeps it up. One at a time in a process.
class World {
public:
    /// Mirrors the classes of the schema file. The threads of the library run on `libraryCore`; the calling
    /// thread goes to the first core. Logs go to `folder`.
    World(const std::filesystem::path& schema, const std::filesystem::path& folder, int libraryCore);
    ~World();

    CIndicationManager& manager() { return *_manager; }

    /// Subscriber number `index`, made known to the manager as a DrainedSubscriber.
    SubscriberID addDrained(std::uint32_t index);

    void subscribeToChanges(const SubscriberID& id, const InstanceName& instance, bool classWide = false);
    void unsubscribeFromChanges(const SubscriberID& id, const InstanceName& instance, bool classWide = false);
    /// Creations of a class, or of the one instance.
    void subscribeToCreations(const SubscriberID& id, const ORVString& className);
    void subscribeToCreations(const SubscriberID& id, const InstanceName& instance);
    void unsubscribeFromCreations(const SubscriberID& id, const ORVString& className);
    void subscribeToAssociation(const SubscriberID& id, const ORVString& className, const InstanceName& one,
                                const InstanceName& two);

    /// Waits until the delivery thread has just ended a pass: it then sleeps for a second.
    void awaitPass();

    /// The names of the deepest class of the schema and of those above it, the nearest first.
    std::vector<ORVString> deepestLineage() const;
    /// The same for any class.
    std::vector<ORVString> lineageOf(const ORVString& className) const;

private:
    class NoProviders : public IVELMServer {
    public:
        ORVSmrPtr<ORVValSlist<ORVSmrPtr<OrvoProviderInfo>>> getProviders(InstanceName) override {
            return nullptr;
        }
        IProvider* _selectProvider(const ORVString&, const ORVString&) override { return nullptr; }
    };

    NoProviders _server;
    ORVSmrPtr<IOrvoRepository> _repository;
    std::unique_ptr<CIndicationManager> _manager;
};

SubscriberID subscriberID(std::uint32_t index);

}  // namespace velm::bench
