#pragma once

#include "tests/support/TerminalProcess.h"
#include "tests/support/VelmdProcess.h"

#include <string>
#include <vector>

#include <boost/json/parse.hpp>
#include <gtest/gtest.h>

namespace velm::test {

using Words = std::vector<std::string>;

/// The words of a velmctl command.
inline Words velmctlCommand(const Words& words) {
    Words command{VELM_TEST_VELMCTL};
    command.insert(command.end(), words.begin(), words.end());
    return command;
}

/// Runs it to its end, with output and errors in one.
inline ProgramResult runVelmctl(const Words& words) {
    return runProgram(velmctlCommand(words));
}

/// What was said, each message in one line again.
inline std::string unwrapped(std::string text) {
    for (auto end = text.find("\n  "); end != std::string::npos; end = text.find("\n  ", end)) {
        text.replace(end, 3, " ");
    }
    return text;
}

/// The columns that the longest line takes; every character is one byte.
inline std::size_t widthOf(const std::string& text) {
    std::size_t widest = 0;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        widest = std::max(widest, end - at);
        at = end + 1;
    }
    return widest;
}

/// The lines of `text` that hold JSON, read.
inline std::vector<boost::json::object> jsonLines(const std::string& text) {
    std::vector<boost::json::object> lines;
    std::size_t at = 0;
    while (at < text.size()) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        lines.push_back(boost::json::parse(text.substr(at, end - at)).as_object());
        at = end + 1;
    }
    return lines;
}

/// A daemon with the classes that it ships with, and commands for it.
class Velmctl : public testing::Test {
protected:
    std::string server() const { return "127.0.0.1:" + std::to_string(velmd.port()); }

    /// `words` and the daemon's address.
    Words to(Words words) const {
        words.insert(words.end(), {"--server", server()});
        return words;
    }

    /// Creates a computer of this name in the daemon's repository.
    void createComputer(const std::string& name) const {
        const ProgramResult result = runVelmctl(to({"emit", "create", "CIM_ComputerSystem", "Name=" + name}));
        ASSERT_EQ(result.exitCode, 0) << result.output;
    }

    TemporaryDirectory directory;
    VelmdProcess velmd{directory.path()};
};

}  // namespace velm::test
