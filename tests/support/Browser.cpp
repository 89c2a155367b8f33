#include "tests/support/Browser.h"

#include <stdexcept>

namespace velm::test {

namespace {

constexpr const char* program = "/usr/bin/chromium";

}  // namespace

bool Browser::isInstalled() {
    return std::filesystem::exists(program);
}

std::string Browser::_run(const std::vector<std::string>& arguments, const View& view) const {
    // What it complains about must not get between what it prints.
    std::vector<std::string> command{
        "/bin/sh",
        "-c",
        "exec \"$@\" 2>/dev/null",
        "sh",
        program,
        "--headless=new",
        "--no-sandbox",
        "--disable-gpu",
        "--hide-scrollbars",
        "--disable-background-networking",
        "--disable-component-update",
        "--disable-dev-shm-usage",
        "--no-first-run",
        "--virtual-time-budget=3000",
        "--user-data-dir=" + _profile.path().string(),
        "--window-size=" + std::to_string(view.width) + "," + std::to_string(view.height)};
    if (view.isDark) {
        command.emplace_back("--blink-settings=preferredColorScheme=0");
    }
    command.insert(command.end(), arguments.begin(), arguments.end());
    ProgramProcess browser(command);
    if (browser.wait() != 0) {
        throw std::runtime_error("the browser failed: " + browser.log());
    }
    browser.waitForEnd();
    return browser.log();
}

std::string Browser::documentOf(const std::string& address, const View& view) {
    return _run({"--dump-dom", address}, view);
}

void Browser::photograph(const std::string& address, const std::filesystem::path& file, const View& view) {
    std::filesystem::create_directories(file.parent_path());
    _run({"--screenshot=" + file.string(), address}, view);
    if (!std::filesystem::exists(file)) {
        throw std::runtime_error("the browser wrote no picture of " + address);
    }
}

}  // namespace velm::test
