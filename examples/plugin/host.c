// A host with a plug-in. The host owns the library, one in a process, and starts and ends it; each
// plug-in gets a component record and reports through that alone.
// tav.dll and word_count.dll must lie beside the program.
#include <stdio.h>

#include <windows.h>

#include "plugin.h"
#include "tav/tav.h"

typedef struct Plugin {
  HMODULE module;
  PluginAttachFunction attach;
  PluginRunFunction run;
  PluginDetachFunction detach;
} Plugin;

// The one function type that any other may be converted through.
typedef void (*AnyFunction)(void);

static AnyFunction Find(HMODULE module, const char* name) {
  return module == NULL ? NULL : (AnyFunction)GetProcAddress(module, name);
}

static const TavEntryTable* LoadTav(void) {
  TavLoaderFunction loader = (TavLoaderFunction)Find(LoadLibraryW(L"tav.dll"), TAV_LOADER_NAME);
  return loader == NULL ? NULL : loader(TAV_INTERFACE_VERSION);
}

static int LoadPlugin(Plugin* plugin) {
  plugin->module = LoadLibraryW(L"word_count.dll");
  plugin->attach = (PluginAttachFunction)Find(plugin->module, "PluginAttach");
  plugin->run = (PluginRunFunction)Find(plugin->module, "PluginRun");
  plugin->detach = (PluginDetachFunction)Find(plugin->module, "PluginDetach");
  return plugin->attach != NULL && plugin->run != NULL && plugin->detach != NULL;
}

int main(void) {
  Plugin plugin;
  const TavEntryTable* tav = LoadTav();
  if (tav == NULL || !LoadPlugin(&plugin)) {
    fprintf(stderr, "tav.dll or word_count.dll cannot be loaded\n");
    return 1;
  }
  int status = tav->Initialize("PluginHost", "2.0", "2.0.0.7", TAV_LANGUAGE_EN_US);
  if (status != TAV_OK) {
    fprintf(stderr, "Tav does not start: status %d, see docs/integration.md\n", status);
    return 1;
  }

  plugin.attach(tav->CreateComponentAnalytics());
  plugin.run("Twas brillig and the slithy toves");
  plugin.run("");

  // The host's own events go through the table as ever.
  tav->LogEvent(tav->NewEvent("PluginUsed"));

  // The plug-in gives its record back before its code goes away. What it has counted stays with the
  // library, which sends it when it ends.
  plugin.detach();
  FreeLibrary(plugin.module);
  tav->Terminate();
  return 0;
}
