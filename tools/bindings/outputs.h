// The files that are made of tav.h: its description as JSON, and for each language the declarations
// of table and component record, so that no binding can drift.
#pragma once

#include <string>

#include "bindings/header_parser.h"

namespace Bindings {

// The whole description, bindings/tav.json.
std::string JsonOutput(const Header& header);

// The part of a binding that is generated; the caller puts it between the marks of the file.
std::string NodeOutput(const Header& header);
std::string PythonOutput(const Header& header);
std::string CSharpOutput(const Header& header);
std::string RustOutput(const Header& header);

}  // namespace Bindings
