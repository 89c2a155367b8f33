#include "velmd/requests/Instances.h"

#include "foundation/object_model/COrvoObject.h"
#include "foundation/services/CIMOMException.h"
#include "foundation/services/CIMOMTransaction.h"
#include "velmd/model/CIMName.h"
#include "velmd/model/CIMStatus.h"
#include "velmd/providers/ProviderException.h"

#include <algorithm>
#include <stdexcept>

#include <fmt/format.h>

namespace velm {

namespace {

/// Calls `operation` with a transaction. What it throws becomes a status that names the class: neither a
/// provider's exceptions nor answers of its that make no sense are the fault of the request.
template <class Operation>
auto callProvider(IProvider& provider, const ORVString& className, const char* method, int timeout,
                  Operation operation) {
    const std::string failed = fmt::format("the provider of {} failed", className.view());
    try {
        return callProviderCode(failed.c_str(), [&] {
            CIMOMTransaction transaction(provider, "", className, method, "", "", timeout);
            auto result = operation(transaction.getTransaction());
            transaction.release();
            return result;
        });
    } catch (const std::runtime_error& failure) {
        throwStatus(CIMStatus::failed, failure.what());
    }
}

/// Whether the class has an end to which instances of `target` belong.
bool canReferTo(const ResolvedClass& association, const ResolvedClass& target) {
    const auto& properties = association.declaration.properties;
    return association.isAssociation &&
           std::any_of(properties.begin(), properties.end(), [&target](const CIMProperty& end) {
               return end.type->isReference() &&
                      (end.referenceClass.empty() || target.isA(end.referenceClass));
           });
}

/// Clients read the keys of an instance among its properties. Requires: both are in canonical form.
ORVSmrPtr<IOrvoObject> withKeys(const IOrvoObject& object, const IOrvoInstanceName& name) {
    auto* result = new COrvoObject(object, false);
    ORVSmrPtr<IOrvoObject> handle(result);
    const auto keys = name.getKeyBindings();
    for (const COrvoKeyBinding& key : *keys) {
        const auto property = object.getProperty(key.name);
        if (property.IsNull() || property->getValue()->isNull()) {
            result->setProperty(key.name, key.value);
        } else if (property->getValue()->toString() != key.value->toString()) {
            throwStatus(CIMStatus::failed, fmt::format("the key {} of {} is {}", key.name.view(),
                                                       quotedPath(name.toString().view()),
                                                       quoted(property->getValue()->toString().view())));
        }
    }
    return handle;
}

bool refersTo(const IOrvoObject& association, const ORVString& target) {
    for (unsigned int position = 0; position < association.getPropertyCount(); ++position) {
        const auto value = association.getProperty(position)->getValue();
        if (value->getType()->isReference() && !value->isNull() && !value->getType()->isArray() &&
            value->getReference()->toString() == target) {
            return true;
        }
    }
    return false;
}

}  // namespace

Instances::Instances(Repository& repository, const ProviderTable& providers, std::string providerNamespace,
                     int providerTimeout)
    : _repository(repository),
      _providers(providers),
      _providerNamespace(std::move(providerNamespace)),
      _providerTimeout(providerTimeout) {
}

IProvider* Instances::_providerOf(std::string_view nameSpace, std::string_view className) const {
    return sameName(nameSpace, _providerNamespace) ? _providers.providerOf(className) : nullptr;
}

std::vector<ProviderTable::Served> Instances::_servedAtOrBelow(std::string_view nameSpace,
                                                               std::string_view className) const {
    return sameName(nameSpace, _providerNamespace) ? _providers.servedAtOrBelow(className)
                                                   : std::vector<Served>();
}

bool Instances::isServed(std::string_view nameSpace, std::string_view className) const {
    return _providerOf(nameSpace, className) != nullptr;
}

void Instances::requireWritable(std::string_view nameSpace, std::string_view className) const {
    if (isServed(nameSpace, className)) {
        throwStatus(
            CIMStatus::notSupported,
            fmt::format("instances of {} come from a provider and cannot be written", quoted(className)));
    }
}

ORVSmrPtr<IOrvoObject> Instances::_fromProvider(IProvider& provider,
                                                const ORVSmrPtr<IOrvoInstanceName>& name) const {
    const ORVString nameSpace = name->getNameSpace();
    return callProvider(provider, name->getClassName(), "getInstance", _providerTimeout,
                        [&](const ORVSmrPtr<IOrvoTransaction>& transaction) {
                            const auto object = provider.getInstance(nameSpace, name, transaction);
                            return object.IsNull() ? object
                                                   : withKeys(*_repository.names().canonicalObject(
                                                                  *object, name, nameSpace.view()),
                                                              *name);
                        });
}

Instances::Names Instances::_namesFromProvider(const Served& served) const {
    const ORVString nameSpace(_providerNamespace);
    const ORVString className(served.className);
    return callProvider(
        *served.provider, className, "enumerateInstanceNames", _providerTimeout,
        [&](const ORVSmrPtr<IOrvoTransaction>& transaction) {
            const auto list = served.provider->enumerateInstanceNames(nameSpace, className, transaction);
            Names names;
            if (!list.IsNull()) {
                for (const auto& name : *list) {
                    names.push_back(_repository.names().canonicalName(*name, _providerNamespace));
                }
            }
            return names;
        });
}

ORVSmrPtr<IOrvoObject> Instances::find(const ORVSmrPtr<IOrvoInstanceName>& name) const {
    const ORVString nameSpace = name->getNameSpace();
    if (IProvider* provider = _providerOf(nameSpace.view(), name->getClassName().view())) {
        return _fromProvider(*provider, name);
    }
    try {
        return _repository.findInstance(*name, nameSpace.view());
    } catch (const CIMOMException& refusal) {
        // The class was there when the name was made, and may have gone behind its last instance.
        if (refusal.getCode() != static_cast<int>(CIMStatus::invalidClass)) {
            throw;
        }
        return {};
    }
}

ORVSmrPtr<IOrvoObject> Instances::get(const IOrvoInstanceName& name, std::string_view nameSpace) const {
    const auto canonical = _repository.names().canonicalName(name, nameSpace);
    const auto object = find(canonical);
    if (object.IsNull()) {
        throwStatus(CIMStatus::notFound,
                    fmt::format("there is no instance {}", quotedPath(canonical->toString().view())));
    }
    return object;
}

Instances::Objects Instances::enumerate(std::string_view nameSpace, std::string_view className) const {
    Objects objects = _repository.enumerateInstances(nameSpace, className);
    for (const Served& served : _servedAtOrBelow(nameSpace, className)) {
        for (const auto& name : _namesFromProvider(served)) {
            const auto object = _fromProvider(*served.provider, name);
            // Null for one that went since it was enumerated.
            if (!object.IsNull()) {
                objects.push_back(object);
            }
        }
    }
    return objects;
}

Instances::Names Instances::enumerateNames(std::string_view nameSpace, std::string_view className) const {
    Names names;
    for (const auto& object : _repository.enumerateInstances(nameSpace, className)) {
        names.push_back(object->getInstanceName());
    }
    for (const Served& served : _servedAtOrBelow(nameSpace, className)) {
        const Names more = _namesFromProvider(served);
        names.insert(names.end(), more.begin(), more.end());
    }
    return names;
}

ORVSmrPtr<IOrvoInstanceName> Instances::create(std::string_view nameSpace,
                                               const IOrvoObject& instance) const {
    requireWritable(nameSpace, instance.getClassName().view());
    return _repository.createInstance(nameSpace, instance);
}

void Instances::modify(const IOrvoInstanceName& name, const IOrvoObject& instance,
                       const std::optional<std::vector<std::string>>& properties,
                       std::string_view nameSpace) const {
    requireWritable(nameSpace, name.getClassName().view());
    _repository.modifyInstance(name, instance, properties, nameSpace);
}

void Instances::remove(const IOrvoInstanceName& name, std::string_view nameSpace) const {
    requireWritable(nameSpace, name.getClassName().view());
    _repository.deleteInstance(name, nameSpace);
}

Instances::Objects Instances::references(const IOrvoInstanceName& name) const {
    Objects associations = _repository.references(name);
    const ORVString target = name.toString();
    const auto itsClass = _repository.getClass(name.getNameSpace().view(), name.getClassName().view());
    const auto tree = _repository.find(_providerNamespace).classes;
    for (const Served& served : _providers.served()) {
        const ResolvedClassHandle found = tree->find(served.className);
        if (!found || !canReferTo(*found, *itsClass)) {
            continue;
        }
        for (const auto& association : _namesFromProvider(served)) {
            const auto object = _fromProvider(*served.provider, association);
            if (!object.IsNull() && refersTo(*object, target)) {
                associations.push_back(object);
            }
        }
    }
    return associations;
}

}  // namespace velm
