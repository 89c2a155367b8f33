#pragma once

#include "foundation/services/IOrvoTransaction.h"

namespace velm {
class IProvider;
}

/// Wraps one call into a provider. Used by one thread; the transaction handle may go to others.
class VELM_EXPORT CIMOMTransaction {
public:
    /// `digest` names the client on whose behalf the call is made, empty for the server itself.
    /// `namespaceName` and `clientAddress` describe the request, empty where there is none. `timeout` is in
    /// seconds; 0 or less means none.
    CIMOMTransaction(velm::IProvider& provider, ORVString digest, const ORVString& className,
                     const ORVString& methodName, ORVString namespaceName, ORVString clientAddress,
                     int timeout);
    CIMOMTransaction(const CIMOMTransaction&) = delete;
    CIMOMTransaction& operator=(const CIMOMTransaction&) = delete;
    ~CIMOMTransaction();

    ORVSmrPtr<IOrvoTransaction> getTransaction() const { return _transaction; }

    velm::IProvider& getProvider() const { return _provider; }

    /// Ends the transaction: the call has returned. Logs a warning with class, method and duration when it
    /// took longer than the time-out. May be called twice.
    void release();

private:
    velm::IProvider& _provider;
    ORVSmrPtr<IOrvoTransaction> _transaction;
};
