#include "server/http/HTTPTarget.h"

#include "tests/unit/server/http/LoopbackPair.h"

#include <string>
#include <string_view>

#include <gtest/gtest.h>

using velm::HTTPTarget;

namespace {

struct Spelling {
    const char* url;
    const char* host;
    const char* port;
    const char* authority;
};

}  // namespace

TEST(HTTPTarget, NamesHostPortAndAuthority) {
    for (const Spelling& spelling : {
             Spelling{"http://listener.example:5990", "listener.example", "5990", "listener.example:5990"},
             Spelling{"http://under_score:1", "under_score", "1", "under_score:1"},
             Spelling{"HTTP://127.0.0.1:65535/", "127.0.0.1", "65535", "127.0.0.1:65535"},
             Spelling{"http://[::1]:5990", "::1", "5990", "[::1]:5990"},
             Spelling{"http://::1:5990", "::1", "5990", "[::1]:5990"},
             Spelling{"http://::ffff:127.0.0.1:5990", "::ffff:127.0.0.1", "5990", "[::ffff:127.0.0.1]:5990"},
             Spelling{"http://2001:db8:0:1:2:3:4:5:80", "2001:db8:0:1:2:3:4:5", "80",
                      "[2001:db8:0:1:2:3:4:5]:80"},
             Spelling{"http://fe80::1%eth0:80", "fe80::1%eth0", "80", "[fe80::1]:80"},
             Spelling{"http://[fe80::1%2]:80", "fe80::1%2", "80", "[fe80::1]:80"},
         }) {
        const HTTPTarget target = HTTPTarget::parse(spelling.url);
        EXPECT_EQ(target.host, spelling.host) << spelling.url;
        EXPECT_EQ(target.port, spelling.port) << spelling.url;
        EXPECT_EQ(target.authority, spelling.authority) << spelling.url;
    }
}

TEST(HTTPTarget, IsRefused_WhenTheURLHasAnotherForm) {
    for (const std::string_view url : {
             "",
             "http://",
             "http://:5990",
             "http://host",
             "http://host:",
             "http://host:0",
             "http://host:65536",
             "http://host:99999999999999999999",
             "http://host:port",
             "https://host:5990",
             "host:5990",
             "http://user@host:5990",
             "http://host:5990/path",
             "http://host:5990?x",
             "http://host:5990#x",
             "http://a b:5990",
             "http://a\r\nX: y:5990",
             "http://a%0d%0ab:5990",
             "http://<b>:5990",
             "http://::1",
             "http://[::1]",
             "http://[::1:5990",
             "http://1:2:3:5990",
             "http://fe80::1%:a b:80",
         }) {
        EXPECT_EQ(velm::test::netFailureOf([&] { HTTPTarget::parse(url); }),
                  '"' + std::string(url) + "\" is not of the form http://host:port");
    }
    velm::test::netFailureOf([] { HTTPTarget::parse(std::string_view("http://a\0b:80", 13)); });
}
