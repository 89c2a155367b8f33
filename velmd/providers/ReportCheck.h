#pragma once

#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/object_model/IOrvoIndication.h"
#include "velmd/model/ObjectNames.h"

#include <cstddef>
#include <string>

namespace velm {

/// Why an indication that a provider reports does not reach the indication library.
enum class ReportFault : unsigned int {
    noIndication,
    unknownKind,
    noObject,
    noInstanceName,
    unknownNamespace,
    unknownClass,
    /// Keys or properties that its class does not have or that are of another type, or two classes.
    notOfItsClass,
    /// The report or the indication library threw something else.
    exception,
    /// It came after the gate was closed.
    closed
};
constexpr std::size_t reportFaultCount = 9;

/// Thrown by ReportCheck.
struct RefusedReport {
    ReportFault fault;
    std::string text;
};

/// Judges what providers report, and brings it into the repository's spelling.
///
/// Threads: any number.
class ReportCheck {
public:
    /// `nameSpace` is that of instance names without one. `findNamespace` is called on any thread.
    ReportCheck(std::string nameSpace, ObjectNames::FindNamespace findNamespace);

    /// `report` itself when it is in canonical form, which is the cheap case; otherwise a new indication of
    /// the same type, time and routing scope with the object and the changed properties in canonical form.
    /// The result has an object with an instance name, a known type and its record as context.
    ///
    /// Throws RefusedReport, and whatever the operations of `report` throw.
    ORVSmrPtr<IOrvoIndication> canonical(const ORVSmrPtr<IOrvoIndication>& report) const;

private:
    ORVSmrPtr<IOrvoIndication> _canonical(const ORVSmrPtr<IOrvoIndication>& report) const;

    const std::string _nameSpace;
    const ObjectNames::FindNamespace _findNamespace;
    const ObjectNames _names;
};

}  // namespace velm
