#include "util/logger.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/error.h"
#include "platform/set_environment.h"
#include "support/temp_folder.h"
#include "util/log_text.h"
#include "util/text.h"

namespace Tav {
namespace {

std::vector<std::string> messages;
std::vector<std::string> lines;

// Overwrites both errors, as any sink may.
void KeepMessage(const char* line) {
  messages.emplace_back(line);
  Platform::SetLastError(99);
  errno = EDOM;
}

void KeepLine(const char* line) {
  lines.emplace_back(line);
}

class LoggerTest : public testing::Test {
 protected:
  LoggerTest() { Reset(); }
  ~LoggerTest() override { Reset(); }

  static void Reset() {
    Testing::SetEnvironment("TAV_LOGFILE", nullptr);
    Testing::SetEnvironment("TAV_LOG_LEVEL", nullptr);
    ConfigureLogger(nullptr, nullptr, false);
    messages.clear();
    lines.clear();
  }

  void UseLogFile() const { Testing::SetEnvironment("TAV_LOGFILE", folder_.Path("log").c_str()); }

  std::vector<std::string> LogFileLines() const {
    std::vector<std::string> result;
    std::ifstream file(folder_.Root() / "log");
    for (std::string line; std::getline(file, line);) {
      result.push_back(line);
    }
    return result;
  }

