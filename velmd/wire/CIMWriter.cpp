#include "velmd/wire/CIMWriter.h"

#include "foundation/object_model/COrvoType.h"
#include "server/xml/CIMXMLWriter.h"
#include "velmd/model/CIMName.h"
#include "velmd/wire/ScopeNames.h"

#include <algorithm>

#include <fmt/format.h>

namespace velm {

namespace {

/// Writes tags with their attributes; what stands inside is the business of CIMXMLWriter.
class ElementWriter : public CIMXMLWriter {
public:
    using CIMXMLWriter::CIMXMLWriter;

    /// `<NAME`; close it with inside() or empty().
    void open(std::string_view element) {
        tags("<");
        tags(element);
    }
    void attribute(std::string_view name, std::string_view value) {
        tags(" ");
        tags(name);
        tags("=\"");
        attributeText(value);
        tags("\"");
    }
    void attributeUnlessEmpty(std::string_view name, std::string_view value) {
        if (!value.empty()) {
            attribute(name, value);
        }
    }
    void attributeIf(bool isWritten, std::string_view name, std::string_view value) {
        if (isWritten) {
            attribute(name, value);
        }
    }
    void inside() { tags(">"); }
    void empty() { tags("/>"); }
    void end(std::string_view element) {
        tags("</");
        tags(element);
        tags(">");
    }

