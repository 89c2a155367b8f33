#include "foundation/utilities/OrvoBaseException.h"

#include "foundation/containers/ORVValSlist.h"
#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/object_model/IOrvoObject.h"

OrvoBaseException::OrvoBaseException(const ORVString& where, const ORVString& who, const ORVString& message,
                                     int code)
    : _where(where), _who(who), _message(message), _code(code) {
}

OrvoBaseException::~OrvoBaseException() = default;

ORVString OrvoBaseException::getType() const {
    return "OrvoBaseException";
}

ORVString OrvoBaseException::getWhere() const {
    return _where;
}

ORVString OrvoBaseException::getWho() const {
    return _who;
}

ORVString OrvoBaseException::getMessage() const {
    return _message;
}

int OrvoBaseException::getCode() const {
    return _code;
}

ORVSmrPtr<ORVValSlist<ORVSmrPtr<IOrvoObject>>> OrvoBaseException::getInstances() const {
    return nullptr;
}

ORVNullPointerException::ORVNullPointerException(const char* operation)
    : OrvoBaseException("ORVSmrPtr", "foundation", operation, 0) {
}

ORVNullPointerException::~ORVNullPointerException() = default;

ORVString ORVNullPointerException::getType() const {
    return "ORVNullPointerException";
}

ORVTypeException::ORVTypeException(const ORVString& where, const ORVString& message)
    : OrvoBaseException(where, "object model", message, 0) {
}

ORVTypeException::~ORVTypeException() = default;

ORVString ORVTypeException::getType() const {
    return "ORVTypeException";
}

ORVNetException::ORVNetException(const ORVString& where, const ORVString& message, int code)
    : OrvoBaseException(where, "network", message, code) {
}

ORVNetException::~ORVNetException() = default;

ORVString ORVNetException::getType() const {
    return "ORVNetException";
}
