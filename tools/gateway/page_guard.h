// Decides who may use the page and its API: against other web pages in the same browser, and, with
// a token, against other people.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "gateway/http/message.h"

namespace Gateway {

constexpr std::string_view kLoginPath = "/login";

// Thread-safe.
class PageGuard {
 public:
  // With a token every request must have it, as "Authorization: Bearer TOKEN" or in the cookie that
  // Login sets. `isLoopback` says that the page's port can be reached from this machine only;
  // requests must then name this machine in Host. `address` is where uploads are received.
  PageGuard(std::string token, bool isLoopback, std::string address);

  // For requests to the page and its API: the answer that refuses one, or nothing.
  std::optional<HttpResponse> Check(const HttpRequest& request) const;

  // For uploads and configuration requests: refuses what a web page sends, also one whose site's
  // name resolves to this machine. The clients are no browsers.
  std::optional<HttpResponse> CheckClient(const HttpRequest& request) const;

  // The answer to POST /login with the form field "token", and to GET /login with the form.
  HttpResponse Login(const HttpRequest& request) const;

 private:
  bool HasToken(const HttpRequest& request) const;
  bool IsToken(std::string_view text) const;
  bool NamesNoOtherSite(std::string_view authority) const;

  const std::string token_;
  const bool isLoopback_;
  const std::string address_;
};

// Adds the headers that all answers of the page have: no content from other hosts, no in-line code,
// no frames, no guessed types, no referrer.
void AddPageHeaders(HttpResponse& response, const char* cacheControl = "no-store");

// Whether a text can be a token: 16 characters at least, all of which a cookie can have.
bool IsUsableToken(std::string_view text);

}  // namespace Gateway
