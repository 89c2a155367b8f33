#pragma once

#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/object_model/IOrvoType.h"
#include "foundation/object_model/IOrvoValue.h"
#include "velmd/model/CIMClass.h"
#include "velmd/model/CIMStatus.h"
#include "velmd/wire/XMLElement.h"

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

/// What the readers of CIM-XML elements ask of an element. Failure as in CIMReader.h.
namespace velm::wire {

/// Throws CIMSyntaxError: "line 3: PROPERTY 'Size': " and `problem`.
[[noreturn]] void failSyntax(const XMLElement& element, std::string_view problem);

/// Throws CIMOMException with the same text.
[[noreturn]] void failContent(const XMLElement& element, CIMStatus status, std::string_view problem);

/// Refuses children that the DTD does not have there, and crowds of them that only an attack would send.
/// Requires: `names` end before any null pointer.
void expectChildren(const XMLElement& element, std::initializer_list<std::string_view> names);

/// The one child of an element that has exactly one.
const XMLElement& onlyChild(const XMLElement& element);

const std::string& requiredAttribute(const XMLElement& element, std::string_view name);
/// Empty when it is absent.
std::string optionalAttribute(const XMLElement& element, std::string_view name);
bool booleanAttribute(const XMLElement& element, std::string_view name, bool fallback);
std::optional<unsigned int> arraySizeOf(const XMLElement& element);

/// The type that TYPE names.
ORVSmrPtr<IOrvoType> typeOf(const XMLElement& element);
/// The same, a null handle when there is no TYPE.
ORVSmrPtr<IOrvoType> optionalTypeOf(const XMLElement& element);

/// What EmbeddedObject says, in either of the spellings in use.
CIMEmbedding embeddingOf(const XMLElement& element);

/// The value of a property as `type`, a string in case of an embedding; `level` counts the instances around
/// it that it is embedded in.
ORVSmrPtr<IOrvoValue> readPropertyValue(const XMLElement& element, const ORVSmrPtr<IOrvoType>& type,
                                        CIMEmbedding embedding, unsigned int level);

/// PROPERTY, PROPERTY.ARRAY or PROPERTY.REFERENCE: string, for an embedding one, and reference included.
ORVSmrPtr<IOrvoType> propertyTypeOf(const XMLElement& property);

}  // namespace velm::wire
