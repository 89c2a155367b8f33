#include "foundation/services/IProvider.h"

namespace velm {

IProvider::IProvider() = default;

IProvider::~IProvider() = default;

ORVSmrPtr<ORVValSlist<ORVString>> IProvider::getClassNames() {
    return ORVSmrPtr<ORVValSlist<ORVString>>(new ORVValSlist<ORVString>);
}

IProvider::InstanceNames IProvider::enumerateInstanceNames(const ORVString& /*nameSpace*/,
                                                           const ORVString& /*className*/,
                                                           ORVSmrPtr<IOrvoTransaction> /*transaction*/) {
    return nullptr;
}

}  // namespace velm
