#pragma once

#include "foundation/object_model/COrvoIndication.h"
#include "foundation/object_model/IOrvoSubscriber.h"
#include "foundation/services/ORVLog.h"

#include <atomic>

namespace velm::providers {

/// What the exception that is being handled says. Requires: called inside a handler.
ORVString currentFailure() noexcept;

/// How a provider speaks: to its observer and to the log.
///
/// Threads: any. Failure: none throws; a report that the observer throws at is logged as an error.
class Reporter {
public:
    using Names = ORVSmrPtr<ORVValSlist<ORVString>>;

    /// `component` names the provider in the log and outlives this object.
    Reporter(const char* component, const ORVSmrPtr<IOrvoSubscriber>& observer)
        : _component(component), _observer(observer) {}

    void created(const ORVSmrPtr<IOrvoObject>& object) const noexcept;
    void destroyed(const ORVSmrPtr<IOrvoObject>& object) const noexcept;
    /// `properties` are the names of those that changed.
    void changed(const ORVSmrPtr<IOrvoObject>& object, const Names& properties) const noexcept;

    /// From now on nothing is reported. Does not wait for a report under way.
    void close() noexcept { _isClosed = true; }
    bool isClosed() const noexcept { return _isClosed; }

    void log(const ORVString& message,
             OrvoTraceLog::Severity severity = OrvoTraceLog::SeverityInformation) const noexcept;

private:
    void _report(const ORVSmrPtr<IOrvoObject>& object, IOrvoIndication::IndicationType type,
                 const Names& properties) const noexcept;

    const char* const _component;
    const ORVSmrPtr<IOrvoSubscriber> _observer;
    std::atomic<bool> _isClosed = false;
};

}  // namespace velm::providers
