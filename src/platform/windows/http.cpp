#include "platform/http.h"

#include <windows.h>

#include <winhttp.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "platform/error.h"
#include "platform/windows/system_library.h"

namespace Tav::Platform {

namespace {

constexpr wchar_t kWinHttp[] = L"winhttp.dll";

constinit SystemFunction<decltype(WinHttpCloseHandle)> winHttpCloseHandle(kWinHttp,
                                                                          "WinHttpCloseHandle");
constinit SystemFunction<decltype(WinHttpConnect)> winHttpConnect(kWinHttp, "WinHttpConnect");
constinit SystemFunction<decltype(WinHttpCrackUrl)> winHttpCrackUrl(kWinHttp, "WinHttpCrackUrl");
constinit SystemFunction<decltype(WinHttpOpen)> winHttpOpen(kWinHttp, "WinHttpOpen");
constinit SystemFunction<decltype(WinHttpOpenRequest)> winHttpOpenRequest(kWinHttp,
                                                                          "WinHttpOpenRequest");
constinit SystemFunction<decltype(WinHttpQueryHeaders)> winHttpQueryHeaders(kWinHttp,
                                                                            "WinHttpQueryHeaders");
constinit SystemFunction<decltype(WinHttpReadData)> winHttpReadData(kWinHttp, "WinHttpReadData");
constinit SystemFunction<decltype(WinHttpReceiveResponse)> winHttpReceiveResponse(
    kWinHttp,
    "WinHttpReceiveResponse");
constinit SystemFunction<decltype(WinHttpSendRequest)> winHttpSendRequest(kWinHttp,
                                                                          "WinHttpSendRequest");
constinit SystemFunction<decltype(WinHttpSetOption)> winHttpSetOption(kWinHttp, "WinHttpSetOption");
constinit SystemFunction<decltype(WinHttpSetStatusCallback)> winHttpSetStatusCallback(
    kWinHttp,
    "WinHttpSetStatusCallback");
constinit SystemFunction<decltype(WinHttpSetTimeouts)> winHttpSetTimeouts(kWinHttp,
                                                                          "WinHttpSetTimeouts");
constinit SystemFunction<decltype(WinHttpWriteData)> winHttpWriteData(kWinHttp, "WinHttpWriteData");

// Units of one part of a URL, with the terminating zero. No URL that is cracked is longer.
constexpr DWORD kPartCapacity = 128;

// Longer bodies are written in pieces of this size, so that progress shows. Most bodies are
// shorter: WinHTTP can repeat such a request by itself when a kept connection turns out to be
// closed.
constexpr DWORD kBodyPiece = 64 * 1024;

// Without the notifications about handles and closed connections, which may come when the observer
// is gone.
constexpr DWORD kProgressNotifications =
    WINHTTP_CALLBACK_FLAG_RESOLVE_NAME | WINHTTP_CALLBACK_FLAG_CONNECT_TO_SERVER |
    WINHTTP_CALLBACK_FLAG_SEND_REQUEST | WINHTTP_CALLBACK_FLAG_RECEIVE_RESPONSE;

// In a synchronous session, on the thread that made the call.
void CALLBACK OnStatus(HINTERNET, DWORD_PTR context, DWORD, void*, DWORD) {
  if (context != 0) {
    reinterpret_cast<HttpObserver*>(context)->OnProgress();
  }
}

void NoteProgress(HttpObserver* observer) {
  if (observer != nullptr) {
    observer->OnProgress();
  }
}

bool WriteBody(HINTERNET request, const char* body, DWORD size, HttpObserver* observer) {
  while (size > 0) {
    DWORD written = 0;
    if (!winHttpWriteData(request, body, std::min(size, kBodyPiece), &written) || written == 0) {
      return false;
    }
    NoteProgress(observer);
    body += written;
    size -= written;
  }
  return true;
}

#ifdef TAV_SYSTEM_PROXY
constexpr DWORD kAccessType = WINHTTP_ACCESS_TYPE_AUTOMATIC_PROXY;
#else
constexpr DWORD kAccessType = WINHTTP_ACCESS_TYPE_NO_PROXY;
#endif

std::wstring Widen(std::string_view bytes) {
  std::wstring wide;
  wide.reserve(bytes.size());
  for (char byte : bytes) {
    wide.push_back(static_cast<wchar_t>(static_cast<unsigned char>(byte)));
  }
  return wide;
}

// The inverse of Widen. A URL from Widen has no unit above 255.
std::string Narrow(const wchar_t* units, DWORD length) {
  std::string bytes;
  bytes.reserve(length);
  for (DWORD i = 0; i < length; ++i) {
    bytes.push_back(static_cast<char>(static_cast<unsigned char>(units[i])));
  }
  return bytes;
}

// Stands for an IPv6 address while a URL is cracked: the WinHttpCrackUrl of Wine ends the host at
// its first colon.
constexpr char kAddressName[] = "address";

// What begins with the bracket of an IPv6 address in place of a host's name; empty for a name.
std::string Ipv6Host(const std::string& url) {
  const size_t mark = url.find("://");
  if (mark == std::string::npos || url.compare(mark + 3, 1, "[") != 0) {
    return {};
  }
  return url.substr(mark + 3, url.find(']', mark) - mark - 2);
}

// The receive time-out of WinHttpSetTimeouts does not limit the wait for the response's status and
// headers. That wait has an option of its own, with a default of 90 seconds.
bool ApplyTimeouts(HINTERNET handle, const HttpTimeouts& timeouts) {
  DWORD response = static_cast<DWORD>(timeouts.response);
  const bool four = winHttpSetTimeouts(handle, timeouts.resolve, timeouts.connect, timeouts.send,
                                       timeouts.receive) != FALSE;
  const bool fifth = winHttpSetOption(handle, WINHTTP_OPTION_RECEIVE_RESPONSE_TIMEOUT, &response,
                                      sizeof response) != FALSE;
  return four && fifth;
}

// By default WinHTTP follows the redirection of a POST with a GET. A status 200 for that says
// nothing about the body.
bool DisableAutomaticRequests(HINTERNET request) {
  DWORD features =
      WINHTTP_DISABLE_REDIRECTS | WINHTTP_DISABLE_AUTHENTICATION | WINHTTP_DISABLE_COOKIES;
  return winHttpSetOption(request, WINHTTP_OPTION_DISABLE_FEATURE, &features, sizeof features) !=
         FALSE;
}

}  // namespace

bool HttpCrackUrl(const std::string& url, HttpUrl* parts) {
  wchar_t host[kPartCapacity] = {};
  wchar_t path[kPartCapacity] = {};
  wchar_t extra[kPartCapacity] = {};
  URL_COMPONENTS components = {};
  components.dwStructSize = sizeof components;
  components.lpszHostName = host;
  components.dwHostNameLength = kPartCapacity;
  components.lpszUrlPath = path;
  components.dwUrlPathLength = kPartCapacity;
  components.lpszExtraInfo = extra;
  components.dwExtraInfoLength = kPartCapacity;
  const std::string address = Ipv6Host(url);
  std::wstring wide = Widen(url);
  if (!address.empty()) {
    wide.replace(url.find(address), address.size(), Widen(kAddressName));
  }
  if (!winHttpCrackUrl(wide.c_str(), static_cast<DWORD>(wide.size()), 0, &components)) {
    return false;
  }
  parts->scheme = static_cast<HttpScheme>(components.nScheme);
  parts->port = components.nPort;
  parts->host = Narrow(host, components.dwHostNameLength);
  parts->path = Narrow(path, components.dwUrlPathLength);
  parts->extra = Narrow(extra, components.dwExtraInfoLength);
  if (!address.empty()) {
    if (!address.ends_with(']') || parts->host != kAddressName) {
      SetLastError(ERROR_WINHTTP_INVALID_URL);
      return false;
    }
    parts->host = address;  // with the brackets, which WinHttpConnect takes
  }
  return true;
}

void HttpHandle::Close() {
  if (handle_ == nullptr) {
    return;
  }
  const ErrorKeeper keep;
  winHttpCloseHandle(std::exchange(handle_, nullptr));
}

HttpSession HttpSession::Open(const char* userAgent) {
  return HttpSession(winHttpOpen(Widen(userAgent).c_str(), kAccessType, WINHTTP_NO_PROXY_NAME,
                                 WINHTTP_NO_PROXY_BYPASS, 0));
}

bool HttpSession::SetTimeouts(const HttpTimeouts& timeouts) {
  return ApplyTimeouts(handle_, timeouts);
}

HttpConnection HttpSession::Connect(const std::string& host, int port) const {
  return HttpConnection(
      winHttpConnect(handle_, Widen(host).c_str(), static_cast<INTERNET_PORT>(port), 0));
}

HttpRequest HttpConnection::OpenRequest(const char* verb,
                                        const std::string& objectPath,
                                        const char* acceptedType,
                                        bool secure) const {
  const std::wstring accepted = Widen(acceptedType);
  const wchar_t* acceptedTypes[] = {accepted.c_str(), nullptr};
  const HINTERNET handle =
      winHttpOpenRequest(handle_, Widen(verb).c_str(), Widen(objectPath).c_str(), nullptr,
                         WINHTTP_NO_REFERER, acceptedTypes, secure ? WINHTTP_FLAG_SECURE : 0);
  HttpRequest request(handle);
  if (request && !DisableAutomaticRequests(handle)) {
    request.Close();
  }
  return request;
}

bool HttpRequest::SetTimeouts(const HttpTimeouts& timeouts) {
  return ApplyTimeouts(handle_, timeouts);
}

bool HttpRequest::SetSecurityFlags(uint32_t flags) {
  DWORD value = flags;
  return winHttpSetOption(handle_, WINHTTP_OPTION_SECURITY_FLAGS, &value, sizeof value) != FALSE;
}

bool HttpRequest::Send(const std::string& headers,
                       const void* body,
                       size_t length,
                       HttpObserver* observer) {
  if (length > MAXDWORD) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return false;
  }
  const DWORD size = static_cast<DWORD>(length);
  const DWORD first = std::min(size, kBodyPiece);
  if (observer != nullptr) {
    winHttpSetStatusCallback(handle_, &OnStatus, kProgressNotifications, 0);
  }
  return winHttpSendRequest(handle_, Widen(headers).c_str(), static_cast<DWORD>(-1),
                            const_cast<void*>(body), first, size,
                            reinterpret_cast<DWORD_PTR>(observer)) != FALSE &&
         WriteBody(handle_, static_cast<const char*>(body) + first, size - first, observer);
}

