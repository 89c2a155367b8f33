#include "velmctl/commands/Importer.h"

#include "foundation/object_model/COrvoInstanceName.h"
#include "velmctl/client/ClientError.h"
#include "velmd/model/CIMStatus.h"

#include <fmt/format.h>

namespace velm {

namespace {

bool hasStatus(const ClientError& error, CIMStatus status) {
    return error.kind() == ClientError::Kind::refused && error.status() == static_cast<int>(status);
}

std::vector<std::string> propertyNames(const IOrvoObject& instance) {
    std::vector<std::string> names;
    for (unsigned int position = 0; position < instance.getPropertyCount(); ++position) {
        names.emplace_back(instance.getProperty(position)->getName().view());
    }
    return names;
}

/// The name of an instance by the keys that its class declares.
ORVSmrPtr<IOrvoInstanceName> nameOf(const IOrvoObject& instance, const CIMClass& declaration) {
    COrvoInstanceName::KeyBindings keys;
    for (unsigned int position = 0; position < instance.getPropertyCount(); ++position) {
        const auto property = instance.getProperty(position);
        const CIMProperty* declared = declaration.property(property->getName().view());
        if (declared && declared->isKey()) {
            keys.append({property->getName(), property->getValue()});
        }
    }
    return ORVSmrPtr<IOrvoInstanceName>(new COrvoInstanceName("", instance.getClassName(), keys));
}

}  // namespace

Importer::Importer(CIMClient& client, bool replaces) : _client(client), _replaces(replaces) {
    for (std::string& name : client.qualifierNames()) {
        _qualifiers.insert(std::move(name));
    }
    for (std::string& name : client.allClassNames()) {
        _classes.insert(std::move(name));
    }
}

Importer::Result Importer::load(const PlannedDeclaration& declaration) {
    try {
        return std::visit([this](const auto& content) { return _load(content); }, declaration.content);
    } catch (const ClientError& error) {
        if (error.kind() != ClientError::Kind::refused) {
            throw;
        }
        if (std::holds_alternative<CIMClass>(declaration.content)) {
            _refusedClasses.insert(declaration.name());
        }
        return {Outcome::refused, error.what()};
    }
}

Importer::Result Importer::_load(const CIMQualifierDeclaration& declaration) {
    const bool isThere = !_qualifiers.insert(declaration.name).second;
    if (isThere && !_replaces) {
        return {Outcome::skipped, {}};
    }
    _client.setQualifier(declaration);
    return {isThere ? Outcome::replaced : Outcome::created, {}};
}

Importer::Result Importer::_load(const CIMClass& declaration) {
    if (_classes.contains(declaration.name)) {
        return _replaces ? _replace(declaration) : Result{Outcome::skipped, {}};
    }
    if (_refusedClasses.contains(declaration.superClass)) {
        _refusedClasses.insert(declaration.name);
        return {Outcome::refused, fmt::format("its superclass {} was refused", declaration.superClass)};
    }
    try {
        _client.createClass(declaration);
    } catch (const ClientError& error) {
        if (!hasStatus(error, CIMStatus::alreadyExists)) {
            throw;
        }
        return {Outcome::skipped, {}};
    }
    _classes.insert(declaration.name);
    return {Outcome::created, {}};
}

Importer::Result Importer::_replace(const CIMClass& declaration) {
    if (_cannotReplaceClasses) {
        return {Outcome::skipped, {}};
    }
    try {
        _client.modifyClass(declaration);
    } catch (const ClientError& error) {
        _cannotReplaceClasses = hasStatus(error, CIMStatus::notSupported);
        if (!_cannotReplaceClasses) {
            throw;
        }
        return {Outcome::skipped, {}};
    }
    return {Outcome::replaced, {}};
}

Importer::Result Importer::_load(const ORVSmrPtr<IOrvoObject>& instance) {
    try {
        _client.create(*instance);
        return {Outcome::created, {}};
    } catch (const ClientError& error) {
        if (!hasStatus(error, CIMStatus::alreadyExists)) {
            throw;
        }
    }
    if (!_replaces) {
        return {Outcome::skipped, {}};
    }
    _modify(*instance);
    return {Outcome::replaced, {}};
}

void Importer::_modify(const IOrvoObject& instance) {
    const std::string className(instance.getClassName().view());
    auto found = _declarations.find(className);
    if (found == _declarations.end()) {
        found = _declarations.emplace(className, _client.getClass(className)).first;
    }
    _client.modify(*nameOf(instance, found->second), instance, propertyNames(instance));
}

}  // namespace velm
