// A run with a log in a journal file, and what a later run finds in the file.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "journal/dead_journal.h"
#include "journal/event_log.h"
#include "journal/journal_file.h"
#include "support/temp_folder.h"

namespace Tav::Testing {

class JournalFixture : public testing::Test {
 protected:
  using Names = std::vector<std::string>;

  void SetUp() override {
    RunBlock run;
    run.product.name = "Editor";
    file_ = JournalFile::Create(path_, EncodeRunBlock(run), 1000);
    ASSERT_NE(file_, nullptr);
  }

  void AddRoom(size_t count) {
    for (size_t i = 0; i < count; ++i) {
      std::byte* const memory = file_->AddSegment();
      ASSERT_NE(memory, nullptr);
      ASSERT_TRUE(log_->AddRoom(memory));
      segments_.push_back(memory);
    }
  }

  void Append(const std::string& name, size_t size = 0) {
    const std::string padding(size, 'x');
    EntryFields fields;
    fields.time.unixMilliseconds = 5000;
    fields.name = name;
    fields.componentName = padding;
    std::vector<std::byte> entry(EncodeEntry(fields, {}));
    EncodeEntry(fields, entry);
    ASSERT_TRUE(log_->Append(entry));
  }

  Names Unsettled() {
    Names names;
    EventLog::Position at = log_->Begin();
    while (const std::optional<EventReader::Item> item = log_->Reader().Next(at, log_->End())) {
      names.emplace_back(item->view.Fields().name);
      at = item->end;
    }
    return names;
  }

  // The end of the run, without a last word.
  void Die() {
    log_.reset();
    file_.reset();
  }

  std::unique_ptr<DeadJournal> Take() const {
    std::unique_ptr<JournalFile> file;
    const JournalFile::Lease lease = JournalFile::Take(path_, file);
    EXPECT_EQ(lease, JournalFile::Lease::Taken);
    return lease == JournalFile::Lease::Taken ? std::make_unique<DeadJournal>(std::move(file))
                                              : nullptr;
  }

  static Names Unsettled(DeadJournal& journal) {
    Names names;
    while (const std::optional<DeadJournal::Item> item = journal.Next()) {
      if (!item->settled) {
        names.emplace_back(item->view.Fields().name);
      }
    }
    return names;
  }

  const TempFolder folder_;
  const std::string path_ = folder_.Path("journal");
  std::unique_ptr<JournalFile> file_;
  std::vector<std::byte*> segments_;
  std::unique_ptr<EventLog> log_ = std::make_unique<EventLog>();
};

}  // namespace Tav::Testing
