// The certificate checks and environment overrides of two builds of the DLL: the product with its
// default options, and the hardened one. with_certificates.sh starts the gateways.
//
// Wine uses a connection again for a request with other security flags. So each build has a process
// of its own, and the test's own requests to a gateway come after those of the library.
#include <windows.h>

#include <wincrypt.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "platform/process.h"
#include "platform/set_environment.h"
#include "system/host.h"

namespace Tav::Testing {
namespace {

constexpr const char* kFaultyCertificates[] = {"self_signed", "expired", "wrong_name"};

std::mutex logLock;
Lines logLines;

void TAV_CALL KeepLogLine(const char* line) {
  const std::lock_guard guard(logLock);
  logLines.emplace_back(line);
}

void ForgetLog() {
  const std::lock_guard guard(logLock);
  logLines.clear();
}

size_t CountLogLines(const std::string& start) {
  const std::lock_guard guard(logLock);
  return static_cast<size_t>(std::count_if(
      logLines.begin(), logLines.end(), [&](const auto& line) { return line.starts_with(start); }));
}

std::string EnvironmentText(const std::string& name) {
  return Platform::Environment(name.c_str()).value_or("");
}

// Adds the authority of the good certificate to the roots that Wine's prefix trusts and removes it
// in the end, with those that killed processes have left behind.
class TrustedAuthority {
 public:
  TrustedAuthority() {
    RemoveAll();
    std::ifstream file(EnvironmentText("TAV_TEST_AUTHORITY"), std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    EXPECT_TRUE(CertAddEncodedCertificateToStore(
        store_, X509_ASN_ENCODING, reinterpret_cast<const BYTE*>(bytes.data()),
        static_cast<DWORD>(bytes.size()), CERT_STORE_ADD_NEW, nullptr));
    Commit();
  }
  ~TrustedAuthority() {
    RemoveAll();
    CertCloseStore(store_, 0);
  }
  TrustedAuthority(const TrustedAuthority&) = delete;
  TrustedAuthority& operator=(const TrustedAuthority&) = delete;

 private:
  void RemoveAll() {
    while (const CERT_CONTEXT* const found =
               CertFindCertificateInStore(store_, X509_ASN_ENCODING, 0, CERT_FIND_SUBJECT_STR_W,
                                          L"Tav test authority", nullptr)) {
      CertDeleteCertificateFromStore(found);
    }
    Commit();
  }
  void Commit() { CertControlStore(store_, 0, CERT_STORE_CTRL_COMMIT, nullptr); }

  const HCERTSTORE store_ =
      CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, CERT_SYSTEM_STORE_LOCAL_MACHINE, L"Root");
};

// The gateway's URL is in the settings. An event is named after the certificate of its gateway.
class DefaultLibraryTest : public HostTest {
 protected:
  DefaultLibraryTest() {
    ForgetLog();
    tav_->SetMessageSink(TavSinkPointer(KeepLogLine));
  }
  ~DefaultLibraryTest() override {
    tav_->Terminate();
    tav_->SetMessageSink(nullptr);
  }

  static std::string UrlOf(const char* certificate) {
    return EnvironmentText("TAV_TEST_GATEWAY_" + std::string(certificate));
  }

  // The result of Commit in a run that reports to this gateway.
  int Report(const char* certificate) {
    PutSettings(R"({"gateway":")" + UrlOf(certificate) + R"("})");
    Initialize();
    tav_->LogEvent(tav_->NewEvent(certificate));
    const int result = tav_->Commit();
    Stop();
    return result;
  }

  // How often each event has arrived at this gateway, by name. The library must not run.
  static std::map<std::string, int> ArrivedAt(const char* certificate) {
    const std::string plain = GatewayUrl();
    SetEnvironment("TAV_TEST_GATEWAY", UrlOf(certificate).c_str());
    Arrivals arrivals;
    arrivals.Collect();
    SetEnvironment("TAV_TEST_GATEWAY", plain.c_str());
    return arrivals.All();
  }
};

TEST_F(DefaultLibraryTest, AcceptsEveryCertificate) {
  UseGateway("");
  UseConfigurationServer("null://");
  for (const char* certificate : {"self_signed", "expired", "wrong_name", "good"}) {
    EXPECT_EQ(Report(certificate), 0) << certificate;
    EXPECT_EQ(ArrivedAt(certificate), (std::map<std::string, int>{{certificate, 1}}));
  }
  EXPECT_EQ(CountLogLines("error: "), 0u);
}

class HardenedLibraryTest : public DefaultLibraryTest {
 protected:
  static void SetUpTestSuite() { authority = std::make_unique<TrustedAuthority>(); }
  static void TearDownTestSuite() { authority.reset(); }

 private:
  inline static std::unique_ptr<TrustedAuthority> authority;
};

TEST_F(HardenedLibraryTest, AcceptsOnlyATrustedCertificateForTheName) {
  for (const char* certificate : kFaultyCertificates) {
    ForgetLog();
    EXPECT_EQ(Report(certificate), 1) << certificate;
    // 12175 on Windows, 12157 under Wine.
    EXPECT_GE(CountLogLines("error: Error sending HTTP request - (00002f"), 1u) << certificate;
    EXPECT_FALSE(CacheFiles().empty()) << certificate;
  }
  // What was kept is delivered once there is a gateway to trust.
  EXPECT_EQ(Report("good"), 0);
  EXPECT_TRUE(CacheFiles().empty());
  EXPECT_EQ(ArrivedAt("good"),
            (std::map<std::string, int>{
                {"self_signed", 1}, {"expired", 1}, {"wrong_name", 1}, {"good", 1}}));
  for (const char* certificate : kFaultyCertificates) {
    EXPECT_TRUE(ArrivedAt(certificate).empty()) << certificate;
  }
}

TEST_F(HardenedLibraryTest, ReadsNoServerAndNoLogFileFromTheEnvironment) {
  const std::filesystem::path logFile = Folder() / "log";
  SetEnvironment("TAV_LOGFILE", logFile.string().c_str());
  SetEnvironment("TAV_LOG_LEVEL", "TRACE");
  UseGateway(GatewayUrl());
  UseConfigurationServer(GatewayUrl() + "configserver/");
  EXPECT_EQ(Report("good"), 0);
  EXPECT_FALSE(std::filesystem::exists(logFile));
  // The log level is still read, and the settings were requested from the built-in server.
  EXPECT_EQ(CountLogLines("Using external URL https://127.0.0.1:1/configserver/"), 1u);
  EXPECT_TRUE(Eventually([] { return CountLogLines("CL: Config loader is done") == 1; }));
  EXPECT_EQ(GatewayCount("requests"), 0);
  SetEnvironment("TAV_LOGFILE", nullptr);
  SetEnvironment("TAV_LOG_LEVEL", nullptr);
}

}  // namespace
}  // namespace Tav::Testing
