// The memory of this machine as a CIM_ResourcePool, whose Reserved goes up and down.
#include "foundation/services/SimpleProvider.h"

#include <sys/sysinfo.h>
#include <thread>

namespace {

class MemoryProvider : public velm::SimpleProvider {
public:
    explicit MemoryProvider(const velm::ProviderContext& context)
        : SimpleProvider(context, "CIM_ResourcePool"),
          _name(nameOf("InstanceID", "memory")),
          _thread([this](const std::stop_token& stop) { _watch(stop); }) {}

    std::vector<Name> names() override { return {_name}; }
    Object instance(const Name& name) override {
        return name->toString() == _name->toString() ? _pool(bytesInUse()) : nullptr;
    }

private:
    static std::uint64_t bytesInUse() {
        struct sysinfo info {};
        sysinfo(&info);
        return std::uint64_t{info.totalram - info.freeram} * info.mem_unit;
    }

    Object _pool(std::uint64_t reserved) const {
        return objectOf(_name, {{"Reserved", Value(new COrvoValue(reserved, COrvoType::uint64))}});
    }

    void _watch(const std::stop_token& stop) {
        for (std::uint64_t last = bytesInUse(); awaitInterest(stop);) {
            if (const auto now = bytesInUse(); now != std::exchange(last, now)) {
                reportChange(_pool(now), {"Reserved"});
            }
            pause(stop, std::chrono::milliseconds(250));
        }
    }

    const Name _name;
    const std::jthread _thread;
};

velm::IProvider* create(const velm::ProviderContext& context) {
    return new MemoryProvider(context);
}

}  // namespace

extern "C" VELM_EXPORT const velm::ProviderDescription* velm_provider() {
    static const velm::ProviderDescription description{velm::providerInterfaceVersion, "memory", &create};
    return &description;
}
