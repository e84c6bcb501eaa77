#include "gateway/http/client.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <utility>

namespace Gateway {
namespace {

std::string AuthorityOf(const std::string& url) {
  const std::size_t scheme = url.find("://");
  const std::string rest = url.substr(scheme == std::string::npos ? 0 : scheme + 3);
  return rest.substr(0, rest.find('/'));
}

std::string_view Trimmed(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) {
    text.remove_prefix(1);
  }
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) {
    text.remove_suffix(1);
  }
  return text;
}

std::string LowerName(std::string_view name) {
  std::string out(name);
  std::ranges::transform(out, out.begin(),
                         [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return out;
}

template <typename Number>
bool ReadNumber(std::string_view text, Number& number, int base) {
  return std::from_chars(text.data(), text.data() + text.size(), number, base).ec == std::errc();
}

std::string Hexadecimal(std::size_t number) {
  char text[2 * sizeof number];
  return {text, std::to_chars(text, text + sizeof text, number, 16).ptr};
}

}  // namespace

HttpClient::HttpClient(const std::string& url)
    : authority_(AuthorityOf(url)),
      stream_(url.starts_with("https://") ? NewTlsStream() : NewPlainStream()) {
  SetTimeout(std::chrono::seconds(30));
}

HttpClient::~HttpClient() = default;

ClientAnswer HttpClient::Get(const std::string& path, const Fields& headers) {
  return Send("GET", path, std::nullopt, headers);
}

ClientAnswer HttpClient::Post(const std::string& path,
                              const std::string& body,
                              const Fields& headers) {
  return Send("POST", path, body, headers);
}

ClientAnswer HttpClient::Send(const std::string& method,
                              const std::string& path,
                              const std::optional<std::string>& body,
                              const Fields& headers) {
  std::string request = Head(method, path, headers);
  if (body) {
    request += "Content-Length: " + std::to_string(body->size()) + "\r\n";
  }
  request.append("\r\n").append(body.value_or(""));
  return SendRaw(request) ? ReadAnswer(method != "HEAD") : ClientAnswer();
}

ClientAnswer HttpClient::PostChunks(const std::string& path,
                                    const BodySource& source,
                                    const Fields& headers) {
  bool isSent = SendRaw(Head("POST", path, headers) + "Transfer-Encoding: chunked\r\n\r\n");
  const auto send = [&](std::string_view part) {
    isSent = isSent && SendRaw(Hexadecimal(part.size()) + "\r\n" + std::string(part) + "\r\n");
  };
  while (isSent && source(send)) {
  }
  return isSent && SendRaw("0\r\n\r\n") ? ReadAnswer() : ClientAnswer();
}

bool HttpClient::SendRaw(std::string_view bytes) {
  if (!isConnected_ && !Connect()) {
    return false;
  }
  if (!stream_->Write(bytes)) {
    Disconnect();
  }
  return isConnected_;
}

ClientAnswer HttpClient::ReadAnswer(bool hasBody) {
  ClientAnswer answer;
  const bool isEmpty = !hasBody;
  if (!ReadHead(answer) || (!isEmpty && !ReadBody(answer))) {
    Disconnect();
    return {};
  }
  const auto connection = answer.headers.find("connection");
  if (connection != answer.headers.end() && connection->second == "close") {
    Disconnect();
  }
  return answer;
}

std::string HttpClient::ReadSome(std::size_t size) {
  if (received_.empty() && !Fill()) {
    return {};
  }
  std::string some = received_.substr(0, size);
  received_.erase(0, some.size());
  return some;
}

bool HttpClient::AwaitClose() {
  const auto end = std::chrono::steady_clock::now() + timeout_;
  return !Fill() && received_.empty() && std::chrono::steady_clock::now() < end;
}

void HttpClient::SetTimeout(std::chrono::milliseconds timeout) {
  timeout_ = timeout;
  if (stream_) {
    stream_->SetTimeout(timeout);
  }
}

void HttpClient::End() {
  if (stream_) {
    stream_->End();
  }
}

bool HttpClient::Connect() {
  isConnected_ = stream_ && stream_->Connect(authority_);
  return isConnected_;
}

void HttpClient::Disconnect() {
  isConnected_ = false;
  received_.clear();
  if (stream_) {
    stream_->Close();
  }
}

std::string HttpClient::Head(const std::string& method,
                             const std::string& path,
                             const Fields& headers) const {
  std::string head = method + ' ' + path + " HTTP/1.1\r\n";
  if (!headers.contains("Host")) {
    head += "Host: " + authority_ + "\r\n";
  }
  for (const auto& [name, value] : headers) {
    head.append(name).append(": ").append(value).append("\r\n");
  }
  return head += keepAlive_ ? "" : "Connection: close\r\n";
}

bool HttpClient::ReadHead(ClientAnswer& answer) {
  const std::optional<std::string> first = TakeLine();
  if (!first || !first->starts_with("HTTP/1.1 ") ||
      !ReadNumber(std::string_view(*first).substr(9), answer.status, 10)) {
    return false;
  }
  for (;;) {
    const std::optional<std::string> line = TakeLine();
    if (!line || line->empty()) {
      // An interim answer, such as 100 Continue, precedes the answer.
      return line && (answer.status >= 200 || ReadHead(answer = {}));
    }
    const std::size_t colon = line->find(':');
    if (colon == std::string::npos) {
      return false;
    }
    answer.headers.emplace(LowerName(line->substr(0, colon)),
                           Trimmed(std::string_view(*line).substr(colon + 1)));
  }
}

bool HttpClient::ReadBody(ClientAnswer& answer) {
  if (answer.status == 204 || answer.status == 304) {
    return true;
  }
  if (answer.headers.contains("transfer-encoding")) {
    return ReadChunks(answer.body);
  }
  std::size_t size = 0;
  const auto length = answer.headers.find("content-length");
  if (length == answer.headers.end() || !ReadNumber(length->second, size, 10) || !Need(size)) {
    return false;
  }
  answer.body = received_.substr(0, size);
  received_.erase(0, size);
  return true;
}

bool HttpClient::ReadChunks(std::string& body) {
  for (;;) {
    const std::optional<std::string> line = TakeLine();
    std::size_t size = 0;
    if (!line || !ReadNumber(*line, size, 16) || !Need(size + 2)) {
      return false;
    }
    body.append(received_, 0, size);
    received_.erase(0, size + 2);
    if (size == 0) {
      return true;
    }
  }
}

bool HttpClient::Fill() {
  return isConnected_ && stream_->Read(received_);
}

bool HttpClient::Need(std::size_t size) {
  while (received_.size() < size) {
    if (!Fill()) {
      return false;
    }
  }
  return true;
}

std::optional<std::string> HttpClient::TakeLine() {
  std::size_t end = 0;
  while ((end = received_.find("\r\n")) == std::string::npos) {
    if (!Fill()) {
      return std::nullopt;
    }
  }
  std::string line = received_.substr(0, end);
  received_.erase(0, end + 2);
  return line;
}

}  // namespace Gateway
