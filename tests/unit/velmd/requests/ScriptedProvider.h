#pragma once

#include "foundation/services/IProvider.h"

#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace velm::test {

using Name = ORVSmrPtr<IOrvoInstanceName>;
using Object = ORVSmrPtr<IOrvoObject>;
using Value = ORVSmrPtr<IOrvoValue>;
using Members = std::vector<std::pair<const char*, Value>>;

Value text(const char* value);
Value number(std::uint64_t value, const ORVSmrPtr<IOrvoType>& type);
Value referenceTo(const Name& name);
Name named(const char* nameSpace, const char* className, const Members& keys);
Object objectWith(const char* className, const Name& name, const Members& properties);

/// A provider of the objects that a test gives it. Any thread may call it once it has its objects.
class ScriptedProvider : public IProvider {
public:
    /// What is enumerated for the class, and got by name; names compare as the texts of canonical ones.
    void add(const char* className, const Object& object);

    /// Called in every operation; throws what a provider may throw.
    std::function<void()> fault;
    /// Set: what getInstance answers, whatever it is asked.
    std::function<Object(const Name&)> instead;
    /// Whether a null handle is enumerated.
    bool cannotEnumerate = false;

    /// "getInstance root/Test root/Test:EX_File.Path=..." and so on.
    std::vector<std::string> calls() const;

    ORVSmrPtr<IOrvoValue> registerObserver(ORVSmrPtr<IOrvoInstanceName>, ORVSmrPtr<IOrvoSubscriber>,
                                           IOrvoIndication::IndicationType,
                                           ORVSmrPtr<IOrvoSubscriptionFilter>,
                                           ORVSmrPtr<IOrvoTransaction>) override;
    ORVSmrPtr<IOrvoValue> deregisterObserver(ORVSmrPtr<IOrvoInstanceName>, ORVSmrPtr<IOrvoSubscriber>,
                                             IOrvoIndication::IndicationType,
                                             ORVSmrPtr<IOrvoSubscriptionFilter>,
                                             ORVSmrPtr<IOrvoTransaction>) override;
    ORVSmrPtr<IOrvoObject> getInstance(const ORVString& nameSpace, ORVSmrPtr<IOrvoInstanceName> instanceName,
                                       ORVSmrPtr<IOrvoTransaction> transaction) override;
    InstanceNames enumerateInstanceNames(const ORVString& nameSpace, const ORVString& className,
                                         ORVSmrPtr<IOrvoTransaction> transaction) override;

private:
    void _record(const std::string& call);

    std::vector<std::pair<std::string, Object>> _objects;
    mutable std::mutex _lock;
    std::vector<std::string> _calls;
};

}  // namespace velm::test
