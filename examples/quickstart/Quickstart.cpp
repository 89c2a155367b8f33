#include "examples/quickstart/Quickstart.h"

#include "CIMOM_Indications/CIMOMClassManager.h"
#include "Indications/IndicationNotifier.h"
#include "foundation/object_model/COrvoInstanceName.h"
#include "foundation/object_model/COrvoRepository.h"
#include "foundation/object_model/COrvoValue.h"
#include "foundation/services/VELMConfigManager.h"

#include <fstream>
#include <future>
#include <iostream>
#include <stdexcept>
#include <unistd.h>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace fs = std::filesystem;

namespace {

constexpr const char* nameSpace = "root/kob/talmora";
constexpr const char* dataFile = "CIM_DataFile";
constexpr auto patience = std::chrono::seconds(5);
constexpr unsigned int listenerSession = 1;
constexpr unsigned int channelSession = 2;

ORVSmrPtr<IOrvoValue> className(const char* name) {
    return ORVSmrPtr<IOrvoValue>(new COrvoValue(name));
}

ORVSmrPtr<IOrvoValue> referenceTo(const ORVSmrPtr<IOrvoInstanceName>& name) {
    return ORVSmrPtr<IOrvoValue>(new COrvoValue(name));
}

/// A name without keys stands for every instance of the class.
ORVSmrPtr<IOrvoInstanceName> everyInstanceOf(const char* name) {
    return ORVSmrPtr<IOrvoInstanceName>(new COrvoInstanceName(nameSpace, name, {}));
}

void append(const fs::path& path, const char* text) {
    std::ofstream(path, std::ios::app) << text;
}

}  // namespace

Quickstart::Quickstart(Places places) : _places(std::move(places)), _files(_places.workDirectory / "files") {
    fs::create_directories(_files);
    _paper.abbreviate(_files.parent_path().string() + "/");
}

Quickstart::~Quickstart() {
    _door.reset();
    _server.unload();
    _manager.reset();
    ORVLog::setObserver(nullptr);
}

void Quickstart::begin() {
    _openLogs();
    _startListener();
    _startHost();
    _openChannel();
    _subscribe();
}

void Quickstart::_openLogs() {
    ORVLog::open((_places.workDirectory / "server.log").c_str());
    ORVLog::setObserver(&_paper);
    VELMConfigManager::getInstance()->setString("Log", "LogDir", _places.workDirectory.c_str());
}

void Quickstart::_startListener() {
    _paper.act("A listener starts in a process of its own.");
    auto port = std::make_shared<std::promise<std::string>>();
    _listener.emplace(std::vector<std::string>{_places.listenerProgram},
                      [this, port](const std::string& line) {
                          _paper.add("listener", line);
                          if (line.starts_with("listening")) {
                              port->set_value(line.substr(line.rfind(' ') + 1));
                          }
                      });
    std::future<std::string> chosen = port->get_future();
    if (chosen.wait_for(patience) != std::future_status::ready) {
        throw std::runtime_error("the listener did not start");
    }
    _listenerID = new CSubscriberID("127.0.0.1", ORVString(chosen.get()), listenerSession);
}

void Quickstart::_startHost() {
    _paper.act("This process loads the indication library and a provider that watches " + _files.string() +
               ".");
    auto* repository = new COrvoRepository;
    const ORVSmrPtr<IOrvoRepository> repositoryHandle(repository);
    repository->loadFile(_places.schema.c_str(), nameSpace);
    CCIMOMClassManager::initialize(repositoryHandle);
    _manager = std::make_unique<CIndicationManager>(_server);
    _manager->enableIndications();
    CIndicationNotifier::logIndications(true);
    _server.load(_places.provider, {_manager->getSmartSubscriber(), nameSpace, _files.c_str()});
}

void Quickstart::_openChannel() {
    _paper.act("A second client opens a persistent channel to this process, and sends a heartbeat.");
    auto opened = std::make_shared<std::promise<ORVSmrPtr<CSubscriberID>>>();
    _door.emplace(*_manager, [this, opened](const std::string& what, const CSubscriberID& who) {
        _paper.add("server", fmt::format("{} {}", who.toString().data(), what));
        if (what == "opened a channel") {
            opened->set_value(ORVSmrPtr<CSubscriberID>(new CSubscriberID(who)));
        }
    });
    std::future<ORVSmrPtr<CSubscriberID>> client = opened->get_future();
    _channel.emplace(std::vector<std::string>{_places.listenerProgram, "--channel",
                                              fmt::format("127.0.0.1:{}", _door->port()), "--session",
                                              std::to_string(channelSession)},
                     [this](const std::string& line) { _paper.add("channel", line); });
    if (client.wait_for(patience) != std::future_status::ready ||
        !_paper.waitFor("server", {"sent a heartbeat"}, patience)) {
        throw std::runtime_error("the channel was not opened");
    }
    _channelID = client.get();
}

