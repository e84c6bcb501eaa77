#include "gateway/server.h"

#include <httplib.h>

#include <algorithm>
#include <cctype>
#include <utility>

#include "gateway/api.h"
#include "gateway/http_server.h"
#include "gateway/record_reader.h"

namespace Gateway {
namespace {

// "." would not match line ends, which a path may contain in encoded form.
constexpr const char* kAnyPath = "[\\s\\S]*";

// Tav accepts text/* only.
constexpr const char* kTextType = "text/plain; charset=utf-8";
constexpr const char* kJsonType = "application/json; charset=utf-8";

std::string LowerCase(std::string text) {
  std::ranges::transform(text, text.begin(),
                         [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

Headers CopyHeaders(const httplib::Request& request) {
  Headers headers;
  for (const auto& [name, value] : request.headers) {
    headers.emplace(LowerCase(name), value);
  }
  for (const std::string name : {"content-encoding", "content-type"}) {
    if (const std::string value = HttpServer::OriginalHeader(request, name); !value.empty()) {
      headers[name] = value;
    }
  }
  return headers;
}

bool IsConfigurationRequest(const httplib::Request& request) {
  return request.has_param("N") && request.has_param("V") && request.has_param("P");
}

// Whether the record of a request is stored in spite of the fault.
bool IsStored(const std::optional<Fault>& fault) {
  return !fault || fault->store || fault->kind == FaultKind::Delay ||
         (fault->kind == FaultKind::Status && fault->status == 200);
}

// Applies the fault to the answer or to the connection.
void Inject(const Fault& fault, httplib::Response& response) {
  switch (fault.kind) {
    case FaultKind::Delay:
      break;
    case FaultKind::Status:
      response.status = fault.status;
      // These two have no body.
      if (fault.status == 204 || fault.status == 304) {
        response.body.clear();
      } else {
        response.set_content("status " + std::to_string(fault.status) + " on demand\n", kTextType);
      }
      break;
    case FaultKind::Hang:
      Connection::Current()->HoldUntilClosed();
      break;
    case FaultKind::Drop:
      Connection::Current()->Abandon();
      break;
  }
}

}  // namespace

Server::Server(ServerOptions options)
    : options_(std::move(options)), store_(options_.events.onRecord) {
  api_ = std::make_unique<Api>(store_, faults_, [this] {
    delays_.Cancel();
    http_->EndHeldConnections();
  });
}

Server::~Server() = default;

bool Server::Listen(std::string& error) {
  SslContextPtr context;
  if (options_.https) {
    context = options_.certificateFile.empty()
                  ? CreateSelfSignedContext(error)
                  : CreateContextFromFiles(options_.certificateFile, options_.keyFile, error);
    if (!context) {
      return false;
    }
  }
  http_ = std::make_unique<HttpServer>(std::move(context), [this] { delays_.Close(); });
  AddRoutes();
  port_ = http_->Bind(options_.address, options_.port);
  if (port_ < 0) {
    error = "cannot listen on " + options_.address + " port " + std::to_string(options_.port) +
            ": the address is not this machine's, or another program has the port";
    return false;
  }
  return true;
}

std::string Server::Url() const {
  const bool needsBrackets = options_.address.find(':') != std::string::npos;
  return (options_.https ? "https://" : "http://") +
         (needsBrackets ? '[' + options_.address + ']' : options_.address) + ':' +
         std::to_string(port_);
}

void Server::Run() {
  http_->Run();
}

void Server::Stop() {
  http_->Stop();
}

void Server::AddRoutes() {
  http_->Get(kAnyPath, [this](const httplib::Request& request, httplib::Response& response) {
    HandleGet(request, response);
  });
  http_->Post(kAnyPath, [this](const httplib::Request& request, httplib::Response& response,
                               const httplib::ContentReader& reader) {
    HandlePost(request, response, reader);
  });
}

void Server::HandleGet(const httplib::Request& request, httplib::Response& response) {
  if (Api::Owns(request.path)) {
    return HandleApi(request, {}, response);
  }
  const bool isConfiguration = IsConfigurationRequest(request);
  Count(isConfiguration ? RequestKind::Configuration : RequestKind::Other);
  const std::optional<Fault> fault = TakeFault(request);
  if (!WaitFor(fault)) {
    return;
  }
  response.status = 200;
  if (isConfiguration) {
    AnswerConfiguration(request, response);
  }
  if (fault) {
    Inject(*fault, response);
  }
}

void Server::HandlePost(const httplib::Request& request,
                        httplib::Response& response,
                        const httplib::ContentReader& reader) {
  std::string body;
  const bool isComplete = reader([&](const char* data, size_t size) {
    // The library checks the size of bodies with a Content-Length; chunked ones are checked here.
    body.append(data, std::min(size, HttpServer::kMaxBodyBytes + 1 - body.size()));
    return body.size() <= HttpServer::kMaxBodyBytes;
  });
  if (!isComplete) {
    // The library has set the status. The rest of the body would be taken for the next request.
    Connection::Current()->CloseAfterAnswer();
    response.status = body.size() > HttpServer::kMaxBodyBytes ? 413 : response.status;
  } else if (Api::Owns(request.path)) {
    HandleApi(request, std::move(body), response);
  } else {
    HandleRecord(request, std::move(body), response);
  }
}

void Server::HandleApi(const httplib::Request& request,
                       std::string body,
                       httplib::Response& response) {
  ApiAnswer answer = api_->Handle({request.method, request.path, request.params, std::move(body)});
  response.status = answer.status;
  response.body = std::move(answer.body);
  response.set_header("Content-Type", kJsonType);
}

void Server::HandleRecord(const httplib::Request& request,
                          std::string body,
                          httplib::Response& response) {
  Count(RequestKind::Record);
  const std::optional<Fault> fault = TakeFault(request);
  if (!WaitFor(fault)) {
    return;
  }
  if (IsStored(fault)) {
    store_.Add(ReadRecord({request.target, CopyHeaders(request), std::move(body)}));
  } else {
    store_.CountRefused();
  }
  response.status = 200;
  if (fault) {
    Inject(*fault, response);
  }
}

void Server::AnswerConfiguration(const httplib::Request& request, httplib::Response& response) {
  if (options_.events.onConfigurationRequest) {
    options_.events.onConfigurationRequest(request.target);
  }
  const std::optional<std::string> settings =
      options_.readSettings ? options_.readSettings() : std::string("{}");
  response.status = settings ? 200 : 500;
  response.set_content(settings.value_or("the settings cannot be read\n"), kTextType);
}

void Server::Count(RequestKind kind) {
  if (Connection::Current()->MarkUsed()) {
    store_.CountConnection();
  }
  store_.CountRequest(kind);
}

std::optional<Fault> Server::TakeFault(const httplib::Request& request) {
  const std::optional<Fault> fault = faults_.Take();
  if (fault && options_.events.onFault) {
    options_.events.onFault(request.target, *fault);
  }
  return fault;
}

bool Server::WaitFor(const std::optional<Fault>& fault) {
  const bool isWaiting = fault && fault->kind == FaultKind::Delay;
  if (isWaiting && !delays_.Wait(fault->delay)) {
    Connection::Current()->Abandon();
    return false;
  }
  return true;
}

}  // namespace Gateway
