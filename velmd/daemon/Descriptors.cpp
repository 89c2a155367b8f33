#include "velmd/daemon/Descriptors.h"

#include <algorithm>
#include <sys/resource.h>

namespace velm {

std::size_t raiseDescriptorLimit() noexcept {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) {
        return 0;
    }
    const rlim_t before = limit.rlim_cur;
    limit.rlim_cur = limit.rlim_max;
    return ::setrlimit(RLIMIT_NOFILE, &limit) == 0 ? limit.rlim_cur : before;
}

std::size_t connectionsWithin(std::size_t limit, std::size_t wanted) noexcept {
    constexpr std::size_t others = 250;
    return limit == 0 ? wanted : std::min(wanted, std::max(limit / 2, limit - std::min(limit, others)));
}

}  // namespace velm
