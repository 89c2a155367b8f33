#pragma once

#include "examples/quickstart/ChildProcess.h"
#include "examples/quickstart/Paper.h"
#include "velmctl/client/WBEMClient.h"

#include <filesystem>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// The main job in one sitting: a server, a provider, subscribers, real files, real deliveries.
///
/// Used by one thread. Failure: each step throws std::exception with a text for the reader; missing
/// deliveries are told in words and by play()'s answer.
class Quickstart {
public:
    struct Places {
        std::filesystem::path serverProgram;
        std::filesystem::path listenerProgram;
        std::filesystem::path providers;
        /// An empty directory: the watched files and what the server keeps go there.
        std::filesystem::path workDirectory;
    };

    explicit Quickstart(Places places);

    /// Starts the server, the listener and the channel, and makes the subscriptions.
    void begin();

    /// Makes things happen and waits for each delivery; answers whether all arrived.
    bool play();

    /// Lets the reader do the same until a line or the end of input comes.
    void stay();

    /// Takes the subscriptions back and stops the server; answers whether the provider was told.
    bool end();

private:
    struct Expectation {
        std::string who;
        std::vector<std::string> words;
    };

    void _startServer();
    void _startListener();
    void _openChannel();
    void _subscribe();
    void _createComputer();
    bool _expect(const std::vector<Expectation>& expectations);

    /// Waits for the line with which a program says that it is ready; returns what stands behind `words`.
    static std::string _waitForStart(const std::shared_future<std::string>& line, const std::string& words,
                                     const std::string& program);

    Places _places;
    std::filesystem::path _files;
    Paper _paper;
    std::optional<ChildProcess> _server;
    std::optional<ChildProcess> _listener;
    std::optional<ChildProcess> _channel;
    std::string _serverPort;
    std::unique_ptr<velm::WBEMClient> _client;
    velm::WBEMClient::Parameters _listenerID;
    velm::WBEMClient::Parameters _channelID;
};
