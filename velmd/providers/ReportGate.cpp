#include "velmd/providers/ReportGate.h"

#include "foundation/services/ORVLog.h"
#include "foundation/utilities/ORVLockGuard.h"
#include "velmd/providers/ProviderException.h"

#include <bit>

#include <fmt/format.h>

namespace velm {

ReportGate::ReportGate(const ORVString& providerName, ReportCheck check,
                       const ORVSmrPtr<IOrvoSubscriber>& target, ObserverTable* observers)
    : _providerName(providerName), _check(std::move(check)), _observers(observers), _target(target) {
}

ReportGate::~ReportGate() = default;

bool ReportGate::notify(ORVSmrPtr<IOrvoIndication> indication) {
    try {
        return _pass(indication);
    } catch (const RefusedReport& refused) {
        _refuse(refused.fault, refused.text);
    } catch (...) {
        _refuse(ReportFault::exception, currentExceptionText());
    }
    return false;
}

bool ReportGate::_pass(const ORVSmrPtr<IOrvoIndication>& indication) {
    // Held during the check too: it looks at the repository, which may go once the gate is closed.
    ORVLockGuard lock(_lock, ORVLockGuard::forReading);
    lock.enter();
    if (_target.IsNull()) {
        throw RefusedReport{ReportFault::closed, "the server is shutting down"};
    }
    const ORVSmrPtr<IOrvoIndication> report = _check.canonical(indication);
    const bool answer = _target->notify(report);
    ++_passed;
    if (_observers != nullptr && report->getType() == IOrvoIndication::IndicationDestruction) {
        _observers->forget(*report->getObject()->getInstanceName());
    }
    return answer;
}

void ReportGate::_refuse(ReportFault fault, const std::string& text) {
    const std::uint64_t count = ++_refused[static_cast<std::size_t>(fault)];
    if (fault != ReportFault::closed) {
        _refusals.note("a report was refused: ", text);
    }
    if (fault != ReportFault::closed && std::has_single_bit(count)) {
        ORVLog::log("ReportGate",
                    ORVString(fmt::format("Refused {} report(s) of provider {}: {}", count,
                                          _providerName.view(), text)),
                    OrvoTraceLog::SeverityWarning, OrvoTraceLog::VerbosityNormal, 0, ORVLog::CIMOMLOG);
    }
}

void ReportGate::close() {
    ORVLockGuard lock(_lock, ORVLockGuard::forWriting);
    lock.enter();
    _target = nullptr;
}

ReportGate::Counts ReportGate::counts() const {
    Counts counts;
    counts.passed = _passed;
    for (std::size_t fault = 0; fault < reportFaultCount; ++fault) {
        counts.refused[fault] = _refused[fault];
    }
    return counts;
}

}  // namespace velm
