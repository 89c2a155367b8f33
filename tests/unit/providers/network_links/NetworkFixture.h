#pragma once

#include "providers/network_links/NetworkLinksProvider.h"
#include "tests/support/LogCapture.h"
#include "tests/unit/providers/network_links/NetworkReports.h"

#include <memory>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace velm::test {

/// Runs a program and answers its exit status, 0 for success.
int spawn(std::vector<std::string> command);

/// Real links and addresses: a network namespace of its own, in which the thread of the test, and so the
/// provider, lives from then on; in it the pair v0 and v1 and the loopback interface. Where that is not
/// permitted the test is skipped.
class NetworkLinks : public testing::Test {
protected:
    static constexpr const char* nameSpace = "root/cimv2";
    static constexpr const char* messagesLostLine =
        "Messages were lost; reading all links and addresses anew";

    NetworkLinks();
    ~NetworkLinks() override;

    void SetUp() override;

    /// Runs ip with these words.
    static void ip(std::vector<std::string> words);
    /// Runs ip once for many lines of words.
    static void ipBatch(const std::string& lines);
    static bool isIPv6There();

    void load();
    void unload() { _provider.reset(); }
    network_links::NetworkLinksProvider& provider() { return *_provider; }
    RecordingObserver& observer() { return *_observer; }

    /// Waits until all that has happened so far is reported, and answers the lines of what was since the last
    /// time, without the addresses that the kernel gives to links itself.
    std::vector<std::string> linesAfterSync();

    bool waitFor(const std::string& line) const;
    /// Waits for a change after which `property` has this value.
    bool waitForChange(const std::string& property, const std::string& value) const;

    static ORVSmrPtr<IOrvoInstanceName> className(const char* name);

    /// Answers whether the provider accepted.
    bool start(const ORVSmrPtr<IOrvoInstanceName>& name,
               IOrvoIndication::IndicationType type = IOrvoIndication::IndicationChange);
    bool stop(const ORVSmrPtr<IOrvoInstanceName>& name,
              IOrvoIndication::IndicationType type = IOrvoIndication::IndicationChange);

    /// The keys of this name that an enumeration gives.
    std::set<std::string> enumerate(const char* classOfNames, const char* key);

    const network_links::LinkModel model{nameSpace};
    LogCapture _log;

private:
    RecordingObserver* _observer;
    ORVSmrPtr<IOrvoSubscriber> _handle;
    std::unique_ptr<network_links::NetworkLinksProvider> _provider;
    int _syncs = 0;
};

}  // namespace velm::test
