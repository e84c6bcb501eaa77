// The storage files and their views. The first byte selects what the rest is: the contents of a
// file, or calls that change a document through its views, between which it is saved, abandoned and
// read again.
#include <algorithm>
#include <map>
#include <set>
#include <vector>

#include "fuzz.h"
#include "storage/storage_views.h"
#include "support/temp_folder.h"

namespace {

using namespace Tav;
using Fuzz::Input;
using Fuzz::Require;
using Storage = PersistentStorage;
using Access = Storage::Access;
using ProductEnvView = Storage::ProductEnvView;
using Section = ProductEnvView::Section;

bool Same(const EnvValue& a, const EnvValue& b) {
  return a.type == b.type && a.text == b.text && a.number == b.number;
}

class Folder {
 public:
  StorageLocation Location() const { return {Testing::Utf8(folder_.Root()), ""}; }
  void Put(std::string_view contents) const { folder_.Put("TavData", std::string(contents)); }

 private:
  const Testing::TempFolder folder_;
};

// The values of a view of a product.
std::map<std::string, EnvValue> ValuesOf(const ProductEnvView& view) {
  std::map<std::string, EnvValue> values;
  for (const std::string& key : view.GetKeys()) {
    const EnvValue value = view.GetValue(key);
    if (value.type != EnvType::None) {
      values[key] = value;
    }
  }
  return values;
}

void Open(Storage& storage, Access access) {
  Require(storage.Open(access) && !storage.HadOpenError(), "a file of one's own can be opened");
}

// Whatever the file holds, it is read, and a saved document has what was set and keeps what it had.
void ReadFile(std::string_view contents) {
  const Folder folder;
  folder.Put(contents);
  Storage storage(folder.Location());
  Open(storage, Access::Read);
  const std::vector<ProductIdentity> products = storage.GetProducts();
  std::vector<std::map<std::string, EnvValue>> before;
  for (const ProductIdentity& product : products) {
    before.push_back(ValuesOf({&storage, product, Section::Values, Access::Read}));
    ValuesOf({&storage, product, Section::Settings, Access::Read});
    const Storage::InhibitEventView inhibited(&storage, product, Access::Read);
    for (size_t i = 0; i <= inhibited.Size(); ++i) {
      inhibited.Get(i);
    }
    const Storage::ProductView view(&storage, product, Access::Read);
    view.GetValue("Server");
  }
  storage.Close(Storage::Changes::Discard);

  Open(storage, Access::Update);
  Require(storage.GetProducts().size() == products.size(), "two reads find the same");
  const ProductIdentity own{"Editor", "1", "wntx64"};
  Storage::ClientView(&storage).Texts();
  ProductEnvView values(&storage, own, Section::Values, Access::Update);
  const bool stored = values.SetValue("Edition", std::string("Pro"));
  Require(stored, "a value can be stored into any document");
  storage.CloseAndSave();

  Open(storage, Access::Read);
  Require(!storage.HadParseError(), "what was saved can be read");
  Require(ProductEnvView(&storage, own, Section::Values, Access::Read).GetValue("Edition", "Pro"),
          "what was saved is found");
  Require(storage.GetProducts().size() >= products.size(), "a save loses no product");
  for (size_t i = 0; i < products.size(); ++i) {
    const auto after = ValuesOf({&storage, products[i], Section::Values, Access::Read});
    for (const auto& [key, value] : before[i]) {
      const auto found = after.find(key);
      Require(found != after.end() && (key == "Edition" || Same(found->second, value)),
              "a save changes no other value");
    }
  }
}

// A document and a model of it.
class Document {
 public:
  explicit Document(Input& input) : input_(input) {}

  // Opens the document, changes it and saves it or not.
  void Change() {
    writable_ = input_.Below(4) != 0;
    Open(storage_, writable_ ? Access::Update : Access::Read);
    Model changed = saved_;
    for (uint32_t count = input_.Below(8); count > 0; --count) {
      Call(changed);
    }
    if (input_.Flag()) {
      storage_.CloseAndSave();
      saved_ = writable_ ? changed : saved_;
      written_ = written_ || writable_;
    } else {
      storage_.Close(Storage::Changes::Discard);
    }
    Check();
  }

