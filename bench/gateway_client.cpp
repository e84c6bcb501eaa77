#include "bench/gateway_client.h"

#include <windows.h>

#include <winhttp.h>

#include <stdexcept>
#include <string_view>

#include "bench/event_content.h"

namespace Bench {

namespace {

constexpr int kEventsPerPage = 10000;
// The local gateway has a self-signed certificate.
constexpr DWORD kAnyCertificate =
    SECURITY_FLAG_IGNORE_UNKNOWN_CA | SECURITY_FLAG_IGNORE_CERT_WRONG_USAGE |
    SECURITY_FLAG_IGNORE_CERT_CN_INVALID | SECURITY_FLAG_IGNORE_CERT_DATE_INVALID;

struct CloseInternet {
  void operator()(void* handle) const { WinHttpCloseHandle(handle); }
};
using Internet = std::unique_ptr<void, CloseInternet>;

// URLs of the gateway are ASCII.
std::wstring Widen(std::string_view text) {
  return {text.begin(), text.end()};
}

[[noreturn]] void Fail(const std::string& what) {
  throw std::runtime_error("request to the gateway failed (" + what + "): system error " +
                           std::to_string(GetLastError()));
}

struct Address {
  std::wstring host;
  INTERNET_PORT port = 0;
  bool secure = false;
};

Address Crack(const std::string& url) {
  const std::wstring wide = Widen(url);
  URL_COMPONENTS parts = {};
  parts.dwStructSize = sizeof parts;
  parts.dwHostNameLength = static_cast<DWORD>(-1);
  if (!WinHttpCrackUrl(wide.c_str(), 0, 0, &parts)) {
    Fail(url);
  }
  return {std::wstring(parts.lpszHostName, parts.dwHostNameLength), parts.nPort,
          parts.nScheme == INTERNET_SCHEME_HTTPS};
}

std::string ReadBody(HINTERNET request) {
  std::string body;
  DWORD count = 0;
  do {
    constexpr DWORD kPiece = 1 << 16;
    const size_t size = body.size();
    body.resize(size + kPiece);
    if (!WinHttpReadData(request, body.data() + size, kPiece, &count)) {
      Fail("reading");
    }
    body.resize(size + count);
  } while (count > 0);
  return body;
}

}  // namespace

Json GatewayClient::Request(const wchar_t* verb, const std::string& path) {
  const Address address = Crack(url_);
  const Internet session(
      WinHttpOpen(L"Bench/1.0", WINHTTP_ACCESS_TYPE_NO_PROXY, nullptr, nullptr, 0));
  const Internet connection(WinHttpConnect(session.get(), address.host.c_str(), address.port, 0));
  const Internet request(WinHttpOpenRequest(connection.get(), verb, Widen(path).c_str(), nullptr,
                                            nullptr, nullptr,
                                            address.secure ? WINHTTP_FLAG_SECURE : 0));
  DWORD flags = kAnyCertificate;
  if (address.secure) {
    WinHttpSetOption(request.get(), WINHTTP_OPTION_SECURITY_FLAGS, &flags, sizeof flags);
  }
  if (!WinHttpSendRequest(request.get(), nullptr, 0, nullptr, 0, 0, 0) ||
      !WinHttpReceiveResponse(request.get(), nullptr)) {
    Fail(path);
  }
  const std::string body = ReadBody(request.get());
  json_error_t error;
  Json answer(json_loadb(body.data(), body.size(), 0, &error));
  if (answer == nullptr) {
    throw std::runtime_error("the gateway's answer to " + path + " is not JSON: " + error.text);
  }
  return answer;
}

void GatewayClient::Reset() {
  Request(L"POST", "/api/reset");
}

Json GatewayClient::Summary() {
  return Request(L"GET", "/api/summary");
}

Arrivals GatewayClient::CheckArrivals(int events) {
  std::vector<int> seen(static_cast<size_t>(events), 0);
  Arrivals arrivals;
  size_t onPage = kEventsPerPage;
  for (int from = 0; onPage == kEventsPerPage; from += kEventsPerPage) {
    const Json page = Request(L"GET", std::string("/api/events?name=") + kEventName +
                                          "&from=" + std::to_string(from) +
                                          "&limit=" + std::to_string(kEventsPerPage));
    onPage = json_array_size(page.get());
    size_t index = 0;
    const json_t* entry = nullptr;
    json_array_foreach(page.get(), index, entry) {
      const json_t* const properties = json_object_get(json_object_get(entry, "event"), "v");
      const json_t* const serial = json_object_get(properties, kSerialName);
      const double number = json_is_number(serial) ? json_number_value(serial) : -1;
      if (number < 0 || number >= events) {
        ++arrivals.foreign;
      } else {
        arrivals.doubled += seen[static_cast<size_t>(number)]++ > 0 ? 1 : 0;
      }
    }
  }
  for (const int count : seen) {
    arrivals.lost += count == 0 ? 1 : 0;
  }
  return arrivals;
}

}  // namespace Bench
