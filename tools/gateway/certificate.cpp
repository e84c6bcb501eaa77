#include "gateway/certificate.h"

#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/rand.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include <cstdint>
#include <utility>

namespace Gateway {
namespace {

constexpr long kSecondsPerDay = 24L * 60 * 60;
// Still valid in tests that set the client's clock forward by a year.
constexpr long kDaysValid = 3650;
// Not elliptic: Wine 8 rejects ECDSA signatures with a leading zero byte, one of sixty.
constexpr unsigned kKeyBits = 2048;

struct KeyRelease {
  void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
};
struct CertificateRelease {
  void operator()(X509* certificate) const { X509_free(certificate); }
};
using KeyPtr = std::unique_ptr<EVP_PKEY, KeyRelease>;
using CertificatePtr = std::unique_ptr<X509, CertificateRelease>;

bool AddExtension(X509* certificate, int kind, const char* value) {
  X509V3_CTX context{};
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
  X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, kind, value);
  const bool isAdded = extension != nullptr && X509_add_ext(certificate, extension, -1) == 1;
  X509_EXTENSION_free(extension);
  return isAdded;
}

bool AddNamePart(X509_NAME* name, const char* kind, const char* value) {
  return X509_NAME_add_entry_by_txt(name, kind, MBSTRING_UTF8,
                                    reinterpret_cast<const unsigned char*>(value), -1, -1, 0) == 1;
}

// A random serial number, so that clients do not confuse the certificates of two runs.
bool SetSerialNumber(X509* certificate) {
  std::uint64_t serial = 0;
  return RAND_bytes(reinterpret_cast<unsigned char*>(&serial), sizeof serial) == 1 &&
         ASN1_INTEGER_set_uint64(X509_get_serialNumber(certificate), serial) == 1;
}

CertificatePtr CreateCertificate(EVP_PKEY* key) {
  CertificatePtr certificate(X509_new());
  if (!certificate) {
    return nullptr;
  }
  X509* raw = certificate.get();
  X509_NAME* name = X509_get_subject_name(raw);
  const bool isComplete =
      X509_set_version(raw, X509_VERSION_3) == 1 && SetSerialNumber(raw) &&
      X509_gmtime_adj(X509_getm_notBefore(raw), -kSecondsPerDay) != nullptr &&
      X509_gmtime_adj(X509_getm_notAfter(raw), kDaysValid * kSecondsPerDay) != nullptr &&
      X509_set_pubkey(raw, key) == 1 && AddNamePart(name, "O", "Tav local gateway") &&
      AddNamePart(name, "CN", "localhost") && X509_set_issuer_name(raw, name) == 1 &&
      AddExtension(raw, NID_subject_alt_name, "DNS:localhost,IP:127.0.0.1,IP:::1") &&
      AddExtension(raw, NID_ext_key_usage, "serverAuth") && X509_sign(raw, key, EVP_sha256()) > 0;
  return isComplete ? std::move(certificate) : nullptr;
}

SslContextPtr CreateContext() {
  SslContextPtr context(SSL_CTX_new(TLS_server_method()));
  const bool isUsable =
      context && SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION) == 1;
  return isUsable ? std::move(context) : nullptr;
}

std::string LastReason() {
  char text[256];
  ERR_error_string_n(ERR_get_error(), text, sizeof text);
  return text;
}

}  // namespace

void SslContextRelease::operator()(ssl_ctx_st* context) const {
  SSL_CTX_free(context);
}

bool HasTls() {
  return true;
}

SslContextPtr CreateSelfSignedContext(std::string& error) {
  SslContextPtr context = CreateContext();
  const KeyPtr key(EVP_RSA_gen(kKeyBits));
  const CertificatePtr certificate = key ? CreateCertificate(key.get()) : nullptr;
  if (!context || !certificate || SSL_CTX_use_certificate(context.get(), certificate.get()) != 1 ||
      SSL_CTX_use_PrivateKey(context.get(), key.get()) != 1) {
    error = "cannot make a certificate: " + LastReason();
    return nullptr;
  }
  return context;
}

SslContextPtr CreateContextFromFiles(const std::string& certificateFile,
                                     const std::string& keyFile,
                                     std::string& error) {
  SslContextPtr context = CreateContext();
  if (!context || SSL_CTX_use_certificate_chain_file(context.get(), certificateFile.c_str()) != 1 ||
      SSL_CTX_use_PrivateKey_file(context.get(), keyFile.c_str(), SSL_FILETYPE_PEM) != 1) {
    error = "cannot use the certificate " + certificateFile + " with the key " + keyFile + ": " +
            LastReason();
    return nullptr;
  }
  return context;
}

}  // namespace Gateway
