#include "velmd/repository/InstanceContent.h"

#include "foundation/object_model/COrvoInstanceName.h"
#include "foundation/object_model/COrvoObject.h"
#include "foundation/object_model/COrvoValue.h"
#include "velmd/model/CIMStatus.h"

#include <algorithm>

#include <fmt/format.h>

namespace velm {

namespace {

/// Handles are not converted to their base on their own.
ORVSmrPtr<IOrvoObject> handleTo(std::unique_ptr<COrvoObject> object) {
    return ORVSmrPtr<IOrvoObject>(object.release());
}

void copyProperties(const IOrvoObject& from, COrvoObject& to) {
    for (unsigned int position = 0; position < from.getPropertyCount(); ++position) {
        const auto property = from.getProperty(position);
        to.setProperty(property->getName(), property->getValue());
    }
}

ORVSmrPtr<IOrvoValue> valueOf(const IOrvoObject& instance, const CIMProperty& declared) {
    const auto property = instance.getProperty(std::string_view(declared.name));
    return property.IsNull() ? declared.value : property->getValue();
}

std::vector<std::string> propertyNames(const IOrvoObject& instance) {
    std::vector<std::string> names;
    for (unsigned int position = 0; position < instance.getPropertyCount(); ++position) {
        names.emplace_back(instance.getProperty(position)->getName().view());
    }
    return names;
}

bool sameType(const IOrvoType& left, const IOrvoType& right) {
    return left.isArray() == right.isArray() && sameName(left.getName().view(), right.getName().view());
}

bool sameElements(const IOrvoValue& left, const IOrvoValue& right) {
    const auto ones = left.getElements();
    const auto others = right.getElements();
    return std::equal(ones->begin(), ones->end(), others->begin(), others->end(),
                      [](const auto& one, const auto& other) { return sameValue(*one, *other); });
}

bool sameInstance(const IOrvoObject& left, const IOrvoObject& right) {
    if (!sameName(left.getClassName().view(), right.getClassName().view()) ||
        left.getPropertyCount() != right.getPropertyCount()) {
        return false;
    }
    const auto names = propertyNames(left);
    return std::ranges::all_of(names, [&](const std::string& name) {
        const ORVString key{std::string_view(name)};
        const auto other = right.getProperty(key);
        return !other.IsNull() && sameValue(*left.getProperty(key)->getValue(), *other->getValue());
    });
}

}  // namespace

ORVSmrPtr<IOrvoObject> completedInstance(const IOrvoObject& given, const CIMClass& declaration) {
    auto result = std::make_unique<COrvoObject>(given.getClassName(), nullptr);
    for (const CIMProperty& declared : declaration.properties) {
        result->setProperty(std::string_view(declared.name), valueOf(given, declared));
    }
    copyProperties(given, *result);
    return handleTo(std::move(result));
}

std::vector<std::string> keyNames(const ResolvedClass& itsClass) {
    std::vector<std::string> names;
    for (const std::size_t position : itsClass.keys) {
        names.push_back(itsClass.declaration.properties[position].name);
    }
    return names;
}

ORVSmrPtr<IOrvoObject> selectedProperties(const IOrvoObject& given,
                                          const std::optional<std::vector<std::string>>& names,
                                          const CIMClass& declaration) {
    auto result = std::make_unique<COrvoObject>(std::string_view(declaration.name), nullptr);
    for (const std::string& name : names ? *names : propertyNames(given)) {
        const CIMProperty* declared = declaration.property(name);
        if (!declared) {
            throwStatus(CIMStatus::noSuchProperty,
                        fmt::format("class {} has no property {}", declaration.name, quoted(name)));
        }
        result->setProperty(std::string_view(declared->name), valueOf(given, *declared));
    }
    return handleTo(std::move(result));
}

ORVSmrPtr<IOrvoObject> mergedInstance(const IOrvoObject& former, const IOrvoObject& changes) {
    auto result = std::make_unique<COrvoObject>(former, false);
    copyProperties(changes, *result);
    return handleTo(std::move(result));
}

std::vector<std::string> differingProperties(const IOrvoObject& one, const IOrvoObject& other,
                                             const CIMClass& declaration) {
    std::vector<std::string> names;
    for (const CIMProperty& declared : declaration.properties) {
        if (!sameValue(*valueOf(one, declared), *valueOf(other, declared))) {
            names.push_back(declared.name);
        }
    }
    return names;
}

bool sameValue(const IOrvoValue& left, const IOrvoValue& right) {
    const auto type = left.getType();
    if (left.isNull() || right.isNull() || !sameType(*type, *right.getType())) {
        return left.isNull() && right.isNull();
    }
    if (type->isArray()) {
        return sameElements(left, right);
    }
    if (sameName(type->getName().view(), COrvoType::instance->getName().view())) {
        return sameInstance(*left.getInstance(), *right.getInstance());
    }
    return left.toString() == right.toString();
}

ORVSmrPtr<IOrvoInstanceName> nameFromKeys(const IOrvoObject& instance, const ResolvedClass& itsClass,
                                          std::string_view nameSpace) {
    COrvoInstanceName::KeyBindings keys;
    for (const std::size_t position : itsClass.keys) {
        const ORVString name{std::string_view(itsClass.declaration.properties[position].name)};
        const auto property = instance.getProperty(name);
        if (property.IsNull() || property->getValue()->isNull()) {
            throwStatus(CIMStatus::failed,
                        fmt::format("an instance of {} without its key {}", itsClass.name(), name.view()));
        }
        keys.append({name, property->getValue()});
    }
    return ORVSmrPtr<IOrvoInstanceName>(
        new COrvoInstanceName(nameSpace, std::string_view(itsClass.name()), keys));
}

ORVSmrPtr<IOrvoObject> withName(const IOrvoObject& instance, const ORVSmrPtr<IOrvoInstanceName>& name) {
    auto result = std::make_unique<COrvoObject>(instance.getClassName(), name);
    copyProperties(instance, *result);
    return handleTo(std::move(result));
}

}  // namespace velm