    void named(std::string_view element, std::string_view name) {
        open(element);
        attribute("NAME", name);
        empty();
    }
};

std::string_view booleanText(bool value) {
    return value ? "true" : "false";
}

bool isReference(const IOrvoType& type) {
    return type.getName().view() == "reference";
}

/// Embedded instances travel as strings.
ORVString wireType(const IOrvoType& type) {
    const ORVString name = type.getName();
    return name.view() == "instance" ? ORVString("string") : name;
}

void writeArraySize(ElementWriter& writer, const std::optional<unsigned int>& size) {
    if (size) {
        writer.attribute("ARRAYSIZE", fmt::to_string(*size));
    }
}

/// The DTD has defaults for the others.
void writeFlavor(ElementWriter& writer, const CIMFlavor& flavor) {
    const CIMFlavor byDefault;
    writer.attributeIf(flavor.isOverridable != byDefault.isOverridable, "OVERRIDABLE",
                       booleanText(flavor.isOverridable));
    writer.attributeIf(flavor.toSubclass != byDefault.toSubclass, "TOSUBCLASS",
                       booleanText(flavor.toSubclass));
    writer.attributeIf(flavor.toInstance != byDefault.toInstance, "TOINSTANCE",
                       booleanText(flavor.toInstance));
    writer.attributeIf(flavor.isTranslatable != byDefault.isTranslatable, "TRANSLATABLE",
                       booleanText(flavor.isTranslatable));
}

void writeQualifier(ElementWriter& writer, const CIMQualifier& qualifier) {
    writer.open("QUALIFIER");
    writer.attribute("NAME", qualifier.name);
    writer.attribute("TYPE", qualifier.value->getType()->getName().view());
    writer.attributeIf(qualifier.isPropagated, "PROPAGATED", "true");
    writeFlavor(writer, qualifier.flavor);
    writer.inside();
    writer.value(*qualifier.value);
    writer.end("QUALIFIER");
}

void writeQualifiers(ElementWriter& writer, const std::vector<CIMQualifier>& qualifiers,
                     const CIMSelection& selection) {
    for (const CIMQualifier& qualifier : qualifiers) {
        if (selection.includeQualifiers && !(selection.localOnly && qualifier.isPropagated)) {
            writeQualifier(writer, qualifier);
        }
    }
}

std::string_view embeddingText(CIMEmbedding embedding) {
    switch (embedding) {
        case CIMEmbedding::instance:
            return "instance";
        case CIMEmbedding::object:
            return "object";
        case CIMEmbedding::none:
            break;
    }
    return "";
}

std::string_view propertyElement(const IOrvoType& type) {
    if (type.isArray()) {
        return "PROPERTY.ARRAY";
    }
    return type.isReference() ? "PROPERTY.REFERENCE" : "PROPERTY";
}

/// The tag that opens a property of `type`, and no more.
void openProperty(ElementWriter& writer, const CIMProperty& property, const IOrvoType& type,
                  const CIMSelection& selection, bool isInClass) {
    const bool isScalarReference = type.isReference();
    writer.open(propertyElement(type));
    writer.attribute("NAME", property.name);
    if (isScalarReference) {
        writer.attributeUnlessEmpty("REFERENCECLASS", property.referenceClass);
    } else {
        writer.attribute("TYPE", wireType(type).view());
    }
    if (type.isArray() && isInClass) {
        writeArraySize(writer, property.arraySize);
    }
    if (selection.includeClassOrigin) {
        writer.attributeUnlessEmpty("CLASSORIGIN", property.classOrigin);
    }
    writer.attributeIf(isInClass && property.isPropagated, "PROPAGATED", "true");
    if (!isScalarReference) {
        const bool embeds = property.embedding == CIMEmbedding::none && type.getName().view() == "instance";
        writer.attributeUnlessEmpty("EmbeddedObject",
                                    embeddingText(embeds ? CIMEmbedding::instance : property.embedding));
    }
    writer.inside();
}

void writeProperty(ElementWriter& writer, const CIMProperty& property, const CIMSelection& selection) {
    openProperty(writer, property, *property.type, selection, true);
    writeQualifiers(writer, property.qualifiers, selection);
    writer.value(*property.value);
    writer.end(propertyElement(*property.type));
}

void writeParameter(ElementWriter& writer, const CIMParameter& parameter, const CIMSelection& selection) {
    const bool isArray = parameter.type->isArray();
    const bool isReferring = isReference(*parameter.type);
    const std::string_view element = isReferring ? (isArray ? "PARAMETER.REFARRAY" : "PARAMETER.REFERENCE")
                                                 : (isArray ? "PARAMETER.ARRAY" : "PARAMETER");
    writer.open(element);
    writer.attribute("NAME", parameter.name);
    if (isReferring) {
        writer.attributeUnlessEmpty("REFERENCECLASS", parameter.referenceClass);
    } else {
        writer.attribute("TYPE", wireType(*parameter.type).view());
    }
    writeArraySize(writer, parameter.arraySize);
    writer.inside();
    writeQualifiers(writer, parameter.qualifiers, selection);
    writer.end(element);
}

void writeMethod(ElementWriter& writer, const CIMMethod& method, const CIMSelection& selection) {
    writer.open("METHOD");
    writer.attribute("NAME", method.name);
    if (!method.type.IsNull()) {
        writer.attribute("TYPE", wireType(*method.type).view());
    }
    if (selection.includeClassOrigin) {
        writer.attributeUnlessEmpty("CLASSORIGIN", method.classOrigin);
    }
    writer.attributeIf(method.isPropagated, "PROPAGATED", "true");
    writer.inside();
    writeQualifiers(writer, method.qualifiers, selection);
    for (const CIMParameter& parameter : method.parameters) {
        writeParameter(writer, parameter, selection);
    }
    writer.end("METHOD");
}

void writeScope(ElementWriter& writer, unsigned int scopes) {
    writer.open("SCOPE");
    for (const auto& [name, scope] : wire::scopeNames) {
        writer.attributeIf((scopes & scope) != 0, name, "true");
    }
    writer.inside();
    writer.end("SCOPE");
}

std::string_view valueTypeOf(std::string_view type) {
    if (type == "boolean") {
        return "boolean";
    }
    return type == "string" || type == "char16" || type == "datetime" ? "string" : "numeric";
}

void writeKey(ElementWriter& writer, const COrvoKeyBinding& key) {
    writer.open("KEYBINDING");
    writer.attribute("NAME", key.name.view());
    writer.inside();
    const ORVSmrPtr<IOrvoType> type = key.value->getType();
    if (type->isReference()) {
        writer.value(*key.value);
    } else {
        const ORVString typeName = type->getName();
        writer.open("KEYVALUE");
        writer.attribute("VALUETYPE", valueTypeOf(typeName.view()));
        writer.attribute("TYPE", typeName.view());
        writer.inside();
        writer.text(key.value->toString().view());
        writer.end("KEYVALUE");
    }
    writer.end("KEYBINDING");
}

void writeNamespacePath(ElementWriter& writer, std::string_view nameSpace, std::string_view host) {
    writer.tags("<NAMESPACEPATH><HOST>");
    writer.text(host);
    writer.tags("</HOST><LOCALNAMESPACEPATH>");
    while (!nameSpace.empty()) {
        const std::string_view part = nameSpace.substr(0, nameSpace.find('/'));
        writer.named("NAMESPACE", part);
        nameSpace.remove_prefix(std::min(part.size() + 1, nameSpace.size()));
    }
    writer.tags("</LOCALNAMESPACEPATH></NAMESPACEPATH>");
}

void writeInstanceName(ElementWriter& writer, const IOrvoInstanceName& name) {
    writer.open("INSTANCENAME");
    writer.attribute("CLASSNAME", name.getClassName().view());
    writer.inside();
    const auto keys = name.getKeyBindings();
    for (const COrvoKeyBinding& key : *keys) {
        writeKey(writer, key);
    }
    writer.end("INSTANCENAME");
}

}  // namespace

bool CIMSelection::selects(std::string_view propertyName) const {
    return !properties ||
           std::any_of(properties->begin(), properties->end(),
                       [propertyName](const auto& name) { return sameName(name, propertyName); });
}

void writeClass(std::string& xml, const CIMClass& declaration, const CIMSelection& selection) {
    ElementWriter writer(xml);
    writer.open("CLASS");
    writer.attribute("NAME", declaration.name);
    writer.attributeUnlessEmpty("SUPERCLASS", declaration.superClass);
    writer.inside();
    writeQualifiers(writer, declaration.qualifiers, selection);
    for (const CIMProperty& property : declaration.properties) {
        if (selection.selects(property.name) && !(selection.localOnly && property.isPropagated)) {
            writeProperty(writer, property, selection);
        }
    }
    for (const CIMMethod& method : declaration.methods) {
        if (!(selection.localOnly && method.isPropagated)) {
            writeMethod(writer, method, selection);
        }
    }
    writer.end("CLASS");
}

void writeQualifierDeclaration(std::string& xml, const CIMQualifierDeclaration& declaration) {
    ElementWriter writer(xml);
    writer.open("QUALIFIER.DECLARATION");
    writer.attribute("NAME", declaration.name);
    writer.attribute("TYPE", declaration.type->getName().view());
    writer.attribute("ISARRAY", booleanText(declaration.type->isArray()));
    writeArraySize(writer, declaration.arraySize);
    writeFlavor(writer, declaration.flavor);
    writer.inside();
    if (declaration.scopes != 0) {
        writeScope(writer, declaration.scopes);
    }
    writer.value(*declaration.value);
    writer.end("QUALIFIER.DECLARATION");
}

void writeInstance(std::string& xml, const IOrvoObject& instance, const CIMClass& declaration,
                   const CIMSelection& selection) {
    ElementWriter writer(xml);
    writer.open("INSTANCE");
    writer.attribute("CLASSNAME", instance.getClassName().view());
    writer.inside();
    for (const CIMProperty& property : declaration.properties) {
        if (!selection.selects(property.name) || (selection.localOnly && property.isPropagated)) {
            continue;
        }
        const auto held = instance.getProperty(std::string_view(property.name));
        const bool isNull = held.IsNull() || held->getValue()->isNull();
        const auto type = isNull ? property.type : held->getValue()->getType();
        openProperty(writer, property, *type, selection, false);
        if (!isNull) {
            writer.value(*held->getValue());
        }
        writer.end(propertyElement(*type));
    }
    writer.end("INSTANCE");
}

void writeInstanceName(std::string& xml, const IOrvoInstanceName& name) {
    ElementWriter writer(xml);
    writeInstanceName(writer, name);
}

void writeInstancePath(std::string& xml, const IOrvoInstanceName& name, std::string_view host) {
    ElementWriter writer(xml);
    writer.tags("<INSTANCEPATH>");
    writeNamespacePath(writer, name.getNameSpace().view(), host);
    writeInstanceName(writer, name);
    writer.tags("</INSTANCEPATH>");
}

void writeClassPath(std::string& xml, std::string_view className, std::string_view nameSpace,
                    std::string_view host) {
    ElementWriter writer(xml);
    writer.tags("<CLASSPATH>");
    writeNamespacePath(writer, nameSpace, host);
    writer.named("CLASSNAME", className);
    writer.tags("</CLASSPATH>");
}

void writeStoredInstance(std::string& xml, const IOrvoObject& instance) {
    CIMXMLWriter(xml).instance(instance);
}

}  // namespace velm
