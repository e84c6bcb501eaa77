#include "gateway/page_guard.h"

#include <algorithm>
#include <cctype>
#include <utility>

#include "gateway/digest.h"

namespace Gateway {
namespace {

constexpr std::size_t kMinTokenLength = 16;
constexpr std::size_t kMaxLoginBytes = std::size_t{4} * 1024;
constexpr std::string_view kCookie = "gateway_token=";
constexpr std::string_view kBearer = "Bearer ";

constexpr const char* kLoginPage =
    "<!DOCTYPE html><html lang=\"en\"><head><meta charset=\"utf-8\"><title>Gateway</title></head>"
    "<body><form method=\"post\" action=\"/login\"><label>Token <input type=\"password\" "
    "name=\"token\" autocomplete=\"current-password\" autofocus required></label> "
    "<button>Sign in</button></form></body></html>\n";

HttpResponse Refusal(int status, const std::string& reason) {
  HttpResponse response;
  response.status = status;
  response.contentType = "application/json; charset=utf-8";
  response.body = "{\"error\":\"" + reason + "\"}";
  AddPageHeaders(response);
  return response;
}

HttpResponse LoginForm(int status) {
  HttpResponse response;
  response.status = status;
  response.contentType = "text/html; charset=utf-8";
  response.body = kLoginPage;
  AddPageHeaders(response);
  return response;
}

bool EqualCaseless(std::string_view a, std::string_view b) {
  return std::ranges::equal(
      a, b, [](unsigned char x, unsigned char y) { return std::tolower(x) == std::tolower(y); });
}

// The host in "host:port" or "[::1]:port".
std::string_view WithoutPort(std::string_view authority) {
  if (authority.starts_with('[')) {
    const std::size_t end = authority.find(']');
    return end == std::string_view::npos ? authority : authority.substr(0, end + 1);
  }
  return authority.substr(0, authority.find(':'));
}

bool IsIpv4(std::string_view host) {
  return std::ranges::all_of(host,
                             [](unsigned char c) { return std::isdigit(c) != 0 || c == '.'; });
}

bool NamesThisMachine(std::string_view authority) {
  const std::string_view host = WithoutPort(authority);
  return EqualCaseless(host, "localhost") || host == "[::1]" ||
         (host.starts_with("127.") && IsIpv4(host));
}

// Whether a browser sent the request for a page of another origin. Old browsers send neither header
// with a GET; other programs send neither at all.
bool IsForeign(const HttpRequest& request) {
  const std::string_view site = HeaderValue(request.headers, "sec-fetch-site");
  if (site == "cross-site" || site == "same-site") {
    return true;
  }
  const std::string_view origin = HeaderValue(request.headers, "origin");
  if (origin.empty()) {
    return false;
  }
  // The scheme may differ behind a proxy that ends TLS.
  const std::size_t scheme = origin.find("://");
  return scheme == std::string_view::npos ||
         !EqualCaseless(origin.substr(scheme + 3), HeaderValue(request.headers, "host"));
}

// A link from elsewhere may open the page, but nothing else.
bool IsNavigation(const HttpRequest& request) {
  return request.method == "GET" && !request.path.starts_with("/api/") &&
         HeaderValue(request.headers, "sec-fetch-mode") == "navigate";
}

std::string_view CookieOf(const HttpRequest& request) {
  std::string_view cookies = HeaderValue(request.headers, "cookie");
  while (!cookies.empty()) {
    std::string_view cookie = cookies.substr(0, cookies.find(';'));
    cookies.remove_prefix(std::min(cookies.size(), cookie.size() + 1));
    cookie.remove_prefix(std::min(cookie.size(), cookie.find_first_not_of(' ')));
    if (cookie.starts_with(kCookie)) {
      return cookie.substr(kCookie.size());
    }
  }
  return {};
}

}  // namespace

PageGuard::PageGuard(std::string token, bool isLoopback, std::string address)
    : token_(std::move(token)), isLoopback_(isLoopback), address_(std::move(address)) {}

std::optional<HttpResponse> PageGuard::Check(const HttpRequest& request) const {
  const std::string_view host = HeaderValue(request.headers, "host");
  // A name of another site that resolves to this machine (DNS rebinding).
  if (isLoopback_ && !host.empty() && !NamesThisMachine(host)) {
    return Refusal(403, "the Host header does not name this machine");
  }
  if (IsForeign(request) && !IsNavigation(request)) {
    return Refusal(403, "the request comes from another web page");
  }
  if (!token_.empty() && request.path != kLoginPath && !HasToken(request)) {
    HttpResponse refusal = request.path.starts_with("/api/")
                               ? Refusal(401, "the token is missing or wrong")
                               : LoginForm(401);
    refusal.headers.emplace_back("WWW-Authenticate", "Bearer");
    return refusal;
  }
  return std::nullopt;
}

std::optional<HttpResponse> PageGuard::CheckClient(const HttpRequest& request) const {
  const bool isUpload = request.method == "POST";
  if (isUpload && IsForeign(request)) {
    return Refusal(403, "the request comes from another web page");
  }
  // A browser sends Origin with each POST; what uploads without it may use any name.
  const bool isChecked = !isUpload || request.headers.contains("origin");
  return request.role == PortRole::Everything && isChecked &&
                 !NamesNoOtherSite(HeaderValue(request.headers, "host"))
             ? std::optional(Refusal(403, "the Host header does not name this machine"))
             : std::nullopt;
}

// Only a name can resolve to another machine first and to this one later.
bool PageGuard::NamesNoOtherSite(std::string_view authority) const {
  const std::string_view host = WithoutPort(authority);
  return host.starts_with('[') || IsIpv4(host) || EqualCaseless(host, "localhost") ||
         EqualCaseless(host, address_);
}

HttpResponse PageGuard::Login(const HttpRequest& request) const {
  HttpResponse response;
  if (request.body.size() > kMaxLoginBytes) {
    return Refusal(413, "the form is too long");
  }
  if (request.method == "POST") {
    const auto fields = ParseParameters(request.body);
    const auto field = fields.find("token");
    if (field == fields.end() || !IsToken(field->second)) {
      return Refusal(401, "the token is missing or wrong");
    }
    response.status = 303;
    response.headers.emplace_back("Location", "/");
    response.headers.emplace_back("Set-Cookie", std::string(kCookie) + token_ +
                                                    "; Path=/; HttpOnly; SameSite=Strict" +
                                                    (request.isSecure ? "; Secure" : ""));
  } else {
    response.contentType = "text/html; charset=utf-8";
    response.body = kLoginPage;
  }
  AddPageHeaders(response);
  return response;
}

bool PageGuard::HasToken(const HttpRequest& request) const {
  const std::string_view authorization = HeaderValue(request.headers, "authorization");
  return authorization.starts_with(kBearer) ? IsToken(authorization.substr(kBearer.size()))
                                            : IsToken(CookieOf(request));
}

bool PageGuard::IsToken(std::string_view text) const {
  return !token_.empty() && HaveSameDigest(text, token_);
}

void AddPageHeaders(HttpResponse& response, const char* cacheControl) {
  response.headers.insert(
      response.headers.end(),
      {{"Content-Security-Policy",
        "default-src 'self'; base-uri 'none'; form-action 'self'; frame-ancestors 'none'; "
        "object-src 'none'"},
       {"X-Content-Type-Options", "nosniff"},
       {"Referrer-Policy", "no-referrer"},
       {"Cross-Origin-Resource-Policy", "same-origin"},
       {"Cache-Control", cacheControl}});
}

bool IsUsableToken(std::string_view text) {
  return text.size() >= kMinTokenLength && std::ranges::all_of(text, [](unsigned char c) {
           return std::isalnum(c) != 0 ||
                  std::string_view("-._~+/=").find(static_cast<char>(c)) != std::string_view::npos;
         });
}

}  // namespace Gateway
