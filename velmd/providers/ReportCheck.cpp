#include "velmd/providers/ReportCheck.h"

#include "foundation/object_model/COrvoIndication.h"
#include "foundation/object_model/COrvoInstanceName.h"
#include "foundation/object_model/COrvoObject.h"
#include "foundation/object_model/COrvoValue.h"
#include "foundation/services/CIMOMException.h"
#include "velmd/model/CIMName.h"
#include "velmd/model/CIMStatus.h"
#include "velmd/providers/ProviderException.h"

#include <algorithm>
#include <typeinfo>

#include <fmt/format.h>

namespace velm {

namespace {

using PropertyNames = ORVSmrPtr<ORVValSlist<ORVString>>;

/// What a report says, each part asked for once: another implementation might answer differently next time.
struct Parts {
    IOrvoIndication::IndicationType type;
    ORVSmrPtr<IOrvoObject> object;
    ORVString className;
    ORVSmrPtr<IOrvoInstanceName> name;
    PropertyNames changedProperties;
};

[[noreturn]] void refuse(ReportFault fault, std::string text) {
    throw RefusedReport{fault, std::move(text)};
}

bool isKnown(IOrvoIndication::IndicationType type) {
    return type != IOrvoIndication::IndicationInvalid && COrvoIndication::reportedKindOf(type).type == type;
}

Parts partsOf(const ORVSmrPtr<IOrvoIndication>& report) {
    if (report.IsNull()) {
        refuse(ReportFault::noIndication, "no indication");
    }
    const auto type = report->getType();
    if (!isKnown(type)) {
        refuse(ReportFault::unknownKind, fmt::format("kind {} is unknown", static_cast<unsigned int>(type)));
    }
    const auto object = report->getObject();
    if (object.IsNull()) {
        refuse(ReportFault::noObject, "no object");
    }
    const auto name = object->getInstanceName();
    if (name.IsNull()) {
        refuse(ReportFault::noInstanceName, "no instance name");
    }
    const ORVString className = object->getClassName();
    return {type, object, className.length() == 0 ? name->getClassName() : className, name,
            report->getChangedProperties()};
}

ObjectNames::NamespaceView namespaceOf(const std::string& nameSpace, const ObjectNames::FindNamespace& find) {
    try {
        return find(nameSpace);
    } catch (const CIMOMException& failure) {
        if (failure.getCode() != static_cast<int>(CIMStatus::invalidNamespace)) {
            throw;
        }
        refuse(ReportFault::unknownNamespace, fmt::format("namespace {} is unknown", quoted(nameSpace)));
    }
}

ResolvedClassHandle classOf(const Parts& parts, const ClassTree& classes) {
    const auto found = classes.find(parts.className.view());
    if (!found) {
        refuse(ReportFault::unknownClass, fmt::format("class {} is unknown", quoted(parts.className.view())));
    }
    const ORVString nameClass = parts.name->getClassName();
    if (!sameName(nameClass.view(), found->name())) {
        refuse(ReportFault::notOfItsClass, fmt::format("an object of class {} is named as one of class {}",
                                                       quoted(found->name()), quoted(nameClass.view())));
    }
    return found;
}

/// The same list when it is in canonical form already.
PropertyNames canonicalChanges(const PropertyNames& changes, const CIMClass& declaration) {
    if (changes.IsNull()) {
        return changes;
    }
    bool isCanonical = true;
    PropertyNames result(new ORVValSlist<ORVString>);
    for (const ORVString& name : *changes) {
        const CIMProperty* property = declaration.property(name.view());
        if (!property) {
            refuse(ReportFault::notOfItsClass, fmt::format("class {} has no property {} that could change",
                                                           quoted(declaration.name), quoted(name.view())));
        }
        isCanonical = isCanonical && name.view() == property->name;
        result->append(ORVString(property->name));
    }
    return isCanonical ? changes : result;
}

// What follows says yes only where one look at each name is enough. No is the safe answer: the report is then
// rewritten.

bool isCanonicalValue(const ORVString& name, const IOrvoValue& value, const CIMProperty& declared) {
    const auto type = value.getType();
    return name.view() == declared.name && typeid(value) == typeid(COrvoValue) &&
           declared.embedding == CIMEmbedding::none && !type->isReference() &&
           type->getName() == declared.type->getName() && type->isArray() == declared.type->isArray();
}

bool isCanonicalName(const IOrvoInstanceName& name, std::string_view nameSpace,
                     const ResolvedClass& declared) {
    const auto keys = name.getKeyBindings();
    if (typeid(name) != typeid(COrvoInstanceName) || name.getNameSpace().view() != nameSpace ||
        name.getClassName().view() != declared.name() || keys->entries() != declared.keys.size()) {
        return false;
    }
    auto position = declared.keys.begin();
    for (const COrvoKeyBinding& key : *keys) {
        if (!isCanonicalValue(key.name, *key.value, declared.declaration.properties[*position++])) {
            return false;
        }
    }
    return true;
}

bool isCanonicalObject(const IOrvoObject& object, const CIMClass& declaration) {
    if (typeid(object) != typeid(COrvoObject) || object.getClassName().view() != declaration.name) {
        return false;
    }
    const auto& properties = static_cast<const COrvoObject&>(object).properties();
    return std::all_of(properties.begin(), properties.end(), [&declaration](const COrvoObject::Held& held) {
        const CIMProperty* declared = declaration.property(held.name.view());
        return declared && isCanonicalValue(held.name, *held.value, *declared);
    });
}

/// Whether it is made of this system's own classes and says nothing but what a provider may say.
bool isPlain(const IOrvoIndication& report, IOrvoIndication::IndicationType type) {
    return typeid(report) == typeid(COrvoIndication) && report.getIntent() == IOrvoIndication::IntentReport &&
           report.getContext() == &COrvoIndication::reportedKindOf(type);
}

ReportFault faultOf(int status) {
    switch (static_cast<CIMStatus>(status)) {
        case CIMStatus::invalidNamespace:
            return ReportFault::unknownNamespace;
        case CIMStatus::invalidClass:
            return ReportFault::unknownClass;
        case CIMStatus::invalidParameter:
        case CIMStatus::noSuchProperty:
        case CIMStatus::typeMismatch:
            return ReportFault::notOfItsClass;
        default:
            return ReportFault::exception;
    }
}

}  // namespace

ReportCheck::ReportCheck(std::string nameSpace, ObjectNames::FindNamespace findNamespace)
    : _nameSpace(std::move(nameSpace)), _findNamespace(std::move(findNamespace)), _names(_findNamespace) {
}

ORVSmrPtr<IOrvoIndication> ReportCheck::canonical(const ORVSmrPtr<IOrvoIndication>& report) const {
    try {
        return _canonical(report);
    } catch (const CIMOMException& failure) {
        throw RefusedReport{faultOf(failure.getCode()), currentExceptionText()};
    }
}

ORVSmrPtr<IOrvoIndication> ReportCheck::_canonical(const ORVSmrPtr<IOrvoIndication>& report) const {
    const Parts parts = partsOf(report);
    const ORVString ownNameSpace = parts.name->getNameSpace();
    const std::string nameSpace(ownNameSpace.length() == 0 ? _nameSpace : ownNameSpace.view());
    const ObjectNames::NamespaceView found = namespaceOf(nameSpace, _findNamespace);
    const ResolvedClassHandle declared = classOf(parts, *found.classes);
    const PropertyNames changes = canonicalChanges(parts.changedProperties, declared->declaration);
    if (changes == parts.changedProperties && isPlain(*report, parts.type) &&
        isCanonicalName(*parts.name, found.name, *declared) &&
        isCanonicalObject(*parts.object, declared->declaration)) {
        return report;
    }
    const auto name = _names.canonicalName(*parts.name, nameSpace);
    auto* rewritten = new COrvoIndication(_names.canonicalObject(*parts.object, name, nameSpace), parts.type,
                                          changes, nullptr, IOrvoIndication::IntentReport, nullptr, false);
    const ORVSmrPtr<IOrvoIndication> result(rewritten);
    rewritten->setTime(report->getTime());
    rewritten->setRoutingScope(report->getRoutingScope());
    return result;
}

}  // namespace velm
