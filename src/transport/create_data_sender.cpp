#include "transport/data_sender.h"
#include "transport/file_data_sender.h"
#include "transport/http_data_sender.h"
#include "transport/null_data_sender.h"
#include "transport/test_data_sender.h"

namespace Tav {

std::unique_ptr<DataSender> CreateDataSender(const std::string& url) {
  std::string scheme = url.substr(0, 7);
  for (char& character : scheme) {
    if (character >= 'A' && character <= 'Z') {
      character = static_cast<char>(character - 'A' + 'a');
    }
  }
  if (scheme == "file://") {
    return CreateFileDataSender(url);
  }
  if (scheme == "null://") {
    return CreateNullDataSender();
  }
  if (scheme == "test://") {
    return std::make_unique<TestDataSender>();
  }
  return std::make_unique<HttpDataSender>(url);
}

}  // namespace Tav
