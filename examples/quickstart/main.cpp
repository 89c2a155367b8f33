#include "examples/quickstart/Quickstart.h"

#include <cstdlib>
#include <iostream>

#include <CLI/CLI.hpp>

namespace fs = std::filesystem;

namespace {

constexpr const char* about =
    "Shows the server at work: a listener and a channel subscribe to what happens to the files of a "
    "directory "
    "and to\ninstances in the repository, things happen, and every delivery is shown as it arrives.\n"
    "Exits with 0 when all arrived, with 1 when something was missing for 5 seconds, or could not be "
    "started.";

fs::path makeWorkDirectory() {
    std::string pattern = (fs::temp_directory_path() / "velm-quickstart-XXXXXX").string();
    if (!mkdtemp(pattern.data())) {
        throw std::runtime_error("cannot make a directory like " + pattern);
    }
    return pattern;
}

int run(Quickstart::Places places, bool stay) {
    if (places.workDirectory.empty()) {
        places.workDirectory = makeWorkDirectory();
    }
    places.workDirectory = fs::absolute(places.workDirectory);
    Quickstart quickstart(std::move(places));
    quickstart.begin();
    bool complete = quickstart.play();
    if (stay) {
        quickstart.stay();
    }
    complete &= quickstart.end();
    std::cout << (complete ? "\nAll that was subscribed to has arrived.\n" : "\nNot all has arrived.\n");
    return complete ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app(about, "velm_quickstart");
    Quickstart::Places places;
    bool stay = false;
    app.add_flag("--stay", stay, "Keep running afterwards, to play with files; Enter ends it");
    app.add_option("--server", places.serverProgram, "The server program")->required();
    app.add_option("--listener", places.listenerProgram, "The listener program")->required();
    app.add_option("--providers", places.providers, "The directory of providers")->required();
    app.add_option("--directory", places.workDirectory,
                   "Where files and logs go; default: a new one in /tmp");
    CLI11_PARSE(app, argc, argv);
    try {
        return run(std::move(places), stay);
    } catch (const std::exception& failure) {
        std::cerr << "velm_quickstart: " << failure.what() << std::endl;
    }
    return EXIT_FAILURE;
}
