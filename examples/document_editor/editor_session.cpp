#include "editor_session.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <random>
#include <thread>

namespace DocumentEditor {
namespace {

using std::chrono::milliseconds;

struct Document {
  const char* file;
  const char* language;
  int pages;
  std::array<const char*, 4> words;  // what is searched for, and what the dictionary lacks
};

constexpr std::array kDocuments = {
    Document{"Übersicht.odt", "de", 48, {"Straße", "Maßstab", "Übergröße", "Dampfschiff"}},
    Document{"報告書.docx", "ja", 22, {"売上高", "前年比", "見通し", "東京"}},
    Document{"Launch 🚀.md", "en", 7, {"countdown", "T-minus", "☑ done", "🎉 party"}},
    Document{"Résumé.docx", "fr", 3, {"expérience", "à Montréal", "«référence»", "naïveté"}},
    Document{"Письмо.rtf", "ru", 2, {"счёт", "договор", "подпись", "объём"}},
    Document{"Offer 3.docx", "en", 11, {"net 30 days", "colour", "\"as is\"", "C:\\Templates"}},
};

// The same throws with every compiler and standard library.
class Dice {
 public:
  explicit Dice(std::uint32_t seed) : engine_(seed) {}

  int Between(int low, int high) {
    const auto range = static_cast<std::uint_fast32_t>(high - low + 1);
    return low + static_cast<int>(engine_() % range);
  }

  // In steps of one eighth.
  double Seconds(int low, int high) { return Between(low * 8, high * 8) / 8.0; }

  template <typename Item, std::size_t Count>
  const Item& OneOf(const std::array<Item, Count>& items) {
    return items[static_cast<std::size_t>(Between(0, static_cast<int>(Count) - 1))];
  }

 private:
  std::mt19937 engine_;
};

// The document that is open when the part `step` of `steps` of the sitting is over.
const Document& OpenDocument(int step, int steps) {
  const std::size_t index =
      static_cast<std::size_t>(step) * kDocuments.size() / static_cast<std::size_t>(steps);
  return kDocuments[index];
}

class User {
 public:
  explicit User(Reporter& reporter) : reporter_(reporter) {}

  void Start();
  void WorkOn(const Document& document);
  void Leave();

 private:
  void DoSomething(const Document& document);
  void Edit(const Document& document);
  void Search(const Document& document);
  void Save(const Document& document);
  void Export(const Document& document);
  void Report(const char* name, std::initializer_list<Property> properties);

  Reporter& reporter_;
  Dice dice_{20260304};
  int keys_ = 0;
};

// Every action takes its time, in a user's life more than here.
void User::Report(const char* name, std::initializer_list<Property> properties) {
  reporter_.Report(name, properties);
  std::this_thread::sleep_for(milliseconds(7));
}

void User::Start() {
  Report("EditorStarted", {{"Start", "cold"}, {"Seconds", 1.625}, {"RecentFiles", 6}});
  Report("PanelShown", {{"Panel", "Navigator"}, {"Width", 280}});
}

void User::WorkOn(const Document& document) {
  constexpr int kActions = 29;
  keys_ = 0;
  Report("DocumentOpened",
         {{"File", document.file}, {"Pages", document.pages}, {"Seconds", dice_.Seconds(0, 2)}});
  for (int i = 0; i < kActions; ++i) {
    DoSomething(document);
  }
  Save(document);
  Export(document);
  Report("DocumentClosed",
         {{"Keys", keys_}, {"Minutes", dice_.Between(4, 90)}, {"File", document.file}});
}

void User::Leave() {
  Report("EditorClosing", {{"Reason", "user"}, {"Documents", static_cast<int>(kDocuments.size())}});
}

void User::DoSomething(const Document& document) {
  static constexpr std::array kStyles = {"Heading 1", "Überschrift 2", "Quote", "本文", "Code"};
  static constexpr std::array kPictures = {"logo.svg", "Skizze Müller.png", "図1.png", "🎉.gif"};
  const int chance = dice_.Between(1, 100);
  if (chance <= 52) {
    Edit(document);
  } else if (chance <= 65) {
    Report("StyleApplied",
           {{"Style", dice_.OneOf(kStyles)}, {"Characters", dice_.Between(4, 400)}});
  } else if (chance <= 78) {
    Search(document);
  } else if (chance <= 87) {
    Report("Undone", {{"Steps", dice_.Between(1, 6)}, {"By", "Ctrl+Z"}});
  } else if (chance <= 93) {
    Report("ImageInserted", {{"Image", dice_.OneOf(kPictures)}, {"KB", dice_.Between(12, 4800)}});
  } else {
    Save(document);
  }
}

void User::Edit(const Document& document) {
  const int keys = dice_.Between(20, 600);
  keys_ += keys;
  Report("EditBurst", {{"Keys", keys}, {"Seconds", dice_.Seconds(2, 90)}, {"File", document.file}});
}

void User::Search(const Document& document) {
  Report("Searched", {{"For", dice_.OneOf(document.words)},
                      {"Hits", dice_.Between(0, 40)},
                      {"Milliseconds", dice_.Between(1, 120)}});
}

void User::Save(const Document& document) {
  Report(
      "DocumentSaved",
      {{"KB", dice_.Between(8, 9000)}, {"Seconds", dice_.Seconds(0, 1)}, {"File", document.file}});
}

void User::Export(const Document& document) {
  static constexpr std::array kTargets = {"PDF", "EPUB", "HTML"};
  Report("Exported", {{"To", dice_.OneOf(kTargets)},
                      {"Pages", document.pages},
                      {"Seconds", dice_.Seconds(1, 20)}});
}

}  // namespace

void WorkOnDocuments(Reporter& reporter) {
  User user(reporter);
  user.Start();
  for (const Document& document : kDocuments) {
    user.WorkOn(document);
  }
  user.Leave();
}

void SaveInBackground(Reporter& reporter) {
  constexpr int kTimes = 36;
  Dice dice(36);
  for (int i = 0; i < kTimes; ++i) {
    std::this_thread::sleep_for(milliseconds(38));
    reporter.Report("Autosaved", {{"KB", dice.Between(8, 9000)},
                                  {"Seconds", dice.Seconds(0, 1)},
                                  {"File", OpenDocument(i, kTimes).file}});
  }
}

void CheckSpelling(Reporter& reporter) {
  constexpr int kParagraphs = 66;
  Dice dice(66);
  for (int i = 0; i < kParagraphs; ++i) {
    const Document& document = OpenDocument(i, kParagraphs);
    std::this_thread::sleep_for(milliseconds(20));
    reporter.Report("ParagraphChecked", {{"Lang", document.language},
                                         {"Words", dice.Between(8, 180)},
                                         {"Unknown", dice.OneOf(document.words)}});
  }
}

}  // namespace DocumentEditor
