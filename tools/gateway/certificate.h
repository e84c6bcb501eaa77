// The gateway's certificate: self-signed, made at start and kept in memory, or read from files.
#pragma once

#include <memory>
#include <string>

struct ssl_ctx_st;  // OpenSSL's SSL_CTX

namespace Gateway {

struct SslContextRelease {
  void operator()(ssl_ctx_st* context) const;
};
using SslContextPtr = std::unique_ptr<ssl_ctx_st, SslContextRelease>;

// False in builds without OpenSSL, where the functions below fail.
bool HasTls();

// A server context with a new key and a certificate for localhost, 127.0.0.1 and ::1. Null on
// failure, with OpenSSL's reason in `error`.
SslContextPtr CreateSelfSignedContext(std::string& error);

// A server context with the certificate, followed by its chain if any, and the key in PEM files.
// Null on failure, as above.
SslContextPtr CreateContextFromFiles(const std::string& certificateFile,
                                     const std::string& keyFile,
                                     std::string& error);

}  // namespace Gateway
