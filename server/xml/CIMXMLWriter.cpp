#include "server/xml/CIMXMLWriter.h"

#include <algorithm>
#include <cstddef>

namespace velm {

namespace {

constexpr std::string_view embeddedType = "instance";
constexpr std::string_view referenceType = "reference";

/// Embedded instances travel as strings.
std::string_view wireType(std::string_view type) noexcept {
    return type == embeddedType || type == referenceType ? "string" : type;
}

std::string_view valueTypeOf(std::string_view type) noexcept {
    if (type == "boolean") {
        return "boolean";
    }
    return type == "string" || type == "char16" || type == "datetime" ? "string" : "numeric";
}

bool isEmptyPath(std::string_view nameSpace) noexcept {
    return nameSpace.find_first_not_of('/') == std::string_view::npos;
}

ORVString classNameOf(const IOrvoObject& object) {
    const ORVString name = object.getClassName();
    const ORVSmrPtr<IOrvoInstanceName> instanceName = object.getInstanceName();
    return name.length() != 0 || instanceName.IsNull() ? name : instanceName->getClassName();
}

}  // namespace

void CIMXMLWriter::property(std::string_view name, std::string_view type, std::string_view value) {
    _openProperty("PROPERTY", name, type);
    tags("><VALUE>");
    text(value);
    tags("</VALUE></PROPERTY>");
}

void CIMXMLWriter::embeddedProperty(std::string_view name, const IOrvoObject& instance) {
    _openProperty("PROPERTY", name, embeddedType);
    tags("><VALUE>");
    _embedded(instance);
    tags("</VALUE></PROPERTY>");
}

void CIMXMLWriter::instance(const IOrvoObject& object) {
    tags("<INSTANCE CLASSNAME=\"");
    attributeText(classNameOf(object).view());
    tags("\">");
    const unsigned int count = object.getPropertyCount();
    for (unsigned int position = 0; position < count; ++position) {
        property(*object.getProperty(position));
    }
    tags("</INSTANCE>");
}

void CIMXMLWriter::property(const IOrvoProperty& property) {
    const ORVString name = property.getName();
    const ORVSmrPtr<IOrvoValue> value = property.getValue();
    _property(name.view(), *value);
}

void CIMXMLWriter::_property(std::string_view name, const IOrvoValue& value) {
    const ORVSmrPtr<IOrvoType> type = value.getType();
    const bool isReference = type->isReference() && !type->isArray();
    const std::string_view element = type->isArray() ? "PROPERTY.ARRAY"
                                     : isReference   ? "PROPERTY.REFERENCE"
                                                     : "PROPERTY";
    const ORVString typeName = type->getName();
    _openProperty(element, name, isReference ? std::string_view() : typeName.view());
    if (_isAbsent(value)) {
        tags("/>");
        return;
    }
    tags(">");
    if (type->isArray()) {
        _array(value, true);
    } else {
        this->value(value);
    }
    tags("</");
    tags(element);
    tags(">");
}

void CIMXMLWriter::_openProperty(std::string_view element, std::string_view name, std::string_view type) {
    tags("<");
    tags(element);
    tags(" NAME=\"");
    attributeText(name);
    if (!type.empty()) {
        tags("\" TYPE=\"");
        attributeText(wireType(type));
    }
    tags(type == embeddedType ? "\" EmbeddedObject=\"instance\"" : "\"");
}

void CIMXMLWriter::value(const IOrvoValue& value) {
    if (_isAbsent(value)) {
        return;
    }
    const ORVSmrPtr<IOrvoType> type = value.getType();
    if (type->isArray()) {
        _array(value, false);
    } else if (type->isReference()) {
        tags("<VALUE.REFERENCE>");
        _reference(*value.getReference());
        tags("</VALUE.REFERENCE>");
    } else {
        tags("<VALUE>");
        valueText(value);
        tags("</VALUE>");
    }
}

void CIMXMLWriter::valueText(const IOrvoValue& value) {
    if (value.getType()->getName().view() == embeddedType) {
        _embedded(*value.getInstance());
    } else {
        text(value.toString().view());
    }
}

bool CIMXMLWriter::_isAbsent(const IOrvoValue& value) const {
    return value.isNull() || (_depth == maxEmbedding && value.getType()->getName().view() == embeddedType);
}

void CIMXMLWriter::_array(const IOrvoValue& array, bool asText) {
    const bool isText = asText || array.getType()->getName().view() != referenceType;
    tags(isText ? "<VALUE.ARRAY>" : "<VALUE.REFARRAY>");
    for (const ORVSmrPtr<IOrvoValue>& element : *array.getElements()) {
        if (element.IsNull() || _isAbsent(*element)) {
            tags("<VALUE.NULL/>");
        } else if (isText) {
            tags("<VALUE>");
            valueText(*element);
            tags("</VALUE>");
        } else {
            value(*element);
        }
    }
    tags(isText ? "</VALUE.ARRAY>" : "</VALUE.REFARRAY>");
}

void CIMXMLWriter::_reference(const IOrvoInstanceName& name) {
    const ORVString nameSpace = name.getNameSpace();
    if (_references == References::withoutNamespace || isEmptyPath(nameSpace.view())) {
        _instanceName(name);
        return;
    }
    tags("<LOCALINSTANCEPATH>");
    _namespacePath(nameSpace.view());
    _instanceName(name);
    tags("</LOCALINSTANCEPATH>");
}

void CIMXMLWriter::_namespacePath(std::string_view nameSpace) {
    tags("<LOCALNAMESPACEPATH>");
    while (!nameSpace.empty()) {
        const std::string_view part = nameSpace.substr(0, nameSpace.find('/'));
        if (!part.empty()) {
            tags("<NAMESPACE NAME=\"");
            attributeText(part);
            tags("\"/>");
        }
        nameSpace.remove_prefix(std::min(part.size() + 1, nameSpace.size()));
    }
    tags("</LOCALNAMESPACEPATH>");
}

void CIMXMLWriter::_instanceName(const IOrvoInstanceName& name) {
    tags("<INSTANCENAME CLASSNAME=\"");
    attributeText(name.getClassName().view());
    tags("\">");
    for (const COrvoKeyBinding& key : *name.getKeyBindings()) {
        _keyBinding(key);
    }
    tags("</INSTANCENAME>");
}

void CIMXMLWriter::_keyBinding(const COrvoKeyBinding& key) {
    tags("<KEYBINDING NAME=\"");
    attributeText(key.name.view());
    tags("\">");
    const ORVSmrPtr<IOrvoType> type = key.value->getType();
    if (type->isReference()) {
        value(*key.value);
    } else {
        const ORVString typeName = type->getName();
        tags("<KEYVALUE VALUETYPE=\"");
        tags(valueTypeOf(typeName.view()));
        tags("\" TYPE=\"");
        attributeText(typeName.view());
        tags("\">");
        text(key.value->toString().view());
        tags("</KEYVALUE>");
    }
    tags("</KEYBINDING>");
}

void CIMXMLWriter::_embedded(const IOrvoObject& instance) {
    ++_depth;
    this->instance(instance);
    --_depth;
}

}  // namespace velm
