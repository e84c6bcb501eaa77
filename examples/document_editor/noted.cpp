#include "noted.h"

#include <string_view>

namespace DocumentEditor {

int Notebook::Add(Note note) {
  note.serial = ++lastSerial_;
  return notes_.emplace_back(std::move(note)).serial;
}

int Notebook::AddBegin(const char* label) {
  const int session = Add(Note("begin", label));
  notes_.back().session = session;
  return session;
}

void Notebook::AddEnd(int session) {
  Note note("end");
  note.session = session;
  Add(std::move(note));
}

void Settings::SetVersionQualifier(const char* qualifier) {
  tav_.SetVersionQualifier(qualifier);
  Remember("SetVersionQualifier", "", JsonText(std::string_view(qualifier)));
}

void Settings::SetCustomerIdentifier(const char* id) {
  tav_.SetCustomerIdentifier(id);
  Remember("SetCustomerIdentifier", "", JsonText(std::string_view(id)));
}

void Settings::SetUserIdentifier(const char* id) {
  tav_.SetUserIdentifier(id);
  Remember("SetUserIdentifier", "", JsonText(std::string_view(id)));
}

void Settings::SetProductContext(const char* context) {
  tav_.SetProductContext(context);
  Remember("SetProductContext", "", JsonText(std::string_view(context)));
}

void Settings::SetProductComponentName(const char* name) {
  tav_.SetProductComponentName(name);
  Remember("SetProductComponentName", "", JsonText(std::string_view(name)));
}

void Settings::AddTag(int category, const char* tag) {
  tav_.AddTag(category, tag);
  Remember("AddTag", std::to_string(category), JsonText(std::string_view(tag)));
}

void Settings::AddProductInfoMap(const char* key, std::initializer_list<Property> members) {
  std::vector<Tav::Host::Member> passed;
  for (const Property& member : members) {
    if (const auto* text = std::get_if<std::string>(&member.value)) {
      passed.emplace_back(member.name, *text);
    } else {
      passed.emplace_back(member.name, std::get<double>(member.value));
    }
  }
  tav_.AddProductInfoMap(key, passed);
  Remember("AddProductInfoMap", key, JsonText(std::span(members.begin(), members.size())));
}

void Settings::AddProductInfoList(const char* key, std::initializer_list<const char*> items) {
  tav_.AddProductInfoList(key, std::vector<const char*>(items));
  std::string list;
  for (const char* item : items) {
    list += (list.empty() ? "" : ", ") + JsonText(std::string_view(item));
  }
  Remember("AddProductInfoList", key, '[' + list + ']');
}

}  // namespace DocumentEditor
