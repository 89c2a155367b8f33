#include "server/xml/CIMXMLWriter.h"

#include "foundation/object_model/COrvoObject.h"
#include "foundation/object_model/COrvoType.h"
#include "foundation/object_model/COrvoValue.h"
#include "server/xml/LentParts.h"
#include "server/xml/PlainText.h"

#include <algorithm>
#include <memory>

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
    if (name.length() != 0) {
        return name;
    }
    const ORVSmrPtr<IOrvoInstanceName> instanceName = object.getInstanceName();
    return instanceName.IsNull() ? name : instanceName->getClassName();
}

/// Objects wait in a queue until no cache holds them: their values are asked for together, before the first
/// of them is needed.
void fetchValues(const COrvoObject& object) {
    for (const COrvoObject::Held& held : object.properties()) {
        __builtin_prefetch(held.value.Get());
    }
}

/// Takes no more memory than one table for each thread that embeds instances.
PropertyOpenings& openingsOfThisThread() {
    static thread_local const auto openings = std::make_unique<PropertyOpenings>();
    return *openings;
}

}  // namespace

/// What a writer asks of a type, answered once for each value.
struct CIMXMLWriter::Type {
    explicit Type(const IOrvoValue& value) {
        const auto* own = ownObject<COrvoValue>(value);
        if (!own) {
            _type = value.getType();
        }
        _ask(own ? *own->type() : *_type);
    }
    Type(const Type&) = delete;
    Type& operator=(const Type&) = delete;

    std::string_view name;
    bool isArray = false;
    bool isReference = false;
    bool isEmbedded = false;

private:
    void _ask(const IOrvoType& type) {
        const auto* own = ownObject<COrvoType>(type);
        if (!own) {
            _name = type.getName();
        }
        name = own ? own->name().view() : _name.view();
        isArray = type.isArray();
        isReference = type.isReference();
        isEmbedded = name == embeddedType;
    }

    // Null where the parts are lent.
    ORVSmrPtr<IOrvoType> _type = ORVSmrPtr<IOrvoType>::none();
    ORVString _name;
};

void CIMXMLWriter::property(std::string_view name, std::string_view type, std::string_view value) {
    tags<"<PROPERTY NAME=\"">();
    _openProperty(name, type);
    tags<"><VALUE>">();
    text(value);
    tags<"</VALUE></PROPERTY>">();
}

void CIMXMLWriter::embeddedProperty(std::string_view name, const IOrvoObject& instance) {
    tags<"<PROPERTY NAME=\"">();
    _openProperty(name, embeddedType);
    tags<"><VALUE>">();
    embedded(instance);
    tags<"</VALUE></PROPERTY>">();
}

void CIMXMLWriter::instance(const IOrvoObject& object) {
    const auto* own = ownObject<COrvoObject>(object);
    const bool isNamed = own && own->className().length() != 0;
    tags<"<INSTANCE CLASSNAME=\"">();
    attributeText(isNamed ? own->className().view() : classNameOf(object).view());
    tags<"\">">();
    if (own) {
        _heldProperties(*own);
    } else {
        const unsigned int count = object.getPropertyCount();
        for (unsigned int position = 0; position < count; ++position) {
            property(*object.getProperty(position));
        }
    }
    tags<"</INSTANCE>">();
}

void CIMXMLWriter::property(const IOrvoProperty& property) {
    const ORVString name = property.getName();
    const ORVSmrPtr<IOrvoValue> value = property.getValue();
    _property(name.view(), *value);
}

/// False, and nothing is written, when the property's opening is not known or its value is no text that is at
/// hand.
inline bool CIMXMLWriter::_knownProperty(std::string_view name, const COrvoValue& value) {
    const PropertyOpenings::Opening* const opening = _openings->find(name, value.type().Get());
    if (!opening) {
        return false;
    }
    COrvoValue::Digits digits;
    const std::string_view content = value.lentText(digits);
    if (!content.data()) {
        return false;
    }
    constexpr std::string_view closing = XMLMarkupForms<"</VALUE></PROPERTY>">::escapedOnce;
    char* end = opening->copyTo(_xml.room(PropertyOpenings::Opening::room + content.size() + closing.size()));
    if (plain::copy<XMLContext::element>(content, end)) {
        end += content.size();
        _xml.setEnd(end + closing.copy(end, closing.size()));
    } else {
        _xml.setEnd(end);
        appendXMLText(_xml, content, XMLContext::element, 1);
        _xml.append(closing);
    }
    return true;
}

