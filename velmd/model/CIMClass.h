#pragma once

#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/object_model/IOrvoType.h"
#include "foundation/object_model/IOrvoValue.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Class declarations as clients exchange them (DSP0004, DSP0201). Plain values: whoever holds one may change
/// it; shared ones are const.
namespace velm {

/// How a qualifier propagates (DSP0004, qualifier flavors).
struct CIMFlavor {
    bool isOverridable = true;
    bool toSubclass = true;
    bool toInstance = false;
    bool isTranslatable = false;

    bool operator==(const CIMFlavor&) const = default;
};

struct CIMQualifier {
    std::string name;
    /// Typed; NULL for a qualifier without a value, never a null handle.
    ORVSmrPtr<IOrvoValue> value;
    CIMFlavor flavor;
    /// Inherited from a superclass.
    bool isPropagated = false;
};

/// A qualifier type: what qualifiers of this name look like, and where they may stand.
struct CIMQualifierDeclaration {
    /// Where a qualifier may stand (DSP0201, SCOPE); one bit each.
    enum Scope : unsigned int {
        onClass = 1,
        onAssociation = 2,
        onReference = 4,
        onProperty = 8,
        onMethod = 16,
        onParameter = 32,
        onIndication = 64
    };

    std::string name;
    ORVSmrPtr<IOrvoType> type;
    std::optional<unsigned int> arraySize;
    unsigned int scopes = 0;
    CIMFlavor flavor;
    /// The default; NULL where there is none, never a null handle.
    ORVSmrPtr<IOrvoValue> value;
};

/// What the text of a string property embeds (DSP0201, EmbeddedObject).
enum class CIMEmbedding { none, instance, object };

struct CIMProperty {
    std::string name;
    /// The declared type, "reference" included; arrays have the type of their elements with isArray() true.
    /// Properties that embed have type string here.
    ORVSmrPtr<IOrvoType> type;
    std::optional<unsigned int> arraySize;
    /// The class that a reference refers to; empty for anything else, and where none was named.
    std::string referenceClass;
    CIMEmbedding embedding = CIMEmbedding::none;
    /// The class that introduced the property; empty until the class is resolved.
    std::string classOrigin;
    bool isPropagated = false;
    /// The default value; NULL where there is none, never a null handle.
    ORVSmrPtr<IOrvoValue> value;
    std::vector<CIMQualifier> qualifiers;

    bool isKey() const;
};

struct CIMParameter {
    std::string name;
    ORVSmrPtr<IOrvoType> type;
    std::optional<unsigned int> arraySize;
    std::string referenceClass;
    CIMEmbedding embedding = CIMEmbedding::none;
    std::vector<CIMQualifier> qualifiers;
};

struct CIMMethod {
    std::string name;
    /// The type of the return value; a null handle for a method without one.
    ORVSmrPtr<IOrvoType> type;
    std::string classOrigin;
    bool isPropagated = false;
    std::vector<CIMQualifier> qualifiers;
    std::vector<CIMParameter> parameters;
};

struct CIMClass {
    std::string name;
    /// Empty for a root class.
    std::string superClass;
    std::vector<CIMQualifier> qualifiers;
    std::vector<CIMProperty> properties;
    std::vector<CIMMethod> methods;

    /// The property with this name, letter case ignored; null when there is none.
    const CIMProperty* property(std::string_view propertyName) const;
    const CIMMethod* method(std::string_view methodName) const;

    /// Whether the qualifier is there and TRUE.
    bool is(std::string_view qualifierName) const;
};

/// The qualifier with this name, letter case ignored; null when there is none.
const CIMQualifier* findQualifier(const std::vector<CIMQualifier>& qualifiers, std::string_view name);

}  // namespace velm
