#pragma once

#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/object_model/IOrvoInstanceName.h"
#include "foundation/object_model/IOrvoObject.h"
#include "foundation/object_model/IOrvoValue.h"
#include "velmd/model/CIMClass.h"
#include "velmd/wire/XMLElement.h"

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

/// From CIM-XML elements (DSP0201, DSP0203) to CIM things. Elements may come in any order; unknown elements
/// and missing required attributes are refused, unknown attributes passed over. Whether classes, keys and
/// properties exist is for ClassTree and ObjectNames to tell.
///
/// Threads: any number. Failure: CIMSyntaxError when the element is not what the DTD allows (the document is
/// refused as a whole); CIMOMException (4, or 13 for a value that is none of its type) when it is, and its
/// content makes no sense. Messages name element, name and line.
namespace velm {

/// The document is well-formed XML and no CIM-XML.
class CIMSyntaxError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// How many elements a class, a method, an instance or a name may have inside. Far above any schema; what
/// compares each of them with all others is safe below.
inline constexpr std::size_t maxMembers = 4096;

CIMClass readClass(const XMLElement& element);
CIMQualifierDeclaration readQualifierDeclaration(const XMLElement& element);

/// INSTANCE. References in it are as readInstanceName() leaves them. Qualifiers are passed over; a property
/// without a value holds NULL. What a property embeds is read too, up to 16 levels: instances become values
/// of type instance, a class stays the string that it came as, and so does an array that holds one.
ORVSmrPtr<IOrvoObject> readInstance(const XMLElement& element);

/// INSTANCENAME, LOCALINSTANCEPATH, INSTANCEPATH (whose host is dropped), or VALUE.REFERENCE around one of
/// them. The result has an empty namespace where the element has none. Keys have the type that TYPE names;
/// without TYPE they are strings whatever VALUETYPE says, since only the class knows whether 007 is a number.
/// The key of a bare KEYVALUE or VALUE.REFERENCE is called unnamedKey. A reference to a class (CLASSNAME,
/// LOCALCLASSPATH or CLASSPATH in VALUE.REFERENCE) becomes a name without keys.
ORVSmrPtr<IOrvoInstanceName> readInstanceName(const XMLElement& element);

/// The object of an association operation: an instance name, or a class by CLASSNAME, LOCALCLASSPATH or
/// CLASSPATH, given as an instance name without keys. `isClass` tells which.
ORVSmrPtr<IOrvoInstanceName> readObjectName(const XMLElement& element, bool& isClass);

/// LOCALNAMESPACEPATH: "root/cimv2".
std::string readNamespace(const XMLElement& element);

/// VALUE, VALUE.ARRAY, VALUE.REFERENCE or VALUE.REFARRAY inside `parent` (none at all: NULL) as `type`
/// declares it. Throws CIMOMException: 4 when another element stands in its place, 13 for a text that is no
/// value of the type.
ORVSmrPtr<IOrvoValue> readValue(const XMLElement& parent, const ORVSmrPtr<IOrvoType>& type);

/// The classes, qualifier declarations and instances of CIM/DECLARATION, in document order. Namespaces and
/// paths that stand with them are passed over: the instances have their keys as properties.
struct CIMDeclarations {
    std::vector<CIMQualifierDeclaration> qualifiers;
    std::vector<CIMClass> classes;
    std::vector<ORVSmrPtr<IOrvoObject>> instances;
    /// The lines on which the classes and the instances begin.
    std::vector<std::uint64_t> classLines;
    std::vector<std::uint64_t> instanceLines;
};
CIMDeclarations readDeclarations(const XMLElement& root);

}  // namespace velm
