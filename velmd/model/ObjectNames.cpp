#include "velmd/model/ObjectNames.h"

#include "foundation/object_model/COrvoInstanceName.h"
#include "foundation/object_model/COrvoObject.h"
#include "foundation/object_model/COrvoValue.h"
#include "foundation/utilities/OrvoBaseException.h"
#include "velmd/model/CIMStatus.h"

#include <algorithm>
#include <vector>

#include <fmt/format.h>

namespace velm {

namespace {

using Name = ORVSmrPtr<IOrvoInstanceName>;
using Value = ORVSmrPtr<IOrvoValue>;
using KeyBindings = COrvoInstanceName::KeyBindings;
using Properties = std::vector<std::pair<ORVString, Value>>;
using NamespaceView = ObjectNames::NamespaceView;

[[noreturn]] void refuse(std::string_view problem) {
    throwStatus(CIMStatus::invalidParameter, problem);
}

ORVString asText(const std::string& text) {
    return std::string_view(text);
}

std::string typeText(const IOrvoType& type) {
    return std::string(type.getName().view()) + (type.isArray() ? "[]" : "");
}

ResolvedClassHandle existingClass(const NamespaceView& view, std::string_view className) {
    ResolvedClassHandle found = view.classes->find(className);
    if (!found) {
        throwStatus(CIMStatus::invalidClass,
                    fmt::format("there is no class {} in {}", quoted(className), view.name));
    }
    return found;
}

Name makeName(const std::string& nameSpace, const ResolvedClass& found, const KeyBindings& keys) {
    try {
        return Name(new COrvoInstanceName(asText(nameSpace), asText(found.name()), keys));
    } catch (const ORVTypeException& error) {
        refuse(fmt::format("no name of an instance of {}: {}", found.name(), error.getMessage().view()));
    }
}

const CIMProperty& keyNamed(const ResolvedClass& found, std::string_view name) {
    if (name == unnamedKey) {
        if (found.keys.size() != 1) {
            refuse(fmt::format("a key without a name stands for the only key of a class, and {} has {}",
                               found.name(), found.keys.size()));
        }
        return found.declaration.properties[found.keys.front()];
    }
    const CIMProperty* property = found.declaration.property(name);
    if (!property || !property->isKey()) {
        refuse(fmt::format("{} is no key of {}", quoted(name), found.name()));
    }
    return *property;
}

void requireAllKeys(const ResolvedClass& found, const KeyBindings& keys) {
    for (const std::size_t position : found.keys) {
        const std::string& wanted = found.declaration.properties[position].name;
        if (std::none_of(keys.begin(), keys.end(),
                         [&wanted](const COrvoKeyBinding& key) { return key.name.view() == wanted; })) {
            refuse(fmt::format("the key {} of {} is missing", wanted, found.name()));
        }
    }
}

Name parsedReference(const CIMProperty& key, const IOrvoValue& value) {
    if (value.getType()->isReference()) {
        return value.getReference();
    }
    try {
        return COrvoInstanceName::parse(value.toString());
    } catch (const ORVTypeException&) {
        refuse(fmt::format("the key {} has to be a reference, and {} is none", key.name,
                           quoted(value.toString().view())));
    }
}

Value retyped(const CIMProperty& key, const IOrvoValue& value) {
    if (!value.getType()->isReference()) {
        try {
            return COrvoValue::parse(value.toString(), key.type);
        } catch (const ORVTypeException&) {
            // Told below, with less of the text.
        }
    }
    refuse(fmt::format("the key {} has type {}, and {} is no such value", key.name, typeText(*key.type),
                       quoted(value.toString().view())));
}

/// One request to bring names into canonical form.
class Canonicalizer {
public:
    enum class Keys { all, any };

    explicit Canonicalizer(const ObjectNames::FindNamespace& findNamespace) : _findNamespace(findNamespace) {}

    Name name(const IOrvoInstanceName& given, std::string_view defaultNamespace, Keys wanted,
              unsigned int nesting = 0) const {
        if (nesting > ObjectNames::maxNesting) {
            refuse(fmt::format("names of instances nest deeper than {}", ObjectNames::maxNesting));
        }
        const ORVString nameSpace = given.getNameSpace();
        const NamespaceView view =
            _findNamespace(nameSpace.length() == 0 ? defaultNamespace : nameSpace.view());
        const ResolvedClassHandle found = existingClass(view, given.getClassName().view());
        const auto bindings = given.getKeyBindings();
        KeyBindings keys;
        for (const COrvoKeyBinding& binding : *bindings) {
            const CIMProperty& key = keyNamed(*found, binding.name.view());
            keys.append({asText(key.name), _key(key, binding.value, view.name, nesting)});
        }
        if (wanted == Keys::all) {
            requireAllKeys(*found, keys);
        }
        return makeName(view.name, *found, keys);
    }

