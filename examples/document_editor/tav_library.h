// tav.dll while it is loaded.
#pragma once

#include <string>

#include "tav/tav.h"

namespace DocumentEditor {

// Loads the library when it is made and lets it go when it is destroyed, after Terminate. An
// application that finds no library goes on without analytics; this sample says why and ends.
class TavLibrary {
 public:
  // Takes the tav.dll that lies beside the program. Blocks for the loader only.
  TavLibrary();
  TavLibrary(const TavLibrary&) = delete;
  TavLibrary& operator=(const TavLibrary&) = delete;
  ~TavLibrary();

  // Null when the library could not be loaded; Error then tells people why.
  const TavEntryTable* Table() const { return table_; }
  const std::string& Error() const { return error_; }

 private:
  void* module_ = nullptr;
  const TavEntryTable* table_ = nullptr;
  std::string error_;
};

}  // namespace DocumentEditor
