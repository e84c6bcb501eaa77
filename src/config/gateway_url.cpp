#include "config/gateway_url.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "util/format.h"
#include "util/logger.h"

namespace Tav {

namespace {

// A longer URL cannot be used for HTTP.
constexpr size_t kMaxGatewayUrl = 127;
constexpr size_t kMaxLoggedUrl = 200;

constexpr std::string_view kDigits = "0123456789";

bool ConsistsOf(std::string_view text, std::string_view characters) {
  return text.find_first_not_of(characters) == std::string_view::npos;
}

char LowerAscii(char character) {
  return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a')
                                              : character;
}

// `prefix` is in lower case.
bool BeginsWith(std::string_view text, std::string_view prefix) {
  return text.size() >= prefix.size() &&
         std::equal(prefix.begin(), prefix.end(), text.begin(), [](char expected, char character) {
           return LowerAscii(character) == expected;
         });
}

bool IsPrintable(char character) {
  return character > ' ' && character < 0x7F;
}

// A decimal number without leading zeros.
bool IsNumber(std::string_view text, int max) {
  if (text.empty() || text.size() > 5 || !ConsistsOf(text, kDigits) ||
      (text.size() > 1 && text[0] == '0')) {
    return false;
  }
  int number = 0;
  for (const char digit : text) {
    number = number * 10 + (digit - '0');
  }
  return number <= max;
}

// Takes what is before the first `separator`, or all, off the front of `text`.
std::string_view TakePart(std::string_view* text, char separator) {
  const size_t end = std::min(text->find(separator), text->size());
  const std::string_view part = text->substr(0, end);
  text->remove_prefix(std::min(end + 1, text->size()));
  return part;
}

bool IsIpv4Address(std::string_view host) {
  if (std::count(host.begin(), host.end(), '.') != 3 || host.back() == '.') {
    return false;
  }
  while (!host.empty()) {
    if (!IsNumber(TakePart(&host, '.'), 255)) {
      return false;
    }
  }
  return true;
}

// URL parsers take a host whose last label is a number for an IPv4 address, in many notations.
bool EndsInNumber(std::string_view host) {
  const std::string_view last = host.substr(host.rfind('.') + 1);
  return ConsistsOf(last, kDigits) || BeginsWith(last, "0x");
}

bool IsHostName(std::string_view host) {
  constexpr std::string_view kNameCharacters =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_.";
  return !host.empty() && ConsistsOf(host, kNameCharacters) && host.front() != '.' &&
         host.back() != '.' && host.find("..") == std::string_view::npos && !EndsInNumber(host);
}

bool IsIpv6Address(std::string_view host) {
  return host.size() > 2 && host.front() == '[' && host.back() == ']' &&
         ConsistsOf(host.substr(1, host.size() - 2), "0123456789abcdefABCDEF:.") &&
         std::count(host.begin(), host.end(), ':') >= 2;
}

bool IsHost(std::string_view host) {
  return IsHostName(host) || IsIpv4Address(host) || IsIpv6Address(host);
}

bool IsLoopback(std::string_view host) {
  return (IsIpv4Address(host) && host.starts_with("127.")) || host == "[::1]" ||
         (host.size() == 9 && BeginsWith(host, "localhost"));
}

// Empty, or a colon and a number.
bool IsPortPart(std::string_view text) {
  return text.empty() || (text.front() == ':' && IsNumber(text.substr(1), 65535) && text != ":0");
}

// The end of the user information in a URL, even of one that no parser should accept; 0 if there
// may be none.
size_t UserInfoEnd(std::string_view url, size_t begin) {
  const std::string_view authority = url.substr(0, url.find_first_of("/?#", begin));
  const size_t at = authority.rfind('@');
  return at == std::string_view::npos || at < begin ? 0 : at;
}

std::string MaskUserInfo(std::string_view url) {
  constexpr std::string_view kMask = "***";
  const size_t scheme = url.find("://");
  const bool usual = scheme != std::string_view::npos &&
                     std::all_of(url.begin(), url.begin() + static_cast<ptrdiff_t>(scheme),
                                 [](char c) { return IsPrintable(c) && c != '@'; });
  // Parsers skip further slashes.
  const size_t begin = usual ? std::min(url.find_first_not_of("/\\", scheme + 3), url.size()) : 0;
  const size_t end = usual ? UserInfoEnd(url, begin) : url.rfind('@');
  if (end == 0 || end == std::string_view::npos) {
    return std::string(url);
  }
  return std::string(url.substr(0, begin)).append(kMask).append(url.substr(end));
}

}  // namespace

std::optional<WebUrl> ParseWebUrl(std::string_view url) {
  constexpr std::string_view kHttps = "https://";
  constexpr std::string_view kHttp = "http://";
  WebUrl result;
  result.secure = BeginsWith(url, kHttps);
  if (!result.secure && !BeginsWith(url, kHttp)) {
    return std::nullopt;
  }
  if (!std::all_of(url.begin(), url.end(), IsPrintable) ||
      url.find('\\') != std::string_view::npos) {
    return std::nullopt;
  }
  url.remove_prefix(result.secure ? kHttps.size() : kHttp.size());
  const std::string_view authority = TakePart(&url, '/');
  // The colons of an IPv6 address are in brackets.
  const size_t bracket = authority.starts_with('[') ? authority.find(']') : 0;
  const std::string_view host = authority.substr(0, authority.find(':', bracket));
  if (!IsHost(host) || !IsPortPart(authority.substr(host.size()))) {
    return std::nullopt;
  }
  result.loopback = IsLoopback(host);
  return result;
}

bool AcceptsGateway(std::string_view gateway, std::string_view gatewayInForce) {
  const std::optional<WebUrl> url = ParseWebUrl(gateway);
  if (url && gateway.size() <= kMaxGatewayUrl &&
      (url->secure || url->loopback || BeginsWith(gatewayInForce, "http:"))) {
    return true;
  }
  LogWarning("XM: Refused gateway '%s'", UrlForLog(gateway).c_str());
  return false;
}

std::string UrlForLog(std::string_view url) {
  std::string text;
  for (const char character : MaskUserInfo(url)) {
    if (text.size() >= kMaxLoggedUrl) {
      return text + "...";
    }
    if (IsPrintable(character)) {
      text += character;
    } else {
      const auto byte = static_cast<uint8_t>(character);
      text += "\\x" + HexText(&byte, 1);
    }
  }
  return text;
}

}  // namespace Tav
