#include "status/HttpRequest.h"

#include <gtest/gtest.h>

namespace kestrel {
namespace {

TEST(HttpRequest, takesMethodPathAndHost)
{
    const auto request = HttpRequest::parse(
        "GET  /status.json?x=1&y=/ HTTP/1.1\r\nAccept: */*\r\nhOsT:  Pc.local:8765 \r\n\r\n");
    ASSERT_TRUE(request);
    EXPECT_EQ(request->method, "GET");
    EXPECT_EQ(request->path, "/status.json");
    EXPECT_EQ(request->host, "Pc.local:8765");
    EXPECT_FALSE(request->hasSeveralHosts);

    EXPECT_EQ(HttpRequest::parse("GET\r\n\r\n")->path, "/");
    EXPECT_EQ(HttpRequest::parse("GET\r\n\r\n")->host, std::nullopt);
    EXPECT_EQ(HttpRequest::parse("nonsense\r\n\r\n")->method, "nonsense");
    EXPECT_TRUE(HttpRequest::parse("GET / HTTP/1.1\r\nHost: a\r\nHost: b\r\n\r\n")->hasSeveralHosts);

    EXPECT_FALSE(HttpRequest::parse("\r\n\r\n"));
    EXPECT_FALSE(HttpRequest::parse("   \r\n\r\n"));
    EXPECT_FALSE(HttpRequest::parse("GET /\xff HTTP/1.1\r\n\r\n"));
}

TEST(HttpRequest, readsTheNameOfAHost)
{
    struct Case {
        std::string host, name;
        bool isInDigits;
    };
    for (const auto &[host, name, isInDigits] :
         std::vector<Case>{{"192.168.178.20:8765", "192.168.178.20", true},
                           {"[FE80::1%25en0]:8765", "fe80::1%25en0", true},
                           {"[::1]", "::1", true},
                           {"[::1", "::1", true},
                           {"PC.Fritz.Box.:80", "pc.fritz.box", false},
                           {"1.2.3.4.evil.example", "1.2.3.4.evil.example", false},
                           {"", "", false}}) {
        EXPECT_EQ(hostWithoutPort(host), name);
        EXPECT_EQ(isAddressInDigits(hostWithoutPort(host)), isInDigits) << host;
    }
}

} // namespace
} // namespace kestrel
