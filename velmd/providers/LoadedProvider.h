#pragma once

#include "velmd/providers/GatedProvider.h"
#include "velmd/providers/ProviderLibrary.h"
#include "velmd/providers/ReportGate.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace velm {

/// What the server gives to its providers.
struct ProviderHost {
    /// The indication library's observer.
    ORVSmrPtr<IOrvoSubscriber> observer;
    /// The one namespace that providers serve.
    ORVString nameSpace;
    /// Finds the classes that reports are checked against; called on any thread until the gates are closed.
    ObjectNames::FindNamespace findNamespace;
    /// The configured argument of the provider with this name; empty where there is none.
    std::function<ORVString(std::string_view providerName)> argumentOf;
};

/// A provider that runs, its gate and its shared object.
///
/// Threads: constructed and destroyed by one thread; the provider and its gate may be used by any. The
/// destructor deletes the provider, closes the gate, then the shared object.
class LoadedProvider {
public:
    /// `file` is where the library came from. Throws std::runtime_error, whose text says why the provider
    /// cannot work.
    LoadedProvider(ProviderLibrary library, std::filesystem::path file, const ProviderHost& host);

    const std::string& name() const noexcept { return _library.name(); }
    const std::filesystem::path& file() const noexcept { return _file; }
    /// As the provider spells them; none for a provider that only reports.
    const std::vector<std::string>& classNames() const noexcept { return _classNames; }
    bool serves(std::string_view className) const noexcept;
    /// Has the provider not serve this class. Requires: nobody else uses it yet.
    void giveUp(std::string_view className);
    /// To be called in its place.
    IProvider& provider() noexcept { return _gated; }
    ReportGate& gate() noexcept { return *_gate; }
    /// What was called in the provider so far.
    const GatedProvider& calls() const noexcept { return _gated; }
    /// What it was asked to watch.
    const ObserverTable& observers() const noexcept { return _observers; }
    /// What it says that it watches; empty when it says nothing.
    std::vector<std::string> watched() const;

private:
    struct CloseGate {
        void operator()(ReportGate* gate) const { gate->close(); }
    };

    ProviderLibrary _library;
    const std::filesystem::path _file;
    ObserverTable _observers;
    const ORVSmrPtr<IOrvoSubscriber> _gateHandle;
    const std::unique_ptr<ReportGate, CloseGate> _gate;
    const std::unique_ptr<IProvider> _provider;
    GatedProvider _gated;
    std::vector<std::string> _classNames;
};

}  // namespace velm
