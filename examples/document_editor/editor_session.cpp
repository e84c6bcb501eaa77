#include "editor_session.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string_view>
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

// Random numbers that are the same with every compiler and standard library.
class Dice {
 public:
  explicit Dice(std::uint32_t seed) : engine_(seed) {}

  int Between(int low, int high) {
    const auto range = static_cast<std::uint_fast32_t>(high - low + 1);
    return low + static_cast<int>(engine_() % range);
  }

  // A multiple of one eighth, so that it prints exactly.
  double Seconds(int low, int high) { return Between(low * 8, high * 8) / 8.0; }

  template <typename Item, std::size_t Count>
  const Item& OneOf(const std::array<Item, Count>& items) {
    return items[static_cast<std::size_t>(Between(0, static_cast<int>(Count) - 1))];
  }

 private:
  std::mt19937 engine_;
};

// The document that is open at the end of part `step` of `steps` of the work.
const Document& OpenDocument(int step, int steps) {
  const std::size_t index =
      static_cast<std::size_t>(step) * kDocuments.size() / static_cast<std::size_t>(steps);
  return kDocuments[index];
}

// The user's work on one document, from opening to closing it: one explicit session.
class Work {
 public:
  Work(EditorState& state, const Document& document, Dice& dice, Notebook& notes)
      : state_(state),
        document_(document),
        dice_(dice),
        editor_(state.tav, notes, state.session),
        session_(state.tav, document.file, notes) {}

  void Open();
  void DoSomething();
  void Save();
  void Export();
  void Close();

 private:
  void Edit();
  void ApplyStyle();
  void Search();
  void Undo();
  void InsertImage();
  void CountMenu(const char* item);

  EditorState& state_;
  const Document& document_;
  Dice& dice_;
  Noted<Tav::Host::Table> editor_;
  Session session_;
  int keys_ = 0;
};

void Work::Open() {
  session_.LogPlace("Page view");
  session_.NewEvent("DocumentOpened")
      .Add("File", document_.file)
      .Add("Pages", document_.pages)
      .Add("Seconds", dice_.Seconds(0, 2))
      .Log();
}

void Work::DoSomething() {
  const int chance = dice_.Between(1, 100);
  if (chance <= 52) {
    Edit();
  } else if (chance <= 65) {
    ApplyStyle();
  } else if (chance <= 78) {
    Search();
  } else if (chance <= 87) {
    Undo();
  } else if (chance <= 93) {
    InsertImage();
  } else if (chance <= 96) {
    session_.LogIdle();
  } else {
    Save();
  }
  state_.TakeTime(milliseconds(18));
}

void Work::Edit() {
  const int keys = dice_.Between(20, 600);
  const double seconds = dice_.Seconds(2, 90);
  keys_ += keys;
  session_.NewEvent("EditBurst").Add("Keys", keys).Add("Seconds", seconds).Log();
  session_.AggregateValue("Typing", "Seconds", seconds);
  session_.AggregateValue("Typing", "Keys", keys);
}

// Too frequent to report one by one: the end of the session reports how often it happened.
void Work::ApplyStyle() {
  static constexpr std::array kStyles = {"Heading 1", "Überschrift 2", "Quote", "本文", "Code"};
  session_.IncrementCounter("Styles", dice_.OneOf(kStyles));
  CountMenu("Format.Style");
}

void Work::Search() {
  session_.LogPlace("Search panel");
  session_.NewEvent("Searched")
      .Add("For", dice_.OneOf(document_.words))
      .Add("Hits", dice_.Between(0, 40))
      .Add("Milliseconds", dice_.Between(1, 120))
      .Log();
  session_.LogPlace("Page view");
}

void Work::Undo() {
  session_.NewCommandEvent("Edit.Undo").Add("Steps", dice_.Between(1, 6)).Add("By", "Ctrl+Z").Log();
}

void Work::InsertImage() {
  static constexpr std::array kPictures = {"logo.svg", "Skizze Müller.png", "図1.png", "🎉.gif"};
  session_.NewCommandEvent("Insert.Image").Log();
  session_.NewEvent("ImageInserted")
      .Add("Image", dice_.OneOf(kPictures))
      .Add("KB", dice_.Between(12, 4800))
      .Log();
  CountMenu("Insert.Image");
}

void Work::Save() {
  session_.NewCommandEvent("File.Save").Log();
  session_.NewEvent("DocumentSaved")
      .Add("KB", dice_.Between(8, 9000))
      .Add("Seconds", dice_.Seconds(0, 1))
      .Log();
  CountMenu("File.Save");
}

