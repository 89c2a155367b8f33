#include "velmctl/commands/SubscriptionOptions.h"

#include "foundation/object_model/COrvoInstanceName.h"
#include "foundation/utilities/OrvoBaseException.h"
#include "velmctl/client/CIMClient.h"
#include "velmctl/commands/CommandLineMistake.h"
#include "velmd/model/CIMName.h"

#include <algorithm>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace velm {

namespace {

constexpr const char* change = "Change";
constexpr const char* creation = "Creation";
constexpr const char* destruction = "Destruction";

void requireInstance(const std::string& path) {
    constexpr const char* form =
        R"(a path is NS:CLASS.KEY="VALUE", as velmctl instances CLASS --names shows it)";
    try {
        if (COrvoInstanceName::parse(ORVString(path))->getKeyProperties().length() == 0) {
            throw CommandLineMistake(
                fmt::format("--instance: {} names no instance; {}", quotedPath(path), form));
        }
    } catch (const OrvoBaseException& error) {
        throw CommandLineMistake(fmt::format("--instance: {}; {}", error.getMessage().view(), form));
    }
}

bool isOfAssociation(const std::string& event) {
    return event != change && event != creation && event != destruction;
}

}  // namespace

void SubscriptionOptions::declare(CLI::App& command) {
    command.add_option("CLASS", classes, "Classes, with their subclasses; default: every class")
        ->type_name("");
    command
        .add_option(
            "-e,--event", events,
            "change, creation, destruction (these three by default), addition, removal, enterRelationship, "
            "leaveRelationship, enterAssociation, leaveAssociation; repeatable")
        ->transform(oneOf({Subscription::events.begin(), Subscription::events.end()}))
        ->type_name("EVENT")
        ->allow_extra_args(false);
    command.add_option("--instance", instance, "One instance, for changes: NS:CLASS.KEY=\"VALUE\",...")
        ->type_name("PATH");
    command.add_option("--property", properties, "Only changes of this property; repeatable")
        ->type_name("NAME")
        ->allow_extra_args(false);
    command.add_option("--end-one", endOne, "What an association ties: a class, or an instance")
        ->type_name("OBJECT");
    command.add_option("--end-two", endTwo, "The other end")->type_name("OBJECT");
}

std::vector<std::string> SubscriptionOptions::_wantedEvents() const {
    if (!events.empty()) {
        return events;
    }
    if (!instance.empty() || !properties.empty()) {
        return {change};
    }
    if (!endOne.empty() || !endTwo.empty()) {
        return {"Addition", "Removal"};
    }
    return {change, creation, destruction};
}

bool SubscriptionOptions::_wants(const std::string& event) const {
    const auto wanted = _wantedEvents();
    return std::find(wanted.begin(), wanted.end(), event) != wanted.end();
}

void SubscriptionOptions::_check() const {
    if (!instance.empty() && !classes.empty()) {
        throw CommandLineMistake("--instance names one instance, so that no class can stand beside it");
    }
    if (!instance.empty()) {
        requireInstance(instance);
    }
    const auto wanted = _wantedEvents();
    const bool ofAssociation = std::any_of(wanted.begin(), wanted.end(), isOfAssociation);
    if (ofAssociation && (endOne.empty() || endTwo.empty())) {
        throw CommandLineMistake("events of associations need --end-one and --end-two");
    }
    if (!ofAssociation && (!endOne.empty() || !endTwo.empty())) {
        throw CommandLineMistake(
            "--end-one and --end-two are for events of associations: addition, removal ...");
    }
    if (!properties.empty() && !_wants(change)) {
        throw CommandLineMistake("--property is for the event change");
    }
}

std::vector<std::string> SubscriptionOptions::_wireEvents() const {
    std::vector<std::string> sent;
    for (const std::string& event : _wantedEvents()) {
        const bool isCovered = event == destruction && _wants(creation);
        if (!isCovered && std::find(sent.begin(), sent.end(), event) == sent.end()) {
            sent.push_back(event);
        }
    }
    return sent;
}

std::vector<Subscription> SubscriptionOptions::subscriptions(const FindRoots& findRoots) const {
    _check();
    std::vector<Subscription> result;
    for (const std::string& event : _wireEvents()) {
        std::vector<std::string> objects = instance.empty() ? classes : std::vector{instance};
        if (objects.empty()) {
            objects = event == change ? findRoots() : std::vector<std::string>{""};
        }
        for (const std::string& object : objects) {
            Subscription subscription{event, object, {}, {}, {}};
            if (event == change) {
                subscription.properties = properties;
            } else if (isOfAssociation(event)) {
                subscription.endOne = endOne;
                subscription.endTwo = endTwo;
            }
            result.push_back(std::move(subscription));
        }
    }
    return result;
}

std::vector<Subscription> SubscriptionOptions::subscriptionsAt(const HostPort& server) const {
    return subscriptions([&server] { return CIMClient(server).rootClasses(); });
}

bool SubscriptionOptions::shows(const std::string& event) const {
    const bool isTwin = event == creation || event == destruction;
    return !isTwin || _wants(event) || (!_wants(creation) && !_wants(destruction));
}

}  // namespace velm
