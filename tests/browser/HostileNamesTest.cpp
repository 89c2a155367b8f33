// Names that try to act when the page shows them: each of them once as the page shows it, and once with a
// guard taken away, which shows that the test would notice.

#include "tests/browser/FaceServer.h"
#include "tests/support/Browser.h"
#include "tests/support/ScriptedListener.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velm::test {

namespace {

using testing::HasSubstr;
using testing::Not;

/// What a browser still does under the policy of a document: it connects before it asks the policy, and only
/// the tables' policy keeps it from leaving. There the escapes have to hold alone.
enum class Policy { holds, holdsForTables, doesNotHold };

struct Attack {
    const char* name;
    /// "PORT" stands for that of a listener that must not be called. Short enough to be shown whole.
    const char* text;
    Policy policy = Policy::holds;
};

constexpr Attack attacks[]{
    {"Script", "<script>document.title='owned'</script>"},
    {"ScriptFromElsewhere", "<script src=//127.0.0.1:PORT/></script>"},
    {"HandlerOfAnError", "<img src=x: onerror=document.title='owned'>"},
    {"HandlerOfLoading", "<svg onload=document.title='owned'>"},
    {"Image", "<img src=//127.0.0.1:PORT/>"},
    {"Frame", "<iframe src=//127.0.0.1:PORT/></iframe>", Policy::doesNotHold},
    {"Refresh", "<meta http-equiv=refresh content=0;url=//127.0.0.1:PORT>", Policy::holdsForTables},
    {"StyleSheet", "<link rel=stylesheet href=//127.0.0.1:PORT/>"},
    {"Style", "<style>*{background:url(//127.0.0.1:PORT/)}</style>"},
    {"Prefetch", "<link rel=prefetch href=//127.0.0.1:PORT/>"},
    {"Connection", "<link rel=preconnect href=//127.0.0.1:PORT/>", Policy::doesNotHold},
};

void replaceAll(std::string& text, std::string_view what, std::string_view with) {
    for (auto found = text.find(what); found != text.npos; found = text.find(what, found + with.size())) {
        text.replace(found, what.size(), with);
    }
}

std::string withPort(std::string text, const ScriptedListener& listener) {
    replaceAll(text, "PORT", listener.port());
    return text;
}

void unescape(HTTPResponse& response) {
    constexpr std::pair<const char*, const char*> references[]{
        {"&lt;", "<"}, {"&gt;", ">"}, {"&quot;", "\""}, {"&apos;", "'"}, {"&amp;", "&"}};
    for (const auto& [reference, character] : references) {
        replaceAll(response.body, reference, character);
    }
}

void withoutPolicy(HTTPResponse& response) {
    std::erase_if(response.headers,
                  [](const auto& header) { return header.first == "Content-Security-Policy"; });
}

void unguard(HTTPResponse& response) {
    unescape(response);
    withoutPolicy(response);
}

class HostileName : public testing::TestWithParam<Attack> {
protected:
    void SetUp() override { VELM_SKIP_WITHOUT_BROWSER(); }

    std::string text() const { return withPort(GetParam().text, listener); }

    /// Whether what is shown at this address has done something.
    bool acts(const FaceServer& server, const std::string& target) {
        const std::string document = browser.documentOf(server.address(target));
        EXPECT_THAT(document, HasSubstr("<html"));
        return document.find("<title>owned</title>") != document.npos || listener.connectionCount() > 0;
    }

    Browser browser;
    ScriptedListener listener;
};

}  // namespace

TEST_P(HostileName, IsText) {
    const FaceServer server(statusFullOf(text()), text());
    EXPECT_FALSE(acts(server, "/?refresh=off"));
    EXPECT_GT(server.requestsFor("/tables?excerpt"), 0U) << "the frame was shown, too";
    EXPECT_FALSE(acts(server, "/"));
    EXPECT_FALSE(acts(server, "/tables"));
}

TEST_P(HostileName, RunsNothing_ByThePolicyAlone) {
    const FaceServer server(statusFullOf(text()), text(), &unescape);
    if (GetParam().policy != Policy::doesNotHold) {
        EXPECT_FALSE(acts(server, "/tables"));
    }
    if (GetParam().policy == Policy::holds) {
        EXPECT_FALSE(acts(server, "/?refresh=off"));
    }
}

TEST_P(HostileName, WouldActOnThePage_WithoutTheGuards) {
    const FaceServer server(statusFullOf(text()), "", &unguard);
    EXPECT_TRUE(acts(server, "/?refresh=off"));
}

TEST_P(HostileName, WouldActInTheTables_WithoutTheGuards) {
    const FaceServer server(quietStatus(), text(), &unguard);
    EXPECT_TRUE(acts(server, "/tables"));
}

INSTANTIATE_TEST_SUITE_P(Attacks, HostileName, testing::ValuesIn(attacks),
                         [](const auto& row) { return row.param.name; });

}  // namespace velm::test
