#pragma once

#include "foundation/Export.h"

#include <string>
#include <vector>

namespace velm {

/// A provider that can say what it watches derives from this, too: an operator reads it on the server's
/// status page.
///
/// Threads: called on any, also while other operations are under way. It must not wait for anything.
class VELM_EXPORT IWatchDescription {
public:
    IWatchDescription();
    IWatchDescription(const IWatchDescription&) = delete;
    IWatchDescription& operator=(const IWatchDescription&) = delete;
    virtual ~IWatchDescription();

    /// A few words for each thing that is being watched right now: "/srv/incoming".
    virtual std::vector<std::string> watched() const = 0;
};

}  // namespace velm