ORVSmrPtr<IOrvoInstanceName> Quickstart::_nameOf(const char* name, const fs::path& path) const {
    COrvoInstanceName::KeyBindings keys;
    std::string host(256, '\0');
    gethostname(host.data(), host.size() - 1);
    const auto add = [&](const char* key, const char* value) {
        keys.append({key, ORVSmrPtr<IOrvoValue>(new COrvoValue(value))});
    };
    add("CSCreationClassName", "CIM_ComputerSystem");
    add("CSName", host.c_str());
    add("FSCreationClassName", "CIM_LocalFileSystem");
    add("FSName", "local");
    add("CreationClassName", name);
    add("Name", path.c_str());
    return ORVSmrPtr<IOrvoInstanceName>(new COrvoInstanceName(nameSpace, name, keys));
}

void Quickstart::_subscribe() {
    const ORVString host = "127.0.0.1";
    const ORVString port = ORVString(std::to_string(_door->port()));
    const ORVSmrPtr<IOrvoInstanceName> notes = _nameOf(dataFile, _files / "notes.txt");
    ORVSmrPtr<IOrvoValue> none;
    ORVSmrPtr<IOrvoValue> files = className(dataFile);
    ORVSmrPtr<IOrvoValue> directory = referenceTo(_nameOf("CIM_Directory", _files));
    ORVSmrPtr<IOrvoValue> notesReference = referenceTo(notes);

    _paper.act(
        "The listener subscribes to changes, creations and destructions of every CIM_DataFile,\n"
        "and to files being added to this directory.");
    _manager->subscribe(_listenerID, everyInstanceOf(dataFile), nullptr, IOrvoIndication::IndicationChange,
                        host, port, true);
    _manager->subscribe(_listenerID, files, none, none, IOrvoIndication::IndicationCreation, host, port);
    _manager->subscribe(_listenerID, files, none, none, IOrvoIndication::IndicationDestruction, host, port);
    _manager->subscribe(_listenerID, none, directory, files, IOrvoIndication::IndicationAddition, host, port);

    _paper.act("The channel subscribes to the change and the destruction of one file: notes.txt.");
    _manager->subscribe(_channelID, notes, nullptr, IOrvoIndication::IndicationChange, host, port, false);
    _manager->subscribe(_channelID, notesReference, none, none, IOrvoIndication::IndicationDestruction, host,
                        port);
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
                         {"listener", {"Addition", "CIM_DirectoryContainsFile", "archive.txt"}},
                         {"channel", {"Destruction", dataFile, "notes.txt"}}});

    _paper.act("> delete archive.txt");
    fs::remove(archive);
    complete &= _expect({{"listener", {"Destruction", dataFile, "archive.txt"}}});
    return complete;
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
    _paper.act("Now create, change, rename and delete files in " + _files.string() +
               "\nand watch what arrives. Press Enter to end.");
    std::string line;
    std::getline(std::cin, line);
}

bool Quickstart::end() {
    _writeDump();
    _unsubscribe();
    const bool told = _paper.waitFor("provider", {"Told to stop reporting Change"}, patience) &&
                      _paper.waitFor("provider", {"Told to stop reporting Addition"}, patience);
    if (!told) {
        fmt::print("    MISSING   the provider was not told to stop\n");
    }
    return told;
}

void Quickstart::_writeDump() {
    const fs::path path = _places.workDirectory / "subscriptions.html";
    std::ofstream stream(path);
    stream << "<!DOCTYPE html><html><head><meta charset=\"utf-8\"><title>Subscriptions</title></head><body>";
    _manager->dump(stream);
    stream << "</body></html>\n";
    _paper.act("The library's tables are in " + path.string() + ",\nthe deliveries in " +
               CIndicationNotifier::getIndicationsLogFileName().data() + ",\nand the server's log in " +
               (_places.workDirectory / "server.log").string() + ".");
}

void Quickstart::_unsubscribe() {
    ORVSmrPtr<IOrvoValue> none;
    ORVSmrPtr<IOrvoValue> files = className(dataFile);
    ORVSmrPtr<IOrvoValue> directory = referenceTo(_nameOf("CIM_Directory", _files));

    _paper.act("The listener unsubscribes, the channel is removed, and the provider is told to stop.");
    _manager->unsubscribe(_listenerID, everyInstanceOf(dataFile), nullptr, IOrvoIndication::IndicationChange,
                          true);
    _manager->unsubscribe(_listenerID, files, none, none, IOrvoIndication::IndicationCreation);
    _manager->unsubscribe(_listenerID, files, none, none, IOrvoIndication::IndicationDestruction);
    _manager->unsubscribe(_listenerID, none, directory, files, IOrvoIndication::IndicationAddition);
    _manager->removeSubscriber(*_channelID, true, true);
}
