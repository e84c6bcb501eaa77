// The finished program: a path that no ANSI code page can hold, output in UTF-8, exit status.
#include <cstdio>

#include "tavcat/tavcat_fixture.h"

namespace Tav {
namespace {

using Testing::Chunk;
using Testing::Gzip;

class TavcatProgramTest : public Testing::TavcatTest {
 protected:
  // Runs it with the folder quoted as an argument, or without any.
  int RunProgram(bool withFolder) {
    const std::filesystem::path program = std::filesystem::path(TAVCAT_PROGRAM).make_preferred();
    std::filesystem::path command = "\"" + program.string() + "\"";
    if (withFolder) {
      command += " \"";
      command += folder.Path("").parent_path();
      command += "\"";
    }
#ifdef _WIN32
    // cmd takes one pair of quotation marks away.
    std::FILE* const pipe = _wpopen((L"\"" + command.wstring() + L"\"").c_str(), L"rb");
#else
    std::FILE* const pipe = popen(command.c_str(), "r");
#endif
    output.clear();
    for (int byte = std::fgetc(pipe); byte != EOF; byte = std::fgetc(pipe)) {
      output += static_cast<char>(byte);
    }
#ifdef _WIN32
    return _pclose(pipe);
#else
    return WEXITSTATUS(pclose(pipe));
#endif
  }
};

TEST_F(TavcatProgramTest, TellsOfTheFolderInUtf8) {
  folder.Put("TavCache_9A80ECF5_0001", Chunk(Gzip("{\"pn\":\"Stra\xC3\x9F"
                                                  "e\"}")));
  const auto before = State();
  EXPECT_EQ(RunProgram(true), 0);
  EXPECT_EQ(State(), before);
  ExpectShown("Folder " + Folder() + "\n");
  ExpectShown(
      "{\"pn\":\"Stra\xC3\x9F"
      "e\"}\n");
  folder.Put("TavCache_9A80ECF5_0002", "?");
  EXPECT_EQ(RunProgram(true), 1);
}

TEST_F(TavcatProgramTest, WithoutAFolderTakesTheUsersOwnAndMakesNone) {
#ifdef _WIN32
  EXPECT_EQ(RunProgram(false), 0);
  ExpectShown("Folder " + Folder() + "\n");
#endif
  std::filesystem::remove_all(folder.Base() / "Quendel");
  EXPECT_EQ(RunProgram(false), 2);
  EXPECT_EQ(RunProgram(true), 2);
  EXPECT_TRUE(std::filesystem::is_empty(folder.Base()));
}

}  // namespace
}  // namespace Tav
