// Reports the creation of many instances of one class, one after the other, as fast as it can. It begins when
// the file "go" appears in the folder that its argument names; the file says how many.
#include "benchmarks/world/Events.h"
#include "foundation/services/ProviderEntry.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

namespace {

class BurstProvider : public velm::IProvider {
public:
    explicit BurstProvider(const velm::ProviderContext& context)
        : _thread([observer = context.observer, folder = std::filesystem::path(context.argument.data())](
                      const std::stop_token& stop) { _run(stop, observer, folder / "go"); }) {}

    ORVSmrPtr<IOrvoValue> registerObserver(ORVSmrPtr<IOrvoInstanceName>, ORVSmrPtr<IOrvoSubscriber>,
                                           IOrvoIndication::IndicationType,
                                           ORVSmrPtr<IOrvoSubscriptionFilter>,
                                           ORVSmrPtr<IOrvoTransaction>) override {
        return nullptr;
    }
    ORVSmrPtr<IOrvoValue> deregisterObserver(ORVSmrPtr<IOrvoInstanceName>, ORVSmrPtr<IOrvoSubscriber>,
                                             IOrvoIndication::IndicationType,
                                             ORVSmrPtr<IOrvoSubscriptionFilter>,
                                             ORVSmrPtr<IOrvoTransaction>) override {
        return nullptr;
    }
    ORVSmrPtr<IOrvoObject> getInstance(const ORVString&, ORVSmrPtr<IOrvoInstanceName>,
                                       ORVSmrPtr<IOrvoTransaction>) override {
        return nullptr;
    }

private:
    static void _run(const std::stop_token& stop, const ORVSmrPtr<IOrvoSubscriber>& observer,
                     const std::filesystem::path& go) {
        std::uint32_t count = 0;
        while (!stop.stop_requested() && !(std::ifstream(go) >> count)) {
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        for (std::uint32_t index = 0; index < count && !stop.stop_requested(); ++index) {
            observer->notify(velm::bench::fullEvent(index, velm::bench::burstClass));
        }
    }

    std::jthread _thread;
};

velm::IProvider* create(const velm::ProviderContext& context) {
    return new BurstProvider(context);
}

}  // namespace

extern "C" VELM_EXPORT const velm::ProviderDescription* velm_provider() {
    static const velm::ProviderDescription description{velm::providerInterfaceVersion, "burst", &create};
    return &description;
}
