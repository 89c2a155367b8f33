#include "velmd/daemon/RepositoryReports.h"

#include "foundation/containers/ORVValSlist.h"
#include "foundation/object_model/COrvoIndication.h"
#include "foundation/services/ORVLog.h"
#include "velmd/daemon/ClassMirror.h"
#include "velmd/model/CIMName.h"
#include "velmd/providers/ProviderException.h"

#include <string>

namespace velm {

namespace {

ORVSmrPtr<IOrvoIndication> indicationOf(const InstanceChange& change) {
    ORVSmrPtr<ORVValSlist<ORVString>> properties;
    if (!change.changedProperties.empty()) {
        properties = new ORVValSlist<ORVString>;
        for (const std::string& name : change.changedProperties) {
            properties->append(ORVString(name));
        }
    }
    return ORVSmrPtr<IOrvoIndication>(new COrvoIndication(change.object, change.kind, properties, nullptr,
                                                          IOrvoIndication::IntentReport, nullptr, false));
}

}  // namespace

Repository::Observer repositoryReports(const ORVSmrPtr<IOrvoSubscriber>& observer) {
    return [observer](const InstanceChange& change) {
        const auto name = change.object->getInstanceName();
        if (!sameName(name->getNameSpace().view(), mirroredNamespace)) {
            return;
        }
        try {
            observer->notify(indicationOf(change));
        } catch (...) {
            // The instance is changed all the same; whoever subscribed has to learn of it otherwise.
            ORVLog::log("RepositoryReports",
                        ORVString("A change of " + std::string(name->toString().view()) +
                                  " could not be reported: " + currentExceptionText()),
                        OrvoTraceLog::SeverityError, OrvoTraceLog::VerbosityNormal, 0, ORVLog::CIMOMLOG);
        }
    };
}

}  // namespace velm
