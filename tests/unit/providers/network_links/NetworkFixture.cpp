#include "tests/unit/providers/network_links/NetworkFixture.h"

#include "foundation/object_model/COrvoInstanceName.h"
#include "providers/support/Instances.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sched.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace velm::test {

using network_links::NetworkLinksProvider;

int spawn(std::vector<std::string> command) {
    std::vector<char*> arguments;
    for (std::string& word : command) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    pid_t id = 0;
    int status = 0;
    if (posix_spawnp(&id, arguments[0], nullptr, nullptr, arguments.data(), environ) != 0 ||
        waitpid(id, &status, 0) != id) {
        return -1;
    }
    return status;
}

NetworkLinks::NetworkLinks() : _observer(new RecordingObserver), _handle(_observer) {
}

NetworkLinks::~NetworkLinks() {
    _observer->release();
}

void NetworkLinks::SetUp() {
    if (unshare(CLONE_NEWNET) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) {
        GTEST_SKIP() << "no network namespace: " << std::strerror(errno);
    }
    if (spawn({"ip", "link", "add", "v0", "type", "veth", "peer", "name", "v1"}) != 0) {
        GTEST_SKIP() << "ip (iproute2) cannot make a veth pair here";
    }
}

void NetworkLinks::ip(std::vector<std::string> words) {
    words.insert(words.begin(), "ip");
    ASSERT_EQ(spawn(words), 0) << words[1] << ' ' << words[2];
}

void NetworkLinks::ipBatch(const std::string& lines) {
    std::string path = testing::TempDir() + "velm-network-links-XXXXXX";
    const int descriptor = mkstemp(path.data());
    ASSERT_GE(descriptor, 0);
    close(descriptor);
    std::ofstream(path) << lines;
    EXPECT_EQ(spawn({"ip", "-batch", path}), 0);
    unlink(path.c_str());
}

bool NetworkLinks::isIPv6There() {
    return access("/proc/sys/net/ipv6", F_OK) == 0;
}

void NetworkLinks::load() {
    _provider = std::make_unique<NetworkLinksProvider>(ProviderContext{_handle, nameSpace, ORVString()});
}

std::vector<std::string> NetworkLinks::linesAfterSync() {
    const std::string marker = "lo 203.0.113." + std::to_string(++_syncs) + "/32";
    ip({"address", "add", marker.substr(3), "dev", "lo"});
    EXPECT_TRUE(waitFor("Creation CIM_IPProtocolEndpoint " + marker));
    std::vector<std::string> lines;
    for (const std::string& line : linesOf(_observer->reports())) {
        if (line.find(" lo 203.0.113.") == std::string::npos && line.find(" fe80:") == std::string::npos) {
            lines.push_back(line);
        }
    }
    _observer->clear();
    return lines;
}

bool NetworkLinks::waitFor(const std::string& line) const {
    return _observer->waitFor([&](const Report& report) { return lineOf(report) == line; });
}

bool NetworkLinks::waitForChange(const std::string& property, const std::string& value) const {
    return _observer->waitFor([&](const Report& report) {
        return report.type == IOrvoIndication::IndicationChange &&
               report.property(property.c_str()) == value &&
               std::ranges::count(report.changedProperties, property) == 1;
    });
}

ORVSmrPtr<IOrvoInstanceName> NetworkLinks::className(const char* name) {
    return ORVSmrPtr<IOrvoInstanceName>(
        new COrvoInstanceName(nameSpace, name, COrvoInstanceName::KeyBindings()));
}

bool NetworkLinks::start(const ORVSmrPtr<IOrvoInstanceName>& name, IOrvoIndication::IndicationType type) {
    return provider().registerObserver(name, _handle, type, nullptr, nullptr)->getBoolean();
}

bool NetworkLinks::stop(const ORVSmrPtr<IOrvoInstanceName>& name, IOrvoIndication::IndicationType type) {
    return provider().deregisterObserver(name, _handle, type, nullptr, nullptr)->getBoolean();
}

std::set<std::string> NetworkLinks::enumerate(const char* classOfNames, const char* key) {
    const auto names = provider().enumerateInstanceNames(nameSpace, classOfNames, nullptr);
    std::set<std::string> keys;
    for (const auto& name : *names) {
        keys.insert(providers::keyOf(name, key).data());
    }
    return keys;
}

}  // namespace velm::test
