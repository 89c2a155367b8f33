#pragma once

#include "velmd/model/CIMClass.h"

#include <array>
#include <utility>

namespace velm::wire {

/// The attributes of SCOPE, each with its bit.
inline constexpr std::array scopeNames{std::pair{"CLASS", CIMQualifierDeclaration::onClass},
                                       std::pair{"ASSOCIATION", CIMQualifierDeclaration::onAssociation},
                                       std::pair{"REFERENCE", CIMQualifierDeclaration::onReference},
                                       std::pair{"PROPERTY", CIMQualifierDeclaration::onProperty},
                                       std::pair{"METHOD", CIMQualifierDeclaration::onMethod},
                                       std::pair{"PARAMETER", CIMQualifierDeclaration::onParameter},
                                       std::pair{"INDICATION", CIMQualifierDeclaration::onIndication}};

}  // namespace velm::wire
