#include "velmd/requests/InstanceOperations.h"

#include "foundation/services/CIMOMException.h"
#include "velmd/model/CIMStatus.h"
#include "velmd/requests/Parameters.h"
#include "velmd/requests/Selection.h"
#include "velmd/wire/CIMReader.h"
#include "velmd/wire/ElementChecks.h"

#include <algorithm>

namespace velm {

namespace {

/// Without the properties that only subclasses of `base` have.
void dropDeeper(CIMSelection& selection, const CIMClass& declaration, const CIMClass& base) {
    std::vector<std::string> kept;
    for (const CIMProperty& property : declaration.properties) {
        if (base.property(property.name) && selection.selects(property.name)) {
            kept.push_back(property.name);
        }
    }
    selection.properties = std::move(kept);
}

/// Values of a wrong type (13) are told of behind what `check` throws: whether class and instance exist.
template <class Check>
ORVSmrPtr<IOrvoObject> readInstanceOf(const XMLElement& element, Check check) {
    try {
        return readInstance(element);
    } catch (const CIMOMException& refusal) {
        if (refusal.getCode() == static_cast<int>(CIMStatus::typeMismatch)) {
            check();
        }
        throw;
    }
}

}  // namespace

OperationResult InstanceOperations::getInstance(const CIMRequest& request) const {
    const Parameters parameters(
        request, {"InstanceName", "LocalOnly", "IncludeQualifiers", "IncludeClassOrigin", "PropertyList"});
    const auto name = parameters.instanceName("InstanceName");
    const CIMSelection selection = instanceSelection(parameters);
    const auto object = _instances.get(*name, request.nameSpace);
    const auto found = _instances.repository().getClass(request.nameSpace, object->getClassName().view());
    OperationResult result{"", {}};
    writeInstance(*result.returnValue, *object, found->declaration, selection);
    return result;
}

OperationResult InstanceOperations::enumerateInstances(const CIMRequest& request) const {
    const Parameters parameters(request, {"ClassName", "LocalOnly", "DeepInheritance", "IncludeQualifiers",
                                          "IncludeClassOrigin", "PropertyList"});
    const std::string className = parameters.className("ClassName");
    const bool deep = parameters.boolean("DeepInheritance", true);
    const CIMSelection wanted = instanceSelection(parameters);
    const auto classes = _instances.repository().find(request.nameSpace).classes;
    OperationResult result{"", {}};
    for (const auto& object : _instances.enumerate(request.nameSpace, className)) {
        const auto base = classes->find(className);
        const auto found = classes->find(object->getClassName().view());
        if (!base || !found) {
            continue;  // Its class came behind `classes`.
        }
        CIMSelection selection = wanted;
        if (!deep) {
            dropDeeper(selection, found->declaration, base->declaration);
        }
        *result.returnValue += "<VALUE.NAMEDINSTANCE>";
        writeInstanceName(*result.returnValue, *object->getInstanceName());
        writeInstance(*result.returnValue, *object, found->declaration, selection);
        *result.returnValue += "</VALUE.NAMEDINSTANCE>";
    }
    return result;
}

OperationResult InstanceOperations::enumerateInstanceNames(const CIMRequest& request) const {
    const Parameters parameters(request, {"ClassName"});
    OperationResult result{"", {}};
    for (const auto& name : _instances.enumerateNames(request.nameSpace, parameters.className("ClassName"))) {
        writeInstanceName(*result.returnValue, *name);
    }
    return result;
}

OperationResult InstanceOperations::createInstance(const CIMRequest& request) const {
    const Parameters parameters(request, {"NewInstance"});
    const XMLElement& given = parameters.element("NewInstance", "INSTANCE");
    const auto instance = readInstanceOf(given, [&] {
        const std::string className = wire::requiredAttribute(given, "CLASSNAME");
        _instances.requireWritable(request.nameSpace, className);
        _instances.repository().getClass(request.nameSpace, className);
    });
    OperationResult result{"", {}};
    writeInstanceName(*result.returnValue, *_instances.create(request.nameSpace, *instance));
    return result;
}

OperationResult InstanceOperations::modifyInstance(const CIMRequest& request) const {
    const Parameters parameters(request, {"ModifiedInstance", "IncludeQualifiers", "PropertyList"});
    const XMLElement& named = parameters.element("ModifiedInstance", "VALUE.NAMEDINSTANCE");
    const XMLElement* name = named.child("INSTANCENAME");
    const XMLElement* instance = named.child("INSTANCE");
    if (!name || !instance) {
        Parameters::refuse("ModifiedInstance", "must hold INSTANCENAME and INSTANCE");
    }
    parameters.boolean("IncludeQualifiers", true);
    const auto properties = parameters.optionalStrings("PropertyList");
    const auto target = readInstanceName(*name);
    const auto changed = readInstanceOf(*instance, [&] {
        _instances.requireWritable(request.nameSpace, target->getClassName().view());
        _instances.get(*target, request.nameSpace);
    });
    _instances.modify(*target, *changed, properties, request.nameSpace);
    return {};
}

OperationResult InstanceOperations::deleteInstance(const CIMRequest& request) const {
    const Parameters parameters(request, {"InstanceName"});
    _instances.remove(*parameters.instanceName("InstanceName"), request.nameSpace);
    return {};
}

}  // namespace velm
