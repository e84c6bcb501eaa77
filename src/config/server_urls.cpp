#include "config/server_urls.h"

#include <atomic>
#include <optional>

#include "platform/process.h"
#include "util/logger.h"

// Host names are deployment values: whoever builds the library for real servers sets them through
// the CMake cache variables of the same names ("host" or "host:port"). The defaults lie under a
// top-level domain that is reserved never to resolve, so that a build nobody configured reports to
// nobody.
#ifndef TAV_CONFIGURATION_HOST_EXTERNAL
#define TAV_CONFIGURATION_HOST_EXTERNAL "config.tav.invalid"
#endif
#ifndef TAV_CONFIGURATION_HOST_INTERNAL
#define TAV_CONFIGURATION_HOST_INTERNAL "config.internal.tav.invalid"
#endif
#ifndef TAV_CONFIGURATION_HOST_DEVELOPMENT
#define TAV_CONFIGURATION_HOST_DEVELOPMENT "config.development.tav.invalid"
#endif
#ifndef TAV_GATEWAY_HOST_EXTERNAL
#define TAV_GATEWAY_HOST_EXTERNAL "gateway.tav.invalid"
#endif
#ifndef TAV_GATEWAY_HOST_INTERNAL
#define TAV_GATEWAY_HOST_INTERNAL "gateway.internal.tav.invalid"
#endif
#ifndef TAV_GATEWAY_HOST_DEVELOPMENT
#define TAV_GATEWAY_HOST_DEVELOPMENT "gateway.development.tav.invalid"
#endif

namespace Tav {

const BuiltInUrls kConfigurationUrls = {
    .external = "https://" TAV_CONFIGURATION_HOST_EXTERNAL "/configserver/",
    .internal = "https://" TAV_CONFIGURATION_HOST_INTERNAL "/configserver/",
    .development = "https://" TAV_CONFIGURATION_HOST_DEVELOPMENT "/configserver/",
};

const BuiltInUrls kGatewayUrls = {
    .external = "https://" TAV_GATEWAY_HOST_EXTERNAL "/",
    .internal = "https://" TAV_GATEWAY_HOST_INTERNAL "/tavgateway/",
    .development = "https://" TAV_GATEWAY_HOST_DEVELOPMENT "/tavgateway/",
};

namespace {

std::atomic<bool> useDevelopmentUrls{false};
std::atomic<bool> useInternalUrls{false};
std::atomic<UrlSource> lastUrlSource{UrlSource::None};

}  // namespace

void SetUseDevelopmentUrls(bool use) {
  useDevelopmentUrls.store(use, std::memory_order_relaxed);
}

void SetUseInternalUrls(bool use) {
  useInternalUrls.store(use, std::memory_order_relaxed);
}

UrlSource LastUrlSource() {
  return lastUrlSource.load(std::memory_order_relaxed);
}

std::string ChooseUrl(const std::string& hostUrl,
                      const char* environmentVariable,
                      const std::string& serverValue,
                      const char* externalUrl,
                      const char* internalUrl,
                      const char* developmentUrl) {
  const auto chosen = [](UrlSource source) {
    lastUrlSource.store(source, std::memory_order_relaxed);
  };
  if (!hostUrl.empty()) {
    chosen(UrlSource::Host);
    return hostUrl;
  }
  std::optional<std::string> fromEnvironment = Platform::Environment(environmentVariable);
  if (fromEnvironment && !fromEnvironment->empty()) {
    chosen(UrlSource::Environment);
    return *std::move(fromEnvironment);
  }
  if (!serverValue.empty()) {
    chosen(UrlSource::Server);
    TAV_NOTE("Using config URL %s", serverValue.c_str());
    return serverValue;
  }
  if (useDevelopmentUrls.load(std::memory_order_relaxed)) {
    chosen(UrlSource::Development);
    TAV_NOTE("Using development URL %s", developmentUrl);
    return developmentUrl;
  }
  if (useInternalUrls.load(std::memory_order_relaxed)) {
    chosen(UrlSource::Internal);
    TAV_NOTE("Using internal URL %s", internalUrl);
    return internalUrl;
  }
  chosen(UrlSource::External);
  TAV_NOTE("Using external URL %s", externalUrl);
  return externalUrl;
}

}  // namespace Tav
