#include "system/gateway_client.h"

#include <gtest/gtest.h>

#include "platform/http.h"
#include "platform/process.h"

namespace Tav::Testing {

namespace {

constexpr Platform::HttpTimeouts kTimeouts{.resolve = 10000,
                                           .connect = 10000,
                                           .send = 30000,
                                           .receive = 30000,
                                           .response = 30000};
constexpr uint32_t kTrustAnyCertificate = 0x3300;

// The answer's body; empty, and a test failure, unless its status is 200.
std::string Exchange(const char* verb, const std::string& path, const std::string& body) {
  Platform::HttpUrl url;
  if (!Platform::HttpCrackUrl(GatewayUrl(), &url)) {
    ADD_FAILURE() << "TAV_TEST_GATEWAY is no URL: " << GatewayUrl();
    return {};
  }
  Platform::HttpSession session = Platform::HttpSession::Open("test");
  session.SetTimeouts(kTimeouts);
  Platform::HttpConnection connection = session.Connect(url.host, url.port);
  const bool secure = url.scheme == Platform::kHttpsScheme;
  Platform::HttpRequest request = connection.OpenRequest(verb, url.path + path, "*/*", secure);
  if (secure) {
    request.SetSecurityFlags(kTrustAnyCertificate);
  }
  uint32_t status = 0;
  if (!request.Send("Connection: close", body.data(), body.size(), nullptr) ||
      !request.ReceiveResponse() || !request.QueryStatus(&status) || status != 200) {
    ADD_FAILURE() << "the gateway did not answer " << verb << " " << path << ": status " << status;
    return {};
  }
  std::string answer;
  char piece[65536];
  size_t count = 0;
  while (request.Read(piece, sizeof(piece), &count) && count != 0) {
    answer.append(piece, count);
  }
  return answer;
}

}  // namespace

std::string GatewayUrl() {
  return Platform::Environment("TAV_TEST_GATEWAY").value_or("");
}

JsonPtr AskGateway(const std::string& path) {
  const std::string text = Exchange("GET", path, {});
  JsonPtr value(json_loadb(text.data(), text.size(), 0, nullptr));
  EXPECT_TRUE(value) << path << " answered no JSON: " << text.substr(0, 200);
  return value;
}

void TellGateway(const std::string& path, const std::string& body) {
  Exchange("POST", path, body);
}

void ResetGateway() {
  TellGateway("api/reset", "{}");
}

int64_t GatewayCount(const char* name) {
  const JsonPtr summary = AskGateway("api/summary");
  return json_integer_value(json_object_get(summary.Get(), name));
}

}  // namespace Tav::Testing