  const Testing::TempFolder folder_;
};

// The lowest level that is written; 6 when none is.
int Threshold() {
  int level = 1;
  while (level < 6 && !LogEnabled(static_cast<LogLevel>(level))) {
    ++level;
  }
  return level;
}

int ThresholdWith(LogSink message, LogSink line, bool debugMode, const char* level) {
  Testing::SetEnvironment("TAV_LOG_LEVEL", level);
  ConfigureLogger(message, line, debugMode);
  return Threshold();
}

TEST_F(LoggerTest, ThresholdFollowsSinksDebugModeAndEnvironment) {
  EXPECT_EQ(ThresholdWith(nullptr, nullptr, false, nullptr), 6);
  EXPECT_EQ(ThresholdWith(nullptr, nullptr, true, "TRACE"), 6);
  EXPECT_EQ(ThresholdWith(KeepMessage, nullptr, false, nullptr), 4);
  EXPECT_EQ(ThresholdWith(KeepMessage, nullptr, true, nullptr), 2);
  EXPECT_EQ(ThresholdWith(nullptr, KeepLine, false, nullptr), 2);
  EXPECT_EQ(ThresholdWith(KeepMessage, KeepLine, false, nullptr), 2);
  const char* const names[] = {"TRACE", "DEBUG", "NOTE", "WARN", "ERROR"};
  for (int level = 1; level <= 5; ++level) {
    EXPECT_EQ(ThresholdWith(KeepMessage, nullptr, true, names[level - 1]), level);
    EXPECT_EQ(ThresholdWith(nullptr, KeepLine, false, names[level - 1]), level);
  }
  for (const char* const unknown : {"warn", "WARNING", "", " WARN", "5"}) {
    EXPECT_EQ(ThresholdWith(KeepMessage, nullptr, false, unknown), 4) << unknown;
    EXPECT_EQ(ThresholdWith(nullptr, KeepLine, false, unknown), 2) << unknown;
  }
  Testing::SetEnvironment("TAV_LOGFILE", "no such folder/file.log");
  EXPECT_EQ(ThresholdWith(nullptr, nullptr, false, nullptr), 6) << "an unusable file is ignored";
  EXPECT_EQ(ThresholdWith(KeepMessage, nullptr, false, nullptr), 4);
  EXPECT_TRUE(messages.empty());
}

TEST_F(LoggerTest, LineSinkGetsTheTimeStampAndMessageSinkDoesNot) {
  ThresholdWith(KeepMessage, KeepLine, false, "NOTE");
  int evaluated = 0;
  TAV_TRACE("%d", ++evaluated);
  TAV_DEBUG("%d", ++evaluated);
  EXPECT_EQ(evaluated, 0) << "arguments of lines that are not written";
  LogDebug("no");
  LogNote("SM: %s %d", "text", 7);
  LogWarning("two");
  LogError("three");
  EXPECT_EQ(messages, (std::vector<std::string>{"SM: text 7", "warning: two", "error: three"}));
  ASSERT_EQ(lines.size(), 3u);
  for (size_t i = 0; i < lines.size(); ++i) {
    const size_t blank = lines[i].find(' ');
    EXPECT_EQ(lines[i].substr(blank + 1), messages[i]);
    int year, month, day, hour, minute, second, milliseconds, end = 0;
    EXPECT_EQ(std::sscanf(lines[i].c_str(), "%4d-%2d-%2dT%2d:%2d:%2d.%3d%n", &year, &month, &day,
                          &hour, &minute, &second, &milliseconds, &end),
              7);
    EXPECT_EQ(end, 23);
    EXPECT_TRUE(blank == 29 || (blank == 24 && lines[i][23] == 'Z')) << lines[i];
  }
}

TEST_F(LoggerTest, MarkersAppendTheThreadsErrors) {
  ThresholdWith(KeepMessage, nullptr, false, nullptr);
  const std::string system = " - (00000005) " + Platform::ErrorMessage(5);
  const std::string runTime =
      " - (" + std::to_string(ENOENT) + ") " + Platform::ErrnoMessage(ENOENT);
  const struct {
    uint32_t lastError;
    int runTimeError;
    const char* format;
    std::string expected;
  } cases[] = {
      {5, ENOENT, "plain", "plain"},
      {5, ENOENT, "$Cannot create HTTP session", "Cannot create HTTP session" + system},
      {5, ENOENT, "*CM: x", "CM: x" + runTime},
      {5, ENOENT, "$*x", "x" + system + runTime},
      {5, ENOENT, "*$x", "$x" + runTime},
      {0, ENOENT, "$x", "x"},
      {5, 0, "*x", "x"},
      {0, 0, "$*x", "x"},
      {5, ENOENT, "$", system},
      {5, ENOENT, "", ""},
  };
  void (*const log)(const char*, ...) = LogError;  // without the check of its format
  for (const auto& test : cases) {
    Platform::SetLastError(test.lastError);
    errno = test.runTimeError;
    log(test.format);
    EXPECT_EQ(Platform::LastError(), test.lastError) << test.format;
    EXPECT_EQ(errno, test.runTimeError) << test.format;
    EXPECT_EQ(messages.back(), "error: " + test.expected);
  }
}

TEST_F(LoggerTest, FormatsWhatMessagesUseAndSurvivesFailures) {
  ThresholdWith(KeepMessage, nullptr, false, nullptr);
  LogError("%lld %ld %lu %f %08X %ls %5.1f%%", -9000000000000000000LL, -1L, 1UL, 0.5, 0xABu,
           L"wide", 2.25);
  EXPECT_EQ(messages.back(), "error: -9000000000000000000 -1 1 0.500000 000000AB wide   2.2%");
  // A character that no code page has: at least the format is logged.
  const wchar_t unconvertible[] = {0xD800, 0};
  LogError("Adapter name is %ls", unconvertible);
  EXPECT_TRUE(messages.back().starts_with("error: Adapter name is ")) << messages.back();
  ThresholdWith([](const char*) { throw std::runtime_error("sink"); }, nullptr, false, nullptr);
  EXPECT_NO_THROW(LogError("text"));
}

TEST_F(LoggerTest, CutsALineToItsBuffer) {
  ThresholdWith(KeepMessage, KeepLine, false, nullptr);
  Platform::SetLastError(5);
  LogError("$%s", std::string(5000, 'x').c_str());
  EXPECT_EQ(lines.back().size(), 2047u);
  EXPECT_EQ(lines.back().substr(1000), std::string(1047, 'x'));
  // The appended text is cut, too.
  const size_t used = lines.back().find('x');
  Platform::SetLastError(5);
  LogError("$%s", std::string(2047 - used - 8, 'x').c_str());
  EXPECT_EQ(lines.back().size(), 2047u);
  EXPECT_EQ(lines.back().substr(2047 - 9), "x - (0000");
}

TEST_F(LoggerTest, ATextCannotForgeALineOrDriveATerminal) {
  UseLogFile();
  ConfigureLogger(KeepMessage, nullptr, false);
  LogError("PS: %s (%d)", "x\n2026-03-04T10:11:12.345Z error: forged\r\t", 7);
  EXPECT_EQ(messages.back(),
            "error: PS: x\\x0a2026-03-04T10:11:12.345Z error: forged\\x0d\\x09 (7)");
  LogError("%s",
           "\x1b[2J\x7f \xC2\x9B"
           "1m \xC2\x80 \xC2\xA0 \xC3\x9F \xE2\x82\xAC \\ \xC2");
  EXPECT_EQ(messages.back(),
            "error: \\x1b[2J\\x7f \\xc2\\x9b"
            "1m \\xc2\\x80 \xC2\xA0 \xC3\x9F \xE2\x82\xAC \\ \xC2");
  // The lines of a block are the library's own.
  LogBlock(LogLevel::Error, "\n    Product: %s\n", EscapeControls("a\nb").c_str());
  EXPECT_EQ(messages.back(), "error: \n    Product: a\\x0ab\n");
  CloseLogger();
  EXPECT_EQ(LogFileLines().size(), 5u) << "one line for each message, three for the block";
}

TEST_F(LoggerTest, CutsBetweenCharactersAndBetweenEscapes) {
  ThresholdWith(nullptr, KeepLine, false, nullptr);
  LogError("%s", "");
  const size_t room = 2047 - lines.back().size();
  const struct {
    size_t plain;  // bytes before the text
    std::string text;
    std::string kept;
  } cases[] = {
      {room - 4, "\n", "\\x0a"},
      {room - 3, "\n", ""},
      {room - 1, "\n", ""},
      {room - 6, "\xC2\x9Bm", "\\xc2"},
      {room - 2, "\xE2\x82\xAC", ""},
      {room - 3,
       "\xE2\x82\xAC"
       "m",
       "\xE2\x82\xAC"},
      {room - 1, "\xC3\xA9", ""},
      {room - 3, "\xF0\x9F\x98\x80", ""},
      {room - 2, "\x82\x82", "\x82\x82"},  // no lead byte: nothing to complete
  };
  for (const auto& test : cases) {
    LogError("%s%s", std::string(test.plain, 'x').c_str(), test.text.c_str());
    const std::string& line = lines.back();
    EXPECT_EQ(line.substr(line.rfind('x', line.size() - test.kept.size() - 1) + 1), test.kept)
        << test.text;
  }
}

// A line that becomes shorter after it was cut.
TEST_F(LoggerTest, CutsBetweenCharactersBeforeItHidesTheProfileFolder) {
  const std::string folder = "C:\\Users\\somebody with a long name";
  Testing::SetEnvironment("USERPROFILE", folder.c_str());
  HideProfileFolder();
  ThresholdWith(KeepMessage, nullptr, false, nullptr);
  for (int shift = 0; shift < 3; ++shift) {
    std::string text = std::string(static_cast<size_t>(shift), 'x') + folder;
    while (text.size() < 2100) {
      text += "\xE2\x82\xAC";
    }
    LogError("%s", text.c_str());
    EXPECT_TRUE(IsUtf8(messages.back())) << shift;
    EXPECT_TRUE(messages.back().ends_with("\xE2\x82\xAC")) << shift;
  }
  Testing::SetEnvironment("USERPROFILE", nullptr);
  HideProfileFolder();
}

TEST_F(LoggerTest, TellsExpectedExceptionsFromDefects) {
  ThresholdWith(KeepMessage, nullptr, false, nullptr);
  const auto logged = [](auto exception) {
    try {
      throw exception;
    } catch (...) {
      LogException("SM: ");
    }
    return messages.back();
  };
  EXPECT_EQ(logged(std::bad_alloc()), "error: SM: Out of memory");
  EXPECT_EQ(logged(std::out_of_range("index\n7")), "error: SM: Unexpected exception: index\\x0a7");
  EXPECT_EQ(logged(7), "error: SM: Unexpected exception");
}

TEST_F(LoggerTest, WritesTheLogFileAtOnceAndAppends) {
  UseLogFile();
  ConfigureLogger(nullptr, nullptr, false);
  EXPECT_EQ(Threshold(), 2);
  LogDebug("one");
  ASSERT_EQ(LogFileLines().size(), 1u);
  CloseLogger();
  LogError("closed");
  EXPECT_EQ(Threshold(), 2) << "closing keeps the threshold";
  ConfigureLogger(nullptr, nullptr, false);
  LogDebug("two");
  CloseLogger();
  const std::vector<std::string> written = LogFileLines();
  ASSERT_EQ(written.size(), 2u);
  EXPECT_EQ(written[0].substr(written[0].find(' ')), " one");
  EXPECT_EQ(written[1].substr(written[1].find(' ')), " two");
}

TEST_F(LoggerTest, HostsLineSinkReplacesTheLogFileUntilTheLoggerIsClosed) {
  UseLogFile();
  ConfigureLogger(KeepMessage, KeepLine, false);
  LogError("text");
  CloseLogger();
  LogError("text");
  EXPECT_EQ(lines.size(), 1u);
  EXPECT_EQ(messages.size(), 2u) << "closing keeps the message sink";
  EXPECT_FALSE(std::filesystem::exists(folder_.Root() / "log"));
}

// Threads log all the time while the log file is closed and opened again and, at the end, while it
// stays open.
TEST_F(LoggerTest, LinesOfSeveralThreadsStayWholeAndInOrder) {
  UseLogFile();
  ConfigureLogger(nullptr, nullptr, false);
  std::atomic<bool> stop{false};
  std::atomic<int> logged{0};
  std::vector<std::thread> threads;
  const auto textOf = [](int number) { return std::string(50, static_cast<char>('a' + number)); };
  for (int number = 0; number < 3; ++number) {
    threads.emplace_back([&, number] {
      for (int i = 0; !stop; ++i, ++logged) {
        LogDebug("%d %d %s", number, i, textOf(number).c_str());
      }
    });
  }
  for (int turn = 0; turn <= 40; ++turn) {
    for (const int end = logged + (turn < 40 ? 5 : 600); logged < end;) {
      std::this_thread::yield();
    }
    if (turn < 40) {
      CloseLogger();
      ConfigureLogger(nullptr, nullptr, false);
    }
  }
  stop = true;
  for (std::thread& thread : threads) {
    thread.join();
  }
  CloseLogger();
  std::map<int, int> last = {{0, -1}, {1, -1}, {2, -1}};
  int inSequence = 0;
  for (const std::string& line : LogFileLines()) {
    int number = -1;
    int i = -1;
    char text[60] = "";
    ASSERT_EQ(std::sscanf(line.c_str(), "%*s %d %d %50s", &number, &i, text), 3) << line;
    ASSERT_EQ(text, textOf(number)) << line;
    const int before = std::exchange(last.at(number), i);
    ASSERT_GT(i, before) << line;
    inSequence += i == before + 1 ? 1 : 0;
  }
  EXPECT_GE(inSequence, 500) << "no line is lost while the file is open";
}

}  // namespace
}  // namespace Tav
