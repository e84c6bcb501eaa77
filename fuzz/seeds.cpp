// Usage: fuzz_seeds FOLDER
// Writes the inputs that the fuzzers begin with, FOLDER/FUZZER/NAME: files, records and texts made
// by the library's own writers, and arbitrary calls for the fuzzers that turn bytes into calls. The
// same bytes each time.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "config/config_manager.h"
#include "journal/run_block.h"
#include "session/data_block.h"
#include "session/record_text.h"
#include "storage/storage_views.h"
#include "streams/chunk_stream.h"
#include "support/random.h"
#include "support/temp_folder.h"

namespace {

using namespace Tav;

std::filesystem::path folder;

// `mode` is the first byte of the input.
void Put(const char* fuzzer, const std::string& name, char mode, std::string_view bytes) {
  std::filesystem::create_directories(folder / fuzzer);
  std::ofstream file(folder / fuzzer / name, std::ios::binary);
  file << mode << bytes;
}

void PutCalls(const char* fuzzer, int count, int size, char mode) {
  for (int i = 0; i < count; ++i) {
    Testing::Random random(static_cast<unsigned>(i + 1));
    std::string bytes;
    while (bytes.size() < static_cast<size_t>(size)) {
      bytes += static_cast<char>(random.OneIn(2) ? random.Below(8) : random.Below(256));
    }
    Put(fuzzer, "calls" + std::to_string(i), mode, bytes);
  }
}

std::string RecordJson() {
  return R"({"pn":"Quendel Writer","pv":"4.2","pp":"wntx64","sv":"2.8.2.1187559","tv":3,)"
         R"("ep":"02X1","pt":{"Edition":["Pro"]},"pe":{"Language":"EN-US","Files":3.5,)"
         R"("std-inc":"false","t":"2024-02-29T23:59:59.002Z"},"rt":[)"
         R"({"t":"2024-02-29T23:59:59.002Z","s":"01234567-89ab-cdef-0123-456789abcdef","g":"$b"},)"
         R"({"t":"2024-02-29T23:59:59.002+05:45","s":"01234567-89ab-cdef-0123-456789abcdef",)"
         R"("m":"Viewer_open","v":{"File":"a.qwd","Size":12.0},"se":{"Theme":"dark"}}],)"
         R"("can":"Viewer","cav":"7"})";
}

BuiltRecord Record(const std::string& json) {
  MemoryOutputStream memory;
  GZipOutputStream gzip(&memory);
  gzip.Write(json.data(), json.size());
  gzip.Flush();
  BuiltRecord record;
  record.bytes = memory.Join();
  return record;
}

std::string CacheFile() {
  MemoryOutputStream memory;
  ChunkOutputStream chunks(&memory);
  for (const char* const text : {R"({"a":1})", R"({"a":[2,"x"]})"}) {
    const BuiltRecord record = Record(text);
    chunks.Write(record.bytes.data(), record.bytes.size());
  }
  const std::vector<uint8_t> bytes = memory.Join();
  return {bytes.begin(), bytes.end()};
}

std::string SettingsJson() {
  std::string text = R"({"disabled":0,"inhibit":["mouse-moved","key"],)"
                     R"("gateway":"https://gateway.example/tavgateway/")";
  for (const NumberSetting& setting :
       {Setting::kFlushTime, Setting::kPauseTime, Setting::kTerminateTime, Setting::kMaxRecordSize,
        Setting::kMaxEventsPerMinute}) {
    text += ",\"" + std::string(setting.name) + "\":" + std::to_string(setting.max);
  }
  return text + "}";
}

std::string StorageFile() {
  const Testing::TempFolder work;
  PersistentStorage storage{StorageLocation{Testing::Utf8(work.Root()), ""}};
  storage.Open(PersistentStorage::Access::Update);
  const ProductIdentity product{"Editor", "1.0", "wntx64"};
  ConfigManager(product).SaveToStorage(&storage, ParseSettings(SettingsJson()).value());
  PersistentStorage::ProductEnvView values(&storage, product,
                                           PersistentStorage::ProductEnvView::Section::Values,
                                           PersistentStorage::Access::Update);
  values.SetValue("Edition", std::string("Pro"));
  values.SetValue("Files", EnvValue::Number(3.5));
  PersistentStorage::ClientView(&storage).SetValue("OS", std::string("Windows"));
  storage.CloseAndSave();
  return work.Contents("TavData");
}

std::string RunBlockBytes() {
  RunBlock run;
  run.product = {"Editor", "1.0", "wntx64"};
  run.endpointId = "02X1";
  run.tags["Edition"] = {"Pro"};
  run.breadcrumbLength = 10;
  const std::vector<std::byte> bytes = EncodeRunBlock(run);
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

void PutLibrarySeeds() {
  Put("cache_fuzz", "chunks", 0, CacheFile());
  Put("cache_fuzz", "lines", 0, "{\"a\":1}\n{\"a\":2}\n\n{\"a\":[]}\n");
  PutCalls("cache_fuzz", 4, 300, 1);
  Put("journal_fuzz", "run_block", 0, RunBlockBytes());
  PutCalls("journal_fuzz", 8, 400, 1);
  Put("storage_fuzz", "file", 0, StorageFile());
  PutCalls("storage_fuzz", 4, 300, 1);
  Put("settings_fuzz", "all", ' ', SettingsJson());
  Put("settings_fuzz", "wrong", ' ', R"({"gateway":"file:///C:/x","flush_time":1e308,"a":null})");
  PutCalls("record_fuzz", 8, 500, 1);
  PutCalls("table_fuzz", 16, 500, 1);
  Put("text_fuzz", "utf8", 7, "\x05n\xC3\xA4me\xE6\x95\xB0\"\\\n\xF0\x9F\x98\x80 end");
  Put("text_fuzz", "latin1", 3, "\x02n\xE4m\xE9 \x80\xFF");
  Put("text_fuzz", "long", 3, std::string(3000, '\xC3'));
  const BuiltRecord record = Record(RecordJson());
  Put("block_fuzz", "block", 0, ToDataBlock(record));
  const std::string gzip(record.bytes.begin(), record.bytes.end());
  Put("block_fuzz", "gzip", 100, gzip);
  Put("block_fuzz", "text", 2, RecordJson());
}

void PutToolSeeds() {
  Put("tavcat_fuzz", "cache", 0, CacheFile());
  Put("tavcat_fuzz", "storage", 1, StorageFile());
  Put("tavcat_fuzz", "copy", 2, StorageFile());
  const std::string plain(
      "\x01/\x00\x10"
      "application/json",
      20);
  Put("gateway_fuzz", "record", 0, plain + RecordJson());
  Put("gateway_fuzz", "faults", 1,
      R"([{"kind":"status","status":503,"count":2},{"kind":"hang","store":true},)"
      R"({"kind":"delay","milliseconds":20,"count":1}])");
  PutCalls("gateway_fuzz", 4, 60, 2);
  Put("gateway_fuzz", "question", 3,
      std::string("\x01\x04\x00", 3) + "product=Editor&from=0&to=5&name=a%20b&limit=5");
  Put("gateway_fuzz", "settings", 4, SettingsJson());
  Put("http_fuzz", "counted", 40,
      "HTTP/1.1 200 OK\r\nContent-Length: 5\r\nRetry-After: 120\r\n\r\nhello");
  Put("http_fuzz", "chunked", 3,
      "HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
      "5\r\nhello\r\n3;x\r\nabc\r\n0\r\nA: b\r\n\r\n");
  Put("http_fuzz", "closed", 40, "HTTP/1.0 503 Busy\r\nConnection: close\r\n\r\nbusy");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: fuzz_seeds FOLDER\n");
    return 2;
  }
  folder = argv[1];
  PutLibrarySeeds();
  PutToolSeeds();
  return 0;
}
