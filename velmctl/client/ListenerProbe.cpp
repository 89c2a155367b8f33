#include "velmctl/client/ListenerProbe.h"

#include "foundation/cimxml/ORVCIMMessage.h"
#include "foundation/http/ORVGenericHTTPIStream.h"
#include "foundation/http/ORVGenericHTTPOStream.h"
#include "foundation/http/ORVHTTPResponse.h"
#include "foundation/object_model/COrvoIndication.h"
#include "foundation/object_model/COrvoInstanceName.h"
#include "foundation/object_model/COrvoObject.h"
#include "foundation/object_model/COrvoValue.h"
#include "foundation/services/CIMUtil.h"
#include "foundation/utilities/ORVXMLError.h"
#include "foundation/utilities/OrvoBaseException.h"

#include <memory>
#include <sstream>
#include <unistd.h>

#include <fmt/format.h>

namespace velm {

namespace {

using Verdict = ProbeResult::Verdict;
using std::chrono::steady_clock;

constexpr int messageNumber = 1;
constexpr unsigned int statusOk = 200;
constexpr const char* testClass = "VELM_ListenerTest";

/// Keeps what is received, beside handing it on.
class RecordingTransport : public ORVHTTPTransport {
public:
    explicit RecordingTransport(int socket) : ORVHTTPTransport(socket) {}

    std::size_t receive(char* buffer, std::size_t size) override {
        const std::size_t received = ORVHTTPTransport::receive(buffer, size);
        _bytes.append(buffer, received);
        return received;
    }

