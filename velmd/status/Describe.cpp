#include "velmd/status/Describe.h"

#include <numeric>

namespace velm::status {

namespace {

Provider describeOne(LoadedProvider& loaded) {
    Provider provider;
    provider.name = loaded.name();
    provider.file = loaded.file().string();
    provider.classes = loaded.classNames();
    const ReportGate::Counts reports = loaded.gate().counts();
    provider.refused = std::accumulate(reports.refused.begin(), reports.refused.end(), std::uint64_t{0});
    provider.reported = reports.passed + provider.refused;
    return provider;
}

std::string statusText(int status) {
    switch (status) {
        case RequestCounts::ok:
            return "ok";
        case RequestCounts::refused:
            return "refused";
        default:
            return std::to_string(status);
    }
}

}  // namespace

std::vector<Provider> describe(const ProviderFolder& providers) {
    std::vector<Provider> described;
    for (const auto& loaded : providers.providers()) {
        described.push_back(describeOne(*loaded));
    }
    return described;
}

std::vector<Operation> describe(const RequestCounts::Counts& counts) {
    std::vector<Operation> described;
    for (const auto& [operation, count] : counts) {
        described.push_back({operation.first, statusText(operation.second), count});
    }
    return described;
}

}  // namespace velm::status
