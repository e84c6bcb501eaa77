#include "gateway/http/client_stream.h"
#include "gateway/tcp_stream.h"

namespace Gateway {
namespace {

constexpr std::chrono::seconds kConnectTime{30};
constexpr std::chrono::minutes kWriteTime{2};

class PlainStream final : public ClientStream {
 public:
  bool Connect(const std::string& authority) override {
    const std::size_t colon = authority.rfind(':');
    if (colon == std::string::npos) {
      return false;
    }
    const bool hasBrackets = authority.starts_with('[') && colon > 2;
    const std::string host =
        hasBrackets ? authority.substr(1, colon - 2) : authority.substr(0, colon);
    return stream_.Connect(host, authority.substr(colon + 1), In(kConnectTime)).empty();
  }

  bool Write(std::string_view bytes) override { return stream_.Send(bytes, In(kWriteTime)); }
  bool Read(std::string& bytes) override { return stream_.Receive(bytes, In(timeout_)); }
  void SetTimeout(std::chrono::milliseconds timeout) override { timeout_ = timeout; }
  void Close() override { stream_.Close(); }
  void End() override { stream_.End(); }

 private:
  static TcpStream::Deadline In(std::chrono::milliseconds time) {
    return std::chrono::steady_clock::now() + time;
  }

  std::chrono::milliseconds timeout_{0};
  TcpStream stream_;
};

}  // namespace

std::unique_ptr<ClientStream> NewPlainStream() {
  return std::make_unique<PlainStream>();
}

}  // namespace Gateway
