#include "velmctl/commands/HeaderFindings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace velm;
using Grade = HeaderFinding::Grade;

namespace {

const std::vector<std::string> standard{"CIMExport: MethodResponse",
                                        "Content-Type: application/xml; charset=utf-8", "Content-Length: 12"};

std::size_t wrongIn(const std::vector<HeaderFinding>& findings) {
    std::size_t count = 0;
    for (const HeaderFinding& finding : findings) {
        count += finding.grade == Grade::wrong ? 1 : 0;
    }
    return count;
}

}  // namespace

TEST(HeaderFindings, AreGoodForAStandardAnswer) {
    const auto findings = judgeHeaders(standard, true);
    ASSERT_EQ(findings.size(), 3U);
    for (const HeaderFinding& finding : findings) {
        EXPECT_EQ(finding.grade, Grade::good) << finding.line;
    }
}

TEST(HeaderFindings, FollowARuleForEachHeader) {
    const struct {
        const char* line;
        Grade grade;
    } cases[] = {
        {"content-type:text/xml", Grade::good},
        {"Content-Type: application/xml; charset=\"UTF-8\"", Grade::good},
        {"Content-Type: text/html", Grade::wrong},
        {"Content-Type: text/xml; charset=latin-1", Grade::wrong},
        {"Content-Length: x", Grade::wrong},
        {"Content-Length:", Grade::wrong},
        {"CIMExport: MethodRequest", Grade::wrong},
        {"CIMOperation: MethodResponse", Grade::wrong},
        {"CIMError: request-not-valid", Grade::wrong},
        {"CIMProtocolVersion: 1.4", Grade::good},
        {"CIMProtocolVersion: 2.0", Grade::wrong},
        {"Content-Encoding: gzip", Grade::wrong},
        {"Transfer-Encoding: chunked", Grade::neutral},
        {"Server: x", Grade::neutral},
        {"no colon", Grade::wrong},
        {"", Grade::wrong},
    };
    for (const auto& [line, grade] : cases) {
        EXPECT_EQ(judgeHeaders({line}, false).front().grade, grade) << line;
    }
}

TEST(HeaderFindings, NameWhatIsMissing) {
    EXPECT_EQ(wrongIn(judgeHeaders({}, true)), 3U);
    EXPECT_EQ(wrongIn(judgeHeaders({}, false)), 1U);
    EXPECT_EQ(wrongIn(judgeHeaders({"Transfer-Encoding: chunked"}, false)), 0U);
    EXPECT_EQ(judgeHeaders({}, true).front().line, "CIMExport");
}
