// A good record, and a running gateway to send it to.
#pragma once

#include <gtest/gtest.h>
#include <zlib.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "gateway/http/client.h"
#include "gateway/json_text.h"
#include "gateway/server.h"

namespace Gateway {

using Lines = std::vector<std::string>;

// A record with every key of the format. `label` makes it different from others.
inline std::string GoodRecord(const std::string& label = "first") {
  return R"({"pn":"Quendel Writer","pv":"4.2","pp":"wntx64","sv":"2.8.2.1187559","tv":3,)"
         R"("ep":"02X0f","c":"customer","u":"user","px":"context","pc":"editor",)"
         R"("pt":{"tags":["beta","lab"]},)"
         R"("pe":{"std-AppLanguage":"de_DE","seats":5,"std-Incremental":"false",)"
         R"("t":"2024-02-29T23:59:59.999+01:00"},)"
         R"("ce":{"t":"2024-02-29T23:59:59.999Z","OS.Name":"Windows"},)"
         R"("rt":[)"
         R"({"t":"2024-02-29T23:59:59.000-03:30","s":"01234567-89ab-cdef-0123-456789abcdef",)"
         R"("g":"$b"},)"
         R"({"t":"2024-02-29T23:59:59.001Z","s":"01234567-89ab-cdef-0123-456789abcdef",)"
         R"("m":"Viewer_open","v":{"file":"Größe \"1\" {[,","label":")" +
         label +
         R"(","pages":0.10000000000000001},"se":{"licence":"trial","rank":2}},)"
         R"({"t":"2024-02-29T23:59:59.002Z","s":"89abcdef-0123-4567-89ab-cdef01234567",)"
         R"("m":"Viewer_std-Error","v":{"std-ErrCode":"E1","std-Trace":[{"std-Loc":"a.cpp:1",)"
         R"("std-Meta":"x"},{}],"std-Place":["start"],"std-Cmd":["Paste","Copy"]}}],)"
         R"("can":"Viewer","cav":"1.0"})";
}

inline std::string Gzip(const std::string& text) {
  z_stream stream{};
  deflateInit2(&stream, 9, Z_DEFLATED, 15 + 16, 9, Z_DEFAULT_STRATEGY);
  std::string out(deflateBound(&stream, static_cast<uLong>(text.size())), '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
  stream.avail_in = static_cast<uInt>(text.size());
  stream.next_out = reinterpret_cast<Bytef*>(out.data());
  stream.avail_out = static_cast<uInt>(out.size());
  EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
  out.resize(stream.total_out);
  deflateEnd(&stream);
  return out;
}

constexpr const char* kRecordType = "application/json; charset=utf-8";

// The headers of a good request, as the gateway stores them.
inline Headers PlainHeaders() {
  return {{"content-type", kRecordType}, {"x-sdkversion", "2.8.2.1187559"}};
}
inline Headers GzipHeaders() {
  Headers headers = PlainHeaders();
  headers.insert({{"content-encoding", "gzip"}, {"x-compressed", "true"}});
  return headers;
}

// The headers that a client sends.
inline HttpClient::Fields RecordHeaders() {
  return {{"Content-Type", kRecordType},
          {"X-SDKVersion", "2.8.2.1187559"},
          {"Content-Encoding", "gzip"},
          {"X-Compressed", "true"}};
}

// Whether the condition holds within ten seconds.
inline bool Eventually(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) {
      return false;
    }
    std::this_thread::yield();
  }
  return true;
}

// A gateway on a free port, with a client. The destructor blocks, until the test's time-out, if
// Stop does not end every request.
class RunningGateway {
 public:
  explicit RunningGateway(ServerOptions options = {}) : server_(std::move(options)) {
    std::string error;
    EXPECT_TRUE(server_.Listen(error)) << error;
    thread_ = std::thread([this] { server_.Run(); });
    client_ = NewClient();
  }
  RunningGateway(const RunningGateway&) = delete;
  RunningGateway& operator=(const RunningGateway&) = delete;
  ~RunningGateway() {
    server_.Stop();
    thread_.join();
  }

  Server& Get() { return server_; }
  HttpClient& Client() { return *client_; }

  // A client with another connection, which it keeps open.
  std::unique_ptr<HttpClient> NewClient() const {
    return std::make_unique<HttpClient>(server_.Url());
  }

  // The status of the answer to a record; 0 if there was none.
  static int Post(HttpClient& client, const std::string& text) {
    return client.Post("/tavgateway/", Gzip(text), RecordHeaders()).status;
  }
  int Post(const std::string& text) { return Post(*client_, text); }

  // The API's answer, over a connection of its own; the test fails unless it is 200 and JSON.
  JsonPtr GetJson(const std::string& path) const { return Read(path, PageClient().Get(path)); }
  JsonPtr PostJson(const std::string& path, const std::string& body) const {
    return Read(path, PageClient().Post(path, body));
  }

  json_int_t Count(const char* name) const {
    return json_integer_value(json_object_get(GetJson("/api/summary").get(), name));
  }

 private:
  HttpClient PageClient() const { return HttpClient(server_.PageUrl()); }

  static JsonPtr Read(const std::string& path, const ClientAnswer& answer) {
    std::string error;
    JsonPtr value = ParseJson(answer.body, error);
    EXPECT_TRUE(value) << path << ": " << error;
    EXPECT_EQ(answer.status, 200) << path << ": " << answer.body;
    return value;
  }

  Server server_;
  std::thread thread_;
  std::unique_ptr<HttpClient> client_;
};

}  // namespace Gateway
