#include "velmd/http/HTTPServer.h"

#include <gtest/gtest.h>

using velm::HTTPRequest;

TEST(HTTPRequest, FindsTheFirstHeader_WhateverTheCaseOfItsName) {
    HTTPRequest request;
    request.headers = {{"Host", "a"}, {"CIMObject", "first"}, {"cimobject", "second"}, {"X-\xC4", "x"}};
    ASSERT_NE(request.header("CIMOBJECT"), nullptr);
    EXPECT_EQ(*request.header("CIMOBJECT"), "first");
    EXPECT_EQ(request.header("CIMObject"), &request.headers[1].second);
    EXPECT_EQ(request.header("CIMObjec"), nullptr);
    EXPECT_EQ(request.header("CIMObjects"), nullptr);
    EXPECT_EQ(request.header("X-\xE4"), nullptr);
    EXPECT_EQ(request.header(""), nullptr);
}
