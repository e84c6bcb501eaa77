// What builds without OpenSSL have instead of certificate.cpp and http/tls_stream.cpp.
#include "gateway/certificate.h"
#include "gateway/http/client_stream.h"

namespace Gateway {
namespace {

SslContextPtr Fail(std::string& error) {
  error = "this gateway is built without TLS";
  return nullptr;
}

}  // namespace

void SslContextRelease::operator()(ssl_ctx_st*) const {}

bool HasTls() {
  return false;
}

SslContextPtr CreateSelfSignedContext(std::string& error) {
  return Fail(error);
}

SslContextPtr CreateContextFromFiles(const std::string&, const std::string&, std::string& error) {
  return Fail(error);
}

std::unique_ptr<ClientStream> NewTlsStream() {
  return nullptr;
}

}  // namespace Gateway
