#pragma once

#include "foundation/object_model/IOrvoIndication.h"
#include "foundation/object_model/IOrvoSubscriber.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

namespace velm::test {

/// One indication as a provider reported it.
struct Report {
    IOrvoIndication::IndicationType type;
    ORVSmrPtr<IOrvoObject> object;
    std::vector<std::string> changedProperties;

    std::string className() const;
    /// The text of a key of the object's name, "" when it has no such key.
    std::string key(const char* name) const;
    /// The text of a property, "" when the object has no such property.
    std::string property(const char* name) const;
};

/// Records what a provider reports, and can keep the provider waiting.
///
/// Threads: every operation on any thread, waitFor() on one at a time.
class RecordingObserver : public IOrvoSubscriber {
public:
    using Reports = std::vector<Report>;
    static constexpr std::chrono::seconds patience{60};

    bool notify(ORVSmrPtr<IOrvoIndication> indication) override;

    Reports reports() const;
    std::size_t count() const;
    void clear();

    /// Waits until a report has come that `wanted` accepts, for `patience` at the most; answers whether one
    /// came. It is asked about each report once, those made before included.
    bool waitFor(const std::function<bool(const Report&)>& wanted) const;

    /// From now on notify() waits, until release().
    void hold();
    void release();
    /// Waits until a report is being held.
    bool waitUntilHolding() const;

    /// notify() throws from now on.
    void fail(bool fails);

private:
    mutable std::mutex _mutex;
    mutable std::condition_variable _changed;
    Reports _reports;
    /// What waitFor() waits for; null once it has come.
    mutable const std::function<bool(const Report&)>* _wanted = nullptr;
    bool _isHeld = false;
    bool _isHolding = false;
    bool _fails = false;
};

}  // namespace velm::test
