#include "tests/unit/velmd/requests/RequestSupport.h"

// What LogIndications, PlaceMarker and ClearIndicationsLog take. What they do to the log is seen where
// velmctl log is run against a daemon.

namespace velm::test {

namespace {

using testing::HasSubstr;

struct RefusedCase {
    const char* name;
    const char* method;
    IParameters parameters;
    const char* told;
};

void PrintTo(const RefusedCase& row, std::ostream* out) {
    *out << row.name;
}

const RefusedCase refusedCases[]{
    {"NothingToSwitch", "LogIndications", {}, "On"},
    {"NullToSwitch", "LogIndications", {{"On", ""}}, "On"},
    {"NoBoolean", "LogIndications", {{"On", value("yes")}}, "On"},
    {"OneTooMany", "LogIndications", {{"On", value("TRUE")}, {"Off", value("TRUE")}}, "Off"},
    {"MarkerWithText", "PlaceMarker", {{"Text", value("here")}}, "Text"},
    {"ClearWithFile", "ClearIndicationsLog", {{"File", value("other")}}, "File"},
};

}  // namespace

class RefusedLogRequest : public RequestTest, public testing::WithParamInterface<RefusedCase> {};

TEST_P(RefusedLogRequest, NamesTheParameter) {
    const Answer answer = call(GetParam().method, GetParam().parameters);
    EXPECT_EQ(answer.code(), 4) << testing::PrintToString(answer);
    EXPECT_THAT(answer.description(), HasSubstr(GetParam().told));
}

INSTANTIATE_TEST_SUITE_P(Cases, RefusedLogRequest, testing::ValuesIn(refusedCases),
                         [](const auto& row) { return std::string(row.param.name); });

using LogRequests = RequestTest;

TEST_F(LogRequests, AnswerNothing_WhenTheyAreGood) {
    for (const auto& [method, parameters] :
         std::vector<std::pair<std::string, IParameters>>{{"LogIndications", {{"on", value("true")}}},
                                                          {"LogIndications", {{"On", value("FALSE")}}},
                                                          {"PlaceMarker", {}},
                                                          {"ClearIndicationsLog", {}}}) {
        const Answer answer = call(method, parameters);
        EXPECT_EQ(answer.http.status, 200U);
        EXPECT_EQ(answer.code(), 0) << testing::PrintToString(answer);
        EXPECT_EQ(answer.returned(), "nothing");
    }
}

TEST_F(LogRequests, NeedANamespaceThatIsThere) {
    EXPECT_EQ(call("PlaceMarker", {}, "root/none").code(), 3);
}

}  // namespace velm::test
