#pragma once

#include "foundation/subscribers/CSubscriberID.h"
#include "tests/support/LogCapture.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>

/// What the delivery thread writes to the server log.
namespace velm::test {

/// A place that lines come from, and how serious they are there.
struct Place {
    const char* component;
    OrvoTraceLog::Severity severity;
};
inline constexpr Place atFire{"CIndicationNotifier::_fire", OrvoTraceLog::SeverityDetail};
inline constexpr Place atExecute{"CIndicationNotifier::execute", OrvoTraceLog::SeverityError};

/// An expected log line. "PEER" stands for host:port, and "..." at the end for a text that is not ours.
struct Line {
    Place place;
    std::string message;
};

inline const Line improper{atExecute, "An improper method response was received from : PEER"};
inline const Line unreadable{
    atFire, "Caught the following exception attemptingto read an indication response from PEER - ..."};
inline const Line notXML{atExecute, "Caught an XML error while parsing an export method response: ..."};
inline const Line notJudged{atExecute, "Caught an Unknown exception parsing an export method response."};

inline const Line networkFailure{
    atFire, "Caught the following exception attemptingto stream an indication to PEER - ..."};
inline const Line unknownFailure{atFire,
                                 "Caught an Unknown exception attemptingto stream an indication to PEER"};
inline const Line unknownChannelFailure{
    atFire, "Caught an Unknown exception attempting to stream an indication to PEER"};

/// A line whose message goes on after `prefix`.
MATCHER_P3(IsLineBeginning, component, prefix, severity, "") {
    const std::string message = arg.message.data();
    return message.starts_with(prefix) && message.size() > std::string(prefix).size() &&
           testing::Matches(IsLogLine(component, message, severity))(arg);
}

inline testing::Matcher<const ORVLogRecord&> matches(Line line, const std::string& peer) {
    if (const auto at = line.message.find("PEER"); at != std::string::npos) {
        line.message.replace(at, 4, peer);
    }
    if (line.message.ends_with("...")) {
        line.message.resize(line.message.size() - 3);
        return IsLineBeginning(line.place.component, line.message, line.place.severity);
    }
    return IsLogLine(line.place.component, line.message, line.place.severity);
}

/// Matches log records that are these lines, in this order.
inline auto areLines(const std::vector<Line>& lines, const std::string& peer) {
    std::vector<testing::Matcher<const ORVLogRecord&>> matchers;
    for (const Line& line : lines) {
        matchers.push_back(matches(line, peer));
    }
    return testing::ElementsAreArray(matchers);
}

inline std::string peerAt(const std::string& port) {
    return "127.0.0.1:" + port;
}

inline std::string subscriberIDAt(const std::string& port) {
    return CSubscriberID("127.0.0.1", ORVString(port), 7).toString().data();
}

}  // namespace velm::test
