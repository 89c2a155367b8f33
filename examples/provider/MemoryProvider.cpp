// The memory of this machine as a CIM_ResourcePool, whose Reserved goes up and down.
#include "foundation/object_model/COrvoIndication.h"
#include "foundation/object_model/COrvoInstanceName.h"
#include "foundation/object_model/COrvoObject.h"
#include "foundation/object_model/COrvoType.h"
#include "foundation/object_model/COrvoValue.h"
#include "foundation/services/ProviderEntry.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <sys/sysinfo.h>
#include <thread>
#include <utility>

namespace {

using Name = ORVSmrPtr<IOrvoInstanceName>;
using Value = ORVSmrPtr<IOrvoValue>;
using Observer = ORVSmrPtr<IOrvoSubscriber>;
using Filter = ORVSmrPtr<IOrvoSubscriptionFilter>;
using Transaction = ORVSmrPtr<IOrvoTransaction>;
using Kind = IOrvoIndication::IndicationType;

template <class T>
ORVSmrPtr<ORVValSlist<T>> listOf(const T& element) {
    ORVSmrPtr<ORVValSlist<T>> list(new ORVValSlist<T>);
    list->append(element);
    return list;
}

class MemoryProvider : public velm::IProvider {
public:
    explicit MemoryProvider(const velm::ProviderContext& context)
        : _observer(context.observer),
          _name(new COrvoInstanceName(context.nameSpace, "CIM_ResourcePool", "InstanceID", "memory")),
          _thread([this](const std::stop_token& stop) { _watch(stop); }) {}

    ORVSmrPtr<ORVValSlist<ORVString>> getClassNames() override { return listOf(_name->getClassName()); }
    InstanceNames enumerateInstanceNames(const ORVString&, const ORVString&, Transaction) override {
        return listOf(_name);
    }
    ORVSmrPtr<IOrvoObject> getInstance(const ORVString&, Name name, Transaction) override {
        return name->toString() == _name->toString() ? _pool(bytesInUse()) : nullptr;
    }
    Value registerObserver(Name name, Observer, Kind kind, Filter filter, Transaction) override {
        return _countWatchers(_isServed(name, kind, filter), 1);
    }
    Value deregisterObserver(Name name, Observer, Kind kind, Filter filter, Transaction) override {
        return _countWatchers(_isServed(name, kind, filter), -1);
    }

private:
    static std::uint64_t bytesInUse() {
        struct sysinfo info {};
        sysinfo(&info);
        return std::uint64_t{info.totalram - info.freeram} * info.mem_unit;
    }

    ORVSmrPtr<IOrvoObject> _pool(std::uint64_t reserved) const {
        auto* pool = new COrvoObject(_name->getClassName(), _name);
        ORVSmrPtr<IOrvoObject> object(pool);
        pool->setProperty("InstanceID", Value(new COrvoValue("memory")));
        pool->setProperty("Reserved", Value(new COrvoValue(reserved, COrvoType::uint64)));
        return object;
    }

    // A name without keys stands for every pool; a null filter and "*" stand for every property.
    bool _isServed(const Name& name, Kind kind, const Filter& filter) const {
        const auto properties = filter.IsNull() ? listOf<ORVString>("*") : filter->getProperties();
        return kind == IOrvoIndication::IndicationChange &&
               (name->getKeyProperties() == "" || name->toString() == _name->toString()) &&
               (properties->contains("*") || properties->contains("Reserved"));
    }

    Value _countWatchers(bool accepted, int step) {
        const std::lock_guard guard(_lock);
        _watchers += accepted ? step : 0;
        _changed.notify_one();
        return Value(new COrvoValue(accepted));
    }

    // Asleep while nobody wants to hear of changes.
    void _watch(const std::stop_token& stop) {
        std::uint64_t last = bytesInUse();
        std::unique_lock lock(_lock);
        while (_changed.wait(lock, stop, [this] { return _watchers > 0; }) && !stop.stop_requested()) {
            lock.unlock();
            if (const auto now = bytesInUse(); now != std::exchange(last, now)) {
                _observer->notify(ORVSmrPtr<IOrvoIndication>(new COrvoIndication(
                    _pool(now), IOrvoIndication::IndicationChange, listOf<ORVString>("Reserved"), nullptr,
                    IOrvoIndication::IntentReport, nullptr, false)));
            }
            lock.lock();
            _changed.wait_for(lock, stop, std::chrono::milliseconds(250), [this] { return _watchers == 0; });
        }
    }

    const Observer _observer;
    const Name _name;
    std::mutex _lock;
    std::condition_variable_any _changed;
    int _watchers = 0;
    std::jthread _thread;
};

velm::IProvider* create(const velm::ProviderContext& context) {
    return new MemoryProvider(context);
}

}  // namespace

extern "C" VELM_EXPORT const velm::ProviderDescription* velm_provider() {
    static const velm::ProviderDescription description{velm::providerInterfaceVersion, "memory", &create};
    return &description;
}
