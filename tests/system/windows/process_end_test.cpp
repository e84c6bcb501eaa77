// Hosts in processes of their own that end without Terminate, and then call the library from a
// static destructor.
#include <windows.h>

#include <fstream>
#include <string>

#include "system/host.h"

namespace Tav::Testing {
namespace {

class EndingHost {
 public:
  EndingHost(const std::string& end, const std::string& folder) : report_(folder + "/report") {
    std::string command = "\"" TAV_ENDING_HOST "\" " + end + " \"" +
                          std::getenv("TAV_TEST_LIBRARY") + "\" \"" TAV_ENDING_PLUGIN "\" \"" +
                          folder + "\"";
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    if (!CreateProcessA(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                        &startup, &process_)) {
      ADD_FAILURE() << "cannot start the host: error " << GetLastError();
    }
  }
  ~EndingHost() {
    TerminateProcess(process_.hProcess, 9);
    CloseHandle(process_.hThread);
    CloseHandle(process_.hProcess);
  }
  EndingHost(const EndingHost&) = delete;
  EndingHost& operator=(const EndingHost&) = delete;

  // Expects that the process ends by itself, with exit code 0 and without a fault in its calls.
  void ExpectEnd() {
    constexpr DWORD kBound = 60000;  // enough for a busy machine
    ASSERT_EQ(WaitForSingleObject(process_.hProcess, kBound), WAIT_OBJECT_0)
        << "the process did not end";
    DWORD code = 99;
    GetExitCodeProcess(process_.hProcess, &code);
    EXPECT_EQ(code, 0u);
    std::string text;
    std::getline(std::ifstream(report_), text);
    EXPECT_EQ(text, "done");
  }

 private:
  const std::string report_;
  PROCESS_INFORMATION process_{};
};

// The folder has a name that needs no conversion, because it is passed on a command line.
class ProcessEndTest : public HostTest {
 protected:
  ProcessEndTest() {
    std::filesystem::create_directories(plainFolder_);
    std::filesystem::copy_file(Folder() / "TsTavData", plainFolder_ + "/TsTavData");
  }
  ~ProcessEndTest() override {
    std::error_code ignored;
    std::filesystem::remove_all(plainFolder_, ignored);
  }

  const std::string plainFolder_ =
      ::testing::TempDir() + "tav_ending_" + std::to_string(GetCurrentProcessId());
};

TEST_F(ProcessEndTest, AfterMainHasReturned) {
  EndingHost("return", plainFolder_).ExpectEnd();
  EXPECT_EQ(TimesArrived("unfinished"), 1u);
  EXPECT_EQ(TimesArrived("late"), 0u);
}

TEST_F(ProcessEndTest, AfterExitProcess) {
  EndingHost("exit", plainFolder_).ExpectEnd();
}

TEST_F(ProcessEndTest, AfterExitProcessDuringARequest) {
  GatewayPost("api/faults", R"({"kind":"hang","count":1})");
  EndingHost host("sending", plainFolder_);
  EXPECT_TRUE(Eventually([] { return json_array_size(GatewayGet("api/faults").Get()) == 0; }));
  std::ofstream(plainFolder_ + "/go").put('1');
  host.ExpectEnd();
}

TEST_F(ProcessEndTest, AfterTheEndOfTheSessionThreadAlone) {
  EndingHost("killed", plainFolder_).ExpectEnd();
}

}  // namespace
}  // namespace Tav::Testing
