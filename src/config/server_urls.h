// Where the two servers are: the gateway that takes the records, and the configuration server. The
// host, the environment and the settings may each name a URL; the built-in ones are what is left.
//
// Any thread may call these. The flags and the source are words of the process, not of one
// initialisation: nothing here resets them, but TavInitialize sets the development flag anew and
// TavTerminate clears the internal one.
#pragma once

#include <cstdint>
#include <string>

namespace Tav {

// The built-in URLs of one server.
struct BuiltInUrls {
  const char* external;  // production
  const char* internal;
  const char* development;
};

extern const BuiltInUrls kConfigurationUrls;
extern const BuiltInUrls kGatewayUrls;

// Environment variables that override the built-in URLs and the settings.
inline constexpr char kConfigurationUrlVariable[] = "TAV_CONFIGURATOR";
inline constexpr char kGatewayUrlVariable[] = "TAV_GATEWAY";

enum class UrlSource : uint32_t {
  None = 0,  // nothing chosen yet
  Host = 1,
  Environment = 2,
  Server = 3,
  Development = 4,
  Internal = 5,
  External = 6,
};

// Ask for the built-in development or internal URLs; development wins over internal.
void SetUseDevelopmentUrls(bool use);
void SetUseInternalUrls(bool use);

// The source of the URL that was chosen last.
UrlSource LastUrlSource();

// The first of these that is not empty: `hostUrl`, the environment variable, `serverValue` (from
// the settings), the built-in URL that the flags select.
std::string ChooseUrl(const std::string& hostUrl,
                      const char* environmentVariable,
                      const std::string& serverValue,
                      const char* externalUrl,
                      const char* internalUrl,
                      const char* developmentUrl);

}  // namespace Tav
