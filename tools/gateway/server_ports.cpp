// The ports that the gateway listens on.
#include <memory>
#include <utility>

#include "gateway/server.h"

namespace Gateway {
namespace {

std::string UrlOf(bool https, const std::string& address, int port) {
  const bool needsBrackets = address.find(':') != std::string::npos;
  return (https ? "https://" : "http://") + (needsBrackets ? '[' + address + ']' : address) + ':' +
         std::to_string(port);
}

std::string ListenError(const std::string& address, int port) {
  return "cannot listen on " + address + " port " + std::to_string(port) +
         ": the address is not this machine's, or another program has the port";
}

}  // namespace

bool Server::Listen(std::string& error) {
  const bool isLoopback = IsLoopback(options_.address);
  const bool isOnePort = isLoopback && !options_.pagePort && !options_.pageAddress;
  SslContextPtr context = options_.https ? CreateContext(error) : nullptr;
  if (options_.https && !context) {
    return false;
  }
  guard_ = std::make_unique<PageGuard>(options_.token, isOnePort || IsLoopback(PageAddress()),
                                       options_.address);
  port_ = http_->Listen(options_.address, options_.port, std::move(context),
                        isOnePort ? PortRole::Everything : PortRole::Uploads);
  pagePort_ = port_;
  if (port_ < 0) {
    error = ListenError(options_.address, options_.port);
    return false;
  }
  return isOnePort || ListenForPage(error);
}

bool Server::ListenForPage(std::string& error) {
  const bool isLoopback = IsLoopback(PageAddress());
  if (!isLoopback && options_.token.empty()) {
    error = "the page needs a token at " + PageAddress() + ", which other machines can reach";
    return false;
  }
  // On loopback nobody listens in, and a self-signed certificate would only bring warnings.
  SslContextPtr context = options_.https && !isLoopback ? CreateContext(error) : nullptr;
  const int port = options_.pagePort.value_or(kDefaultPagePort);
  pagePort_ = http_->Listen(PageAddress(), port, std::move(context), PortRole::Page);
  if (pagePort_ < 0) {
    error = ListenError(PageAddress(), port);
  }
  return pagePort_ >= 0;
}

SslContextPtr Server::CreateContext(std::string& error) const {
  return options_.certificateFile.empty()
             ? CreateSelfSignedContext(error)
             : CreateContextFromFiles(options_.certificateFile, options_.keyFile, error);
}

std::string Server::PageAddress() const {
  return options_.pageAddress.value_or("127.0.0.1");
}

std::string Server::Url() const {
  return UrlOf(options_.https, options_.address, port_);
}

std::string Server::PageUrl() const {
  return pagePort_ == port_
             ? Url()
             : UrlOf(options_.https && !IsLoopback(PageAddress()), PageAddress(), pagePort_);
}

}  // namespace Gateway
