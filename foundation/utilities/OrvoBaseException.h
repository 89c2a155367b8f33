#pragma once

#include "foundation/Export.h"
#include "foundation/containers/ORVValSlistFwd.h"
#include "foundation/utilities/ORVString.h"

class IOrvoObject;

/// Base of everything that the utility layer throws. Thrown by value, caught by reference.
///
/// Subclasses name themselves in getType(). The order of the virtual operations is part of the binary
/// interface.
class VELM_EXPORT OrvoBaseException {
public:
    /// `where` names the place that failed, `who` the component, `message` what went wrong; `code` is 0 where
    /// there is no number to tell.
    OrvoBaseException(const ORVString& where, const ORVString& who, const ORVString& message, int code);
    OrvoBaseException(const OrvoBaseException&) = default;
    OrvoBaseException& operator=(const OrvoBaseException&) = default;
    virtual ~OrvoBaseException();

    virtual ORVString getType() const;
    virtual ORVString getWhere() const;
    virtual ORVString getWho() const;
    virtual ORVString getMessage() const;
    virtual int getCode() const;

    /// CIM instances that describe the failure further; a null handle when there are none.
    virtual ORVSmrPtr<ORVValSlist<ORVSmrPtr<IOrvoObject>>> getInstances() const;

private:
    ORVString _where;
    ORVString _who;
    ORVString _message;
    int _code;
};

/// A null handle was dereferenced. The message is the name of the operation: "operator->()" or "operator*()".
class VELM_EXPORT ORVNullPointerException : public OrvoBaseException {
public:
    explicit ORVNullPointerException(const char* operation);
    ~ORVNullPointerException() override;

    ORVString getType() const override;
};

/// A value was read as a type that it does not have.
class VELM_EXPORT ORVTypeException : public OrvoBaseException {
public:
    ORVTypeException(const ORVString& where, const ORVString& message);
    ~ORVTypeException() override;

    ORVString getType() const override;
};

/// The network failed: a connection could not be made, was reset, or stayed silent past its deadline.
class VELM_EXPORT ORVNetException : public OrvoBaseException {
public:
    ORVNetException(const ORVString& where, const ORVString& message, int code = 0);
    ~ORVNetException() override;

    ORVString getType() const override;
};