bool HttpRequest::ReceiveResponse() {
  return winHttpReceiveResponse(handle_, nullptr) != FALSE;
}

bool HttpRequest::QueryStatus(uint32_t* status) {
  DWORD value = 0;
  DWORD size = sizeof value;
  if (!winHttpQueryHeaders(handle_, WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER,
                           WINHTTP_HEADER_NAME_BY_INDEX, &value, &size, WINHTTP_NO_HEADER_INDEX)) {
    return false;
  }
  *status = value;
  return true;
}

bool HttpRequest::QueryRetryAfter(uint32_t* seconds) {
  DWORD value = 0;
  DWORD size = sizeof value;
  if (!winHttpQueryHeaders(handle_, WINHTTP_QUERY_RETRY_AFTER | WINHTTP_QUERY_FLAG_NUMBER,
                           WINHTTP_HEADER_NAME_BY_INDEX, &value, &size, WINHTTP_NO_HEADER_INDEX)) {
    return false;
  }
  *seconds = value;
  return true;
}

bool HttpRequest::Read(void* buffer, size_t size, size_t* count) {
  DWORD delivered = 0;
  const bool read = winHttpReadData(handle_, buffer, static_cast<DWORD>(size), &delivered) != FALSE;
  *count = delivered;
  return read;
}

}  // namespace Tav::Platform
