#include "settings_document.h"

#include <fmt/format.h>

#include "failure.h"
#include "json_file.h"

namespace app {
namespace {

Json ReadDocument(const std::string &path) {
  Json document =
      ReadJsonFile(path, "the settings file", "vomo settings prints a set to start from");
  if (document.is_object()) return document;
  throw Failure(ExitCode::kWrongUsage,
                fmt::format("the settings file {}: expected an object of settings", path));
}

// "sFilterParams.dFc=5e6" as {"sFilterParams": {"dFc": 5e6}}. A value that isn't JSON is a text.
Json ParseAssignment(const std::string &assignment) {
  const size_t equals = assignment.find('=');
  if (equals == 0 || equals == std::string::npos) {
    throw Failure(ExitCode::kWrongUsage, fmt::format("--set {}: expected KEY=VALUE", assignment),
                  "--set dTargetUI=125e-12, --set sFilterParams.dFc=5e6");
  }
  const std::string text = assignment.substr(equals + 1);
  Json value = Json::parse(text, nullptr, /*allow_exceptions=*/false);
  if (value.is_discarded()) value = text;
  std::string path = assignment.substr(0, equals);
  while (true) {
    const size_t dot = path.rfind('.');
    Json outer = Json::object();
    outer[path.substr(dot == std::string::npos ? 0 : dot + 1)] = std::move(value);
    value = std::move(outer);
    if (dot == std::string::npos) return value;
    path.resize(dot);
  }
}

// A record made of a document alone.
class LoadedRecord {
 public:
  LoadedRecord(const RecordType &type, const Json &document)
      : type_(type), record_(storage_.Allocate(type.size)) {
    JsonToRecord(type, document, "", record_, &storage_);
  }
  Json ToJson() const { return RecordToJson(type_, record_); }

 private:
  const RecordType &type_;
  RecordStorage storage_;
  void *record_;
};

}  // namespace

std::vector<Json> ReadChanges(const SettingsChanges &changes) {
  std::vector<Json> documents;
  if (!changes.file.empty()) documents.push_back(ReadDocument(changes.file));
  for (const std::string &assignment : changes.assignments) {
    documents.push_back(ParseAssignment(assignment));
  }
  return documents;
}

Json ApplyChanges(const RecordType &type, Json document, const std::vector<Json> &changes) {
  // Each change is tested by itself too, so that what is refused is what was written.
  for (const Json &change : changes) LoadedRecord(type, change);
  for (const Json &change : changes) document.merge_patch(change);
  document = LoadedRecord(type, document).ToJson();
  // Once more: a record that a change brought in has 0 where the change left a field out.
  LoadedRecord(type, document);
  return document;
}

}  // namespace app
