#pragma once

#include "foundation/services/ProviderEntry.h"
#include "providers/file_watch/FileWatchProvider.h"
#include "tests/support/LogCapture.h"
#include "tests/support/RecordingObserver.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace velm::test {

/// A new folder in the place for temporary files, or in another one, removed at the end.
class TemporaryFolder {
public:
    explicit TemporaryFolder(const std::filesystem::path& place = std::filesystem::temp_directory_path());
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder();

    const std::filesystem::path& path() const { return _path; }

private:
    std::filesystem::path _path;
};

/// Appends to a file, which is created when it is not there.
void write(const std::filesystem::path& path, const std::string& text = "");

/// Makes the file an hour old, so that the next write changes its time whatever the kernel's clock ticks in.
void age(const std::filesystem::path& path);

/// The last part of the path of the file or directory, and of the file in a containment.
std::string fileOf(const Report& report);

/// "Creation CIM_DataFile a", "Change CIM_DataFile a [FileSize LastModified]".
std::string lineOf(const Report& report);

/// A directory, and a provider that watches it and reports to an observer.
class FileWatchTest : public testing::Test {
protected:
    static constexpr const char* nameSpace = "root/cimv2";

    explicit FileWatchTest(const std::filesystem::path& place = std::filesystem::temp_directory_path());
    ~FileWatchTest() override;

    /// Loads the provider with this argument, or for the directory alone.
    void load(const std::string& argument);
    void load() { load(folder().string()); }
    void unload() { _provider.reset(); }
    file_watch::FileWatchProvider& provider() { return *_provider; }

    const std::filesystem::path& folder() const { return _folder.path(); }
    std::filesystem::path file(const std::string& name) const { return folder() / name; }

    RecordingObserver& observer() { return *_observer; }

    /// Waits until all that has happened so far in `directory` has been reported, and answers the lines of
    /// all that was reported since the last time, without the containments.
    std::vector<std::string> linesAfterSync(const std::filesystem::path& directory);
    std::vector<std::string> linesAfterSync() { return linesAfterSync(folder()); }
    /// The same with the containments.
    std::vector<std::string> allLinesAfterSync();

    ORVSmrPtr<IOrvoInstanceName> fileName(const std::filesystem::path& path) const;
    ORVSmrPtr<IOrvoInstanceName> className(const char* name) const;

    /// Answers whether the provider accepted.
    bool start(const ORVSmrPtr<IOrvoInstanceName>& name, IOrvoIndication::IndicationType type,
               const ORVSmrPtr<IOrvoSubscriptionFilter>& filter = nullptr);
    bool stop(const ORVSmrPtr<IOrvoInstanceName>& name, IOrvoIndication::IndicationType type,
              const ORVSmrPtr<IOrvoSubscriptionFilter>& filter = nullptr);

    /// Which directories the kernel watches for this process: the masks of their inotify watches, in order of
    /// their numbers. Not those of the directories above them.
    static std::vector<std::uint32_t> kernelMasks();

    LogCapture _log;

private:
    void _sync(const std::filesystem::path& directory);

    TemporaryFolder _folder;
    RecordingObserver* _observer;
    ORVSmrPtr<IOrvoSubscriber> _observerHandle;
    std::unique_ptr<file_watch::FileWatchProvider> _provider;
    int _syncs = 0;
};

}  // namespace velm::test
