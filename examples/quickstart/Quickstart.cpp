#include "examples/quickstart/Quickstart.h"

#include <fstream>
#include <future>
#include <iostream>
#include <stdexcept>
#include <utility>

#include <boost/algorithm/string/replace.hpp>
#include <fmt/format.h>
#include <fmt/ranges.h>

namespace fs = std::filesystem;
using velm::WBEMClient;

namespace {

using Parameters = WBEMClient::Parameters;

constexpr const char* dataFile = "CIM_DataFile";
constexpr auto patience = std::chrono::seconds(5);
constexpr unsigned int listenerSession = 1;
constexpr unsigned int channelSession = 2;

Parameters operator+(Parameters left, const Parameters& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

Parameters kind(const char* type) {
    return {{"IndicationType", WBEMClient::value(type)}};
}

Parameters ofClass(const char* name) {
    return {{"ClassName", WBEMClient::className(name)}};
}

void append(const fs::path& path, const char* text) {
    std::ofstream(path, std::ios::app) << text;
}

/// The first INSTANCENAME in a response.
std::string instanceNameIn(const std::string& document) {
    const std::string end = "</INSTANCENAME>";
    const auto first = document.find("<INSTANCENAME ");
    const auto last = document.find(end);
    if (first == std::string::npos || last == std::string::npos) {
        throw std::runtime_error("the provider does not know the directory");
    }
    return document.substr(first, last + end.size() - first);
}

/// Runs a program whose lines go to `onLine`; the future has the first that holds `words`.
std::shared_future<std::string> run(std::optional<ChildProcess>& program,
                                    const std::vector<std::string>& command, const std::string& words,
                                    std::function<void(const std::string&)> onLine) {
    auto said = std::make_shared<std::promise<std::string>>();
    auto isSaid = std::make_shared<bool>(false);
    std::shared_future<std::string> line = said->get_future().share();
    program.emplace(command, [=, onLine = std::move(onLine)](const std::string& text) {
        onLine(text);
        if (!*isSaid && text.find(words) != std::string::npos) {
            *isSaid = true;
            said->set_value(text);
        }
    });
    return line;
}

}  // namespace

Quickstart::Quickstart(Places places) : _places(std::move(places)), _files(_places.workDirectory / "files") {
    fs::create_directories(_files);
    // The server loads nothing that somebody else could have written, which a build folder may allow.
    const fs::path safe = _places.workDirectory / "providers";
    fs::copy(_places.providers, safe);
    for (const auto& entry : fs::directory_iterator(safe)) {
        fs::permissions(entry, fs::perms::group_write | fs::perms::others_write, fs::perm_options::remove);
    }
    fs::permissions(safe, fs::perms::group_write | fs::perms::others_write, fs::perm_options::remove);
    _places.providers = safe;
    _paper.abbreviate(_files.parent_path().string() + "/");
}

void Quickstart::begin() {
    _startServer();
    _startListener();
    _openChannel();
    _subscribe();
}

std::string Quickstart::_waitForStart(const std::shared_future<std::string>& line, const std::string& words,
                                      const std::string& program) {
    if (line.wait_for(patience) != std::future_status::ready) {
        throw std::runtime_error(program + " did not start");
    }
    const std::string text = line.get();
    return text.substr(text.find(words) + words.size());
}

void Quickstart::_startServer() {
    _paper.act("The server starts, with a provider that watches " + _files.string() + ".");
    const std::string words = "Serving on port ";
    const auto serving = run(_server,
                             {_places.serverProgram, "--state-dir", _places.workDirectory / "state", "--port",
                              "0", "--set", "Providers.Directory=" + _places.providers.string(), "--set",
                              "Providers.file_watch=" + _files.string()},
                             words, [this](const std::string& line) {
                                 for (const char* interesting : {"Serving on", "Told to"}) {
                                     const auto found = line.find(interesting);
                                     if (found != std::string::npos) {
                                         _paper.add("server", line.substr(found));
                                     }
                                 }
                             });
    const std::string rest = _waitForStart(serving, words, "the server");
    _serverPort = rest.substr(0, rest.find(' '));
    _client = std::make_unique<WBEMClient>(velm::HostPort{"127.0.0.1", _serverPort});
}

void Quickstart::_startListener() {
    _paper.act("A listener starts in a process of its own.");
    const std::string words = "listening on 127.0.0.1 port ";
    const auto listening = run(_listener, {_places.listenerProgram}, words,
                               [this](const std::string& line) { _paper.add("listener", line); });
    _listenerID = WBEMClient::subscriber({"127.0.0.1", _waitForStart(listening, words, "the listener")},
                                         listenerSession);
}

void Quickstart::_openChannel() {
    _paper.act("A second client opens a channel: a connection on which the server writes to it.");
    const std::string words = "channel open as 127.0.0.1 port ";
    const auto open = run(_channel,
                          {_places.listenerProgram, "--channel", "127.0.0.1:" + _serverPort, "--session",
                           std::to_string(channelSession)},
                          words, [this](const std::string& line) { _paper.add("channel", line); });
    _channelID =
        WBEMClient::subscriber({"127.0.0.1", _waitForStart(open, words, "the channel")}, channelSession);
}

void Quickstart::_subscribe() {
    const std::string directory =
        instanceNameIn(_client->call("EnumerateInstanceNames", ofClass("CIM_Directory")));
    // The name of a file that is not there yet is like that of its directory.
    std::string notes = boost::algorithm::replace_all_copy(directory, "CIM_Directory", dataFile);
    boost::algorithm::replace_all(notes, _files.string(), (_files / "notes.txt").string());

    _paper.act(
        "The listener subscribes to changes, creations and destructions of every CIM_DataFile,\n"
        "to files being added to this directory, and to the creation of every CIM_System.");
    const Parameters ends{{"EndOne", directory}, {"EndTwo", WBEMClient::className(dataFile)}};
    _client->call("Subscribe", _listenerID + kind("Change") + ofClass(dataFile));
    _client->call("Subscribe", _listenerID + kind("Creation") + ofClass(dataFile));
    _client->call("Subscribe", _listenerID + kind("Addition") + ends);
    _client->call("Subscribe", _listenerID + kind("Creation") + ofClass("CIM_System"));

    _paper.act("The channel subscribes to the change of one file: notes.txt.");
    _client->call("Subscribe", _channelID + kind("Change") + Parameters{{"InstanceName", notes}});
}

bool Quickstart::play() {
    const fs::path notes = _files / "notes.txt";
    const fs::path archive = _files / "archive.txt";

    _paper.act("> create notes.txt");
    append(notes, "");
    bool complete = _expect({{"listener", {"Creation", dataFile, "notes.txt"}},
                             {"listener", {"Addition", "CIM_DirectoryContainsFile", "notes.txt"}}});

    _paper.act("> write to notes.txt");
    append(notes, "An event that somebody subscribed to arrives.\n");
    complete &= _expect({{"listener", {"Change", "notes.txt", "FileSize"}},
                         {"channel", {"Change", "notes.txt", "FileSize"}}});

    _paper.act("> rename notes.txt to archive.txt");
    fs::rename(notes, archive);
    complete &= _expect({{"listener", {"Destruction", dataFile, "notes.txt"}},
                         {"listener", {"Creation", dataFile, "archive.txt"}},
                         {"listener", {"Addition", "CIM_DirectoryContainsFile", "archive.txt"}}});

    _paper.act("> a client creates an instance of CIM_ComputerSystem in the server's repository");
    _createComputer();
    complete &= _expect({{"listener", {"Creation", "CIM_ComputerSystem", "moon"}}});
    return complete;
}

void Quickstart::_createComputer() {
    const auto property = [](const char* name, const char* text) {
        return fmt::format(R"(<PROPERTY NAME="{}" TYPE="string"><VALUE>{}</VALUE></PROPERTY>)", name, text);
    };
    _client->call("CreateInstance", {{"NewInstance", "<INSTANCE CLASSNAME=\"CIM_ComputerSystem\">" +
                                                         property("CreationClassName", "CIM_ComputerSystem") +
                                                         property("Name", "moon") + "</INSTANCE>"}});
}

bool Quickstart::_expect(const std::vector<Expectation>& expectations) {
    bool complete = true;
    for (const Expectation& expected : expectations) {
        if (!_paper.waitFor(expected.who, expected.words, patience)) {
            fmt::print("    MISSING   the {} has not received: {}\n", expected.who,
                       fmt::join(expected.words, " "));
            complete = false;
        }
    }
    return complete;
}

void Quickstart::stay() {
    _paper.act(
        fmt::format("Now create, change, rename and delete files in {}\n"
                    "and watch what arrives. The server listens on 127.0.0.1 port {}. Press Enter to end.",
                    _files.string(), _serverPort));
    std::string line;
    std::getline(std::cin, line);
}

bool Quickstart::end() {
    _paper.act("The listener unsubscribes, the channel is closed, and the provider is told to stop.");
    _channel.reset();
    _client->call("Unsubscribe", _listenerID + kind("Change") + ofClass(dataFile));
    const bool told = _paper.waitFor("server", {"Told to stop reporting Change"}, patience);
    if (!told) {
        fmt::print("    MISSING   the provider was not told to stop\n");
    }
    _client.reset();
    _server.reset();
    return told;
}
