#include "config/config_loader.h"

#include <mutex>
#include <new>
#include <string_view>
#include <utility>

#include "config/server_urls.h"
#include "platform/thread.h"
#include "transport/data_sender.h"
#include "util/logger.h"

namespace Tav {

namespace {

constinit Platform::StaticLock hostConfigUrlLock;
constinit const std::string* hostConfigUrl = nullptr;  // null for none

std::string HostConfigUrl() {
  const std::lock_guard guard(hostConfigUrlLock);
  return hostConfigUrl ? *hostConfigUrl : std::string();
}

// The C library's classification follows the locale that the host has set; this one must not.
bool IsUnreserved(char character) {
  return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
         (character >= '0' && character <= '9') ||
         std::string_view("-._~").find(character) != std::string_view::npos;
}

void AppendParameter(std::string* url, std::string_view name, std::string_view value) {
  constexpr char kDigits[] = "0123456789abcdef";
  *url += name;
  for (const char character : value) {
    if (IsUnreserved(character)) {
      *url += character;
    } else {
      const auto byte = static_cast<unsigned char>(character);
      *url += '%';
      *url += kDigits[byte >> 4];
      *url += kDigits[byte & 15];
    }
  }
}

}  // namespace

ConfigLoader::ConfigLoader(std::string url) : url_(std::move(url)) {}

void ConfigLoader::Main() try {
  TAV_TRACE("CL: Inside config loader");
  if (const std::unique_ptr<DataSender> sender = CreateDataSender(url_)) {
    answer_ = sender->Fetch();
  }
  TAV_TRACE("CL: Config loader is done");
} catch (const std::bad_alloc&) {
  LogError("CL: Out of memory in config loader");
}

ConfigLoaderPtr CreateConfigLoader(const std::string& productName,
                                   const std::string& productVersion,
                                   const std::string& platform) {
  std::string url =
      ChooseUrl(HostConfigUrl(), kConfigurationUrlVariable, {}, kConfigurationUrls.external,
                kConfigurationUrls.internal, kConfigurationUrls.development);
  AppendParameter(&url, "?N=", productName);
  AppendParameter(&url, "&V=", productVersion);
  AppendParameter(&url, "&P=", platform);
  return ConfigLoaderPtr(new ConfigLoader(std::move(url)));
}

void SetHostConfigUrl(std::string url) {
  std::unique_ptr<const std::string> text;  // outlives the lock, with the old text in the end
  if (!url.empty()) {
    text = std::make_unique<const std::string>(std::move(url));
  }
  const std::lock_guard guard(hostConfigUrlLock);
  text.reset(std::exchange(hostConfigUrl, text.release()));
}

}  // namespace Tav