void CIMXMLWriter::_heldProperties(const COrvoObject& object) {
    fetchValues(object);
    for (const COrvoObject::Held& held : object.properties()) {
        const std::string_view name = held.name.view();
        const auto* own = _depth == 1 ? ownObject<COrvoValue>(*held.value) : nullptr;
        if (own && _knownProperty(name, *own)) {
            continue;
        }
        const std::size_t start = _xml.size();
        _property(name, *held.value);
        if (own) {
            _rememberOpening(name, *own, start);
        }
    }
}

/// `start` is where the property was written. What is kept is the same for every value of its type.
void CIMXMLWriter::_rememberOpening(std::string_view name, const COrvoValue& value, std::size_t start) {
    COrvoValue::Digits digits;
    const std::string_view written = _xml.view().substr(start);
    constexpr std::string_view beginning = XMLMarkupForms<"><VALUE>">::escapedOnce;
    const std::size_t end = written.find(beginning);
    if (!value.lentText(digits).data() || end == std::string_view::npos ||
        !written.starts_with(_openings->before) ||
        !written.substr(_openings->before.size()).starts_with(name)) {
        return;
    }
    // The shared types are never freed, so that no other type will be found at the same address.
    const IOrvoType* const type = value.type().Get();
    if (COrvoType::fromName(type->getName()).Get() == type) {
        _openings->keep(name, type, written.substr(0, end + beginning.size()));
    }
}

void CIMXMLWriter::_property(std::string_view name, const IOrvoValue& value) {
    const Type type(value);
    if (type.isArray) {
        _arrayProperty(name, value, type);
        return;
    }
    type.isReference ? tags<"<PROPERTY.REFERENCE NAME=\"">() : tags<"<PROPERTY NAME=\"">();
    _openProperty(name, type.isReference ? std::string_view() : type.name);
    if (_isAbsent(value, type)) {
        tags<"/>">();
    } else if (type.isReference) {
        tags<">">();
        _value(value, type);
        tags<"</PROPERTY.REFERENCE>">();
    } else {
        tags<"><VALUE>">();
        _valueText(value, type);
        tags<"</VALUE></PROPERTY>">();
    }
}

void CIMXMLWriter::_arrayProperty(std::string_view name, const IOrvoValue& value, const Type& type) {
    tags<"<PROPERTY.ARRAY NAME=\"">();
    _openProperty(name, type.name);
    if (_isAbsent(value, type)) {
        tags<"/>">();
    } else {
        tags<">">();
        _array(value, true);
        tags<"</PROPERTY.ARRAY>">();
    }
}

/// What stands in the tag of a property from the value of its NAME on, but for its end.
void CIMXMLWriter::_openProperty(std::string_view name, std::string_view type) {
    attributeText(name);
    if (!type.empty()) {
        tags<"\" TYPE=\"">();
        attributeText(wireType(type));
    }
    type == embeddedType ? tags<"\" EmbeddedObject=\"instance\"">() : tags<"\"">();
}

void CIMXMLWriter::value(const IOrvoValue& value) {
    const Type type(value);
    if (!_isAbsent(value, type)) {
        _value(value, type);
    }
}

void CIMXMLWriter::_value(const IOrvoValue& value, const Type& type) {
    if (type.isArray) {
        _array(value, type.name != referenceType);
    } else if (type.isReference) {
        tags<"<VALUE.REFERENCE>">();
        _reference(*value.getReference());
        tags<"</VALUE.REFERENCE>">();
    } else {
        tags<"<VALUE>">();
        _valueText(value, type);
        tags<"</VALUE>">();
    }
}

