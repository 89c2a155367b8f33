#pragma once

#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/object_model/IOrvoSubscriptionFilter.h"

#include <map>
#include <string>
#include <string_view>

namespace velm::providers {

/// Counts for which subjects change reports were asked for.
///
/// Who asks twice with different properties may take them back with one call, so each property is counted on
/// its own, and a null filter as one more. Not synchronised.
class ChangeInterest {
public:
    using Filter = ORVSmrPtr<IOrvoSubscriptionFilter>;

    /// Stands for every subject.
    static constexpr std::string_view everything = "";

    void add(std::string_view subject, const Filter& filter);

    /// Answers whether any of it had been added.
    bool remove(std::string_view subject, const Filter& filter);

    /// Drops what was added for `subject` alone.
    void forget(std::string_view subject);
    void clear() { _subjects.clear(); }

    /// Whether somebody asked for `subject`, or for everything.
    bool covers(std::string_view subject) const;
    bool isEmpty() const { return _subjects.empty(); }

private:
    /// By property in lower case; the empty name stands for a null filter.
    using Counts = std::map<std::string, unsigned int, std::less<>>;

    std::map<std::string, Counts, std::less<>> _subjects;
};

}  // namespace velm::providers
