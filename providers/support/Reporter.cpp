#include "providers/support/Reporter.h"

#include "foundation/object_model/COrvoDebugTools.h"
#include "foundation/utilities/OrvoBaseException.h"

#include <exception>

namespace velm::providers {

ORVString currentFailure() noexcept {
    try {
        throw;
    } catch (const std::exception& failure) {
        return failure.what();
    } catch (const OrvoBaseException& failure) {
        return failure.getMessage();
    } catch (...) {
        return "an unknown failure";
    }
}

void Reporter::created(const ORVSmrPtr<IOrvoObject>& object) const noexcept {
    _report(object, IOrvoIndication::IndicationCreation, nullptr);
}

void Reporter::destroyed(const ORVSmrPtr<IOrvoObject>& object) const noexcept {
    _report(object, IOrvoIndication::IndicationDestruction, nullptr);
}

void Reporter::changed(const ORVSmrPtr<IOrvoObject>& object, const Names& properties) const noexcept {
    _report(object, IOrvoIndication::IndicationChange, properties);
}

void Reporter::log(const ORVString& message, OrvoTraceLog::Severity severity) const noexcept {
    ORVLog::log(_component, message, severity, OrvoTraceLog::VerbosityNormal, 0, ORVLog::CIMOMLOG);
}

void Reporter::_report(const ORVSmrPtr<IOrvoObject>& object, IOrvoIndication::IndicationType type,
                       const Names& properties) const noexcept {
    if (_isClosed) {
        return;
    }
    try {
        _observer->notify(ORVSmrPtr<IOrvoIndication>(new COrvoIndication(
            object, type, properties, nullptr, IOrvoIndication::IntentReport, nullptr, false)));
    } catch (...) {
        log("Could not report " + COrvoDebugTools::indicationTypeToString(type) + " of " +
                object->getInstanceName()->toString() + ": " + currentFailure(),
            OrvoTraceLog::SeverityError);
    }
}

}  // namespace velm::providers
