#include "gateway/server.h"

#include <algorithm>
#include <thread>
#include <utility>

#include "gateway/api.h"
#include "gateway/page/page_files.h"
#include "gateway/record_reader.h"

namespace Gateway {
namespace {

// Tav accepts text/* only.
constexpr const char* kTextType = "text/plain; charset=utf-8";
constexpr const char* kJsonType = "application/json; charset=utf-8";
constexpr const char* kLivePath = "/api/live";

// With a durable store the list shows what has arrived lately. Without one it has every record, but
// clients must not be able to fill the memory.
constexpr std::size_t kMaxRecentRecords = 1000;
constexpr std::size_t kMaxRecentBytes = std::size_t{64} * 1024 * 1024;
constexpr std::size_t kNoLimit = static_cast<std::size_t>(-1);
constexpr std::size_t kMaxListedBytes = std::size_t{1024} * 1024 * 1024;
constexpr unsigned kQueryThreads = 2;

bool IsGet(const HttpRequest& request) {
  return request.method == "GET" || request.method == "HEAD";
}

bool IsConfigurationRequest(const HttpRequest& request) {
  const auto& parameters = request.parameters;
  return IsGet(request) && parameters.contains("N") && parameters.contains("V") &&
         parameters.contains("P");
}

bool IsForPage(const HttpRequest& request) {
  return Api::Owns(request.path) || request.path == kLoginPath ||
         (IsGet(request) && FindPageFile(request.path) &&
          IsForBrowser(request.path, HeaderValue(request.headers, "accept")));
}

HttpResponse TextAnswer(int status, std::string text) {
  HttpResponse response;
  response.status = status;
  response.contentType = kTextType;
  response.body = std::move(text);
  return response;
}

HttpResponse FileAnswer(const StaticFile& file, const HttpRequest& request) {
  HttpResponse response;
  AddPageHeaders(response, "no-cache");
  response.headers.emplace_back("ETag", file.etag);
  if (HeaderValue(request.headers, "if-none-match") == file.etag) {
    response.status = 304;
    return response;
  }
  response.contentType = file.contentType;
  response.body = file.bytes;
  return response;
}

// Whether the record of a request is stored in spite of the fault.
bool IsStored(const std::optional<Fault>& fault) {
  return !fault || fault->store || fault->kind == FaultKind::Delay ||
         (fault->kind == FaultKind::Status && fault->status == 200);
}

// Ends the exchange with the answer, or with what the fault makes of it.
void Finish(Exchange& exchange, const std::optional<Fault>& fault, HttpResponse response) {
  if (!fault || fault->kind == FaultKind::Delay) {
    exchange.Answer(std::move(response));
  } else if (fault->kind == FaultKind::Status) {
    exchange.Answer(
        TextAnswer(fault->status, "status " + std::to_string(fault->status) + " on demand\n"));
  } else if (fault->kind == FaultKind::Hang) {
    exchange.Hold();
  } else {
    exchange.Drop();
  }
}

}  // namespace

Server::Server(ServerOptions options)
    : options_(std::move(options)),
      records_([this](const Record& record) { Announce(record); },
               options_.store ? kMaxRecentRecords : kNoLimit,
               options_.store ? kMaxRecentBytes : kMaxListedBytes),
      readers_(std::max(1U, std::thread::hardware_concurrency())),
      queries_(kQueryThreads) {
  http_ = std::make_unique<HttpServer>(options_.limits,
                                       [this](const ExchangePtr& exchange) { Handle(exchange); });
  if (!options_.settingsFile.empty()) {
    settings_ = std::make_unique<SettingsFile>(options_.settingsFile);
  }
  const auto onReset = [this] {
    http_->CancelDelays();
    http_->EndHeld();
  };
  api_ = std::make_unique<Api>(records_, faults_, onReset, options_.store.get(), settings_.get());
}

// The store calls back with exchanges that wait for it, so it ends before the connections do.
Server::~Server() {
  readers_.Stop();
  queries_.Stop();
  options_.store.reset();
}

void Server::Run() {
  http_->Run();
  readers_.Stop();
  queries_.Stop();
  options_.store.reset();
}

void Server::Handle(const ExchangePtr& exchange) {
  const HttpRequest& request = exchange->Request();
  if (request.role != PortRole::Uploads && !IsConfigurationRequest(request) && IsForPage(request)) {
    return HandlePage(exchange);
  }
  if (request.role == PortRole::Page || Api::Owns(request.path)) {
    return exchange->Answer(TextAnswer(404, "not at this port\n"));
  }
  if (!IsGet(request) && request.method != "POST") {
    return exchange->Answer(TextAnswer(405, "only GET and POST\n"));
  }
  if (!IsGet(request) || IsConfigurationRequest(request)) {
    if (auto refusal = guard_->CheckClient(request)) {
      return exchange->Answer(*std::move(refusal));
    }
  }
  IsGet(request) ? HandleGet(exchange) : HandleRecord(exchange);
}

void Server::HandlePage(const ExchangePtr& exchange) {
  const HttpRequest& request = exchange->Request();
  if (auto refusal = guard_->Check(request)) {
    return exchange->Answer(*std::move(refusal));
  }
  if (Api::Owns(request.path)) {
    return HandleApi(exchange);
  }
  if (request.path == kLoginPath) {
    return exchange->Answer(guard_->Login(request));
  }
  const std::optional<StaticFile> file = FindPageFile(request.path);
  exchange->Answer(file ? FileAnswer(*file, request) : TextAnswer(404, "not here\n"));
}

void Server::HandleApi(const ExchangePtr& exchange) {
  if (exchange->Request().path == kLivePath && exchange->Request().method == "GET") {
    return exchange->Follow(live_);
  }
  queries_.Run([this, exchange] { AnswerApi(*exchange); });
}

void Server::AnswerApi(Exchange& exchange) {
  const HttpRequest& request = exchange.Request();
  std::string body = exchange.TakeBody();
  ApiAnswer answer =
      api_->Handle({request.method, request.path, request.parameters, std::move(body)});
  HttpResponse response;
  response.status = answer.status;
  response.contentType = kJsonType;
  response.body = std::move(answer.body);
  AddPageHeaders(response);
  exchange.Answer(std::move(response));
}

void Server::HandleGet(const ExchangePtr& exchange) {
  const bool isConfiguration = IsConfigurationRequest(exchange->Request());
  Count(*exchange, isConfiguration ? RequestKind::Configuration : RequestKind::Other);
  const std::optional<Fault> fault = TakeFault(exchange->Request());
  AfterDelay(exchange, fault, [this, exchange, fault, isConfiguration] {
    if (!isConfiguration) {
      return Finish(*exchange, fault, HttpResponse());
    }
    readers_.Run([this, exchange, fault] { AnswerConfiguration(exchange, fault); });
  });
}

void Server::AnswerConfiguration(const ExchangePtr& exchange, const std::optional<Fault>& fault) {
  if (options_.events.onConfigurationRequest) {
    options_.events.onConfigurationRequest(exchange->Request().target);
  }
  const std::optional<std::string> settings =
      options_.readSettings ? options_.readSettings() : std::string("{}");
  Finish(*exchange, fault,
         TextAnswer(settings ? 200 : 500, settings.value_or("the settings cannot be read\n")));
}

void Server::HandleRecord(const ExchangePtr& exchange) {
  Count(*exchange, RequestKind::Record);
  const std::optional<Fault> fault = TakeFault(exchange->Request());
  AfterDelay(exchange, fault, [this, exchange, fault] {
    readers_.Run([this, exchange, fault] { ReceiveRecord(exchange, fault); });
  });
}

void Server::ReceiveRecord(const ExchangePtr& exchange, const std::optional<Fault>& fault) {
  if (!IsStored(fault)) {
    records_.CountRefused();
    return Finish(*exchange, fault, HttpResponse());
  }
  const HttpRequest& request = exchange->Request();
  std::string body = exchange->TakeBody();
  Record record = ReadRecord({request.target, request.headers, std::move(body)},
                             options_.maxExpandedBytes, options_.store != nullptr);
  if (options_.store) {
    return StoreRecord(exchange, std::move(record), fault);
  }
  records_.Add(std::move(record));
  Finish(*exchange, fault, HttpResponse());
}

void Server::StoreRecord(const ExchangePtr& exchange,
                         Record record,
                         const std::optional<Fault>& fault) {
  record.arrival = std::chrono::system_clock::now();
  const auto kept = std::make_shared<const Record>(std::move(record));
  // The log may block; the store's thread must not.
  options_.store->Add(kept, [this, exchange, fault, kept](const AddResult& result) {
    readers_.Run([this, exchange, fault, kept, result] {
      HttpResponse response;
      response.status = OnStored(*kept, result);
      Finish(*exchange, fault, std::move(response));
    });
  });
}

int Server::OnStored(const Record& record, const AddResult& result) {
  if (result.outcome == AddOutcome::Failed) {
    records_.CountRefused();
    if (options_.events.onStoreFailure) {
      options_.events.onStoreFailure(result.reason);
    }
    return 503;
  }
  if (result.outcome != AddOutcome::Expired) {
    Record listed = record;
    listed.rows.reset();
    records_.Add(std::move(listed));
  }
  return 200;
}

void Server::Announce(const Record& record) {
  if (options_.events.onRecord) {
    options_.events.onRecord(record);
  }
  if (live_.HasFollowers()) {
    live_.Publish("record", LiveRecordJson(record));
  }
}

void Server::Count(Exchange& exchange, RequestKind kind) {
  if (exchange.MarkConnectionUsed()) {
    records_.CountConnection();
  }
  records_.CountRequest(kind);
}

std::optional<Fault> Server::TakeFault(const HttpRequest& request) {
  const std::optional<Fault> fault = faults_.Take();
  if (fault && options_.events.onFault) {
    // The log may block; the I/O threads must not.
    readers_.Run([this, target = request.target, taken = *fault] {
      options_.events.onFault(target, taken);
    });
  }
  return fault;
}

void Server::AfterDelay(const ExchangePtr& exchange,
                        const std::optional<Fault>& fault,
                        std::function<void()> next) {
  if (!fault || fault->kind != FaultKind::Delay) {
    return next();
  }
  http_->After(fault->delay, [exchange, next = std::move(next)](bool isOver) {
    isOver ? next() : exchange->Drop();
  });
}

}  // namespace Gateway
