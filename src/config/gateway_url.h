// Decides whether a gateway that the server's settings name may receive records. The settings have
// no signature: they must not send records to a file, to another kind of server or in clear text.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace Tav {

// What matters about a URL of the form http[s]://host[:port][/...].
struct WebUrl {
  bool secure = false;    // https
  bool loopback = false;  // 127.0.0.0/8, localhost or [::1]
};

// None for everything else, and for everything that two parsers may read differently: blanks,
// control characters, non-ASCII bytes, backslashes, '@' or '%' before the path, a query without a
// path, short or octal IPv4 addresses, empty labels, an empty port.
std::optional<WebUrl> ParseWebUrl(std::string_view url);

// Whether records may go to `gateway`, a setting: by https, or by http to this machine, or by http
// if they already go to `gatewayInForce` by http. At most 127 characters. If not, logs a warning
// that names it.
bool AcceptsGateway(std::string_view gateway, std::string_view gatewayInForce);

// A URL for the log: "***" for user and password, "\x0a" for bytes that are not printable ASCII,
// the end cut off when it is long.
std::string UrlForLog(std::string_view url);

}  // namespace Tav
