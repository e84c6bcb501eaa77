#include "config/config_loader.h"

#include <utility>

#include "config/gateway_url.h"
#include "config/server_urls.h"
#include "util/format.h"
#include "util/logger.h"

namespace Tav {

ConfigLoader::ConfigLoader(std::string url) : url_(std::move(url)) {
  progress_.Note();
}

void ConfigLoader::Main() try {
  TAV_TRACE("CL: Inside config loader");
  if (const std::unique_ptr<DataSender> sender = CreateDataSender(url_)) {
    sender->ReportTo(&progress_);
    answer_ = sender->Fetch();
    const std::string server = url_.substr(0, url_.find('?'));
    if (answer_.empty() && ParseWebUrl(server)) {
      LogWarning("CL: No settings from '%s'. The present settings stay in force",
                 UrlForLog(server).c_str());
    }
  }
  TAV_TRACE("CL: Config loader is done");
} catch (...) {
  LogException("CL: ", "Out of memory in config loader");
}

ConfigLoaderPtr CreateConfigLoader(const ProductIdentity& product,
                                   const std::string& hostUrl,
                                   const Deployment& deployment) {
  std::string url =
      ChooseUrl(hostUrl, kConfigurationUrlVariable, {}, kConfigurationUrls, deployment).url;
  url += "?N=" + UrlEncode(product.name);
  url += "&V=" + UrlEncode(product.version);
  url += "&P=" + UrlEncode(product.platform);
  return ConfigLoaderPtr(new ConfigLoader(std::move(url)));
}

}  // namespace Tav
