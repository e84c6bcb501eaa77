// What is known of the client's operating system, language, time zone and processor.
#pragma once

#include <string>

#include "machine/client_env.h"

namespace Tav {

// Adds a text for each of them; what the system does not tell stays out. Session thread; does not
// block.
void AddOsKeys(ClientEnv& env);

// "en_US" in place of a name of a locale that says nothing; any other stays as it is.
std::string MeaningfulLocale(const std::string& name);

}  // namespace Tav
