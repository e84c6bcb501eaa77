#include "session/run_parts.h"

#include <utility>

#include "session/session_environment.h"

namespace Tav {

namespace {

RecordHeader HeaderOf(const LibraryConfig& config) {
  RecordHeader header;
  header.customerId = config.customerId;
  header.userId = config.userId;
  header.productContext = config.productContext;
  header.productComponentName = config.productComponentName;
  if (config.tags != nullptr) {
    header.tags = *config.tags;
  }
  return header;
}

}  // namespace

RunParts::RunParts(LibraryConfig configOfRun, Thread& thread, WorkQueue& queueOfRun)
    : config(std::move(configOfRun)),
      consent(config.optOut),
      queue(queueOfRun),
      app(config, consent),
      stamps(app.Product().Identity(), config.storage),
      intake(consent, app.Config()),
      journal(queueOfRun),
      builder(app.Product(), app.Machine().Client(), consent),
      delivery(app, stamps, builder, intake, consent, journal, queueOfRun.Reader()),
      flush(delivery),
      finalDelivery(delivery, flush, journal),
      recovery(config, consent, app, intake, builder, journal, delivery),
      requests(thread, delivery, recovery),
      items(queueOfRun, requests, app, intake, delivery) {
  config.productValues.reset();
  builder.Header().Set(HeaderOf(config));
  builder.SetSessionEnvironment(MakeSessionEnvironment(config.sessionEnvironment.get()));
  builder.SetBreadcrumbLength(config.breadcrumbLength);
}

}  // namespace Tav
