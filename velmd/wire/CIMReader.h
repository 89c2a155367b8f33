#pragma once

#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/object_model/IOrvoInstanceName.h"
#include "foundation/object_model/IOrvoObject.h"
#include "foundation/object_model/IOrvoValue.h"
#include "velmd/model/CIMClass.h"
#include "velmd/wire/XMLElement.h"

#include <stdexcept>
#include <string>
#include <vector>

/// From CIM-XML elements (DSP0201, DSP0203) to CIM things. Elements may come in any order that a lenient
/// reader understands; unknown elements and missing required attributes are refused.
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

CIMClass readClass(const XMLElement& element);
CIMQualifierDeclaration readQualifierDeclaration(const XMLElement& element);

/// INSTANCE. References in it are as readInstanceName() leaves them; embedded instances (property text of an
/// embedding property) are read too, up to 16 levels. A property without a value holds NULL.
ORVSmrPtr<IOrvoObject> readInstance(const XMLElement& element);

/// INSTANCENAME, LOCALINSTANCEPATH, INSTANCEPATH (whose host is dropped), or VALUE.REFERENCE around one of
/// them. The result has an empty namespace where the element has none. Keys have the type that TYPE names,
/// else the one that VALUETYPE suggests; the key of a bare KEYVALUE is called unnamedKey.
ORVSmrPtr<IOrvoInstanceName> readInstanceName(const XMLElement& element);

/// The object of an association operation: an instance name, or a class by CLASSNAME, LOCALCLASSPATH or
/// CLASSPATH, given as an instance name without keys. `isClass` tells which.
ORVSmrPtr<IOrvoInstanceName> readObjectName(const XMLElement& element, bool& isClass);

/// LOCALNAMESPACEPATH: "root/cimv2".
std::string readNamespace(const XMLElement& element);

/// VALUE (an element inside, or none at all: NULL) as `type` declares it.
ORVSmrPtr<IOrvoValue> readValue(const XMLElement& parent, const ORVSmrPtr<IOrvoType>& type);

/// The classes, qualifier declarations and instances of CIM/DECLARATION, in document order.
struct CIMDeclarations {
    std::vector<CIMQualifierDeclaration> qualifiers;
    std::vector<CIMClass> classes;
    std::vector<ORVSmrPtr<IOrvoObject>> instances;
};
CIMDeclarations readDeclarations(const XMLElement& root);

}  // namespace velm
