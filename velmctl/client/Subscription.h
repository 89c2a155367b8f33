#pragma once

#include "velmctl/client/WBEMClient.h"

#include <array>
#include <string>
#include <vector>

namespace velm {

/// One thing to subscribe to.
struct Subscription {
    /// What the server calls the kinds of events.
    static constexpr std::array<const char*, 9> events = {
        "Change",          "Creation",          "Destruction",       "Addition",
        "Removal",         "EnterRelationship", "LeaveRelationship", "EnterAssociation",
        "LeaveAssociation"};

    /// One of the events.
    std::string event;
    /// A class, or with '.' and keys an instance in the form of a WBEM URI. Empty: every class.
    std::string object;
    /// For Change: only changes of these properties; empty for any.
    std::vector<std::string> properties;
    /// For the last six events: what the association ties, each a class or an instance.
    std::string endOne;
    std::string endTwo;

    /// What Subscribe and Unsubscribe take beside the subscriber. Throws ClientError (badAddress) for an
    /// instance whose name cannot be read.
    WBEMClient::Parameters parameters() const;

    bool operator==(const Subscription&) const = default;
};

}  // namespace velm
