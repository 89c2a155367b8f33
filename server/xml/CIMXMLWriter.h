#pragma once

#include "foundation/object_model/IOrvoInstanceName.h"
#include "foundation/object_model/IOrvoObject.h"
#include "foundation/object_model/IOrvoProperty.h"
#include "foundation/object_model/IOrvoValue.h"
#include "server/xml/PropertyOpenings.h"
#include "server/xml/TextEnd.h"
#include "server/xml/XMLMarkup.h"
#include "server/xml/XMLText.h"

#include <cstddef>
#include <string>
#include <string_view>

class COrvoObject;
class COrvoValue;

namespace velm {

/// Appends CIM elements to a text: instances, properties, values and references (DSP0201).
///
/// One thread uses it. The text must outlive it, and is complete when it is destroyed. Failure: what the
/// object model throws, with half an element left in the text.
class CIMXMLWriter {
public:
    enum class References { withNamespace, withoutNamespace };

    /// Instances embedded deeper than this are written as NULL. Each level multiplies the cost of an escaped
    /// character, and an object that contains itself would have no end.
    static constexpr unsigned int maxEmbedding = 16;

    explicit CIMXMLWriter(std::string& xml, References references = References::withNamespace)
        : _xml(xml), _references(references) {}
    /// Into memory that is used again and again; written() is the text.
    explicit CIMXMLWriter(TextEnd::Scratch scratch) : _xml(scratch), _references(References::withNamespace) {}
    CIMXMLWriter(const CIMXMLWriter&) = delete;
    CIMXMLWriter& operator=(const CIMXMLWriter&) = delete;

    /// Valid until something else is written.
    std::string_view written() const noexcept { return _xml.view(); }

    /// Markup that the caller knows to be right.
    void tags(std::string_view tags) { appendXMLTags(_xml, tags, _depth); }

    /// The same for a literal, which costs less inside an embedded instance.
    template <XMLMarkup markup>
    void tags() {
        if (_depth == 0) {
            _xml.append(XMLMarkupForms<markup>::plain);
        } else if (_depth == 1) {
            _xml.append(XMLMarkupForms<markup>::escapedOnce);
        } else {
            appendXMLTags(_xml, XMLMarkupForms<markup>::plain, _depth);
        }
    }

    void text(std::string_view text) { appendXMLText(_xml, text, XMLContext::element, _depth); }
    void attributeText(std::string_view text) { appendXMLText(_xml, text, XMLContext::attribute, _depth); }

    /// PROPERTY with one VALUE. `type` is the CIM name of the type.
    void property(std::string_view name, std::string_view type, std::string_view value);

    /// PROPERTY with an instance embedded in its VALUE.
    void embeddedProperty(std::string_view name, const IOrvoObject& instance);

    /// INSTANCE with all properties of `object`. Its class name is that of its instance name when it has none
    /// itself.
    void instance(const IOrvoObject& object);

    /// `object` as the text inside VALUE: an instance escaped once more than what is around it.
    void embedded(const IOrvoObject& object);

    /// PROPERTY, PROPERTY.ARRAY or PROPERTY.REFERENCE, without a value inside when it is NULL. No such
    /// element holds an array of references: that becomes an array of strings, each an instance name's text.
    void property(const IOrvoProperty& property);

    /// VALUE, VALUE.ARRAY, VALUE.REFERENCE or VALUE.REFARRAY; nothing for a NULL value.
    void value(const IOrvoValue& value);

    /// What stands inside VALUE. Requires: `value` is neither NULL, nor a reference, nor an array.
    void valueText(const IOrvoValue& value);

private:
    struct Type;

    void _property(std::string_view name, const IOrvoValue& value);
    void _heldProperties(const COrvoObject& object);
    bool _knownProperty(std::string_view name, const COrvoValue& value);
    void _rememberOpening(std::string_view name, const COrvoValue& value, std::size_t start);
    void _arrayProperty(std::string_view name, const IOrvoValue& value, const Type& type);
    void _openProperty(std::string_view name, std::string_view type);
    void _value(const IOrvoValue& value, const Type& type);
    void _valueText(const IOrvoValue& value, const Type& type);
    void _plainText(const IOrvoValue& value);
    void _array(const IOrvoValue& array, bool isText);
    void _element(const IOrvoValue& element, bool isText);
    void _reference(const IOrvoInstanceName& name);
    void _namespacePath(std::string_view nameSpace);
    void _instanceName(const IOrvoInstanceName& name);
    void _keyBinding(const COrvoKeyBinding& key);
    bool _isAbsent(const IOrvoValue& value, const Type& type) const;

    TextEnd _xml;
    const References _references;
    unsigned int _depth = 0;
    /// Those of this thread; null until an instance is embedded.
    PropertyOpenings* _openings = nullptr;
};

}  // namespace velm
