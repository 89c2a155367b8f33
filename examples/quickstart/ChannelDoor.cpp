#include "examples/quickstart/ChannelDoor.h"

#include "foundation/http/ORVHTTPCodes.h"

#include <sstream>
#include <string>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>
#include <boost/property_tree/ptree.hpp>
#include <boost/property_tree/xml_parser.hpp>

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
using boost::property_tree::ptree;
using tcp = asio::ip::tcp;
using Request = http::request<http::string_body>;

struct Call {
    std::string method;
    ORVSmrPtr<CSubscriberID> subscriber;
};

Call parseCall(const std::string& document) {
    ptree tree;
    std::istringstream stream{document};
    read_xml(stream, tree);
    const ptree& call = tree.get_child("CIM.MESSAGE.SIMPLEREQ.IMETHODCALL");
    std::string host;
    std::string port;
    std::uint32_t session = 0;
    for (const auto& [element, content] : call) {
        const auto name = content.get<std::string>("<xmlattr>.NAME", "");
        if (name == "SubscriberHost") {
            host = content.get<std::string>("VALUE");
        } else if (name == "SubscriberPort") {
            port = content.get<std::string>("VALUE");
        } else if (name == "SessionID") {
            session = static_cast<std::uint32_t>(std::stoul(content.get<std::string>("VALUE")));
        }
    }
    return {call.get<std::string>("<xmlattr>.NAME"),
            ORVSmrPtr<CSubscriberID>(new CSubscriberID(ORVString(host), ORVString(port), session))};
}

std::string responseStart(const std::string& method) {
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><MESSAGE "
           "ID=\"1\" "
           "PROTOCOLVERSION=\"1.0\"><SIMPLERSP><IMETHODRESPONSE NAME=\"" +
           method + "\">";
}

void respond(tcp::socket& socket, http::status status, const std::string& body) {
    http::response<http::string_body> response{status, 11};
    response.set(http::field::content_type, "application/xml; charset=utf-8");
    response.set("CIMOperation", "MethodResponse");
    response.keep_alive(false);
    response.body() = body;
    response.prepare_payload();
    beast::error_code ignored;
    http::write(socket, response, ignored);
}

}  // namespace

struct ChannelDoor::State {
    State(IIndicationManager& indicationManager, Event event)
        : acceptor(context, tcp::endpoint(asio::ip::address_v4::loopback(), 0)),
          manager(indicationManager),
          onEvent(std::move(event)) {}

    void run() {
        beast::error_code failure;
        while (true) {
            tcp::socket socket = acceptor.accept(failure);
            if (failure) {
                return;
            }
            serve(std::move(socket));
        }
    }

    void serve(tcp::socket socket) {
        beast::flat_buffer buffer;
        Request request;
        beast::error_code failure;
        http::read(socket, buffer, request, failure);
        if (failure) {
            return;
        }
        try {
            const Call call = parseCall(request.body());
            if (call.method == "RegisterNotificationChannel") {
                openChannel(std::move(socket), call);
            } else if (call.method == "HeartBeat") {
                acceptHeartBeat(socket, call);
            } else {
                respond(socket, http::status::bad_request, "");
            }
        } catch (...) {
            respond(socket, http::status::bad_request, "");
        }
    }

    /// Writes the response up to the return value, which is the manager's to write; the socket is the
    /// channel's then.
    void openChannel(tcp::socket socket, const Call& call) {
        const tcp::endpoint local = socket.local_endpoint();
        ORVSmrPtr<ORVHTTPTransport> transport(new ORVHTTPTransport(socket.release()));
        ORVSmrPtr<CSubscriberNetworkConnection> connection(new CSubscriberNetworkConnection(transport));
        const ORVSmrPtr<ORVGenericHTTPOStream> stream = connection->getOutputStream();
        *stream << "HTTP/1.1 200 OK" << ORVHTTPCodes::CRLF << "Content-Type: application/xml; charset=utf-8"
                << ORVHTTPCodes::CRLF << "CIMOperation: MethodResponse" << ORVHTTPCodes::CRLF;
        stream->completeHeader();
        *stream << responseStart(call.method);
        manager.registerNotificationChannel(call.subscriber, ORVString(local.address().to_string()),
                                            ORVString(std::to_string(local.port())), connection, 0);
        onEvent("opened a channel", *call.subscriber);
    }

    void acceptHeartBeat(tcp::socket& socket, Call call) {
        manager.heartBeat(call.subscriber);
        respond(socket, http::status::ok,
                responseStart(call.method) + "</IMETHODRESPONSE></SIMPLERSP></MESSAGE></CIM>");
        onEvent("sent a heartbeat", *call.subscriber);
    }

    asio::io_context context;
    tcp::acceptor acceptor;
    IIndicationManager& manager;
    Event onEvent;
};

ChannelDoor::ChannelDoor(IIndicationManager& manager, Event onEvent)
    : _state(std::make_unique<State>(manager, std::move(onEvent))) {
    _thread = std::thread([this] { _state->run(); });
}

ChannelDoor::~ChannelDoor() {
    // Wakes the thread out of accept; closing the descriptor under it would not.
    shutdown(_state->acceptor.native_handle(), SHUT_RDWR);
    _thread.join();
}

unsigned short ChannelDoor::port() const {
    return _state->acceptor.local_endpoint().port();
}
