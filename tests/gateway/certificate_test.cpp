#include "gateway/certificate.h"

#include <gtest/gtest.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include <chrono>
#include <memory>
#include <set>
#include <string>
#include <utility>

#include "gateway/gateway_fixture.h"

namespace Gateway {
namespace {

TEST(CertificateTest, NamesItsFilesIfTheyAreUnusable) {
  ServerOptions options;
  options.https = true;
  options.certificateFile = "no/such.pem";
  options.keyFile = "no/such.key";
  std::string error;
  EXPECT_FALSE(Server(std::move(options)).Listen(error));
  EXPECT_TRUE(
      error.starts_with("cannot use the certificate no/such.pem with the key no/such.key: "))
      << error;
}

TEST(CertificateTest, NamesThisMachineAndIsNewEachTime) {
  std::set<std::uint64_t> serials;
  for (int i = 0; i < 2; ++i) {
    std::string error;
    const SslContextPtr context = CreateSelfSignedContext(error);
    ASSERT_TRUE(context) << error;
    X509* certificate = SSL_CTX_get0_certificate(context.get());
    EXPECT_EQ(X509_verify(certificate, X509_get0_pubkey(certificate)), 1);
    EXPECT_EQ(X509_check_host(certificate, "localhost", 0, 0, nullptr), 1);
    EXPECT_EQ(X509_check_ip_asc(certificate, "127.0.0.1", 0), 1);
    EXPECT_LT(X509_cmp_current_time(X509_get0_notBefore(certificate)), 0);
    EXPECT_GT(X509_cmp_current_time(X509_get0_notAfter(certificate)), 0);
    std::uint64_t serial = 0;
    EXPECT_EQ(ASN1_INTEGER_get_uint64(&serial, X509_get0_serialNumber(certificate)), 1);
    serials.insert(serial);
  }
  EXPECT_EQ(serials.size(), 2U);
}

// A connection that begins a handshake and does not go on.
std::unique_ptr<HttpClient> BeginHandshake(RunningGateway& gateway) {
  auto client =
      std::make_unique<HttpClient>("http://127.0.0.1:" + std::to_string(gateway.Get().Port()));
  EXPECT_TRUE(client->SendRaw("\x16\x03\x01"));
  return client;
}

TEST(HandshakeTest, EndsInTime) {
  ServerOptions options;
  options.https = true;
  options.limits.headTime = std::chrono::milliseconds(50);
  RunningGateway gateway(std::move(options));
  EXPECT_TRUE(BeginHandshake(gateway)->AwaitClose());
}

TEST(HandshakeTest, CountsAsAConnection) {
  ServerOptions options;
  options.https = true;
  options.limits.headTime = std::chrono::hours(1);
  options.limits.maxConnections = 1;
  RunningGateway gateway(std::move(options));
  const auto first = BeginHandshake(gateway);
  EXPECT_TRUE(BeginHandshake(gateway)->AwaitClose());
}

}  // namespace
}  // namespace Gateway
