#include "platform/http.h"

#include <gtest/gtest.h>

#include "platform/error.h"

namespace Tav::Platform {
namespace {

TEST(HttpCrackUrlTest, SplitsAUrl) {
  const struct {
    const char* url;
    HttpUrl parts;
  } cases[] = {
      {"http://host/", {HttpScheme::Http, 80, "host", "/", ""}},
      {"HTTPS://Host.name/a/b/", {HttpScheme::Https, 443, "Host.name", "/a/b/", ""}},
      {"https://host:8443/a?b=c/d#e", {HttpScheme::Https, 8443, "host", "/a", "?b=c/d#e"}},
      {"http://10.0.0.1:1", {HttpScheme::Http, 1, "10.0.0.1", "", ""}},
      {"http://[::1]:8080/a?u=b://[c", {HttpScheme::Http, 8080, "[::1]", "/a", "?u=b://[c"}},
      {"https://[2001:db8::1]/", {HttpScheme::Https, 443, "[2001:db8::1]", "/", ""}},
      {"http://host/://[::1]:1/", {HttpScheme::Http, 80, "host", "/://[::1]:1/", ""}},
  };
  for (const auto& [url, expected] : cases) {
    HttpUrl parts;
    EXPECT_TRUE(HttpCrackUrl(url, &parts)) << url;
    EXPECT_EQ(parts.scheme, expected.scheme) << url;
    EXPECT_EQ(parts.port, expected.port) << url;
    EXPECT_EQ(parts.host, expected.host) << url;
    EXPECT_EQ(parts.path, expected.path) << url;
    EXPECT_EQ(parts.extra, expected.extra) << url;
  }
  HttpUrl parts;
  EXPECT_FALSE(HttpCrackUrl("ftp://host/", &parts));
  EXPECT_EQ(LastError(), 12006u);
  for (const char* url : {"http://[::1", "http://[::1/", "http://[::1]x:80/", "http://[::1]x/"}) {
    EXPECT_FALSE(HttpCrackUrl(url, &parts)) << url;
    EXPECT_EQ(LastError(), 12005u) << url;
  }
}

TEST(HttpHandleTest, StepOnAnEmptyHandleFailsWithTheReason) {
  SetLastError(0);
  EXPECT_FALSE(HttpSession().Connect("127.0.0.1", 80));
  EXPECT_EQ(LastError(), 6u);
  SetLastError(0);
  EXPECT_FALSE(HttpConnection().OpenRequest("GET", "/", "text/*", false));
  EXPECT_EQ(LastError(), 6u);
  SetLastError(0);
  EXPECT_FALSE(HttpRequest().ReceiveResponse());
  EXPECT_EQ(LastError(), 6u);
}

TEST(HttpHandleTest, ClosingKeepsTheLastError) {
  HttpSession session = HttpSession::Open("Test/1");
  HttpConnection connection = session.Connect("127.0.0.1", 80);
  HttpRequest request = connection.OpenRequest("GET", "", "text/*", false);
  ASSERT_TRUE(request);
  SetLastError(77);
  request.Close();
  EXPECT_FALSE(request);
  connection = HttpConnection();
  session.Close();
  session.Close();
  EXPECT_EQ(LastError(), 77u);
}

}  // namespace
}  // namespace Tav::Platform
