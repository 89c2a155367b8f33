#include "Indications/IndicationNotifierDelivery.h"

#include "Indications/FailureReason.h"
#include "Indications/QueueLookahead.h"
#include "foundation/cimxml/ORVCIMMessage.h"
#include "foundation/http/ORVGenericHTTPIStream.h"
#include "foundation/http/ORVGenericHTTPOStream.h"
#include "foundation/http/ORVHTTPClient.h"
#include "foundation/http/ORVHTTPCodes.h"
#include "foundation/http/ORVHTTPResponse.h"
#include "foundation/services/CIMUtil.h"
#include "foundation/utilities/CI_ExFatal.h"
#include "foundation/utilities/ORVXMLError.h"
#include "foundation/utilities/OrvoBaseException.h"

#include <memory>
#include <optional>
#include <string>

using velm::DeliveryFailure;
using velm::DeliveryStage;
using velm::logDeliveryLine;

namespace {

constexpr int remoteTimeout = 30000;   // milliseconds
constexpr long answerTimeout = 30000;  // milliseconds

/// One request and its answer; gives everything back in a fixed order, the connection last.
struct Exchange {
    std::optional<ORVHTTPClient> client;
    std::unique_ptr<std::ostream> request;
    std::unique_ptr<ORVGenericHTTPIStream> response;

    void open(const ORVString& url, bool isLocal) {
        if (isLocal) {
            client.emplace(url, ORVHTTPClient::defaultTimeout, false);
        } else {
            client.emplace(url, true, true, remoteTimeout, true);
        }
        std::ostream* out = nullptr;
        response.reset(client->connect(method(), path(), &out));
        request.reset(out);
    }

    // Never destroyed: a delivery may run while the process ends.
    static const ORVString& method() {
        static const auto& text = *new ORVString(ORVHTTPCodes::Post);
        return text;
    }
    static const ORVString& path() {
        static const auto& text = *new ORVString("/indication");
        return text;
    }

    ~Exchange() {
        response.reset();
        request.reset();
        if (client) {
            client->disconnect();
        }
    }
};

void logFire(const ORVString& message) {
    logDeliveryLine("CIndicationNotifier::_fire", message, OrvoTraceLog::SeverityDetail);
}

void logAnswer(const ORVString& message) {
    logDeliveryLine("CIndicationNotifier::execute", message, OrvoTraceLog::SeverityError);
}

ORVString nameOf(const ORVString& host, const ORVString& port) {
    return host + ":" + port;
}

std::string textOf(const char* what, const ORVString& detail) {
    return std::string(what).append(detail.view());
}

/// Runs the handling of a failure to its end. A failure of the handling changes nothing about the first one,
/// and nobody is left to tell.
template <class Handling>
void handleFailure(Handling handling) noexcept {
    try {
        handling();
    } catch (...) {
    }
}

/// Logs why a delivery failed; `unknown` is the text for what is no network failure. Scripts that watch the
/// log match the joined word. Requires: an exception is being handled.
void logFireFailure(const ORVString& destination, const char* unknown) {
    try {
        throw;
    } catch (const ORVNetException& exception) {
        logFire("Caught the following exception attemptingto stream an indication to " + destination + " - " +
                exception.getMessage());
    } catch (...) {
        logFire(unknown + destination);
    }
}

/// Logs why an answer could not be judged. Requires: an exception is being handled.
void logAnswerFailure(const ORVString& destination) {
    try {
        throw;
    } catch (const ORVNetException& exception) {
        logFire("Caught the following exception attemptingto read an indication response from " +
                destination + " - " + exception.getMessage());
    } catch (const ORVXMLError& error) {
        logAnswer("Caught an XML error while parsing an export method response: " + error.GetErrorMessage());
    } catch (...) {
        logAnswer("Caught an Unknown exception parsing an export method response.");
    }
}

/// What was wrong with an answer that could not be judged. Requires: an exception is being handled.
std::string textOfAnswerFailure() {
    try {
        throw;
    } catch (const ORVNetException& exception) {
        return textOf("gave no answer that can be read: ", exception.getMessage());
    } catch (const ORVXMLError& error) {
        return textOf("answered with what is no message: ", error.GetErrorMessage());
    } catch (...) {
        return "answered with what cannot be judged";
    }
}

/// Puts what `tell` answers into `fault`, or something that needs no memory. Answers false.
template <class Tell>
bool isFault(std::string& fault, Tell tell) noexcept {
    try {
        fault = tell();
    } catch (...) {
        fault = "improper answer";
    }
    return false;
}

/// Whether the listener answered with a return value of 0; logs the error when it answered with one.
/// Otherwise `fault` says what is wrong.
bool isGoodAnswer(const ORVCIMMessage& message, const ORVString& host, const ORVString& port,
                  std::string& fault) {
    const auto noReturnValue = [] { return "answered without a return value"; };
    const auto simpleExpRsp = message.getSimpleExpRsp();
    if (simpleExpRsp.IsNull()) {
        return isFault(fault, noReturnValue);
    }
    const auto methodResponse = simpleExpRsp->getMethodResponse();
    if (methodResponse.IsNull()) {
        return isFault(fault, noReturnValue);
    }
    const auto returnValue = methodResponse->getReturnValue();
    if (!returnValue.IsNull()) {
        const auto value = returnValue->getValue()->getSint32();
        return value == 0 ||
               isFault(fault, [value] { return "answered with return value " + std::to_string(value); });
    }
    const auto error = methodResponse->getError();
    if (error.IsNull()) {
        return isFault(fault, noReturnValue);
    }
    logAnswer("An error was returned in the indication response from " + nameOf(host, port) + " - " +
              error->getDescription());
    return isFault(fault, [&] { return textOf("answered with an error: ", error->getDescription()); });
}

struct Failure {
    DeliveryFailure reason;
    std::string text;
};

/// Requires: an exception is being handled.
Failure currentFailure(DeliveryStage stage) {
    try {
        throw;
    } catch (const ORVNetException& exception) {
        return {velm::failureReason(stage, exception.getCode()), textOf("", exception.getMessage())};
    } catch (const OrvoBaseException& exception) {
        return {DeliveryFailure::other, textOf("The indication cannot be sent: ", exception.getMessage())};
    } catch (...) {
        return {DeliveryFailure::other, "The indication cannot be sent"};
    }
}

/// Takes note of a failure. Requires: an exception is being handled.
void noteFailure(velm::DeliveryRecords& records, const CSubscriber& subscriber,
                 DeliveryStage stage) noexcept {
    try {
        const Failure failure = currentFailure(stage);
        records.noteFailure(*subscriber.record(), failure.reason, failure.text);
    } catch (...) {
        records.noteFailure(*subscriber.record(), DeliveryFailure::other, "The indication cannot be sent");
    }
}

}  // namespace

