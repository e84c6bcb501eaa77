#include "config/server_urls.h"

#include <optional>
#include <string_view>
#include <utility>

#include "config/gateway_url.h"
#include "platform/process.h"
#include "util/logger.h"

// The host names are set by the CMake cache variables of the same names ("host" or "host:port").
// The defaults are in a top-level domain that is reserved and never resolves: a build without these
// variables sends nothing.
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

// Empty when the variable is not set.
std::string FromEnvironment([[maybe_unused]] const char* variable) {
#ifdef TAV_NO_ENVIRONMENT_OVERRIDES
  return {};
#else
  return Platform::Environment(variable).value_or("");
#endif
}

}  // namespace

ChosenUrl ChooseUrl(const std::string& hostUrl,
                    const char* environmentVariable,
                    const std::string& serverValue,
                    const BuiltInUrls& builtIn,
                    const Deployment& deployment) {
  if (!hostUrl.empty()) {
    return {hostUrl, UrlSource::Host};
  }
  if (std::string url = FromEnvironment(environmentVariable); !url.empty()) {
    return {std::move(url), UrlSource::Environment};
  }
  if (!serverValue.empty()) {
    TAV_NOTE("Using config URL %s", serverValue.c_str());
    return {serverValue, UrlSource::Server};
  }
  switch (deployment.Selected()) {
    case Stage::Development:
      TAV_NOTE("Using development URL %s", builtIn.development);
      return {builtIn.development, UrlSource::Development};
    case Stage::Internal:
      TAV_NOTE("Using internal URL %s", builtIn.internal);
      return {builtIn.internal, UrlSource::Internal};
    case Stage::Production:
      break;
  }
  TAV_NOTE("Using external URL %s", builtIn.external);
  return {builtIn.external, UrlSource::External};
}

ChosenUrl ChooseGateway(const std::string& setting,
                        const std::string& lastGateway,
                        const Deployment& deployment) {
  // Clear text that stayed on this machine is no reason to send it over the network.
  const std::optional<WebUrl> last = ParseWebUrl(lastGateway);
  const std::string_view inForce = last && !last->loopback ? lastGateway : std::string_view();
  const bool usable = setting.empty() || !FromEnvironment(kGatewayUrlVariable).empty() ||
                      AcceptsGateway(setting, inForce);
  return ChooseUrl({}, kGatewayUrlVariable, usable ? setting : std::string(), kGatewayUrls,
                   deployment);
}

}  // namespace Tav