void CIMXMLWriter::valueText(const IOrvoValue& value) {
    _valueText(value, Type(value));
}

void CIMXMLWriter::_valueText(const IOrvoValue& value, const Type& type) {
    if (type.isEmbedded) {
        embedded(*value.getInstance());
    } else {
        _plainText(value);
    }
}

void CIMXMLWriter::_plainText(const IOrvoValue& value) {
    const auto* own = ownObject<COrvoValue>(value);
    COrvoValue::Digits digits;
    const std::string_view lent = own ? own->lentText(digits) : std::string_view();
    text(lent.data() ? lent : value.toString().view());
}

bool CIMXMLWriter::_isAbsent(const IOrvoValue& value, const Type& type) const {
    return value.isNull() || (_depth == maxEmbedding && type.isEmbedded);
}

void CIMXMLWriter::_array(const IOrvoValue& array, bool isText) {
    isText ? tags<"<VALUE.ARRAY>">() : tags<"<VALUE.REFARRAY>">();
    const auto elements = array.getElements();
    for (const ORVSmrPtr<IOrvoValue>& element : *elements) {
        if (element.IsNull()) {
            tags<"<VALUE.NULL/>">();
        } else {
            _element(*element, isText);
        }
    }
    isText ? tags<"</VALUE.ARRAY>">() : tags<"</VALUE.REFARRAY>">();
}

void CIMXMLWriter::_element(const IOrvoValue& element, bool isText) {
    const Type type(element);
    if (_isAbsent(element, type)) {
        tags<"<VALUE.NULL/>">();
    } else if (isText) {
        tags<"<VALUE>">();
        _valueText(element, type);
        tags<"</VALUE>">();
    } else {
        _value(element, type);
    }
}

void CIMXMLWriter::_reference(const IOrvoInstanceName& name) {
    const ORVString nameSpace = name.getNameSpace();
    if (_references == References::withoutNamespace || isEmptyPath(nameSpace.view())) {
        _instanceName(name);
        return;
    }
    tags<"<LOCALINSTANCEPATH>">();
    _namespacePath(nameSpace.view());
    _instanceName(name);
    tags<"</LOCALINSTANCEPATH>">();
}

void CIMXMLWriter::_namespacePath(std::string_view nameSpace) {
    tags<"<LOCALNAMESPACEPATH>">();
    while (!nameSpace.empty()) {
        const std::string_view part = nameSpace.substr(0, nameSpace.find('/'));
        if (!part.empty()) {
            tags<"<NAMESPACE NAME=\"">();
            attributeText(part);
            tags<"\"/>">();
        }
        nameSpace.remove_prefix(std::min(part.size() + 1, nameSpace.size()));
    }
    tags<"</LOCALNAMESPACEPATH>">();
}

void CIMXMLWriter::_instanceName(const IOrvoInstanceName& name) {
    tags<"<INSTANCENAME CLASSNAME=\"">();
    attributeText(name.getClassName().view());
    tags<"\">">();
    for (const COrvoKeyBinding& key : *name.getKeyBindings()) {
        _keyBinding(key);
    }
    tags<"</INSTANCENAME>">();
}

void CIMXMLWriter::_keyBinding(const COrvoKeyBinding& key) {
    tags<"<KEYBINDING NAME=\"">();
    attributeText(key.name.view());
    tags<"\">">();
    const ORVSmrPtr<IOrvoType> type = key.value->getType();
    if (type->isReference()) {
        value(*key.value);
    } else {
        const ORVString typeName = type->getName();
        tags<"<KEYVALUE VALUETYPE=\"">();
        tags(valueTypeOf(typeName.view()));
        tags<"\" TYPE=\"">();
        attributeText(typeName.view());
        tags<"\">">();
        _plainText(*key.value);
        tags<"</KEYVALUE>">();
    }
    tags<"</KEYBINDING>">();
}

void CIMXMLWriter::embedded(const IOrvoObject& object) {
    _openings = &openingsOfThisThread();
    ++_depth;
    instance(object);
    --_depth;
}

}  // namespace velm
