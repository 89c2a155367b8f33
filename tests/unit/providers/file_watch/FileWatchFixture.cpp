#include "tests/unit/providers/file_watch/FileWatchFixture.h"

#include "foundation/object_model/COrvoDebugTools.h"
#include "foundation/object_model/COrvoInstanceName.h"

#include <algorithm>
#include <chrono>
#include <fstream>
#include <stdexcept>
#include <sys/inotify.h>
#include <utility>

namespace velm::test {

namespace fs = std::filesystem;

namespace {

constexpr const char* marker = ".sync-";

/// The text between the last slash and the quote behind it.
std::string lastPart(const std::string& path) {
    const std::string text = path.substr(path.rfind('/') + 1);
    return text.substr(0, text.find('"'));
}

}  // namespace

TemporaryFolder::TemporaryFolder(const fs::path& place) {
    std::string pattern = (place / "velm-file-watch-XXXXXX").string();
    if (!mkdtemp(pattern.data())) {
        throw std::runtime_error("cannot make a folder like " + pattern);
    }
    _path = pattern;
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    fs::remove_all(_path, ignored);
}

void write(const fs::path& path, const std::string& text) {
    std::ofstream stream(path, std::ios::app);
    stream << text;
    if (!stream.flush()) {
        throw std::runtime_error("cannot write " + path.string());
    }
}

void age(const fs::path& path) {
    fs::last_write_time(path, fs::file_time_type::clock::now() - std::chrono::hours(1));
}

std::string fileOf(const Report& report) {
    return lastPart(report.key(report.className() == "CIM_DirectoryContainsFile" ? "PartComponent" : "Name"));
}

std::string lineOf(const Report& report) {
    std::string line(COrvoDebugTools::indicationTypeToString(report.type).view());
    line += " " + report.className() + " " + fileOf(report);
    std::string separator = " [";
    for (const std::string& property : report.changedProperties) {
        line += std::exchange(separator, " ") + property;
    }
    return report.changedProperties.empty() ? line : line + "]";
}

FileWatchTest::FileWatchTest(const fs::path& place)
    : _folder(place), _observer(new RecordingObserver), _observerHandle(_observer) {
}

FileWatchTest::~FileWatchTest() {
    _observer->release();
}

void FileWatchTest::load(const std::string& argument) {
    _provider = std::make_unique<file_watch::FileWatchProvider>(
        ProviderContext{_observerHandle, nameSpace, ORVString(argument)});
}

void FileWatchTest::_sync(const fs::path& directory) {
    const std::string name = marker + std::to_string(_syncs++);
    write(directory / name);
    const std::string wanted = "Creation CIM_DirectoryContainsFile " + name;
    ASSERT_TRUE(_observer->waitFor([&](const Report& report) { return lineOf(report) == wanted; }));
}

std::vector<std::string> FileWatchTest::linesAfterSync(const fs::path& directory) {
    _sync(directory);
    std::vector<std::string> lines;
    for (const Report& report : _observer->reports()) {
        const std::string line = lineOf(report);
        if (line.find(marker) == std::string::npos && report.className() != "CIM_DirectoryContainsFile") {
            lines.push_back(line);
        }
    }
    _observer->clear();
    return lines;
}

std::vector<std::string> FileWatchTest::allLinesAfterSync() {
    _sync(folder());
    std::vector<std::string> lines;
    for (const Report& report : _observer->reports()) {
        const std::string line = lineOf(report);
        if (line.find(marker) == std::string::npos) {
            lines.push_back(line);
        }
    }
    _observer->clear();
    return lines;
}

ORVSmrPtr<IOrvoInstanceName> FileWatchTest::fileName(const fs::path& path) const {
    return file_watch::FileModel(nameSpace).fileName(path);
}

ORVSmrPtr<IOrvoInstanceName> FileWatchTest::className(const char* name) const {
    return ORVSmrPtr<IOrvoInstanceName>(
        new COrvoInstanceName(nameSpace, name, COrvoInstanceName::KeyBindings()));
}

bool FileWatchTest::start(const ORVSmrPtr<IOrvoInstanceName>& name, IOrvoIndication::IndicationType type,
                          const ORVSmrPtr<IOrvoSubscriptionFilter>& filter) {
    return provider().registerObserver(name, _observerHandle, type, filter, nullptr)->getBoolean();
}

bool FileWatchTest::stop(const ORVSmrPtr<IOrvoInstanceName>& name, IOrvoIndication::IndicationType type,
                         const ORVSmrPtr<IOrvoSubscriptionFilter>& filter) {
    return provider().deregisterObserver(name, _observerHandle, type, filter, nullptr)->getBoolean();
}

std::vector<std::uint32_t> FileWatchTest::kernelMasks() {
    std::vector<std::pair<int, std::uint32_t>> watches;
    for (const auto& entry : fs::directory_iterator("/proc/self/fdinfo")) {
        std::ifstream stream(entry.path());
        for (std::string line; std::getline(stream, line);) {
            int number = 0;
            std::uint32_t mask = 0;
            const auto maskAt = line.find(" mask:");
            if (sscanf(line.c_str(), "inotify wd:%x", reinterpret_cast<unsigned int*>(&number)) == 1 &&
                sscanf(line.c_str() + maskAt, " mask:%x", &mask) == 1 && (mask & IN_DELETE_SELF)) {
                watches.emplace_back(number, mask);
            }
        }
    }
    std::ranges::sort(watches);
    std::vector<std::uint32_t> masks;
    for (const auto& [number, mask] : watches) {
        masks.push_back(mask);
    }
    return masks;
}

}  // namespace velm::test
