#pragma once

#include "velmd/requests/CIMRequest.h"
#include "velmd/requests/Instances.h"
#include "velmd/requests/OperationResult.h"

namespace velm {

/// The intrinsic operations on instances (DSP0200). Any thread may call them. They throw CIMOMException with
/// the status for the client.
class InstanceOperations {
public:
    explicit InstanceOperations(const Instances& instances) : _instances(instances) {}

    OperationResult getInstance(const CIMRequest& request) const;
    OperationResult enumerateInstances(const CIMRequest& request) const;
    OperationResult enumerateInstanceNames(const CIMRequest& request) const;
    OperationResult createInstance(const CIMRequest& request) const;
    OperationResult modifyInstance(const CIMRequest& request) const;
    OperationResult deleteInstance(const CIMRequest& request) const;

private:
    const Instances& _instances;
};

}  // namespace velm
