#pragma once

#include "Indications/IndicationManager.h"
#include "examples/quickstart/ChannelDoor.h"
#include "examples/quickstart/ChildProcess.h"
#include "examples/quickstart/HostServer.h"
#include "examples/quickstart/Paper.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// The main job in one sitting: subscribers, a provider, real files, real deliveries.
///
/// Used by one thread. Failure: each step throws std::runtime_error or one of the library's exceptions;
/// missing deliveries are told in words and by play()'s answer.
class Quickstart {
public:
    struct Places {
        std::filesystem::path listenerProgram;
        std::filesystem::path provider;
        std::filesystem::path schema;
        /// An empty directory: the watched files, the logs and the dump go there.
        std::filesystem::path workDirectory;
    };

    explicit Quickstart(Places places);
    ~Quickstart();

    /// Starts the listener, the host and the channel, and makes the subscriptions.
    void begin();

    /// Creates, writes, renames and deletes a file and waits for each delivery; answers whether all arrived.
    bool play();

    /// Lets the reader do the same until a line or the end of input comes.
    void stay();

    /// Writes the dump, takes the subscriptions back and stops everything; answers whether the provider was
    /// told.
    bool end();

private:
    struct Expectation {
        std::string who;
        std::vector<std::string> words;
    };

    void _openLogs();
    void _startListener();
    void _startHost();
    void _openChannel();
    void _subscribe();
    bool _expect(const std::vector<Expectation>& expectations);
    void _writeDump();
    void _unsubscribe();

    ORVSmrPtr<IOrvoInstanceName> _nameOf(const char* className, const std::filesystem::path& path) const;

    Places _places;
    std::filesystem::path _files;
    Paper _paper;
    HostServer _server;
    std::unique_ptr<CIndicationManager> _manager;
    std::optional<ChannelDoor> _door;
    std::optional<ChildProcess> _listener;
    std::optional<ChildProcess> _channel;
    ORVSmrPtr<CSubscriberID> _listenerID;
    ORVSmrPtr<CSubscriberID> _channelID;
};
