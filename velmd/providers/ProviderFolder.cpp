#include "velmd/providers/ProviderFolder.h"

#include "foundation/services/ORVLog.h"
#include "velmd/providers/FileTrust.h"
#include "velmd/providers/ProviderException.h"

#include <algorithm>
#include <system_error>

#include <fmt/format.h>

namespace velm {

namespace {

void log(const std::string& message, OrvoTraceLog::Severity severity) {
    ORVLog::log("ProviderFolder", ORVString(message), severity, OrvoTraceLog::VerbosityNormal, 0,
                ORVLog::CIMOMLOG);
}

bool isProviderFile(const std::string& fileName) {
    constexpr std::string_view prefix = "lib";
    constexpr std::string_view suffix = "_provider.so";
    return fileName.size() >= prefix.size() + suffix.size() && fileName.starts_with(prefix) &&
           fileName.ends_with(suffix);
}

std::vector<std::filesystem::path> providerFilesIn(const std::filesystem::path& directory) {
    std::vector<std::filesystem::path> files;
    try {
        for (const auto& entry : std::filesystem::directory_iterator(directory)) {
            if (isProviderFile(entry.path().filename())) {
                files.push_back(entry.path());
            }
        }
    } catch (const std::filesystem::filesystem_error& error) {
        const bool isMissing = error.code() == std::errc::no_such_file_or_directory;
        log(isMissing ? fmt::format("There is no directory '{}' to load providers from", directory.string())
                      : fmt::format("Cannot read the directory '{}' of providers: {}", directory.string(),
                                    error.code().message()),
            isMissing ? OrvoTraceLog::SeverityInformation : OrvoTraceLog::SeverityError);
    }
    std::ranges::sort(files);
    return files;
}

void warnOfUnknownClasses(const LoadedProvider& loaded, const ProviderHost& host) {
    const auto classes = host.findNamespace(host.nameSpace.view()).classes;
    for (const std::string& className : loaded.classNames()) {
        if (!classes->find(className)) {
            log(fmt::format(
                    "The provider {} serves {}, which namespace {} does not have; velmd --import loads "
                    "the declaration of a class",
                    loaded.name(), quoted(className), host.nameSpace.view()),
                OrvoTraceLog::SeverityWarning);
        }
    }
}

}  // namespace

ProviderFolder::ProviderFolder(const std::filesystem::path& directory, const ProviderHost& host) {
    for (const std::filesystem::path& file : providerFilesIn(directory)) {
        try {
            _load(file, host);
        } catch (...) {
            log(fmt::format("Refused the provider '{}': {}", file.string(), currentExceptionText()),
                OrvoTraceLog::SeverityError);
        }
    }
}

ProviderFolder::~ProviderFolder() {
    closeGates();
    while (!_providers.empty()) {
        _providers.pop_back();
    }
}

void ProviderFolder::_load(const std::filesystem::path& file, const ProviderHost& host) {
    ProviderLibrary library(trustedFile(file));
    _refuseTakenName(library.name());
    auto provider = std::make_unique<LoadedProvider>(std::move(library), file, host);
    _giveUpTakenClasses(*provider);
    const LoadedProvider& loaded = *_providers.emplace_back(std::move(provider));
    log(fmt::format("Loaded the provider {} from '{}'; it serves {}", loaded.name(), file.string(),
                    loaded.classNames().empty() ? "no class"
                                                : fmt::format("{}", fmt::join(loaded.classNames(), ", "))),
        OrvoTraceLog::SeverityInformation);
    warnOfUnknownClasses(loaded, host);
}

void ProviderFolder::_giveUpTakenClasses(LoadedProvider& loaded) const {
    for (const std::string& className : std::vector(loaded.classNames())) {
        const auto owner = std::ranges::find_if(
            _providers, [&](const auto& provider) { return provider->serves(className); });
        if (owner != _providers.end()) {
            loaded.giveUp(className);
            log(fmt::format("The provider {} ('{}') does not serve {}: the provider {} ('{}') does",
                            loaded.name(), loaded.file().string(), quoted(className), (*owner)->name(),
                            (*owner)->file().string()),
                OrvoTraceLog::SeverityWarning);
        }
    }
}

void ProviderFolder::_refuseTakenName(const std::string& name) const {
    const auto hasName = [&](const auto& provider) { return provider->name() == name; };
    if (std::ranges::any_of(_providers, hasName)) {
        throw std::runtime_error(fmt::format("a provider named {} is loaded already", name));
    }
}

void ProviderFolder::closeGates() {
    for (const auto& provider : _providers) {
        provider->gate().close();
    }
}

}  // namespace velm
