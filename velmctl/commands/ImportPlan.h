#pragma once

#include "foundation/object_model/IOrvoObject.h"
#include "velmd/model/CIMClass.h"

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace velm {

/// A declaration on its way to a server, with the place that it comes from.
struct PlannedDeclaration {
    using Instance = ORVSmrPtr<IOrvoObject>;

    std::variant<CIMQualifierDeclaration, CIMClass, Instance> content;
    std::string file;
    /// 0 where it is not known.
    std::uint64_t line = 0;

    /// "qualifier", "class", "instance".
    const char* kind() const;
    /// Of an instance: that of its class.
    std::string name() const;
    /// "schema.xml: line 12: class EX_Thing".
    std::string place() const;
};

/// The declarations of these files (DSP0201: CIM with DECLARATIONs) in the order in which a server can take
/// them: qualifiers, classes behind their superclasses, instances; otherwise as they stand. Any thread.
/// Throws std::runtime_error that names the file, and the line where one is to blame.
std::vector<PlannedDeclaration> planImport(const std::vector<std::string>& files);

}  // namespace velm
