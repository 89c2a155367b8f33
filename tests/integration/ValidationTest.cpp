// What the daemon answers is validated wherever tests read it: by ResponseReader, which WBEMClient,
// ResponseSocket and ValidatingRelay read with, and by ExportedIndication. Where there is no DTD, the tests
// here are skipped and say so.

#include "tests/support/DTDCheck.h"
#include "tests/support/ResponseReader.h"
#include "tests/support/SharedFolder.h"

#include <string>

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

using namespace velm::test;

namespace {

std::string response(const std::string& method, const std::string& content) {
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><MESSAGE "
           "ID=\"1\" "
           "PROTOCOLVERSION=\"1.0\"><SIMPLERSP><IMETHODRESPONSE NAME=\"" +
           method + "\">" + content + "</IMETHODRESPONSE></SIMPLERSP></MESSAGE></CIM>";
}

const std::string returnValue = "<RETURNVALUE TYPE=\"uint32\">\n<VALUE>1</VALUE></RETURNVALUE>";

class Validation : public testing::Test {
protected:
    void SetUp() override { VELM_SKIP_WITHOUT(documentType()); }
};

}  // namespace

TEST_F(Validation, AcceptsWhatIsValid) {
    expectValidMessage(response("Subscribe", "<IRETURNVALUE><VALUE>TRUE</VALUE></IRETURNVALUE>"));
}

TEST_F(Validation, FailsTheTest_WhenAResponseIsNotValid) {
    EXPECT_NONFATAL_FAILURE(expectValidMessage(response("Subscribe", "<VALUE>TRUE</VALUE>")), "not valid");
    EXPECT_NONFATAL_FAILURE(expectValidMessage("<CIM>"), "not well-formed");
    EXPECT_NONFATAL_FAILURE(expectValidMessage(response("Subscribe", returnValue)), "not valid");
}

TEST_F(Validation, AllowsTheReturnValueOfAChannel_AndNothingElseBesideIt) {
    expectValidMessage(response("RegisterNotificationChannel", returnValue));
    EXPECT_NONFATAL_FAILURE(
        expectValidMessage(response("RegisterNotificationChannel", returnValue + returnValue)), "not valid");
}

TEST_F(Validation, HappensToEveryMessageThatIsRead) {
    const std::string body = response("Subscribe", "<VALUE>TRUE</VALUE>");
    ResponseReader reader;
    reader.append("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
    EXPECT_NONFATAL_FAILURE(EXPECT_TRUE(reader.next()), "not valid");
    EXPECT_EQ(reader.unread(), "");
}
