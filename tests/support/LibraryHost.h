#pragma once

#include "Indications/IndicationManager.h"
#include "Indications/IndicationNotifier.h"
#include "foundation/services/IVELMServer.h"
#include "tests/support/ModelBuilders.h"
#include "tests/support/ScriptedListener.h"

#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace velm::test {

/// A host without providers, with the library up and indications enabled. The delivery thread runs.
class LibraryHost {
public:
    /// Mirrors these pairs of class and superclass.
    explicit LibraryHost(const std::vector<std::pair<std::string, std::string>>& classes);
    explicit LibraryHost(const ORVSmrPtr<IOrvoRepository>& repository);
    ~LibraryHost();

    static ORVSmrPtr<CSubscriberID> idOf(const ScriptedListener& listener, std::uint32_t session = 1);

    /// Subscribes to creations (or another kind) of a class.
    void subscribe(const ORVSmrPtr<CSubscriberID>& id, const ORVString& className,
                   IOrvoIndication::IndicationType type = IOrvoIndication::IndicationCreation);
    /// Subscribes to changes of every instance of a class.
    void subscribeChanges(const ORVSmrPtr<CSubscriberID>& id, const ORVString& className);

    void report(const ORVString& className, const ORVString& id,
                IOrvoIndication::IndicationType type = IOrvoIndication::IndicationCreation);

    bool isKnown(const ORVSmrPtr<CSubscriberID>& id) const;

    std::unique_ptr<CIndicationManager> manager;

private:
    class NoProviders : public IVELMServer {
    public:
        ORVSmrPtr<ORVValSlist<ORVSmrPtr<OrvoProviderInfo>>> getProviders(
            ORVSmrPtr<IOrvoInstanceName>) override {
            return nullptr;
        }
        IProvider* _selectProvider(const ORVString&, const ORVString&) override { return nullptr; }
    };

    NoProviders _server;
    ORVSmrPtr<IOrvoRepository> _repository;
};

}  // namespace velm::test
