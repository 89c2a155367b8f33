// What the daemon answers to GET, whatever its workers do.

#include "tests/support/VelmdProcess.h"
#include "tests/support/WBEMClient.h"
#include "tests/unit/velmd/http/TestClient.h"

#include <fstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace velm::test;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

class VelmdFaces : public testing::Test {
protected:
    static std::string ask(const VelmdProcess& velmd, const std::string& target,
                           const std::string& host = "localhost", const std::string& method = "GET") {
        TestClient client(velmd.port());
        client.send(method + " " + target + " HTTP/1.1\r\nHost: " + host + "\r\n\r\n");
        return client.receive(method != "HEAD");
    }

    const TemporaryDirectory directory;
};

}  // namespace

TEST_F(VelmdFaces, AnswerOnEveryPath) {
    const VelmdProcess velmd(directory.path());
    const std::pair<const char*, const char*> rows[]{
        {"/", "<h1>Healthy</h1>"},      {"/style.css", "prefers-color-scheme"},
        {"/tables", "<TABLE BORDER>"},  {"/healthz", "\r\n\r\nok\n"},
        {"/readyz", "\r\n\r\nready\n"}, {"/status.json", "\"isReady\":true"},
        {"/metrics", "# TYPE velm_"},   {"/log", "X-Log-Size: "},
    };
    for (const auto& [path, part] : rows) {
        const std::string response = ask(velmd, path);
        EXPECT_THAT(response, StartsWith("HTTP/1.1 200 OK\r\n")) << path;
        EXPECT_THAT(response, HasSubstr(part)) << path;
        EXPECT_THAT(response, HasSubstr("\r\nContent-Security-Policy: default-src 'none'; ")) << path;
        EXPECT_THAT(ask(velmd, path, "127.0.0.1", "HEAD"), StartsWith("HTTP/1.1 200 OK\r\n")) << path;
        EXPECT_THAT(ask(velmd, path, "rebound.example.net"), StartsWith("HTTP/1.1 421 ")) << path;
    }
    EXPECT_THAT(ask(velmd, "/none"), StartsWith("HTTP/1.1 404 "));
    EXPECT_THAT(ask(velmd, "/", "localhost", "PUT"), HasSubstr("\r\nAllow: GET, HEAD, POST, OPTIONS\r\n"));
}

TEST_F(VelmdFaces, AreAskedUnderTheNameThatIsConfigured) {
    const VelmdProcess velmd(directory.path(), {"--set", "Server.HostName=cim.example.org"});
    EXPECT_THAT(ask(velmd, "/readyz", "cim.example.org:5988"), StartsWith("HTTP/1.1 200 "));
    EXPECT_THAT(ask(velmd, "/readyz", "other.example.org:5988"), StartsWith("HTTP/1.1 421 "));
}

TEST_F(VelmdFaces, LeaveOperationsAlone) {
    const VelmdProcess velmd(directory.path());
    WBEMClient client(velmd.port());
    EXPECT_EQ(client.call("EnumerateClassNames").status(), 0);
    EXPECT_THAT(ask(velmd, "/cimom"), StartsWith("HTTP/1.1 405 "));
    EXPECT_THAT(ask(velmd, "/cimom"), HasSubstr("\r\nAllow: POST, OPTIONS\r\n"));
    EXPECT_THAT(ask(velmd, "/cimom", "a\r\nOrigin: http://rebound.example.net", "OPTIONS"),
                StartsWith("HTTP/1.1 403 "));
    EXPECT_THAT(ask(velmd, "/", "a", "OPTIONS"), HasSubstr("\r\nAllow: POST, OPTIONS\r\n"));
}

TEST_F(VelmdFaces, Answer_WhileTheOnlyWorkerIsBusy) {
    VelmdProcess velmd(directory.path(),
                       {"--set", "Server.Workers=1", "--set",
                        "Providers.Directory=" + providerFolder(directory, "gate", VELM_TEST_GATE_PROVIDER),
                        "--set", "Providers.gate=" + directory.path().string()});
    directory.write("hold", "");
    ResponseSocket busy(velmd.port());
    const WBEMClient client(velmd.port());
    busy.send(client.request("EnumerateInstanceNames", {{"ClassName", className("CIM_DataFile")}}));
    ASSERT_TRUE(holdsInTime([&] { return std::filesystem::exists(directory.path() / "waiting"); }));
    EXPECT_THAT(ask(velmd, "/healthz"), StartsWith("HTTP/1.1 200 "));
    EXPECT_THAT(ask(velmd, "/"), HasSubstr("<small>1 request under way</small>"));
    EXPECT_THAT(ask(velmd, "/tables"), HasSubstr("</TABLE>"));
    std::filesystem::remove(directory.path() / "hold");
    EXPECT_EQ(busy.next().httpStatus, 200U);
    EXPECT_EQ(velmd.terminate(), 0);
}
