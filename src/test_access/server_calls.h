// What a test-access object asks of the code that deals with servers.
#pragma once

#include <optional>
#include <string>

#include "config/server_urls.h"

namespace Tav {

// One setting of the document at a URL as text, or the whole document for an empty name. None if
// there is no such setting, or no settings document. Waits for the server. May throw.
std::optional<std::string> FetchSetting(const std::string& url, const std::string& name);

// The address that the library would use for its settings, in the deployment of the process. The
// result is valid until the next call, by any object. May throw.
const char* ComposeConfigUrl(const char* hostUrl,
                             const char* environmentVariable,
                             const char* serverValue,
                             const BuiltInUrls& builtIn);

}  // namespace Tav
