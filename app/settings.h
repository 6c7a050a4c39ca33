// The settings of a run: built-in sets, files, single fields.
#ifndef VOMO_APP_SETTINGS_H
#define VOMO_APP_SETTINGS_H

#include <vomo.h>

#include <optional>
#include <string>

#include "equaliser_settings.h"
#include "run_records.h"
#include "settings_document.h"

namespace app {

// Runs that need more settings than the others.
enum class RunKind { kSignal, kDualPort, kTransmitter };

// What the command line says about the settings.
struct SettingsRequest : SettingsChanges {
  RunKind kind = RunKind::kSignal;
  EqualiserRequest equalisers;  // between the file and the assignments
  std::optional<double> rate;   // bit/s, chooses the built-in set
  std::string dump;             // text of an earlier run's settings, before the other changes
  std::string dump_path;        // pcParameterDumpFile, empty: as the settings say
};

// A parameter record with all that its pointers lead to.
class RunSettings {
 public:
  explicit RunSettings(const Json &document);  // throws Failure
  RunSettings(const RunSettings &) = delete;
  RunSettings &operator=(const RunSettings &) = delete;
  const VomoComplianceParams &params() const { return record_.params; }
  const VomoDualPortParams *dual_port() const { return record_.sDualPort; }
  const RunSettingsRecord &record() const { return record_; }

 private:
  RecordStorage storage_;
  RunSettingsRecord record_ = {};
};

// The built-in set for a bit rate as a document ready to edit.
Json BuiltInSettings(double rate, RunKind kind = RunKind::kSignal);

// The complete, checked document that a request leads to.
Json ResolveSettings(const SettingsRequest &request);

}  // namespace app

#endif
