// Writes the generated parts of bindings/, or checks them.
//   bindings_generator HEADER FOLDER           writes
//   bindings_generator --check HEADER FOLDER   fails, with the names, if a file is not up to date
#include <cstdio>
#include <exception>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "bindings/outputs.h"

namespace {

// The lines with these words enclose what is generated.
constexpr const char* kBegin = "begin: made from tav.h";
constexpr const char* kEnd = "end: made from tav.h";

struct Output {
  const char* file;  // in the folder
  std::string (*make)(const Bindings::Header&);
  bool isWhole;  // else the part between the marks
};

constexpr Output kOutputs[] = {
    {"tav.json", Bindings::JsonOutput, true},
    {"node/table.js", Bindings::NodeOutput, false},
    {"python/tav.py", Bindings::PythonOutput, false},
    {"csharp/Tav.cs", Bindings::CSharpOutput, false},
    {"rust/src/table.rs", Bindings::RustOutput, false},
};

std::string Read(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  if (!file) {
    throw std::runtime_error("cannot read " + path);
  }
  return text;
}

void Write(const std::string& path, const std::string& text) {
  std::ofstream file(path, std::ios::binary);
  if (!(file << text << std::flush)) {
    throw std::runtime_error("cannot write " + path);
  }
}

// `text` with what stands between the lines of its marks replaced.
std::string Replaced(const std::string& text, const std::string& part, const std::string& path) {
  const std::size_t begin = text.find('\n', text.find(kBegin));
  const std::size_t mark = text.find(kEnd);
  if (begin == std::string::npos || mark == std::string::npos || mark < begin) {
    throw std::runtime_error(path + " has no lines with '" + kBegin + "' and '" + kEnd + "'");
  }
  const std::size_t end = text.rfind('\n', mark);
  return text.substr(0, begin + 1) + part + text.substr(end + 1);
}

int Run(bool isCheck, const std::string& headerFile, const std::string& folder) {
  std::string error;
  const auto header = Bindings::ParseHeader(Read(headerFile), error);
  if (!header) {
    throw std::runtime_error(headerFile + ": " + error);
  }
  int status = 0;
  for (const Output& output : kOutputs) {
    const std::string path = folder + '/' + output.file;
    const std::string made = output.make(*header);
    if (!isCheck && output.isWhole) {
      Write(path, made);
      continue;
    }
    const std::string present = Read(path);
    const std::string wanted = output.isWhole ? made : Replaced(present, made, path);
    if (!isCheck) {
      Write(path, wanted);
    } else if (present != wanted) {
      std::fprintf(stderr, "bindings_generator: %s does not match tav.h: run ./run bindings\n",
                   path.c_str());
      status = 1;
    }
  }
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  const bool isCheck = !arguments.empty() && arguments[0] == "--check";
  if (arguments.size() != (isCheck ? 3U : 2U)) {
    std::fputs("usage: bindings_generator [--check] HEADER FOLDER\n", stderr);
    return 2;
  }
  try {
    return Run(isCheck, arguments[arguments.size() - 2], arguments.back());
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "bindings_generator: %s\n", failure.what());
    return 1;
  }
}
