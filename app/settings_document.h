// Settings as documents: a built-in set, changed by a file and by single fields.
#ifndef VOMO_APP_SETTINGS_DOCUMENT_H
#define VOMO_APP_SETTINGS_DOCUMENT_H

#include <string>
#include <vector>

#include "record_fields.h"

namespace app {

// What the command line says about single fields, applied in this order.
struct SettingsChanges {
  std::string file;                      // JSON with any of the fields
  std::vector<std::string> assignments;  // key=value, dots between nested keys
};

// One document for the file and each assignment; not tested against any record.
std::vector<Json> ReadChanges(const SettingsChanges &changes);

// The complete, checked document of a record that these changes of a document lead to. Throws
// Failure as JsonToRecord does.
Json ApplyChanges(const RecordType &type, Json document, const std::vector<Json> &changes);

}  // namespace app

#endif
