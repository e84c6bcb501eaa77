// A host with a plug-in. The host owns the library, which exists once in a process: it starts and
// terminates it. Each plug-in gets a component record and reports only through that record.
// tav.dll and word_count.dll must be in the program's folder.
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

// A function pointer converts through this type without compiler warnings.
typedef void (*AnyFunction)(void);

static HMODULE LoadFromProgramFolder(const wchar_t* name) {
  return LoadLibraryExW(name, NULL, LOAD_LIBRARY_SEARCH_APPLICATION_DIR);
}

static AnyFunction Find(HMODULE module, const char* name) {
  return module == NULL ? NULL : (AnyFunction)GetProcAddress(module, name);
}

static const TavEntryTable* LoadTav(void) {
  TavLoaderFunction loader =
      (TavLoaderFunction)Find(LoadFromProgramFolder(L"tav.dll"), TAV_LOADER_NAME);
  return loader == NULL ? NULL : loader(TAV_INTERFACE_VERSION);
}

static int LoadPlugin(Plugin* plugin) {
  plugin->module = LoadFromProgramFolder(L"word_count.dll");
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

  // The host reports its own events through the table.
  tav->LogEvent(tav->NewEvent("PluginUsed"));

  // The plug-in releases its record before it is unloaded. The library keeps what the plug-in has
  // counted and reports it in Terminate.
  plugin.detach();
  FreeLibrary(plugin.module);
  tav->Terminate();
  return 0;
}