    const std::string& bytes() const noexcept { return _bytes; }

private:
    std::string _bytes;
};

std::string testMessage() {
    const ORVString instance = "velmctl-ping";
    const ORVSmrPtr<IOrvoInstanceName> name(
        new COrvoInstanceName("root/kob/talmora", testClass, "InstanceID", instance));
    auto* object = new COrvoObject(testClass, name);
    const ORVSmrPtr<IOrvoObject> handle(object);
    object->setProperty("InstanceID", ORVSmrPtr<IOrvoValue>(new COrvoValue(instance)));
    COrvoIndication indication(handle, IOrvoIndication::IndicationCreation, {}, nullptr,
                               IOrvoIndication::IntentReport, {}, false);
    ORVString host("localhost");
    ORVString port("");
    std::ostringstream document;
    CIMUtil::StreamMessageHeader(document, messageNumber);
    CIMUtil::StreamIndication(document, indication, host, port, true, false);
    CIMUtil::StreamMessageTrailer(document);
    return document.str();
}

/// Tries the addresses in turn. Throws ORVNetException when none takes the connection.
std::unique_ptr<ORVHTTPTransport> connect(const HostPort& listener, std::chrono::milliseconds patience) {
    const auto addresses = loopbackAddresses(listener.host);
    for (std::size_t index = 0;; ++index) {
        try {
            return ORVHTTPTransport::connect(ORVString(addresses[index]), ORVString(listener.port),
                                             patience.count());
        } catch (const ORVNetException&) {
            if (index + 1 == addresses.size()) {
                throw;
            }
        }
    }
}

void send(const ORVSmrPtr<ORVHTTPTransport>& transport, const HostPort& listener, const std::string& path,
          const std::string& document) {
    const std::string message = fmt::format(
        "POST {} HTTP/1.1\r\n"
        "Host: {}\r\n"
        "Content-Type: application/xml; charset=utf-8\r\n"
        "CIMExport: MethodRequest\r\n"
        "CIMExportMethod: ExportIndication\r\n"
        "Connection: close\r\n"
        "Content-Length: {}\r\n\r\n{}",
        path, listener.text(), document.size(), document);
    transport->sendRequest(message);
}

/// Whether another answer follows this one (RFC 9110, status 1xx).
bool isInterim(const std::string& statusLine) {
    return statusLine.starts_with("HTTP/1.1 1");
}

/// Splits the head that was received into its lines, for showing; what it means is not decided here.
void keepHead(ProbeResult& result, const std::string& bytes) {
    std::istringstream head(bytes);
    std::string line;
    while (std::getline(head, line)) {
        if (line.ends_with('\r')) {
            line.pop_back();
        }
        if (line.empty() && !isInterim(result.statusLine)) {
            return;
        }
        if (line.empty()) {
            result.statusLine.clear();
            result.headerLines.clear();
        } else if (result.statusLine.empty()) {
            result.statusLine = line;
        } else {
            result.headerLines.push_back(line);
        }
    }
}

void judge(ProbeResult& result, Verdict verdict, std::string explanation) {
    result.verdict = verdict;
    result.explanation = std::move(explanation);
}

std::string textOf(const ORVSmrPtr<IOrvoValue>& value) {
    return value.IsNull() ? "nothing" : std::string(value->toString().view());
}

void judgeResponse(ProbeResult& result, const ORVCIMMessage& message) {
    result.messageID = message.getID().view();
    const auto simpleResponse = message.getSimpleExpRsp();
    const auto response =
        simpleResponse.IsNull() ? ORVSmrPtr<ORVCIMExpMethodResponse>() : simpleResponse->getMethodResponse();
    if (response.IsNull()) {
        judge(result, Verdict::noResponse, "the document holds no export method response");
    } else if (const auto error = response->getError(); !error.IsNull()) {
        judge(result, Verdict::refused,
              fmt::format("the listener answered CIM error {}: {}", error->getCode(),
                          error->getDescription().view()));
    } else if (const auto returned = response->getReturnValue();
               !returned.IsNull() && textOf(returned->getValue()) != "0") {
        judge(result, Verdict::refused,
              fmt::format("the listener returned {} instead of 0", textOf(returned->getValue())));
    } else {
        judge(result, Verdict::accepted, "the listener accepted the indication");
    }
}

void readAnswer(ProbeResult& result, const ORVSmrPtr<ORVHTTPTransport>& transport) {
    ORVGenericHTTPIStream stream(transport);
    ORVHTTPResponse response;
    response.readResponseFrom(stream);
    if (response.getStatus() != statusOk) {
        judge(result, Verdict::badStatus,
              fmt::format("the listener answered HTTP status {} instead of 200", response.getStatus()));
        return;
    }
    try {
        judgeResponse(result, ORVCIMMessage(stream, false, true));
    } catch (const ORVXMLError& error) {
        judge(result, Verdict::noResponse,
              fmt::format("the body is no CIM response: {}", error.GetErrorMessage().view()));
    }
}

void exchange(ProbeResult& result, const HostPort& listener, const std::string& path,
              std::chrono::milliseconds patience) {
    const auto connected = connect(listener, patience);
    auto* recording = new RecordingTransport(::dup(connected->nativeHandle()));
    const ORVSmrPtr<ORVHTTPTransport> transport(recording);
    transport->setSendTimeout(patience.count());
    transport->setReceiveTimeout(patience.count());
    result.verdict = Verdict::noAnswer;
    result.sent = testMessage();
    try {
        send(transport, listener, path, result.sent);
        readAnswer(result, transport);
    } catch (const ORVNetException& failure) {
        judge(result, Verdict::noAnswer, std::string(failure.getMessage().view()));
    }
    keepHead(result, recording->bytes());
}

}  // namespace

ProbeResult probeListener(const HostPort& listener, const std::string& path,
                          std::chrono::milliseconds patience) {
    ProbeResult result;
    const auto start = steady_clock::now();
    try {
        exchange(result, listener, path, patience);
    } catch (const ORVNetException& failure) {
        judge(result, Verdict::noConnection, std::string(failure.getMessage().view()));
    }
    result.time = std::chrono::duration_cast<std::chrono::milliseconds>(steady_clock::now() - start);
    return result;
}

}  // namespace velm
