#include "velmd/model/ClassResolver.h"

#include "velmd/model/CIMStatus.h"

#include <algorithm>
#include <array>
#include <string>
#include <unordered_set>
#include <utility>

#include <fmt/format.h>

namespace velm {

namespace {

using Qualifiers = std::vector<CIMQualifier>;

[[noreturn]] void refuse(const std::string& owner, std::string_view problem) {
    throwStatus(CIMStatus::invalidParameter, fmt::format("{}: {}", owner, problem));
}

std::string memberText(const std::string& owner, const std::string& member) {
    return owner + "." + member;
}

/// The names of sibling elements: each is one, and is there once.
template <class Element>
void checkNames(const std::string& owner, const std::vector<Element>& elements, std::string_view kind) {
    std::unordered_set<std::string_view, CIMNameHash, CIMNameEqual> seen;
    for (const Element& element : elements) {
        if (!isCIMName(element.name)) {
            refuse(owner, fmt::format("{} is no name of a {}", quoted(element.name), kind));
        }
        if (!seen.insert(element.name).second) {
            refuse(owner, fmt::format("the {} {} is there twice", kind, element.name));
        }
    }
}

/// Null when there is none.
template <class Elements>
auto findNamed(Elements& elements, std::string_view name) {
    const auto found = std::find_if(elements.begin(), elements.end(),
                                    [name](const auto& element) { return sameName(element.name, name); });
    return found == elements.end() ? nullptr : &*found;
}

CIMFlavor flavorOf(const CIMQualifier& qualifier) {
    CIMFlavor flavor = qualifier.flavor;
    if (sameName(qualifier.name, "Abstract")) {
        flavor.toSubclass = false;
        flavor.isOverridable = true;
    }
    constexpr std::array closed{"Association", "Indication", "Key"};
    if (std::any_of(closed.begin(), closed.end(),
                    [&qualifier](const char* name) { return sameName(qualifier.name, name); })) {
        flavor.toSubclass = true;
        flavor.isOverridable = false;
    }
    return flavor;
}

bool sameValue(const IOrvoValue& left, const IOrvoValue& right) {
    return left.isNull() == right.isNull() && left.toString() == right.toString();
}

Qualifiers inheritedQualifiers(const Qualifiers& ofSuperClass) {
    Qualifiers inherited;
    for (const CIMQualifier& qualifier : ofSuperClass) {
        if (flavorOf(qualifier).toSubclass) {
            inherited.push_back(qualifier);
            inherited.back().isPropagated = true;
        }
    }
    return inherited;
}

Qualifiers mergedQualifiers(const std::string& owner, const Qualifiers& ofSuperClass, Qualifiers own) {
    checkNames(owner, own, "qualifier");
    Qualifiers merged = inheritedQualifiers(ofSuperClass);
    for (CIMQualifier& qualifier : own) {
        qualifier.isPropagated = false;
        const auto inherited = std::find_if(
            merged.begin(), merged.end(),
            [&qualifier](const CIMQualifier& other) { return sameName(other.name, qualifier.name); });
        if (inherited == merged.end()) {
            merged.push_back(std::move(qualifier));
            continue;
        }
        if (!flavorOf(*inherited).isOverridable && !sameValue(*inherited->value, *qualifier.value)) {
            refuse(owner,
                   fmt::format("the qualifier {} cannot be overridden with another value", inherited->name));
        }
        *inherited = std::move(qualifier);
    }
    return merged;
}

bool sameType(const ORVSmrPtr<IOrvoType>& left, const ORVSmrPtr<IOrvoType>& right) {
    if (left.IsNull() || right.IsNull()) {
        return left.IsNull() == right.IsNull();
    }
    return left->isArray() == right->isArray() &&
           left->getName().compareTo(right->getName(), ORVString::caseInsensitive) == 0;
}

void checkKey(const std::string& owner, const CIMProperty& property) {
    if (property.type->isArray() || property.embedding != CIMEmbedding::none) {
        refuse(owner, "an array or an embedded instance cannot be a key");
    }
}

std::vector<CIMParameter> mergedParameters(const std::string& owner,
                                           const std::vector<CIMParameter>& ofSuperClass,
                                           std::vector<CIMParameter> own) {
    checkNames(owner, own, "parameter");
    for (CIMParameter& parameter : own) {
        const auto* inherited = findNamed(ofSuperClass, parameter.name);
        parameter.qualifiers =
            mergedQualifiers(memberText(owner, parameter.name),
                             inherited ? inherited->qualifiers : Qualifiers(), parameter.qualifiers);
    }
    return own;
}

/// Builds one class on a copy of what its superclass has.
class Resolver {
public:
    Resolver(CIMClass declared, const ResolvedClassHandle& superClass)
        : _declared(std::move(declared)), _result(std::make_shared<ResolvedClass>()) {
        _result->superClass = superClass;
    }

