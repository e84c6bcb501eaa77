// What this host and its plug-ins agree on. A plug-in is a DLL with these three exports; the host
// passes it a component record of its own, so that it needs neither tav.dll nor a product of its
// own.
#pragma once

#include "tav/tav.h"

// Gives the plug-in its record, which it releases in PluginDetach. Null when the host's library
// does not run: the plug-in has to work without.
typedef void (*PluginAttachFunction)(TavComponent_s* analytics);
typedef void (*PluginRunFunction)(const char* text);
typedef void (*PluginDetachFunction)(void);
