#pragma once

#include "foundation/object_model/IOrvoSubscriber.h"
#include "foundation/utilities/ORVReaderWriterLock.h"
#include "velmd/providers/FailureRecord.h"
#include "velmd/providers/ObserverTable.h"
#include "velmd/providers/ReportCheck.h"

#include <array>
#include <atomic>
#include <cstdint>

namespace velm {

/// What one provider reports to, in front of the indication library: it passes on what ReportCheck lets
/// through, in the repository's spelling, and refuses the rest.
///
/// Refused reports are counted, each under its fault, and logged as a warning when their number reaches 1, 2,
/// 4, 8 and so on: "Refused 4 report(s) of provider x: no instance name". Those that come after the gate was
/// closed are only counted: providers may report until they are deleted.
///
/// Threads: any number may report at any moment. Ownership: counted handles; providers may keep theirs for
/// longer than everything else lives, once the gate is closed. Failure: notify() throws
/// std::bad_alloc and nothing else.
class ReportGate : public IOrvoSubscriber {
public:
    struct Counts {
        std::uint64_t passed = 0;
        /// By ReportFault.
        std::array<std::uint64_t, reportFaultCount> refused{};

        std::uint64_t of(ReportFault fault) const { return refused[static_cast<std::size_t>(fault)]; }
    };

    /// `target` is the library's observer. `observers`, where there are any, forget an instance whose
    /// destruction is reported. Requires: what `target` refers to, what `findNamespace` uses, and
    /// `observers`, lives until close() has returned.
    ReportGate(const ORVString& providerName, ReportCheck check, const ORVSmrPtr<IOrvoSubscriber>& target,
               ObserverTable* observers = nullptr);
    ~ReportGate() override;

    /// What the library answers; false for a report that is refused.
    bool notify(ORVSmrPtr<IOrvoIndication> indication) override;

    /// Refuses everything from now on. Returns when no call into the library is under way. May be called
    /// twice. Requires: not called from inside notify().
    void close();

    Counts counts() const;
    /// What the last refused report was refused for. Reports that come after close() are not among them.
    const FailureRecord& refusals() const noexcept { return _refusals; }

private:
    bool _pass(const ORVSmrPtr<IOrvoIndication>& indication);
    void _refuse(ReportFault fault, const std::string& text);

    const ORVString _providerName;
    const ReportCheck _check;
    ObserverTable* const _observers;

    std::atomic<std::uint64_t> _passed{0};
    std::array<std::atomic<std::uint64_t>, reportFaultCount> _refused{};

    FailureRecord _refusals;

    ORVReaderWriterLock _lock;
    /// Null once the gate is closed. Guarded by _lock.
    ORVSmrPtr<IOrvoSubscriber> _target;
};

}  // namespace velm
