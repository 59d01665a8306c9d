#include "status/HttpRequest.h"

#include <gmock/gmock.h>

namespace kestrel {

using testing::Eq;
using testing::FieldsAre;
using testing::Optional;

TEST(HttpRequest, takesMethodPathAndHost)
{
    const auto &parse = HttpRequest::parse;
    EXPECT_THAT(parse("GET  /status.json?x=1&y=/ HTTP/1.1\r\nAccept: */*\r\nhOsT:  Pc.local:8765 \r\n\r\n"),
                Optional(FieldsAre("GET", "/status.json", Optional(std::string("Pc.local:8765")), false)));
    EXPECT_THAT(parse("GET\r\n\r\n"), Optional(FieldsAre("GET", "/", Eq(std::nullopt), false)));
    EXPECT_THAT(parse("nonsense\r\n\r\n"), Optional(FieldsAre("nonsense", "/", Eq(std::nullopt), false)));
    EXPECT_TRUE(parse("GET / HTTP/1.1\r\nHost: a\r\nHost: b\r\n\r\n")->hasSeveralHosts);
    for (const char *head : {"\r\n\r\n", "   \r\n\r\n", "GET /\xff HTTP/1.1\r\n\r\n"})
        EXPECT_FALSE(parse(head)) << head;
}

TEST(HttpRequest, readsTheNameOfAHost)
{
    using Case = std::tuple<std::string, std::string, bool>;
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

} // namespace kestrel
