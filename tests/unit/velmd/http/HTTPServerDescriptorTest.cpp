#include "tests/support/LogCapture.h"
#include "tests/unit/velmd/http/ServerSupport.h"
#include "velmd/http/Descriptor.h"
#include "velmd/http/HTTPServer.h"

#include <sys/resource.h>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>

// A process that has no descriptor left for its clients.

using namespace velm;
using namespace velm::test;

namespace {

const std::string refusal =
    refusalBytes("503 Service Unavailable", "The server has no file descriptor left.");
const std::string shortage = "A connection cannot be accepted: Too many open files";

/// Leaves the process one free descriptor, for a client, as long as it lives.
class ScarceDescriptors {
public:
    ScarceDescriptors() {
        ::getrlimit(RLIMIT_NOFILE, &_before);
        const int lowest = ::dup(0);
        ::close(lowest);
        rlimit scarce = _before;
        scarce.rlim_cur = static_cast<rlim_t>(lowest) + 1;
        ::setrlimit(RLIMIT_NOFILE, &scarce);
    }
    ScarceDescriptors(const ScarceDescriptors&) = delete;
    ScarceDescriptors& operator=(const ScarceDescriptors&) = delete;
    ~ScarceDescriptors() { ::setrlimit(RLIMIT_NOFILE, &_before); }

private:
    rlimit _before{};
};

class HTTPServerDescriptors : public testing::Test {
protected:
    void SetUp() override {
#if defined(__SANITIZE_ADDRESS__)
        GTEST_SKIP() << "the sanitizer opens pipes to look at memory, and takes a failure for a finding";
#endif
    }
};

}  // namespace

TEST_F(HTTPServerDescriptors, TellEachClientThatThereIsNone_AndServeAgainWhenThereIs) {
    const LogCapture log;
    HTTPServer server(patientOptions(), echo);
    {
        const ScarceDescriptors scarce;
        for (int count = 0; count < 50; ++count) {
            TestClient client(server.port());
            client.send(getRequest);
            ASSERT_EQ(client.receiveAll(), refusal) << "client " << count;
            EXPECT_EQ(client.ending(), TestClient::Ending::closed);
            client.close();
            ASSERT_TRUE(eventually([&] { return server.connectionCount() == 0; }));
        }
        EXPECT_GE(log.count(shortage), 1U);
    }
    TestClient client(server.port());
    client.send(getRequest);
    EXPECT_EQ(client.receive(), responseBytes("200 OK", "GET / "));
}

TEST_F(HTTPServerDescriptors, AreTakenFromWhoClosesToWhoComes_WhenThereIsOne) {
    HTTPServer server(patientOptions(), echo);
    TestClient served(server.port());
    served.send(getRequest);
    EXPECT_EQ(served.receive(), responseBytes("200 OK", "GET / "));
    const ScarceDescriptors scarce;
    {
        TestClient refused(server.port());
        EXPECT_EQ(refused.receiveAll(), refusal);
    }
    served.close();
    ASSERT_TRUE(eventually([&] { return server.connectionCount() == 0; }));
    TestClient next(server.port());
    next.send(getRequest);
    EXPECT_EQ(next.receive(), responseBytes("200 OK", "GET / "));
}