void CIndicationNotifier::CDelivery::_noteDelivery(const CSubscriber& subscriber,
                                                   const IOrvoIndication& indication,
                                                   std::string_view fault) noexcept {
    const auto now = velm::DeliveryRecords::Time::clock::now();
    auto reported = now;
    handleFailure([&] { reported = indication.getTime(); });
    _records->noteDelivery(*subscriber.record(), reported, now, fault);
}

void CIndicationNotifier::CDelivery::_fireindications(ORVSmrPtr<CSubscriber>& subscriber,
                                                      IndicationList& indications) {
    unsigned int waiting = indications->entries();
    velm::QueueLookahead lookahead(*indications);
    for (ORVValSlistIterator<ORVSmrPtr<IOrvoIndication>> iter(*indications); ++iter;) {
        lookahead.step();
        _inHand = waiting--;
        if (_fireOrNote(subscriber, iter.key(), waiting)) {
            continue;
        }
        if (waiting != 0) {
            _records->noteDroppedBehind(*subscriber->record(), waiting);
            const auto id = subscriber->getSubscriberID();
            logDeliveryLine("CIndicationNotifier::_fireindications",
                            "Dropped " + ORVString(std::to_string(waiting)) + " indication(s) queued for " +
                                nameOf(id->getHostName(), id->getPortNumber()) +
                                " because an earlier one failed",
                            OrvoTraceLog::SeverityDetail);
        }
        return;
    }
}

bool CIndicationNotifier::CDelivery::_fireOrNote(ORVSmrPtr<CSubscriber>& subscriber,
                                                 ORVSmrPtr<IOrvoIndication>& indication,
                                                 std::uint64_t behind) {
    try {
        return _fire(subscriber, indication);
    } catch (...) {
        _records->noteFailure(*subscriber->record(), DeliveryFailure::other, "The subscriber has no address");
        _records->noteDroppedBehind(*subscriber->record(), behind);
        throw;
    }
}

bool CIndicationNotifier::CDelivery::_fire(ORVSmrPtr<CSubscriber>& subscriber,
                                           ORVSmrPtr<IOrvoIndication>& indication) {
    auto connection = subscriber->getNetworkConnection();
    return connection.IsNull() ? _fireNonPersistent(subscriber, indication)
                               : _firePersistent(subscriber, indication, connection);
}

bool CIndicationNotifier::CDelivery::_fireNonPersistent(ORVSmrPtr<CSubscriber>& subscriber,
                                                        ORVSmrPtr<IOrvoIndication>& indication) {
    ORVString host = subscriber->getSubscriberID()->getHostName();
    ORVString port = subscriber->getSubscriberID()->getPortNumber();
    ORVString localHost = subscriber->getLocalHostName();
    ORVString localPort = subscriber->getLocalPortNumber();

    bool isDelivered = false;
    bool isLocal = true;
    DeliveryStage stage = DeliveryStage::connecting;
    // Outlives the handling of a failure: the connection is closed after the manager was told, not before.
    Exchange exchange;
    try {
        isLocal = _isLocalAddress(host, 0);
        exchange.open("http://" + nameOf(host, port), isLocal);
        stage = DeliveryStage::sending;
        _requireResponseStream(exchange.response.get());
        exchange.response->getTransport().setReceiveTimeout(answerTimeout);

        _fireXMLHeader(exchange.request.get(), indication, false);
        _fireXML(exchange.request.get(), indication, localHost, localPort, false);
        _fireXMLTrailer(exchange.request.get(), indication, false);
        const std::string fault = _handleFireResponse(exchange.response.get(), host, port);
        isDelivered = true;
        _noteDelivery(*subscriber, *indication, fault);
        _logIndication(host, port, indication);
    } catch (...) {
        noteFailure(*_records, *subscriber, stage);
        handleFailure([&] {
            logFireFailure(nameOf(host, port),
                           "Caught an Unknown exception attemptingto stream an indication to ");
            if (!isLocal) {
                _removeSubscriber(*subscriber, false, false);
            }
        });
    }
    return isDelivered;
}

