// The last step between what the host has set and a run.
#pragma once

#include "model/library_config.h"

namespace Tav {

// Completes the configuration: the default user id of a customer, no user without a customer, and a
// valid maximum event size. Sets the limits of EventSize, which hold for the whole process. Called
// on the host's thread before the run begins.
void PrepareHostConfig(LibraryConfig& config);

}  // namespace Tav
