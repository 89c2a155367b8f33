#include "velmd/faces/Liveness.h"

#include <fmt/format.h>

namespace velm {

std::string Liveness::illness(Clock::time_point now) const {
    const Clock::duration still = now - _last.load();
    if (still < patience) {
        return {};
    }
    return fmt::format("for {} seconds requests have been waiting and none has been answered",
                       std::chrono::duration_cast<std::chrono::seconds>(still).count());
}

}  // namespace velm
