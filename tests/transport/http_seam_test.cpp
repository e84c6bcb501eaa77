#include <gtest/gtest.h>

#include "platform/error.h"
#include "platform/http.h"

namespace Tav::Platform {
namespace {

TEST(HttpSeam, CracksUrls) {
  struct Case {
    const char* url;
    HttpUrl parts;
  };
  const Case cases[] = {
      {"http://host/", {1, 80, "host", "/", ""}},
      {"HTTPS://Host.name/a/b/", {2, 443, "Host.name", "/a/b/", ""}},
      {"https://host:8443/a?b=c/d#e", {2, 8443, "host", "/a", "?b=c/d#e"}},
      {"http://10.0.0.1:1", {1, 1, "10.0.0.1", "", ""}},
  };
  for (const Case& expected : cases) {
    HttpUrl parts;
    EXPECT_TRUE(HttpCrackUrl(expected.url, &parts)) << expected.url;
    EXPECT_EQ(parts.scheme, expected.parts.scheme) << expected.url;
    EXPECT_EQ(parts.port, expected.parts.port) << expected.url;
    EXPECT_EQ(parts.host, expected.parts.host) << expected.url;
    EXPECT_EQ(parts.path, expected.parts.path) << expected.url;
    EXPECT_EQ(parts.extra, expected.parts.extra) << expected.url;
  }
  HttpUrl parts;
  EXPECT_FALSE(HttpCrackUrl("ftp://host/", &parts));
  EXPECT_EQ(LastError(), 12006u);
}

TEST(HttpSeam, StepsOnEmptyHandlesFailWithTheReason) {
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

TEST(HttpSeam, ClosingKeepsTheLastError) {
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
