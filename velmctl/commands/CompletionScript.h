#pragma once

#include <string>

namespace CLI {
class App;
}

namespace velm {

/// A script for the shell that completes the program's subcommands, options and the words that they take:
/// made from what the program declares, so that it cannot differ. Any thread.
std::string bashCompletion(const CLI::App& program);
std::string zshCompletion(const CLI::App& program);

}  // namespace velm
