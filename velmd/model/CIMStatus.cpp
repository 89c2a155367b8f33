#include "velmd/model/CIMStatus.h"

#include "foundation/services/CIMOMException.h"

namespace velm {

std::string_view statusName(int status) noexcept {
    switch (static_cast<CIMStatus>(status)) {
        case CIMStatus::failed:
            return "CIM_ERR_FAILED";
        case CIMStatus::accessDenied:
            return "CIM_ERR_ACCESS_DENIED";
        case CIMStatus::invalidNamespace:
            return "CIM_ERR_INVALID_NAMESPACE";
        case CIMStatus::invalidParameter:
            return "CIM_ERR_INVALID_PARAMETER";
        case CIMStatus::invalidClass:
            return "CIM_ERR_INVALID_CLASS";
        case CIMStatus::notFound:
            return "CIM_ERR_NOT_FOUND";
        case CIMStatus::notSupported:
            return "CIM_ERR_NOT_SUPPORTED";
        case CIMStatus::classHasChildren:
            return "CIM_ERR_CLASS_HAS_CHILDREN";
        case CIMStatus::classHasInstances:
            return "CIM_ERR_CLASS_HAS_INSTANCES";
        case CIMStatus::invalidSuperclass:
            return "CIM_ERR_INVALID_SUPERCLASS";
        case CIMStatus::alreadyExists:
            return "CIM_ERR_ALREADY_EXISTS";
        case CIMStatus::noSuchProperty:
            return "CIM_ERR_NO_SUCH_PROPERTY";
        case CIMStatus::typeMismatch:
            return "CIM_ERR_TYPE_MISMATCH";
        case CIMStatus::methodNotAvailable:
            return "CIM_ERR_METHOD_NOT_AVAILABLE";
        case CIMStatus::methodNotFound:
            return "CIM_ERR_METHOD_NOT_FOUND";
        case CIMStatus::namespaceNotEmpty:
            return "CIM_ERR_NAMESPACE_NOT_EMPTY";
        case CIMStatus::serverLimitsExceeded:
            return "CIM_ERR_SERVER_LIMITS_EXCEEDED";
        case CIMStatus::serverIsShuttingDown:
            return "CIM_ERR_SERVER_IS_SHUTTING_DOWN";
    }
    return "CIM_ERR_FAILED";
}

void throwStatus(CIMStatus status, std::string_view problem) {
    throw CIMOMException("velmd", problem, static_cast<int>(status));
}

}  // namespace velm