 private:
  using Place = std::pair<int, Section>;
  struct Model {
    std::set<int> products;
    std::map<Place, std::map<std::string, EnvValue>> values;
    std::map<int, std::vector<std::string>> inhibited;
  };

  // A host's version may be what JSON does not know as UTF-8.
  static ProductIdentity Product(int index) {
    constexpr const char* kVersions[] = {"1", "2 \xC3\xA4", "\xED\xA0\x80"};
    return {"Product", kVersions[index], "p"};
  }
  Access ViewAccess() const { return writable_ ? Access::Update : Access::Read; }

  void Call(Model& model) {
    const int product = static_cast<int>(input_.Below(3));
    if (input_.Below(8) == 0) {
      Require(storage_.RemoveProduct(Product(product)) == (model.products.erase(product) > 0),
              "a product that is there can be removed");
      model.values.erase({product, Section::Values});
      model.values.erase({product, Section::Settings});
      model.inhibited.erase(product);
      return;
    }
    if (input_.Below(4) == 0) {
      ChangeInhibited(model, product);
    } else {
      ChangeValue(model, product);
    }
    if (writable_) {
      model.products.insert(product);
    }
  }

  void ChangeInhibited(Model& model, int product) {
    Storage::InhibitEventView view(&storage_, Product(product), ViewAccess());
    const std::string name = input_.CText();
    const bool clear = input_.Below(4) == 0;
    const size_t before = view.Size();
    clear ? view.Clear() : view.Append(name);
    if (!writable_) {
      Require(view.Size() == before, "a view for reading changes nothing");
    } else if (clear) {
      model.inhibited[product].clear();
    } else if (view.Size() > before) {
      model.inhibited[product].push_back(name);
    }
  }

  void ChangeValue(Model& model, int product) {
    const Section section = input_.Flag() ? Section::Values : Section::Settings;
    ProductEnvView view(&storage_, Product(product), section, ViewAccess());
    auto& values = model.values[{product, section}];
    const std::string key = input_.CText();
    switch (input_.Below(4)) {
      case 0:
        if (const EnvValue text = EnvValue::String(std::string(input_.Text()));
            view.SetValue(key, text)) {
          values[key] = text;
        }
        break;
      case 1:
        if (const EnvValue number = EnvValue::Number(input_.Take<double>());
            view.SetValue(key, number)) {
          values[key] = number;
        }
        break;
      case 2:
        Require(view.RemoveValue(key) == (writable_ && values.contains(key)),
                "a value that is there can be removed");
        if (writable_) {
          values.erase(key);
        }
        break;
      case 3:
        if (input_.Below(8) == 0) {
          view.Clear();
          if (writable_) {
            values.clear();
          }
        }
        break;
    }
  }

  void Check() {
    Open(storage_, Access::Read);
    // Without a save, an open for update leaves an empty file.
    Require(!written_ || !storage_.HadParseError(), "what was saved can be read");
    Require(storage_.GetProducts().size() == saved_.products.size(), "the products are found");
    for (const auto& [place, values] : saved_.values) {
      const auto found = ValuesOf({&storage_, Product(place.first), place.second, Access::Read});
      Require(std::ranges::equal(found, values,
                                 [](const auto& a, const auto& b) {
                                   return a.first == b.first && Same(a.second, b.second);
                                 }),
              "the values are those that were set");
    }
    for (const auto& [product, names] : saved_.inhibited) {
      const Storage::InhibitEventView view(&storage_, Product(product), Access::Read);
      Require(view.Size() == names.size(), "the inhibited names are found");
      for (size_t i = 0; i < names.size(); ++i) {
        Require(view.Get(i) == names[i], "inhibited names keep their order");
      }
    }
    storage_.Close(Storage::Changes::Discard);
  }

  Input& input_;
  const Folder folder_;
  Storage storage_{folder_.Location()};
  Model saved_;
  bool writable_ = false;
  bool written_ = false;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  if (input.Byte() % 2 == 0) {
    ReadFile(input.Rest());
    return 0;
  }
  Document document(input);
  for (int i = 0; i < 10 && !input.Empty(); ++i) {
    document.Change();
  }
  return 0;
}
