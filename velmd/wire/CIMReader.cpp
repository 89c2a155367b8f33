#include "velmd/wire/CIMReader.h"

#include "foundation/object_model/COrvoValue.h"
#include "velmd/model/CIMName.h"
#include "velmd/wire/ElementChecks.h"
#include "velmd/wire/ScopeNames.h"

#include <algorithm>
#include <array>
#include <utility>

#include <fmt/format.h>

namespace velm {

namespace {

using wire::booleanAttribute;
using wire::expectChildren;
using wire::failSyntax;
using wire::optionalAttribute;
using wire::requiredAttribute;

CIMFlavor readFlavor(const XMLElement& element) {
    CIMFlavor flavor;
    flavor.isOverridable = booleanAttribute(element, "OVERRIDABLE", flavor.isOverridable);
    flavor.toSubclass = booleanAttribute(element, "TOSUBCLASS", flavor.toSubclass);
    flavor.toInstance = booleanAttribute(element, "TOINSTANCE", flavor.toInstance);
    flavor.isTranslatable = booleanAttribute(element, "TRANSLATABLE", flavor.isTranslatable);
    return flavor;
}

/// Only the value tells whether a qualifier is an array.
CIMQualifier readQualifier(const XMLElement& element) {
    expectChildren(element, {"VALUE", "VALUE.ARRAY"});
    const auto type = wire::typeOf(element);
    CIMQualifier qualifier;
    qualifier.name = requiredAttribute(element, "NAME");
    qualifier.value = readValue(element, element.child("VALUE.ARRAY") ? COrvoType::arrayOf(type) : type);
    qualifier.flavor = readFlavor(element);
    qualifier.isPropagated = booleanAttribute(element, "PROPAGATED", false);
    return qualifier;
}

std::vector<CIMQualifier> readQualifiers(const XMLElement& owner) {
    std::vector<CIMQualifier> qualifiers;
    for (const XMLElement& child : owner.children) {
        if (child.name == "QUALIFIER") {
            qualifiers.push_back(readQualifier(child));
        }
    }
    return qualifiers;
}

/// Compilers of declarations send the qualifiers and may leave the attribute out.
CIMEmbedding embeddingIn(const XMLElement& element, const std::vector<CIMQualifier>& qualifiers) {
    const CIMEmbedding declared = wire::embeddingOf(element);
    if (declared != CIMEmbedding::none) {
        return declared;
    }
    const CIMQualifier* instance = findQualifier(qualifiers, "EmbeddedInstance");
    if (instance && !instance->value->isNull()) {
        return CIMEmbedding::instance;
    }
    const CIMQualifier* object = findQualifier(qualifiers, "EmbeddedObject");
    const bool isObject = object && sameName(object->value->toString().view(), "true");
    return isObject ? CIMEmbedding::object : CIMEmbedding::none;
}

CIMProperty readProperty(const XMLElement& element) {
    CIMProperty property;
    property.name = requiredAttribute(element, "NAME");
    property.type = wire::propertyTypeOf(element);
    property.arraySize = property.type->isArray() ? wire::arraySizeOf(element) : std::nullopt;
    property.referenceClass =
        property.type->isReference() ? optionalAttribute(element, "REFERENCECLASS") : std::string();
    property.qualifiers = readQualifiers(element);
    property.embedding =
        property.type->isReference() ? CIMEmbedding::none : embeddingIn(element, property.qualifiers);
    property.classOrigin = optionalAttribute(element, "CLASSORIGIN");
    property.isPropagated = booleanAttribute(element, "PROPAGATED", false);
    property.value = wire::readPropertyValue(element, property.type, CIMEmbedding::none, 0);
    return property;
}

CIMParameter readParameter(const XMLElement& element) {
    expectChildren(element, {"QUALIFIER"});
    const bool isArray = element.name == "PARAMETER.ARRAY" || element.name == "PARAMETER.REFARRAY";
    const bool isReference = element.name == "PARAMETER.REFERENCE" || element.name == "PARAMETER.REFARRAY";
    const auto type = isReference ? COrvoType::reference : wire::typeOf(element);
    CIMParameter parameter;
    parameter.name = requiredAttribute(element, "NAME");
    parameter.type = isArray ? COrvoType::arrayOf(type) : type;
    parameter.arraySize = isArray ? wire::arraySizeOf(element) : std::nullopt;
    parameter.referenceClass = isReference ? optionalAttribute(element, "REFERENCECLASS") : std::string();
    parameter.qualifiers = readQualifiers(element);
    parameter.embedding = isReference ? CIMEmbedding::none : embeddingIn(element, parameter.qualifiers);
    return parameter;
}

CIMMethod readMethod(const XMLElement& element) {
    expectChildren(
        element, {"QUALIFIER", "PARAMETER", "PARAMETER.REFERENCE", "PARAMETER.ARRAY", "PARAMETER.REFARRAY"});
    CIMMethod method;
    method.name = requiredAttribute(element, "NAME");
    method.type = wire::optionalTypeOf(element);
    method.classOrigin = optionalAttribute(element, "CLASSORIGIN");
    method.isPropagated = booleanAttribute(element, "PROPAGATED", false);
    method.qualifiers = readQualifiers(element);
    for (const XMLElement& child : element.children) {
        if (child.name != "QUALIFIER") {
            method.parameters.push_back(readParameter(child));
        }
    }
    return method;
}

unsigned int readScopes(const XMLElement& declaration) {
    const XMLElement* element = declaration.child("SCOPE");
    unsigned int scopes = 0;
    for (const auto& [name, scope] : wire::scopeNames) {
        scopes |= element && booleanAttribute(*element, name, false) ? scope : 0U;
    }
    return scopes;
}

// Groups of declarations differ in what may stand around a class or an instance, and files in the field do
// not keep to it: everything is taken everywhere.

bool isPath(std::string_view name) {
    constexpr std::array paths{"LOCALNAMESPACEPATH", "NAMESPACEPATH",     "INSTANCENAME", "CLASSPATH",
                               "LOCALCLASSPATH",     "LOCALINSTANCEPATH", "INSTANCEPATH"};
    return std::find(paths.begin(), paths.end(), name) != paths.end();
}

bool isWrapper(std::string_view name) {
    constexpr std::array wrappers{"VALUE.OBJECT",         "VALUE.NAMEDOBJECT",   "VALUE.OBJECTWITHLOCALPATH",
                                  "VALUE.OBJECTWITHPATH", "VALUE.NAMEDINSTANCE", "VALUE.INSTANCEWITHPATH"};
    return std::find(wrappers.begin(), wrappers.end(), name) != wrappers.end();
}

void readDeclared(const XMLElement& element, CIMDeclarations& result) {
    if (element.name == "CLASS") {
        result.classes.push_back(readClass(element));
        result.classLines.push_back(element.line);
    } else if (element.name == "INSTANCE") {
        result.instances.push_back(readInstance(element));
        result.instanceLines.push_back(element.line);
    } else if (element.name == "QUALIFIER.DECLARATION") {
        result.qualifiers.push_back(readQualifierDeclaration(element));
    } else if (!isPath(element.name)) {
        failSyntax(element, "it has no place among declarations");
    }
}

void readGroup(const XMLElement& group, CIMDeclarations& result) {
    for (const XMLElement& element : group.children) {
        if (!isWrapper(element.name)) {
            readDeclared(element, result);
            continue;
        }
        for (const XMLElement& wrapped : element.children) {
            readDeclared(wrapped, result);
        }
    }
}

}  // namespace

CIMClass readClass(const XMLElement& element) {
    if (element.name != "CLASS") {
        failSyntax(element, "it is no CLASS");
    }
    expectChildren(element, {"QUALIFIER", "PROPERTY", "PROPERTY.ARRAY", "PROPERTY.REFERENCE", "METHOD"});
    CIMClass declaration;
    declaration.name = requiredAttribute(element, "NAME");
    declaration.superClass = optionalAttribute(element, "SUPERCLASS");
    declaration.qualifiers = readQualifiers(element);
    for (const XMLElement& child : element.children) {
        if (child.name == "METHOD") {
            declaration.methods.push_back(readMethod(child));
        } else if (child.name != "QUALIFIER") {
            declaration.properties.push_back(readProperty(child));
        }
    }
    return declaration;
}

CIMQualifierDeclaration readQualifierDeclaration(const XMLElement& element) {
    if (element.name != "QUALIFIER.DECLARATION") {
        failSyntax(element, "it is no QUALIFIER.DECLARATION");
    }
    expectChildren(element, {"SCOPE", "VALUE", "VALUE.ARRAY"});
    const bool isArray = booleanAttribute(element, "ISARRAY", element.child("VALUE.ARRAY") != nullptr);
    const auto type = wire::typeOf(element);
    CIMQualifierDeclaration declaration;
    declaration.name = requiredAttribute(element, "NAME");
    declaration.type = isArray ? COrvoType::arrayOf(type) : type;
    declaration.arraySize = isArray ? wire::arraySizeOf(element) : std::nullopt;
    declaration.scopes = readScopes(element);
    declaration.flavor = readFlavor(element);
    declaration.value = readValue(element, declaration.type);
    return declaration;
}

CIMDeclarations readDeclarations(const XMLElement& root) {
    if (root.name != "CIM") {
        failSyntax(root, "the document is no CIM-XML: its root is not CIM");
    }
    CIMDeclarations result;
    for (const XMLElement& declaration : root.children) {
        if (declaration.name != "DECLARATION") {
            failSyntax(declaration, "it is no DECLARATION");
        }
        for (const XMLElement& group : declaration.children) {
            if (group.name != "DECLGROUP" && group.name != "DECLGROUP.WITHNAME" &&
                group.name != "DECLGROUP.WITHPATH") {
                failSyntax(group, "it is no group of declarations");
            }
            readGroup(group, result);
        }
    }
    return result;
}

}  // namespace velm
