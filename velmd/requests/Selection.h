#pragma once

#include "velmd/requests/Parameters.h"
#include "velmd/wire/CIMWriter.h"

namespace velm {

/// LocalOnly, IncludeQualifiers, IncludeClassOrigin and PropertyList as the operations on classes default
/// them (DSP0200): local elements only, with qualifiers.
CIMSelection classSelection(const Parameters& parameters);

/// The same for instances: all properties, without qualifiers. LocalOnly is accepted and treated as FALSE, as
/// the standard recommends since its meaning was withdrawn.
CIMSelection instanceSelection(const Parameters& parameters);

/// CLASSNAME.
void writeClassName(std::string& xml, std::string_view className);

}  // namespace velm
