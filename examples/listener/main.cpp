#include "velmctl/client/ChannelClient.h"
#include "velmctl/client/ExportListener.h"

#include <iostream>

#include <CLI/CLI.hpp>

namespace {

void print(const velm::ExportMessage& message) {
    std::cout << message.describe() << std::endl;
}

void complain(const std::string& problem) {
    std::cerr << problem << std::endl;
}

int listen(const std::string& address, unsigned short port) {
    velm::ExportListener listener({address, std::to_string(port)}, print, complain);
    std::cout << "listening on " << listener.address().host << " port " << listener.address().port
              << std::endl;
    listener.run();
    return 0;
}

int openChannel(const std::string& server, unsigned int session) {
    velm::ChannelClient client(velm::HostPort::parse(server), session);
    std::cout << "channel open as " << client.name().host << " port " << client.name().port << std::endl;
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
