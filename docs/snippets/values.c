// Examples: identity, product environment, session environment.
#include "snippets.h"

void ShowIdentity(const TavEntryTable* tav) {
  //! [SetVersionQualifier]
  tav->SetVersionQualifier("beta");  // "4.2" is sent as "4.2 - beta"
  //! [SetVersionQualifier]

  //! [SetCustomerIdentifier] [SetUserIdentifier]
  tav->SetCustomerIdentifier("customer-1187");
  tav->SetUserIdentifier("jo@example.com");  // only a digest leaves the process
  //! [SetCustomerIdentifier] [SetUserIdentifier]

  //! [SetProductContext] [SetProductComponentName]
  tav->SetProductContext("Classroom");
  tav->SetProductComponentName("Viewer");
  //! [SetProductContext] [SetProductComponentName]

  //! [AddTag]
  tav->AddTag(TAV_TAG_EDITION, "Professional");
  tav->AddTag(TAV_TAG_LICENSING_MODEL, "Subscription");
  //! [AddTag]
}

void ShowProductValues(const TavEntryTable* tav) {
  //! [AddProductInfo] [AddNumericProductInfo]
  // Sent once and after changes, not with each event.
  tav->AddProductInfo("Theme", "Dark");
  tav->AddNumericProductInfo("Displays", 2.0);
  //! [AddProductInfo] [AddNumericProductInfo]

  //! [NewMapValue] [AddStringValue] [AddNumericValue]
  TavValue_s* licence = tav->NewMapValue();
  tav->AddStringValue(licence, "Kind", "Floating");
  tav->AddNumericValue(licence, "Seats", 25.0);
  tav->AddProductInfoValue("Licence", licence);  // consumes the map
  //! [NewMapValue] [AddStringValue] [AddNumericValue]

  //! [NewListValue] [AddListValue] [AddProductInfoValue]
  TavValue_s* plugins = tav->NewListValue();
  tav->AddListValue(plugins, "Spelling");
  tav->AddListValue(plugins, "Export");
  tav->AddProductInfoValue("Plugins", plugins);  // consumes the list
  //! [NewListValue] [AddListValue] [AddProductInfoValue]

  //! [AddSessionEnvInfo] [AddNumericSessionEnvInfo]
  // Carried by every event, command and error of the run: few and short.
  tav->AddSessionEnvInfo("Licence", "Trial");
  tav->AddNumericSessionEnvInfo("TrialDay", 3.0);
  //! [AddSessionEnvInfo] [AddNumericSessionEnvInfo]
}
