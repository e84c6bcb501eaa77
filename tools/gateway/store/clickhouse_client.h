// ClickHouse over its HTTP interface: one request at a time on a connection that is kept.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "gateway/tcp_stream.h"

namespace Gateway {

struct ClickHouseAddress {
  std::string host;
  std::string port = "8123";
  std::string user;  // empty: the server's default user
  std::string password;
  std::string database;  // letters, digits and underscores
};

// Reads "http://[USER[:PASSWORD]@]HOST[:PORT]/DATABASE"; user and password may be percent-encoded.
// Without a user, the environment's TAV_CLICKHOUSE_USER and TAV_CLICKHOUSE_PASSWORD count. Nothing
// if the URL is wrong, with the reason in `error`.
std::optional<ClickHouseAddress> ParseClickHouseUrl(std::string_view url, std::string& error);

struct ClickHouseReply {
  int status = 0;    // of HTTP; 0 if there is no complete answer: nobody knows what the server did
  std::string text;  // the answer; of a failure, the reason

  bool IsOk() const { return status == 200; }
  // The "N" of the server's "Code: N, …", or 0.
  int ErrorCode() const;
};

// Not thread-safe. An instance has one connection at most, opened when it is needed.
class ClickHouseClient {
 public:
  explicit ClickHouseClient(ClickHouseAddress address);

  // Posts `body` with a query string ("query=…&max_execution_time=10"), which must be encoded.
  // Blocks until the answer is complete or `timeout` is over. Never sends a request twice. Answers
  // over 64 MB are failures.
  ClickHouseReply Post(std::string_view parameters,
                       std::string_view body,
                       std::chrono::milliseconds timeout);

  // Runs a statement that is trusted to change the database.
  ClickHouseReply Execute(std::string_view sql, std::chrono::milliseconds timeout);

  const ClickHouseAddress& Address() const { return address_; }

 private:
  const ClickHouseAddress address_;
  std::string headers_;  // the same for every request
  TcpStream stream_;
};

// For a query string.
std::string PercentEncode(std::string_view text);

// A string literal of ClickHouse's SQL, quotes included.
std::string QuoteSql(std::string_view text);

}  // namespace Gateway