    ResolvedClassHandle resolve() {
        checkNames(_declared.name, _declared.properties, "property");
        checkNames(_declared.name, _declared.methods, "method");
        const ResolvedClass* superClass = _result->superClass.get();
        CIMClass& target = _result->declaration;
        target.name = _declared.name;
        if (superClass) {
            target.superClass = superClass->name();
            _inherit(superClass->declaration);
        }
        target.qualifiers =
            mergedQualifiers(target.name, superClass ? superClass->declaration.qualifiers : Qualifiers(),
                             std::move(_declared.qualifiers));
        for (CIMProperty& property : _declared.properties) {
            _addProperty(std::move(property), superClass && !superClass->keys.empty());
        }
        for (CIMMethod& method : _declared.methods) {
            _addMethod(std::move(method));
        }
        _summarize();
        return _result;
    }

private:
    void _inherit(const CIMClass& superClass) {
        _result->declaration.properties = superClass.properties;
        for (CIMProperty& property : _result->declaration.properties) {
            property.isPropagated = true;
            property.qualifiers = inheritedQualifiers(property.qualifiers);
        }
        _result->declaration.methods = superClass.methods;
        for (CIMMethod& method : _result->declaration.methods) {
            method.isPropagated = true;
            method.qualifiers = inheritedQualifiers(method.qualifiers);
            for (CIMParameter& parameter : method.parameters) {
                parameter.qualifiers = inheritedQualifiers(parameter.qualifiers);
            }
        }
    }

    void _addProperty(CIMProperty property, bool hasInheritedKeys) {
        const std::string owner = memberText(_declared.name, property.name);
        property.isPropagated = false;
        auto* inherited = findNamed(_result->declaration.properties, property.name);
        const bool wasKey = inherited && inherited->isKey();
        property.qualifiers = mergedQualifiers(owner, inherited ? inherited->qualifiers : Qualifiers(),
                                               std::move(property.qualifiers));
        if (property.isKey() && !wasKey && hasInheritedKeys) {
            refuse(owner, "a key cannot be added to those of the superclass");
        }
        if (inherited) {
            _override(owner, *inherited, std::move(property));
        } else {
            property.classOrigin = _declared.name;
            _result->declaration.properties.push_back(std::move(property));
        }
    }

    static void _override(const std::string& owner, CIMProperty& inherited, CIMProperty own) {
        if (!sameType(inherited.type, own.type)) {
            refuse(owner,
                   fmt::format("an override cannot change the type {}{}", inherited.type->getName().view(),
                               inherited.type->isArray() ? "[]" : ""));
        }
        own.classOrigin = inherited.classOrigin;
        if (own.value->isNull()) {
            own.value = inherited.value;
        }
        if (own.referenceClass.empty()) {
            own.referenceClass = inherited.referenceClass;
        }
        if (!own.arraySize) {
            own.arraySize = inherited.arraySize;
        }
        if (own.embedding == CIMEmbedding::none) {
            own.embedding = inherited.embedding;
        }
        inherited = std::move(own);
    }

    void _addMethod(CIMMethod method) {
        const std::string owner = memberText(_declared.name, method.name);
        auto* inherited = findNamed(_result->declaration.methods, method.name);
        method.isPropagated = false;
        method.qualifiers = mergedQualifiers(owner, inherited ? inherited->qualifiers : Qualifiers(),
                                             std::move(method.qualifiers));
        method.parameters =
            mergedParameters(owner, inherited ? inherited->parameters : std::vector<CIMParameter>(),
                             std::move(method.parameters));
        if (!inherited) {
            method.classOrigin = _declared.name;
            _result->declaration.methods.push_back(std::move(method));
            return;
        }
        if (!sameType(inherited->type, method.type)) {
            refuse(owner, "an override cannot change the type of the return value");
        }
        method.classOrigin = inherited->classOrigin;
        *inherited = std::move(method);
    }

    void _summarize() {
        const CIMClass& result = _result->declaration;
        _result->isAssociation = result.is("Association");
        _result->isIndication = result.is("Indication");
        _result->isAbstract = result.is("Abstract");
        for (std::size_t position = 0; position < result.properties.size(); ++position) {
            if (result.properties[position].isKey()) {
                checkKey(memberText(result.name, result.properties[position].name),
                         result.properties[position]);
                _result->keys.push_back(position);
            }
        }
        std::sort(_result->keys.begin(), _result->keys.end(), [&result](std::size_t left, std::size_t right) {
            return foldedName(result.properties[left].name) < foldedName(result.properties[right].name);
        });
    }

    CIMClass _declared;
    std::shared_ptr<ResolvedClass> _result;
};

}  // namespace

ResolvedClassHandle resolveClass(CIMClass declared, const ResolvedClassHandle& superClass) {
    return Resolver(std::move(declared), superClass).resolve();
}

}  // namespace velm
