// The gateway's self-signed certificate, made at start and kept in memory.
#pragma once

#include <openssl/ssl.h>

#include <memory>
#include <string>

namespace Gateway {

struct SslContextRelease {
  void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
};
using SslContextPtr = std::unique_ptr<SSL_CTX, SslContextRelease>;

// A server context with a new key and a certificate for localhost, 127.0.0.1 and ::1. Null on
// failure, with OpenSSL's reason in `error`.
SslContextPtr CreateSelfSignedContext(std::string& error);

}  // namespace Gateway
