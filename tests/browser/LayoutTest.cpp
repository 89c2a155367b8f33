// How the page stands in windows of several widths. A script measures it, for which the policy is taken away.

#include "tests/browser/FaceServer.h"
#include "tests/support/Browser.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velm::test {

namespace {

/// A window cannot be as narrow as a telephone; a frame can.
constexpr const char* measure = R"(<script>
    if (top === self) {
        const frame = document.createElement('iframe');
        frame.style = 'border: 0; width: WIDTHpx';
        frame.onload = function () {
            const page = frame.contentDocument.documentElement;
            document.title = page.scrollWidth <= page.clientWidth ? 'fits ' + frame.contentWindow.innerWidth
                : 'too wide: ' + page.scrollWidth + ' in ' + page.clientWidth;
        };
        frame.src = '/';
        document.body.append(frame);
    }
</script></body>)";

void addMeasure(HTTPResponse& response, int width) {
    std::erase_if(response.headers,
                  [](const auto& header) { return header.first == "Content-Security-Policy"; });
    const auto end = response.body.find("</body>");
    if (end != std::string::npos) {
        std::string script = measure;
        script.replace(script.find("WIDTH"), 5, std::to_string(width));
        response.body.replace(end, std::string_view("</body>").size(), script);
    }
}

/// The title that the measure gives.
std::string measured(const status::ServerStatus& status, int width) {
    Browser browser;
    const FaceServer server(status, "", [width](HTTPResponse& response) { addMeasure(response, width); });
    const std::string document = browser.documentOf(server.address("/"), {2000, 900, false});
    const auto begin = document.find("<title>") + std::string_view("<title>").size();
    return document.substr(begin, document.find("</title>") - begin);
}

class Layout : public testing::TestWithParam<int> {
protected:
    void SetUp() override { VELM_SKIP_WITHOUT_BROWSER(); }
};

}  // namespace

TEST_P(Layout, NeverMakesThePageScrollSideways) {
    const std::string fits = "fits " + std::to_string(GetParam());
    EXPECT_EQ(measured(livelyStatus(), GetParam()), fits);
    EXPECT_EQ(measured(quietStatus(), GetParam()), fits);
    EXPECT_EQ(measured(statusFullOf(std::string(500, 'W')), GetParam()), fits) << "words without an end";
}

INSTANTIATE_TEST_SUITE_P(Widths, Layout, testing::Values(320, 400, 700, 1000, 1060, 1280, 1920),
                         [](const auto& row) { return "At" + std::to_string(row.param); });

TEST(Frame, ShowsAnExcerptOfTheTables_WhetherThePageRefreshesOrNot) {
    VELM_SKIP_WITHOUT_BROWSER();
    for (const char* page : {"/", "/?refresh=off"}) {
        Browser browser;
        const FaceServer server(quietStatus());
        browser.documentOf(server.address(page), {1280, 4000, false});
        EXPECT_EQ(server.requestsFor("/tables?excerpt"), 1U) << page;
        EXPECT_EQ(server.requestsFor("/tables"), 0U) << page;
        EXPECT_EQ(server.requestsFor("/style.css"), 1U) << page;
    }
}

}  // namespace velm::test
