#include "server/http/ResponseHead.h"

#include <string_view>

#include <gtest/gtest.h>

namespace {

constexpr auto npos = std::string_view::npos;

}  // namespace

TEST(ResponseHead, KnowsAStatusLineByItsFirstBytes) {
    for (const std::string_view bytes : {"", "H", "HTTP", "HTTP/", "HTTP/1.1 200 OK"}) {
        EXPECT_TRUE(velm::mayStartStatusLine(bytes)) << bytes;
    }
    for (const std::string_view bytes : {"<", "h", "HTTX", "HTTP:", " HTTP/"}) {
        EXPECT_FALSE(velm::mayStartStatusLine(bytes)) << bytes;
    }
}

TEST(ResponseHead, EndsAtAnEmptyLineThatEndsAsTheStatusLineDoes) {
    EXPECT_EQ(velm::findEndOfHead("", 0), npos);
    EXPECT_EQ(velm::findEndOfHead("S\r\n", 0), npos);
    EXPECT_EQ(velm::findEndOfHead("S\r\n\r\nbody\r\n\r\n", 0), 5U);
    EXPECT_EQ(velm::findEndOfHead("S\r\nA: b\n\nc\r\n\r\n", 0), 14U);
    EXPECT_EQ(velm::findEndOfHead("S\nA: b\n\nbody\r\n\r\n", 0), 8U);
}

TEST(ResponseHead, EndsWhereAnEarlierSearchStoppedInsideItsEnd) {
    const std::string_view head = "S\r\nA: b\r\n\r\n";
    for (std::size_t searched = 0; searched < head.size(); ++searched) {
        EXPECT_EQ(velm::findEndOfHead(head.substr(0, searched), 0), npos);
        EXPECT_EQ(velm::findEndOfHead(head, searched), head.size()) << searched;
    }
}

TEST(ResponseHead, LosesTheLinesThatAreNoHeaders_WhenItIsRepaired) {
    EXPECT_EQ(
        velm::repairHead("HTTP/1.0 400 Bad\r\nno colon\r\n: x\r\na b: c\r\n c: d\r\nA: b\r\nE:\x7F\r\n\r\n"),
        "HTTP/1.0 400 Bad\r\nA: b\r\n\r\n");
    EXPECT_EQ(velm::repairHead("HTTP/1.0 400 Bad\nA: b\n\n"), "HTTP/1.0 400 Bad\r\nA: b\r\n\r\n");
}

TEST(ResponseHead, GetsAPlaceForAReason_WhenItIsRepaired) {
    EXPECT_EQ(velm::repairHead("HTTP/1.1 200\r\n\r\n"), "HTTP/1.1 200 \r\n\r\n");
    EXPECT_EQ(velm::repairHead("HTTP/1.1 200 \r\n\r\n"), "HTTP/1.1 200 \r\n\r\n");
}