void Work::Export() {
  static constexpr std::array kTargets = {"PDF", "EPUB", "HTML"};
  const char* const target = dice_.OneOf(kTargets);
  session_.LogPlace("Export dialogue");
  session_.NewCommandEvent("File.Export").Add("To", target).Log();
  CountMenu("File.Export");
  if (std::string_view(target) == "EPUB") {
    // The library adds the last places and commands of the session.
    session_.NewErrorEvent("EXP-17", "Zeichensatz fehlt: \"Garamond\"")
        .AddTraceItem("ExportBook+0x1a4", "export.dll", target)
        .AddTraceItem("EmbedFonts+0x7c", "export.dll", "Garamond")
        .AddTraceItem("OpenFont", "fonts.dll", "")
        .Add("Pages", document_.pages)
        .Log();
    return;
  }
  session_.NewEvent("Exported")
      .Add("To", target)
      .Add("Pages", document_.pages)
      .Add("Seconds", dice_.Seconds(1, 20))
      .Log();
}

void Work::Close() {
  session_.NewEvent("DocumentClosed")
      .Add("Keys", keys_)
      .Add("Minutes", dice_.Between(4, 90))
      .Add("File", document_.file)
      .Log();
}

// Counts for all documents together, not for this session.
void Work::CountMenu(const char* item) {
  const std::lock_guard lock(state_.numbers);
  editor_.IncrementCounter("Menu", item);
}

}  // namespace

void EditorState::TakeTime(milliseconds time) const {
  std::this_thread::sleep_for(time);
  if (death != nullptr) {
    death->Pass();
  }
}

void EditorState::LeaveThread() const {
  if (death != nullptr) {
    death->Leave();
  }
}

void StartEditor(EditorState& state, Notebook& notes) {
  Noted editor(state.tav, notes, state.session);
  editor.NewEvent("EditorStarted")
      .Add("Start", "cold")
      .Add("Seconds", 1.625)
      .Add("RecentFiles", static_cast<int>(kDocuments.size()))
      .Log();
  editor.LogPlace("Start centre");
  editor.NewEvent("PanelShown").Add("Panel", "Navigator").Add("Width", 280).Log();
  editor.NewCommandEvent("File.OpenRecent").Log();
}

void WorkOnDocuments(EditorState& state, Notebook& notes) {
  constexpr int kActions = 33;
  Dice dice(20260304);
  for (std::size_t done = 0; done < kDocuments.size(); ++done) {
    if (done == kDocuments.size() / 2) {
      // Until a flush, these numbers are not events, and a crash would lose those of a whole day.
      // Terminate reports the rest.
      const std::lock_guard lock(state.numbers);
      Noted(state.tav, notes, state.session).FlushAggregates();
    }
    Work work(state, kDocuments[done], dice, notes);
    work.Open();
    for (int i = 0; i < kActions; ++i) {
      work.DoSomething();
    }
    work.Save();
    work.Export();
    work.Close();
  }
}

void LeaveEditor(EditorState& state, Notebook& notes) {
  Noted editor(state.tav, notes, state.session);
  editor.LogIdle();
  editor.LogPlace("Preferences");
  editor.NewCommandEvent("File.Quit").Log();
  editor.NewEvent("EditorClosing")
      .Add("Reason", "user")
      .Add("Documents", static_cast<int>(kDocuments.size()))
      .Log();
}

void SaveInBackground(EditorState& state, Notebook& notes) {
  constexpr int kTimes = 36;
  Noted editor(state.tav, notes, state.session);
  Dice dice(36);
  for (int i = 0; i < kTimes; ++i) {
    state.TakeTime(milliseconds(98));
    const double seconds = dice.Seconds(0, 1);
    editor.NewEvent("Autosaved")
        .Add("KB", dice.Between(8, 9000))
        .Add("Seconds", seconds)
        .Add("File", OpenDocument(i, kTimes).file)
        .Log();
    const std::lock_guard lock(state.numbers);
    editor.AggregateValue("Autosave", "Seconds", seconds);
  }
}

// Events of a component never share a record with other events. To get few large records, the
// plug-in reports a document at once, not each paragraph when it was checked.
void CheckSpelling(EditorState& state, Notebook& notes) {
  constexpr int kParagraphs = 11;
  Noted plugin(Tav::Host::Component(state.tav, kSpellingName, kSpellingVersion), notes,
               state.session, kSpellingName);
  Dice dice(66);
  for (const Document& document : kDocuments) {
    state.TakeTime(milliseconds(590));
    plugin.NewCommandEvent("CheckDocument").Add("Lang", document.language).Log();
    if (std::string_view(document.language) == "ja") {
      plugin.NewErrorEvent("SPL-4", "no dictionary: ja")
          .AddTraceItem("LoadDictionary", "spelling.dll", "ja_JP.dic")
          .Log();
      continue;
    }
    for (int i = 0; i < kParagraphs; ++i) {
      const int words = dice.Between(8, 180);
      plugin.NewEvent("ParagraphChecked")
          .Add("Lang", document.language)
          .Add("Words", words)
          .Add("Unknown", dice.OneOf(document.words))
          .Log();
      const std::lock_guard lock(state.numbers);
      plugin.IncrementCounter("Paragraphs", document.language);
      plugin.AggregateValue("Check", "Words", words);
    }
  }
}

}  // namespace DocumentEditor
