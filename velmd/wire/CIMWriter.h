#pragma once

#include "foundation/object_model/IOrvoInstanceName.h"
#include "foundation/object_model/IOrvoObject.h"
#include "velmd/model/CIMClass.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// From CIM things to CIM-XML elements (DSP0201, DSP0203), appended to a text. What is written validates
/// against the DTD and is read by strict parsers: no element is closed in its own tag where clients in the
/// field expect a pair, and KEYVALUE carries both VALUETYPE and TYPE.
///
/// Threads: any number, each with a text of its own.
namespace velm {

/// What of a class or an instance is written.
struct CIMSelection {
    /// Only elements, qualifiers included, that the class itself defines or overrides.
    bool localOnly = false;
    bool includeQualifiers = true;
    bool includeClassOrigin = false;
    /// Names of the properties that are written, letter case ignored; empty optional: all.
    std::optional<std::vector<std::string>> properties;

    bool selects(std::string_view propertyName) const;
};

void writeClass(std::string& xml, const CIMClass& declaration, const CIMSelection& selection);
void writeQualifierDeclaration(std::string& xml, const CIMQualifierDeclaration& declaration);

/// INSTANCE without a path. Properties stand in the order of `declaration`, those that the instance does not
/// hold as NULL, and those that only the instance has not at all; class origins and types come from there.
/// Its class name is that of the instance, which may lie below `declaration`. Qualifiers of instances are
/// never written.
void writeInstance(std::string& xml, const IOrvoObject& instance, const CIMClass& declaration,
                   const CIMSelection& selection);

/// INSTANCENAME. References among the keys are LOCALINSTANCEPATHs, so that clients recognise them.
void writeInstanceName(std::string& xml, const IOrvoInstanceName& name);
/// INSTANCEPATH.
void writeInstancePath(std::string& xml, const IOrvoInstanceName& name, std::string_view host);
/// CLASSPATH.
void writeClassPath(std::string& xml, std::string_view className, std::string_view nameSpace,
                    std::string_view host);

/// INSTANCE for keeping rather than for clients: exactly the properties that the instance holds, typed, which
/// readInstance() gives back unchanged. Requires: no property is an array of references, which CIM-XML does
/// not have.
void writeStoredInstance(std::string& xml, const IOrvoObject& instance);

}  // namespace velm
