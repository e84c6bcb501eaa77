// The gateway's certificate: self-signed, made at start and kept in memory, or read from files.
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

// A server context with the certificate, followed by its chain if any, and the key in PEM files.
// Null on failure, as above.
SslContextPtr CreateContextFromFiles(const std::string& certificateFile,
                                     const std::string& keyFile,
                                     std::string& error);

}  // namespace Gateway
