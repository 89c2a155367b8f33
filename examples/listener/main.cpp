#include "examples/listener/ChannelClient.h"
#include "examples/listener/ExportListener.h"

#include <iostream>

#include <CLI/CLI.hpp>

namespace {

void print(const ExportMessage& message) {
    std::cout << message.describe() << std::endl;
}

int listen(const std::string& address, unsigned short port) {
    ExportListener listener(address, port, print);
    std::cout << "listening on " << address << " port " << listener.port() << std::endl;
    listener.run();
}

int openChannel(const std::string& server, unsigned int session) {
    const std::size_t colon = server.rfind(':');
    if (colon == std::string::npos) {
        throw CLI::ValidationError("--channel", "'" + server + "' is not HOST:PORT");
    }
    ChannelClient client(server.substr(0, colon), server.substr(colon + 1), session);
    std::cout << "channel open as " << client.host() << " port " << client.port() << std::endl;
    client.sendHeartBeat();
    client.run(print);
    std::cout << "channel closed by the server" << std::endl;
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app("Receives CIM indications and prints one line for each.");
    std::string address = "127.0.0.1";
    unsigned short port = 0;
    std::string server;
    unsigned int session = 1;
    app.add_option("--address", address, "Loopback address to listen on")->capture_default_str();
    app.add_option("--port", port, "Port to listen on; 0 lets the kernel choose")->capture_default_str();
    app.add_option("--channel", server, "Instead of listening, open a channel to the server at HOST:PORT");
    app.add_option("--session", session, "Session number of the channel")->capture_default_str();
    try {
        app.parse(argc, argv);
        return server.empty() ? listen(address, port) : openChannel(server, session);
    } catch (const CLI::Error& error) {
        return app.exit(error);
    } catch (const std::exception& failure) {
        std::cerr << argv[0] << ": " << failure.what() << std::endl;
        return 1;
    }
}
