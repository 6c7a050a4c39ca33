// The settings of the burst test with its limits, as a document and as records.
#ifndef VOMO_APP_BURST_SETTINGS_H
#define VOMO_APP_BURST_SETTINGS_H

#include <vomo.h>

#include <optional>

#include "settings_document.h"

namespace app {

// What the command line says about the settings. Without a kind the changes must tell it.
struct BurstSettingsRequest : SettingsChanges {
  std::optional<int> kind;  // 1 burst train, 2 pulse-width coded
};

struct BurstSettings {
  VomoLFTestParams params = {};
  // The least value that a minimum and the greatest that a maximum may have; 0 is no limit.
  VomoLFTestResults sLimits = {};
};

// The settings in it, without what the test writes.
extern const RecordType kBurstSettingsType;
extern const RecordType kBurstResultsType;

// The built-in set of a kind as a document ready to edit.
Json BuiltInBurstSettings(int kind);

// The complete, checked document that a request leads to.
Json ResolveBurstSettings(const BurstSettingsRequest &request);

// Throws Failure.
BurstSettings LoadBurstSettings(const Json &document);

}  // namespace app

#endif
