#include "foundation/services/ORVLog.h"
#include "foundation/services/ProviderEntry.h"
#include "providers/file_watch/FileWatchProvider.h"

#include <exception>

namespace {

void logRefusal(const ORVString& reason) {
    ORVLog::log("FileWatchProvider", "Not loaded: " + reason, OrvoTraceLog::SeverityError,
                OrvoTraceLog::VerbosityNormal, 0, ORVLog::CIMOMLOG);
}

}  // namespace

extern "C" VELM_EXPORT velm::IProvider* velm_create_provider(const velm::ProviderContext* context) {
    if (context->interfaceVersion != velm::providerInterfaceVersion) {
        logRefusal("the host has another version of the provider interface");
        return nullptr;
    }
    try {
        return new velm::file_watch::FileWatchProvider(*context);
    } catch (const std::exception& failure) {
        logRefusal(failure.what());
    } catch (...) {
        logRefusal("unknown failure");
    }
    return nullptr;
}
