#pragma once

#include "tests/support/VelmdProcess.h"

#include <filesystem>
#include <string>
#include <vector>

namespace velm::test {

/// Headless Chromium with a profile of its own. Used by one thread. Failure: std::runtime_error with what the
/// browser said.
class Browser {
public:
    struct View {
        int width = 1280;
        int height = 1000;
        bool isDark = false;
    };

    /// Whether the program is installed; nothing else may be called without it.
    static bool isInstalled();

    /// The document at this address after it was loaded and had three seconds (of its own clock) for whatever
    /// it does by itself.
    std::string documentOf(const std::string& address, const View& view);
    std::string documentOf(const std::string& address) { return documentOf(address, View()); }

    /// Writes a picture (PNG) of what the window shows.
    void photograph(const std::string& address, const std::filesystem::path& file, const View& view);

private:
    std::string _run(const std::vector<std::string>& arguments, const View& view) const;

    const TemporaryDirectory _profile;
};

/// For the beginning of a test that needs the browser.
#define VELM_SKIP_WITHOUT_BROWSER()                                            \
    if (!velm::test::Browser::isInstalled()) {                                 \
        GTEST_SKIP() << "Chromium is not installed (Debian package chromium)"; \
    }                                                                          \
    static_assert(true)

}  // namespace velm::test
