#pragma once

#include "velmd/providers/LoadedProvider.h"

#include <filesystem>
#include <memory>
#include <vector>

namespace velm {

/// The providers of one directory: every lib*_provider.so in it, loaded in order of name.
///
/// A file that is no sound provider, or not safe to load, is refused with an error line that names it and
/// says why, and the rest load. See docs/providers.md for the conditions. A class belongs to the first
/// provider that names it; that a later one does not serve it, and that the repository does not have a class,
/// are warnings.
///
/// Threads: constructed and destroyed by one thread; providers report on threads of their own as soon as they
/// are loaded.
///
/// How a server ends: closeGates(), then the indication library goes, then this object. Whoever calls
/// providers must have stopped by then.
class ProviderFolder {
public:
    /// A directory that does not exist is an empty one. Throws nothing that a provider or a file causes.
    ProviderFolder(const std::filesystem::path& directory, const ProviderHost& host);
    ProviderFolder(const ProviderFolder&) = delete;
    ProviderFolder& operator=(const ProviderFolder&) = delete;
    /// Closes the gates; then deletes providers and closes their shared objects, last loaded first.
    ~ProviderFolder();

    /// In order of loading.
    const std::vector<std::unique_ptr<LoadedProvider>>& providers() const noexcept { return _providers; }

    /// Nothing is reported to the indication library any more once this has returned. May be called twice.
    void closeGates();

private:
    void _load(const std::filesystem::path& file, const ProviderHost& host);
    void _refuseTakenName(const std::string& name) const;
    void _giveUpTakenClasses(LoadedProvider& loaded) const;

    std::vector<std::unique_ptr<LoadedProvider>> _providers;
};

}  // namespace velm
