#include "foundation/object_model/COrvoInstanceName.h"
#include "foundation/object_model/COrvoObject.h"
#include "foundation/object_model/COrvoValue.h"
#include "foundation/utilities/ORVXMLError.h"
#include "foundation/utilities/OrvoBaseException.h"
#include "server/xml/CIMXMLWriter.h"
#include "velmd/model/CIMName.h"
#include "velmd/model/ObjectNames.h"
#include "velmd/wire/CIMReader.h"
#include "velmd/wire/ElementChecks.h"

#include <algorithm>

#include <fmt/format.h>

namespace velm {

namespace {

using wire::expectChildren;
using wire::failContent;
using wire::failSyntax;
using wire::onlyChild;
using wire::requiredAttribute;

using Name = ORVSmrPtr<IOrvoInstanceName>;
using Type = ORVSmrPtr<IOrvoType>;
using Value = ORVSmrPtr<IOrvoValue>;
using KeyBindings = COrvoInstanceName::KeyBindings;

/// Each name around a name escapes its quotes once more: a bound for what is inside keeps their number low.
constexpr std::size_t maxNestedName = 64 * 1024;

constexpr std::size_t maxEmbeddedDepth = 256;

Value readText(const XMLElement& owner, const XMLElement& element, const Type& type, CIMStatus refusal) {
    if (!element.children.empty()) {
        failSyntax(element, "it has elements inside, not text");
    }
    try {
        return COrvoValue::parse(std::string_view(element.text), type);
    } catch (const ORVTypeException&) {
        failContent(owner, refusal,
                    fmt::format("{} is no value of type {}", quoted(element.text), type->getName().view()));
    }
}

/// Also keeps what messages quote of names short.
const std::string& checkedName(const XMLElement& element, const std::string& name) {
    if (!isCIMName(name)) {
        failContent(element, CIMStatus::invalidParameter, fmt::format("{} is no name", quoted(name)));
    }
    return name;
}

Name makeName(const XMLElement& element, const std::string& nameSpace, const std::string& className,
              const KeyBindings& keys) {
    const std::string place = nameSpace.empty() ? nameSpace : checkedNamespace(nameSpace);
    const std::string_view checkedClass = checkedName(element, className);
    try {
        return Name(new COrvoInstanceName(std::string_view(place), checkedClass, keys));
    } catch (const ORVTypeException& error) {
        failContent(element, CIMStatus::invalidParameter, error.getMessage().view());
    }
}

Value readKeyValue(const XMLElement& element, const XMLElement& owner) {
    const Type type = wire::optionalTypeOf(element);
    return readText(owner, element, type.IsNull() ? COrvoType::string : type, CIMStatus::invalidParameter);
}

Value readReference(const XMLElement& element) {
    return Value(new COrvoValue(readInstanceName(element)));
}

/// KEYVALUE or VALUE.REFERENCE.
Value readKey(const XMLElement& element, const XMLElement& owner) {
    if (element.name == "KEYVALUE") {
        return readKeyValue(element, owner);
    }
    Value reference = readReference(element);
    if (reference->toString().length() > maxNestedName) {
        failContent(owner, CIMStatus::invalidParameter,
                    fmt::format("the name inside is longer than {} bytes", maxNestedName));
    }
    return reference;
}

KeyBindings readKeys(const XMLElement& element) {
    KeyBindings keys;
    for (const XMLElement& child : element.children) {
        if (child.name == "KEYBINDING") {
            expectChildren(child, {"KEYVALUE", "VALUE.REFERENCE"});
            keys.append({std::string_view(checkedName(child, requiredAttribute(child, "NAME"))),
                         readKey(onlyChild(child), child)});
        } else {
            keys.append({unnamedKey, readKey(onlyChild(element), element)});
        }
    }
    return keys;
}

Name readNameIn(const XMLElement& element, const std::string& nameSpace) {
    if (element.name == "CLASSNAME") {
        return makeName(element, nameSpace, requiredAttribute(element, "NAME"), {});
    }
    expectChildren(element, {"KEYBINDING", "KEYVALUE", "VALUE.REFERENCE"});
    return makeName(element, nameSpace, requiredAttribute(element, "CLASSNAME"), readKeys(element));
}

const XMLElement& requiredChild(const XMLElement& element, std::string_view name) {
    const XMLElement* child = element.child(name);
    if (!child) {
        failSyntax(element, fmt::format("{} is missing", name));
    }
    return *child;
}

/// A path is what leads to the namespace, and the name.
Name readPath(const XMLElement& path, std::string_view namespaceElement, std::string_view nameElement) {
    expectChildren(path, {namespaceElement, nameElement});
    const XMLElement& place = requiredChild(path, namespaceElement);
    const bool isLocal = namespaceElement == "LOCALNAMESPACEPATH";
    if (!isLocal) {
        expectChildren(place, {"HOST", "LOCALNAMESPACEPATH"});
    }
    return readNameIn(requiredChild(path, nameElement),
                      readNamespace(isLocal ? place : requiredChild(place, "LOCALNAMESPACEPATH")));
}

struct NameForm {
    std::string_view element;
    /// Empty for a name without a namespace.
    std::string_view namespaceElement;
    std::string_view nameElement;
};

constexpr NameForm nameForms[]{{"INSTANCENAME", "", ""},
                               {"LOCALINSTANCEPATH", "LOCALNAMESPACEPATH", "INSTANCENAME"},
                               {"INSTANCEPATH", "NAMESPACEPATH", "INSTANCENAME"},
                               {"CLASSNAME", "", ""},
                               {"LOCALCLASSPATH", "LOCALNAMESPACEPATH", "CLASSNAME"},
                               {"CLASSPATH", "NAMESPACEPATH", "CLASSNAME"}};

bool isClassForm(const NameForm& form) {
    return form.element == "CLASSNAME" || form.nameElement == "CLASSNAME";
}

const NameForm* formOf(const XMLElement& element) {
    const auto* form =
        std::find_if(std::begin(nameForms), std::end(nameForms),
                     [&element](const auto& candidate) { return candidate.element == element.name; });
    return form == std::end(nameForms) ? nullptr : form;
}

Value readElements(const XMLElement& owner, const XMLElement& array, const Type& elementType) {
    const bool areReferences = array.name == "VALUE.REFARRAY";
    COrvoValue::Elements elements(new ORVValSlist<Value>);
    for (const XMLElement& child : array.children) {
        if (child.name == "VALUE.NULL") {
            elements->append(COrvoValue::null(elementType));
        } else if (child.name == "VALUE.REFERENCE" && areReferences) {
            elements->append(readReference(child));
        } else if (child.name == "VALUE" && !areReferences) {
            elements->append(readText(owner, child, elementType, CIMStatus::typeMismatch));
        } else {
            failSyntax(child, fmt::format("it has no place in {}", array.name));
        }
    }
    return Value(new COrvoValue(elements, elementType));
}

/// The element that holds a value of the type.
std::string_view valueElementOf(const IOrvoType& type) {
    const bool isReference = type.getName().view() == "reference";
    if (type.isArray()) {
        return isReference ? "VALUE.REFARRAY" : "VALUE.ARRAY";
    }
    return isReference ? "VALUE.REFERENCE" : "VALUE";
}

/// The element that holds the value of a property or a qualifier; null when there is none.
const XMLElement* valueIn(const XMLElement& element) {
    const XMLElement* value = nullptr;
    for (const XMLElement& child : element.children) {
        if (child.name == "QUALIFIER" || child.name == "SCOPE") {
            continue;
        }
        if (value) {
            failSyntax(element, "it has more than one value");
        }
        value = &child;
    }
    return value;
}

XMLElement readEmbeddedDocument(const XMLElement& owner, std::string_view text) {
    try {
        return readXMLTree(text, 0, maxEmbeddedDepth);
    } catch (const ORVXMLError& error) {
        failContent(owner, CIMStatus::typeMismatch,
                    fmt::format("it embeds no XML document: {}", error.GetErrorMessage().view()));
    }
}

ORVSmrPtr<IOrvoObject> readInstanceAt(const XMLElement& element, unsigned int level);

/// The instance in the text of a string; a null handle for a class.
ORVSmrPtr<IOrvoObject> readEmbedded(const XMLElement& owner, std::string_view text, unsigned int level) {
    if (level == CIMXMLWriter::maxEmbedding) {
        failContent(owner, CIMStatus::invalidParameter,
                    fmt::format("instances are embedded deeper than {}", level));
    }
    const XMLElement document = readEmbeddedDocument(owner, text);
    try {
        if (document.name == "CLASS") {
            readClass(document);
            return {};
        }
        if (document.name != "INSTANCE") {
            failSyntax(document, "it is neither INSTANCE nor CLASS");
        }
        return readInstanceAt(document, level + 1);
    } catch (const CIMSyntaxError& error) {
        failContent(owner, CIMStatus::typeMismatch,
                    fmt::format("it embeds no instance or class: {}", error.what()));
    }
}

Value embeddedScalar(const XMLElement& owner, const Value& text, unsigned int level) {
    if (text->isNull()) {
        return COrvoValue::null(COrvoType::instance);
    }
    const auto instance = readEmbedded(owner, text->getString().view(), level);
    return instance.IsNull() ? text : Value(new COrvoValue(instance));
}

Value embeddedArray(const XMLElement& owner, const Value& texts, unsigned int level) {
    if (texts->isNull()) {
        return COrvoValue::null(COrvoType::arrayOf(COrvoType::instance));
    }
    const auto strings = texts->getElements();
    COrvoValue::Elements instances(new ORVValSlist<Value>);
    for (const Value& text : *strings) {
        Value instance = embeddedScalar(owner, text, level);
        if (instance->getType()->getName().view() == "string") {
            return texts;
        }
        instances->append(instance);
    }
    return Value(new COrvoValue(instances, COrvoType::instance));
}

ORVSmrPtr<IOrvoObject> readInstanceAt(const XMLElement& element, unsigned int level) {
    if (element.name != "INSTANCE") {
        failSyntax(element, "it is no INSTANCE");
    }
    expectChildren(element, {"QUALIFIER", "PROPERTY", "PROPERTY.ARRAY", "PROPERTY.REFERENCE"});
    auto* object = new COrvoObject(std::string_view(requiredAttribute(element, "CLASSNAME")), Name());
    ORVSmrPtr<IOrvoObject> handle(object);
    for (const XMLElement& property : element.children) {
        if (property.name == "QUALIFIER") {
            continue;
        }
        const ORVString name = std::string_view(requiredAttribute(property, "NAME"));
        if (!object->getProperty(name).IsNull()) {
            failContent(property, CIMStatus::invalidParameter, "the property is there twice");
        }
        object->setProperty(name, wire::readPropertyValue(property, wire::propertyTypeOf(property),
                                                          wire::embeddingOf(property), level));
    }
    return handle;
}

}  // namespace

Value wire::readPropertyValue(const XMLElement& element, const Type& type, CIMEmbedding embedding,
                              unsigned int level) {
    expectChildren(element, {"QUALIFIER", valueElementOf(*type)});
    Value value = readValue(element, type);
    if (embedding == CIMEmbedding::none) {
        return value;
    }
    if (type->getName().view() != "string") {
        failContent(element, CIMStatus::typeMismatch, "only a string can embed an object");
    }
    return type->isArray() ? embeddedArray(element, value, level) : embeddedScalar(element, value, level);
}

ORVSmrPtr<IOrvoObject> readInstance(const XMLElement& element) {
    return readInstanceAt(element, 0);
}

Name readInstanceName(const XMLElement& element) {
    const bool isValue = element.name == "VALUE.REFERENCE";
    const XMLElement& name = isValue ? onlyChild(element) : element;
    const NameForm* form = formOf(name);
    if (!form || (isClassForm(*form) && !isValue)) {
        failSyntax(name, "it is no name of an instance");
    }
    return form->namespaceElement.empty() ? readNameIn(name, "")
                                          : readPath(name, form->namespaceElement, form->nameElement);
}

Name readObjectName(const XMLElement& element, bool& isClass) {
    const XMLElement& name = element.name == "VALUE.REFERENCE" ? onlyChild(element) : element;
    const NameForm* form = formOf(name);
    if (!form) {
        failSyntax(name, "it is no name of a class or an instance");
    }
    isClass = isClassForm(*form);
    return form->namespaceElement.empty() ? readNameIn(name, "")
                                          : readPath(name, form->namespaceElement, form->nameElement);
}

std::string readNamespace(const XMLElement& element) {
    if (element.name != "LOCALNAMESPACEPATH") {
        failSyntax(element, "it is no LOCALNAMESPACEPATH");
    }
    expectChildren(element, {"NAMESPACE"});
    std::string nameSpace;
    for (const XMLElement& part : element.children) {
        nameSpace += nameSpace.empty() ? "" : "/";
        nameSpace += requiredAttribute(part, "NAME");
    }
    if (nameSpace.empty()) {
        failSyntax(element, "it names no namespace");
    }
    return nameSpace;
}

Value readValue(const XMLElement& parent, const Type& type) {
    const XMLElement* value = valueIn(parent);
    if (!value) {
        return COrvoValue::null(type);
    }
    const std::string_view wanted = valueElementOf(*type);
    if (value->name != wanted) {
        failContent(parent, CIMStatus::invalidParameter,
                    fmt::format("it holds {}, not {}", quoted(value->name), wanted));
    }
    if (type->isArray()) {
        return readElements(parent, *value, COrvoType::fromName(type->getName()));
    }
    return type->isReference() ? readReference(*value)
                               : readText(parent, *value, type, CIMStatus::typeMismatch);
}

}  // namespace velm
