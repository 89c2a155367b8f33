#pragma once

#include "velmd/requests/CIMRequest.h"
#include "velmd/requests/Instances.h"
#include "velmd/requests/OperationResult.h"

#include <functional>

namespace velm {

/// The intrinsic operations on classes and qualifier types (DSP0200). Any thread may call them. They throw
/// CIMOMException with the status for the client. A class that a provider serves cannot be deleted (9): its
/// instances come and go without this server.
class ClassOperations {
public:
    /// Hears of each class that was created, after its commit.
    using ClassCreated = std::function<void(std::string_view nameSpace, const ResolvedClass&)>;

    /// Requires: `classCreated` can be called.
    ClassOperations(const Instances& instances, ClassCreated classCreated)
        : _instances(instances),
          _repository(instances.repository()),
          _classCreated(std::move(classCreated)) {}

    OperationResult getClass(const CIMRequest& request) const;
    OperationResult enumerateClasses(const CIMRequest& request) const;
    OperationResult enumerateClassNames(const CIMRequest& request) const;
    OperationResult createClass(const CIMRequest& request) const;
    OperationResult deleteClass(const CIMRequest& request) const;

    OperationResult getQualifier(const CIMRequest& request) const;
    OperationResult setQualifier(const CIMRequest& request) const;
    OperationResult deleteQualifier(const CIMRequest& request) const;
    OperationResult enumerateQualifiers(const CIMRequest& request) const;

private:
    const Instances& _instances;
    Repository& _repository;
    ClassCreated _classCreated;
};

}  // namespace velm
