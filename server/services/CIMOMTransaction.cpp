#include "foundation/services/CIMOMTransaction.h"

#include "server/services/TimedTransaction.h"

namespace {

velm::TimedTransaction& timed(const ORVSmrPtr<IOrvoTransaction>& transaction) {
    return static_cast<velm::TimedTransaction&>(*transaction);
}

}  // namespace

CIMOMTransaction::CIMOMTransaction(velm::IProvider& provider, ORVString digest, const ORVString& className,
                                   const ORVString& methodName, ORVString namespaceName,
                                   ORVString clientAddress, int timeout)
    : _provider(provider),
      _transaction(new velm::TimedTransaction({className, methodName, namespaceName, digest, clientAddress},
                                              std::chrono::seconds(timeout))) {
}

CIMOMTransaction::~CIMOMTransaction() {
    timed(_transaction).abandon();
}

void CIMOMTransaction::release() {
    timed(_transaction).release();
}