    /// A value with its references in canonical form.
    Value value(const Value& given, std::string_view nameSpace) const {
        if (given->isNull() || !given->getType()->isReference()) {
            return given;
        }
        return Value(new COrvoValue(name(*given->getReference(), nameSpace, Keys::all)));
    }

private:
    Value _key(const CIMProperty& key, const Value& value, std::string_view nameSpace,
               unsigned int nesting) const {
        if (!key.type->isReference()) {
            return retyped(key, *value);
        }
        return Value(new COrvoValue(name(*parsedReference(key, *value), nameSpace, Keys::all, nesting + 1)));
    }

    const ObjectNames::FindNamespace& _findNamespace;
};

bool hasDeclaredType(const CIMProperty& declared, const IOrvoType& type) {
    if (declared.type->isArray() != type.isArray()) {
        return false;
    }
    return type.getName().compareTo(declared.type->getName(), ORVString::caseInsensitive) == 0 ||
           (declared.embedding != CIMEmbedding::none && type.getName().view() == "instance");
}

/// Each property is one that the class has, of its type.
void checkProperties(const ResolvedClass& found, const IOrvoObject& object) {
    for (unsigned int position = 0; position < object.getPropertyCount(); ++position) {
        const auto property = object.getProperty(position);
        const ORVString name = property->getName();
        const CIMProperty* declared = found.declaration.property(name.view());
        if (!declared) {
            throwStatus(CIMStatus::noSuchProperty,
                        fmt::format("{} has no property {}", found.name(), quoted(name.view())));
        }
        const auto type = property->getValue()->getType();
        if (!hasDeclaredType(*declared, *type)) {
            throwStatus(CIMStatus::typeMismatch,
                        fmt::format("{}.{} has type {}, not {}", found.name(), declared->name,
                                    typeText(*declared->type), typeText(*type)));
        }
    }
}

Name nameFromKeys(const std::string& nameSpace, const ResolvedClass& found, const Properties& properties) {
    KeyBindings keys;
    for (const std::size_t position : found.keys) {
        const std::string& wanted = found.declaration.properties[position].name;
        const auto key = std::find_if(properties.begin(), properties.end(), [&wanted](const auto& property) {
            return property.first.view() == wanted;
        });
        if (key == properties.end() || key->second->isNull()) {
            refuse(fmt::format("the key {} of {} has no value", wanted, found.name()));
        }
        keys.append({key->first, key->second});
    }
    return makeName(nameSpace, found, keys);
}

ORVString classNameOf(const IOrvoObject& object, const Name& name) {
    const ORVString className = object.getClassName();
    return className.length() == 0 && !name.IsNull() ? name->getClassName() : className;
}

Properties canonicalProperties(const IOrvoObject& object, const ResolvedClass& found,
                               const Canonicalizer& canonicalizer, const std::string& nameSpace) {
    const COrvoObject copy(object, true);
    Properties properties;
    for (const CIMProperty& declared : found.declaration.properties) {
        const ORVString name = asText(declared.name);
        const auto property = copy.getProperty(name);
        if (!property.IsNull()) {
            properties.emplace_back(name, canonicalizer.value(property->getValue(), nameSpace));
        }
    }
    return properties;
}

}  // namespace

ORVSmrPtr<IOrvoInstanceName> ObjectNames::canonicalName(const IOrvoInstanceName& name,
                                                        std::string_view defaultNamespace) const {
    return Canonicalizer(_findNamespace).name(name, defaultNamespace, Canonicalizer::Keys::all);
}

ORVSmrPtr<IOrvoInstanceName> ObjectNames::canonicalPattern(const IOrvoInstanceName& name,
                                                           std::string_view defaultNamespace) const {
    return Canonicalizer(_findNamespace).name(name, defaultNamespace, Canonicalizer::Keys::any);
}

ORVSmrPtr<IOrvoObject> ObjectNames::canonicalObject(const IOrvoObject& object,
                                                    const ORVSmrPtr<IOrvoInstanceName>& name,
                                                    std::string_view nameSpace) const {
    const NamespaceView view = _findNamespace(nameSpace);
    const ResolvedClassHandle found = existingClass(view, classNameOf(object, name).view());
    if (!name.IsNull() && !sameName(name->getClassName().view(), found->name())) {
        refuse(fmt::format("an instance of {} cannot have the name of an instance of {}", found->name(),
                           quoted(name->getClassName().view())));
    }
    checkProperties(*found, object);
    const Properties properties =
        canonicalProperties(object, *found, Canonicalizer(_findNamespace), view.name);
    auto* result = new COrvoObject(asText(found->name()),
                                   name.IsNull() ? nameFromKeys(view.name, *found, properties) : name);
    ORVSmrPtr<IOrvoObject> handle(result);
    for (const auto& [propertyName, value] : properties) {
        result->setProperty(propertyName, value);
    }
    return handle;
}

}  // namespace velm
