// A storage in a folder of its own, the log, and short names for what the tests work with.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "storage/storage_views.h"
#include "support/storage_folder.h"

namespace Tav::Testing {

using Access = PersistentStorage::Access;
using Changes = PersistentStorage::Changes;
using ClientView = PersistentStorage::ClientView;
using InhibitEventView = PersistentStorage::InhibitEventView;
using ProductEnvView = PersistentStorage::ProductEnvView;
using ProductView = PersistentStorage::ProductView;
using Section = ProductEnvView::Section;

inline ProductIdentity Product(const std::string& name, const std::string& version = "1.0") {
  return {name, version, "wntx64"};
}

class StorageTest : public testing::Test {
 protected:
  // Opens for update, works on the document and saves it.
  template <typename Work>
  void Change(const Work& work) {
    ASSERT_TRUE(storage_.Open(Access::Update));
    ASSERT_FALSE(storage_.HadOpenError());
    work();
    storage_.CloseAndSave();
  }

  // The names of the products that an open finds, each with a comma. The document stays open.
  std::string Products(Access access = Access::Read, bool timestamps = false) {
    EXPECT_TRUE(timestamps ? storage_.OpenTimestamps(access) : storage_.Open(access));
    std::string names;
    for (const ProductIdentity& product : storage_.GetProducts()) {
      names += product.name + ",";
    }
    return names;
  }

  void AddProduct(const char* name) {
    const ProductView added(&storage_, Product(name), Access::Update);
  }

  // The parts of the product "App" in the open document.
  ProductView AppView(Access access = Access::Read) { return {&storage_, app_, access}; }
  ProductEnvView Values(Access access = Access::Read) {
    return {&storage_, app_, Section::Values, access};
  }
  ProductEnvView Settings(Access access = Access::Read) {
    return {&storage_, app_, Section::Settings, access};
  }
  InhibitEventView Inhibited(Access access = Access::Read) { return {&storage_, app_, access}; }

  const ProductIdentity app_ = Product("App");
  StorageFolder folder_;
  CapturedLog log_;
  PersistentStorage storage_;
};

}  // namespace Tav::Testing