bool CIndicationNotifier::CDelivery::_firePersistent(ORVSmrPtr<CSubscriber>& subscriber,
                                                     ORVSmrPtr<IOrvoIndication>& indication,
                                                     ORVSmrPtr<CSubscriberNetworkConnection>& connection) {
    ORVString host = subscriber->getSubscriberID()->getHostName();
    ORVString port = subscriber->getSubscriberID()->getPortNumber();
    ORVString localHost = subscriber->getLocalHostName();
    ORVString localPort = subscriber->getLocalPortNumber();

    bool isDelivered = false;
    ORVSmrPtr<ORVGenericHTTPOStream> stream;
    try {
        stream = connection->getOutputStream();
        std::ostream* out = &*stream;
        _firePersistentHTTPHeader(out);
        _fireXMLHeader(out, indication, true);
        _fireXML(out, indication, localHost, localPort, true);
        _fireXMLTrailer(out, indication, true);
        isDelivered = true;
        _noteDelivery(*subscriber, *indication, {});
        _logIndication(host, port, indication);
    } catch (...) {
        noteFailure(*_records, *subscriber, DeliveryStage::onChannel);
        handleFailure([&] {
            // Scripts that watch the log tell the two ways apart by the blank in this text.
            logFireFailure(nameOf(host, port),
                           "Caught an Unknown exception attempting to stream an indication to ");
            if (!stream.IsNull()) {
                // The manager may keep the subscriber: its next message must not begin inside this one.
                stream->discard();
            }
            _removeSubscriber(*subscriber, true, true);
        });
    }
    return isDelivered;
}

void CIndicationNotifier::CDelivery::_firePersistentHTTPHeader(std::ostream* out) {
    // The subscriber reads the export request as the response to the request with which it opened the
    // channel.
    *out << "HTTP/1.1 200 OK\r\n"
            "CIMOperation: MethodResponse\r\n"
            "Content-Type: application/xml; charset=\"utf-8\"\r\n";
    dynamic_cast<ORVGenericHTTPOStream&>(*out).completeHeader();
}

void CIndicationNotifier::CDelivery::_fireXMLHeader(std::ostream* out,
                                                    ORVSmrPtr<IOrvoIndication>& /*indication*/,
                                                    bool /*persistent*/) {
    CIMUtil::StreamMessageHeader(*out, 0);
}

void CIndicationNotifier::CDelivery::_fireXML(std::ostream* out, ORVSmrPtr<IOrvoIndication>& indication,
                                              ORVString& localHost, ORVString& localPort, bool persistent) {
    CIMUtil::StreamIndication(*out, *indication, localHost, localPort, true, persistent);
}

void CIndicationNotifier::CDelivery::_fireXMLTrailer(std::ostream* out,
                                                     ORVSmrPtr<IOrvoIndication>& /*indication*/,
                                                     bool /*persistent*/) {
    CIMUtil::StreamMessageTrailer(*out);
    dynamic_cast<ORVGenericHTTPOStream&>(*out).send();
}

std::string CIndicationNotifier::CDelivery::_handleFireResponse(std::istream* in, ORVString& host,
                                                                ORVString& port) {
    std::string fault;
    try {
        auto& stream = dynamic_cast<ORVGenericHTTPIStream&>(*in);
        ORVHTTPResponse().readResponseFrom(stream);
        const ORVCIMMessage message(stream, false, true);
        if (!isGoodAnswer(message, host, port, fault)) {
            logAnswer("An improper method response was received from : " + nameOf(host, port));
        }
    } catch (...) {
        handleFailure([&] { logAnswerFailure(nameOf(host, port)); });
        isFault(fault, textOfAnswerFailure);
    }
    return fault;
}

void CIndicationNotifier::CDelivery::_requireResponseStream(const std::istream* in) {
    if (in) {
        return;
    }
    const auto text = [](const char* value) { return CI_String(value, CI_String::NPOS); };
    // Support looks the case up by this place and code.
    CI_ExFatal(426, text("Indications/IndicationNotifier"), 0xC902, text("istr != NULL"), CI_String::none,
               CI_String::none, CI_String::none, CI_String::none, CI_String::none)
        .throwThis();
}
