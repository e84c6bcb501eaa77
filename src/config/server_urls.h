// Chooses the URL of a server: the gateway, which receives the records, or the configuration
// server. The application, the environment and the settings may each name one; the default is a
// built-in URL.
#pragma once

#include <cstdint>
#include <string>

#include "model/deployment.h"

namespace Tav {

// The built-in URLs of one server.
struct BuiltInUrls {
  const char* external;  // production
  const char* internal;
  const char* development;
};

extern const BuiltInUrls kConfigurationUrls;
extern const BuiltInUrls kGatewayUrls;

// Environment variables that override the built-in URLs and the settings, except in a build with
// TAV_ENVIRONMENT_OVERRIDES off.
inline constexpr char kConfigurationUrlVariable[] = "TAV_CONFIGURATOR";
inline constexpr char kGatewayUrlVariable[] = "TAV_GATEWAY";

enum class UrlSource : uint32_t {
  Host = 1,
  Environment = 2,
  Server = 3,
  Development = 4,
  Internal = 5,
  External = 6,
};

struct ChosenUrl {
  std::string url;
  UrlSource source;
};

// The first of these that is not empty: `hostUrl`, the environment variable, `serverValue` (from
// the settings), the built-in URL of the deployment. Any thread.
ChosenUrl ChooseUrl(const std::string& hostUrl,
                    const char* environmentVariable,
                    const std::string& serverValue,
                    const BuiltInUrls& builtIn,
                    const Deployment& deployment);

// The gateway. `setting` is the server's, which an earlier version of the library may have stored
// without a check: one that must not be used (AcceptsGateway) is left out, with a warning.
// `lastGateway` is the one that received the product's data last, empty for none. Any thread.
ChosenUrl ChooseGateway(const std::string& setting,
                        const std::string& lastGateway,
                        const Deployment& deployment);

}  // namespace Tav
