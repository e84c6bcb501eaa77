// The gateway's own certificate: made at start, kept in memory, signed by itself.
#pragma once

#include <openssl/ssl.h>

#include <memory>
#include <string>

namespace Gateway {

struct SslContextRelease {
  void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
};
using SslContextPtr = std::unique_ptr<SSL_CTX, SslContextRelease>;

// A server context with a fresh key and a certificate for localhost, 127.0.0.1 and ::1. Null on
// failure, with OpenSSL's reason in `error`.
SslContextPtr CreateSelfSignedContext(std::string& error);

}  // namespace Gateway
