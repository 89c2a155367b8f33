#include "velmd/requests/AssociationOperations.h"

#include "foundation/object_model/IOrvoProperty.h"
#include "velmd/model/CIMName.h"
#include "velmd/requests/Parameters.h"
#include "velmd/wire/CIMReader.h"
#include "velmd/wire/CIMWriter.h"

#include <algorithm>
#include <set>

#include <fmt/format.h>

namespace velm {

/// What an operation is asked for; empty filters let everything pass.
struct AssociationOperations::Query {
    /// That of the source.
    ObjectNames::NamespaceView nameSpace;
    bool isClass = false;
    /// Canonical; without keys for a class.
    ORVSmrPtr<IOrvoInstanceName> source;
    std::string assocClass;
    std::string resultClass;
    std::string role;
    std::string resultRole;
    CIMSelection selection;

    bool hasRole(std::string_view name) const { return role.empty() || sameName(role, name); }
    bool hasResultRole(std::string_view name) const {
        return resultRole.empty() || sameName(resultRole, name);
    }
};

namespace {

bool isOrBelow(const ResolvedClassHandle& found, const std::string& ancestor) {
    return ancestor.empty() || (found && found->isA(ancestor));
}

/// The references of an association instance that are not NULL.
std::vector<ORVSmrPtr<IOrvoProperty>> endsOf(const IOrvoObject& association) {
    std::vector<ORVSmrPtr<IOrvoProperty>> ends;
    for (unsigned int position = 0; position < association.getPropertyCount(); ++position) {
        const auto property = association.getProperty(position);
        const auto value = property->getValue();
        if (value->getType()->isReference() && !value->getType()->isArray() && !value->isNull()) {
            ends.push_back(property);
        }
    }
    return ends;
}

std::vector<const CIMProperty*> endsOf(const CIMClass& association) {
    std::vector<const CIMProperty*> ends;
    for (const CIMProperty& property : association.properties) {
        if (property.type->isReference()) {
            ends.push_back(&property);
        }
    }
    return ends;
}

std::string knownClass(const ClassTree& tree, const Parameters& parameters, std::string_view parameter) {
    const auto name = parameters.optionalClassName(parameter);
    if (!name) {
        return {};
    }
    if (!tree.find(*name)) {
        Parameters::refuse(parameter, fmt::format("names the unknown class {}", quoted(*name)));
    }
    return *name;
}

Parameters parametersOf(const CIMRequest& request, bool toAssociators, bool withObjects) {
    std::vector<std::string_view> allowed{"ObjectName", "ResultClass", "Role"};
    if (toAssociators) {
        allowed.insert(allowed.end(), {"AssocClass", "ResultRole"});
    }
    if (withObjects) {
        allowed.insert(allowed.end(), {"IncludeQualifiers", "IncludeClassOrigin", "PropertyList"});
    }
    return {request, allowed};
}

/// Names come as INSTANCENAME or CLASSNAME, or as a reference with a namespace of its own.
ORVSmrPtr<IOrvoInstanceName> objectNameIn(const Parameters& parameters, bool& isClass) {
    const XMLElement* object = parameters.find("ObjectName");
    if (!object) {
        Parameters::refuse("ObjectName", "is missing");
    }
    if (object->name != "INSTANCENAME" && object->name != "CLASSNAME" && object->name != "VALUE.REFERENCE") {
        Parameters::refuse("ObjectName",
                           fmt::format("must hold INSTANCENAME or CLASSNAME, not {}", quoted(object->name)));
    }
    return readObjectName(*object, isClass);
}

/// Unlike the operations on classes these give inherited elements, and qualifiers only when asked to.
CIMSelection objectSelection(const Parameters& parameters) {
    CIMSelection selection;
    selection.includeQualifiers = parameters.boolean("IncludeQualifiers", false);
    selection.includeClassOrigin = parameters.boolean("IncludeClassOrigin", false);
    selection.properties = parameters.optionalStrings("PropertyList");
    return selection;
}

}  // namespace

OperationResult AssociationOperations::associators(const CIMRequest& request) const {
    return _answer(request, true, true);
}

OperationResult AssociationOperations::associatorNames(const CIMRequest& request) const {
    return _answer(request, true, false);
}

OperationResult AssociationOperations::references(const CIMRequest& request) const {
    return _answer(request, false, true);
}

OperationResult AssociationOperations::referenceNames(const CIMRequest& request) const {
    return _answer(request, false, false);
}

/// What is wrong with a parameter is told before what it names is looked for.
AssociationOperations::Query AssociationOperations::_query(const CIMRequest& request, bool toAssociators,
                                                           bool withObjects) const {
    const Parameters parameters = parametersOf(request, toAssociators, withObjects);
    const Repository& repository = _instances.repository();
    Query query;
    const auto name = objectNameIn(parameters, query.isClass);
    query.role = parameters.optionalString("Role").value_or("");
    query.resultRole = toAssociators ? parameters.optionalString("ResultRole").value_or("") : "";
    if (withObjects) {
        query.selection = objectSelection(parameters);
    }
    const ORVString nameSpace = name->getNameSpace();
    query.nameSpace = repository.find(nameSpace.length() == 0 ? request.nameSpace : nameSpace.view());
    query.resultClass = knownClass(*query.nameSpace.classes, parameters, "ResultClass");
    query.assocClass =
        toAssociators ? knownClass(*query.nameSpace.classes, parameters, "AssocClass") : std::string();
    query.source = query.isClass ? repository.names().canonicalPattern(*name, query.nameSpace.name)
                                 : repository.names().canonicalName(*name, query.nameSpace.name);
    return query;
}

bool AssociationOperations::_isOfClass(const IOrvoInstanceName& name, const std::string& ancestor) const {
    const auto tree = _instances.repository().find(name.getNameSpace().view()).classes;
    return isOrBelow(tree->find(name.getClassName().view()), ancestor);
}

/// The other ends of `association`, seen from those that refer to the source.
Instances::Names AssociationOperations::_farEnds(const Query& query, const IOrvoObject& association) {
    const ORVString source = query.source->toString();
    const auto ends = endsOf(association);
    Instances::Names found;
    for (const auto& end : ends) {
        if (end->getValue()->getReference()->toString() != source || !query.hasRole(end->getName().view())) {
            continue;
        }
        for (const auto& other : ends) {
            if (other->getName() != end->getName() && query.hasResultRole(other->getName().view())) {
                found.push_back(other->getValue()->getReference());
            }
        }
    }
    return found;
}

bool AssociationOperations::_refersToSource(const Query& query, const IOrvoObject& association) {
    const ORVString source = query.source->toString();
    const auto ends = endsOf(association);
    return std::any_of(ends.begin(), ends.end(), [&](const auto& end) {
        return end->getValue()->getReference()->toString() == source && query.hasRole(end->getName().view());
    });
}

Instances::Objects AssociationOperations::_referencesTo(const Query& query) const {
    Instances::Objects found = _instances.references(*query.source);
    std::erase_if(found, [&](const auto& association) {
        return !_isOfClass(*association->getInstanceName(), query.resultClass) ||
               !_refersToSource(query, *association);
    });
    return found;
}

/// An association may refer to what is gone; that is not associated any more.
Instances::Objects AssociationOperations::_associatorsOf(const Query& query) const {
    std::set<std::string> seen;
    Instances::Objects found;
    for (const auto& association : _instances.references(*query.source)) {
        if (!_isOfClass(*association->getInstanceName(), query.assocClass)) {
            continue;
        }
        for (const auto& name : _farEnds(query, *association)) {
            if (!_isOfClass(*name, query.resultClass) || !seen.emplace(name->toString().view()).second) {
                continue;
            }
            const auto object = _instances.find(name);
            if (!object.IsNull()) {
                found.push_back(object);
            }
        }
    }
    return found;
}

std::vector<ResolvedClassHandle> AssociationOperations::_classesFound(const Query& query,
                                                                      bool toAssociators) const {
    const ClassTree& tree = *query.nameSpace.classes;
    const ResolvedClassHandle source = tree.find(query.source->getClassName().view());
    if (!source) {
        return {};  // It was created after the tree was read.
    }
    std::set<std::string> seen;
    std::vector<ResolvedClassHandle> found;
    const auto add = [&](const ResolvedClassHandle& result) {
        if (result && isOrBelow(result, query.resultClass) && seen.insert(result->name()).second) {
            found.push_back(result);
        }
    };
    for (const ResolvedClassHandle& association : tree.withDescendants("")) {
        if (!association->isAssociation || !isOrBelow(association, query.assocClass)) {
            continue;
        }
        const auto ends = endsOf(association->declaration);
        for (const CIMProperty* end : ends) {
            if (!source->isA(end->referenceClass) || !query.hasRole(end->name)) {
                continue;
            }
            if (!toAssociators) {
                add(association);
                continue;
            }
            for (const CIMProperty* other : ends) {
                if (other != end && query.hasResultRole(other->name)) {
                    add(tree.find(other->referenceClass));
                }
            }
        }
    }
    return found;
}

OperationResult AssociationOperations::_answer(const CIMRequest& request, bool toAssociators,
                                               bool withObjects) const {
    const Query query = _query(request, toAssociators, withObjects);
    OperationResult result{"", {}};
    if (query.isClass) {
        _writeClasses(*result.returnValue, query, _classesFound(query, toAssociators), withObjects);
    } else {
        _writeInstances(*result.returnValue, query,
                        toAssociators ? _associatorsOf(query) : _referencesTo(query), withObjects);
    }
    return result;
}

void AssociationOperations::_writeClasses(std::string& xml, const Query& query,
                                          const std::vector<ResolvedClassHandle>& classes,
                                          bool withObjects) const {
    for (const ResolvedClassHandle& found : classes) {
        xml += withObjects ? "<VALUE.OBJECTWITHPATH>" : "<OBJECTPATH>";
        writeClassPath(xml, found->name(), query.nameSpace.name, _hostName);
        if (withObjects) {
            writeClass(xml, found->declaration, query.selection);
        }
        xml += withObjects ? "</VALUE.OBJECTWITHPATH>" : "</OBJECTPATH>";
    }
}

void AssociationOperations::_writeInstances(std::string& xml, const Query& query,
                                            const Instances::Objects& objects, bool withObjects) const {
    const Repository& repository = _instances.repository();
    for (const auto& object : objects) {
        const auto name = object->getInstanceName();
        const auto classes = repository.find(name->getNameSpace().view()).classes;
        const auto itsClass = classes->find(name->getClassName().view());
        if (!itsClass) {
            continue;  // Both went since it was found.
        }
        xml += withObjects ? "<VALUE.OBJECTWITHPATH>" : "<OBJECTPATH>";
        writeInstancePath(xml, *name, _hostName);
        if (withObjects) {
            writeInstance(xml, *object, itsClass->declaration, query.selection);
        }
        xml += withObjects ? "</VALUE.OBJECTWITHPATH>" : "</OBJECTPATH>";
    }
}

}  // namespace velm
