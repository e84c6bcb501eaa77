// The interface between this host and its plug-ins. A plug-in is a DLL that exports PluginAttach,
// PluginRun and PluginDetach. It reports through a component record from the host, so it needs
// neither tav.dll nor a product name.
#pragma once

#include "tav/tav.h"

// Passes ownership of a component record to the plug-in, which releases it in PluginDetach. Null if
// the library does not run: the plug-in must work without it.
typedef void (*PluginAttachFunction)(TavComponent_s* analytics);
typedef void (*PluginRunFunction)(const char* text);
typedef void (*PluginDetachFunction)(void);
