#include "system/gateway_client.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <utility>

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

struct Answer {
  uint32_t status = 0;  // 0 if there is none
  std::string body;
};

Answer Request(const char* verb, const std::string& path, const std::string& body) {
  Platform::HttpUrl url;
  if (!Platform::HttpCrackUrl(GatewayUrl(), &url)) {
    ADD_FAILURE() << "TAV_TEST_GATEWAY is not a URL: " << GatewayUrl();
    return {};
  }
  Platform::HttpSession session = Platform::HttpSession::Open("test");
  session.SetTimeouts(kTimeouts);
  Platform::HttpConnection connection = session.Connect(url.host, url.port);
  const bool secure = url.scheme == Platform::HttpScheme::Https;
  Platform::HttpRequest request = connection.OpenRequest(verb, url.path + path, "*/*", secure);
  if (secure) {
    request.SetSecurityFlags(kTrustAnyCertificate);
  }
  Answer answer;
  if (!request.Send("Connection: close", body.data(), body.size(), nullptr) ||
      !request.ReceiveResponse() || !request.QueryStatus(&answer.status)) {
    return {};
  }
  char piece[65536];
  size_t count = 0;
  while (request.Read(piece, sizeof(piece), &count) && count != 0) {
    answer.body.append(piece, count);
  }
  return answer;
}

// The answer's body; the test fails unless its status is 200.
std::string RequestBody(const char* verb, const std::string& path, const std::string& body) {
  Answer answer = Request(verb, path, body);
  EXPECT_EQ(answer.status, 200u) << "the gateway's answer to " << verb << " " << path;
  return std::move(answer.body);
}

}  // namespace

std::string GatewayUrl() {
  return Platform::Environment("TAV_TEST_GATEWAY").value_or("");
}

JsonPtr GatewayGet(const std::string& path) {
  const std::string text = RequestBody("GET", path, {});
  JsonPtr value(json_loadb(text.data(), text.size(), 0, nullptr));
  EXPECT_TRUE(value) << path << " is not answered with JSON: " << text.substr(0, 200);
  return value;
}

void GatewayPost(const std::string& path, const std::string& body) {
  RequestBody("POST", path, body);
}

void ResetGateway() {
  GatewayPost("api/reset", "{}");
}

void EndFaults() {
  while (json_array_size(GatewayGet("api/faults").Get()) != 0) {
    Request("GET", "next", {});
  }
}

int64_t GatewayCount(const char* name) {
  const JsonPtr summary = GatewayGet("api/summary");
  return json_integer_value(json_object_get(summary.Get(), name));
}

bool Eventually(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  bool holds = condition();
  while (!holds && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    holds = condition();
  }
  return holds;
}

void Arrivals::Collect() {
  constexpr int64_t kPage = 20000;
  int64_t count = 0;
  do {
    const JsonPtr page = GatewayGet("api/events?from=" + std::to_string(listed_) +
                                    "&limit=" + std::to_string(kPage));
    count = static_cast<int64_t>(json_array_size(page.Get()));
    listed_ += count;
    size_t index = 0;
    json_t* arrival = nullptr;
    json_array_foreach(page.Get(), index, arrival) {
      if (json_t* const name = json_object_get(json_object_get(arrival, "event"), "m")) {
        ++times_[std::string(JsonStringView(name))];
      }
    }
  } while (count == kPage);
}

int Arrivals::Times(const std::string& name) const {
  const auto found = times_.find(name);
  return found == times_.end() ? 0 : found->second;
}

void Arrivals::ExpectOnce(const Lines& names) const {
  for (const std::string& name : names) {
    EXPECT_EQ(Times(name), 1) << "arrivals of " << name;
  }
}

void ExpectNoBadRecords() {
  EXPECT_EQ(GatewayCount("bad_records"), 0);
  EXPECT_EQ(GatewayCount("doubled_records"), 0);
}

void ExpectArrived(const Lines& names) {
  Arrivals arrivals;
  arrivals.Collect();
  arrivals.ExpectOnce(names);
  EXPECT_EQ(arrivals.All().size(), names.size());
  EXPECT_EQ(GatewayCount("bad_records"), 0);
}

}  // namespace Tav::Testing
