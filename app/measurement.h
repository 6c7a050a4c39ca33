// A capture or a pair from the command line, and one run of the general flow on it.
#ifndef VOMO_APP_MEASUREMENT_H
#define VOMO_APP_MEASUREMENT_H

#include <vomo.h>

#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "run_input.h"
#include "run_records.h"
#include "terminal.h"

namespace CLI {
class App;
}

namespace app {

// In the margins of a run: no trace was there to be measured.
constexpr uint32_t kNoInterval = 0xFFFFFFFF;

struct CaptureOptions {
  std::vector<std::string> paths;  // one, or the positive and the negative half
  CaptureRequest reading;
  bool combined = false;
  std::optional<double> samples_per_ui;
};

// --s4p: the channel that a run sends its captures through; empty for none.
void AddChannelOption(CLI::App *command, std::string *s4p_path);
void AddCaptureOptions(CLI::App *command, CaptureOptions *options);
// Of them, only the files; or only how they are read and how far their samples are apart.
void AddFileOptions(CLI::App *command, CaptureOptions *options);
void AddIntervalOptions(CLI::App *command, CaptureOptions *options);

// Throw Failure for what can't be read and for halves that don't match; a pair of two files when
// both halves are to come from one is wrong usage.
std::vector<Capture> ReadCaptures(const CaptureOptions &options, StageTimes &times);
std::vector<Capture> ReadCaptures(const CaptureOptions &options, const VomoComplianceParams &params,
                                  StageTimes &times);

// A capture as messages name it.
std::string NameOf(const Capture &capture);

// Of the halves of a pair; says so when they can't be the two halves of one signal.
std::optional<double> CorrelationOf(const std::vector<Capture> &captures);

// The captures as a table of results begins with them, on the standard output.
void PrintCaptures(const std::vector<Capture> &captures, std::optional<double> pair_correlation);

// The least and the greatest voltage of the signal as measured.
std::pair<float, float> VoltageRange(const RunInput &input);

// The results record with what the library wants to find in it before the run.
struct ResultsRecord {
  explicit ResultsRecord(const VomoComplianceParams &params) {
    gen3.psPatternDDj = &pattern;
    if (params.psGen3BaseCompParameters != nullptr) results.psGen3Results = &gen3;
    for (VomoTemplateMargins *margins : {&results.sTransMargins, &results.sNonTransMargins}) {
      margins->ulHighMarginInterval = margins->ulLowMarginInterval = kNoInterval;
    }
  }
  ResultsRecord(const ResultsRecord &) = delete;
  ResultsRecord &operator=(const ResultsRecord &) = delete;

  // The curves are the library's until the next run; from here on they are this record's.
  void KeepCurves() { OwnLists(kComplianceResultsType, &results, &curves_); }

  VomoPatternDDjResult pattern = {};
  VomoGen3Results gen3 = {};
  VomoComplianceResults results = {};

 private:
  RecordStorage curves_;
};

// The filtered jitter of a run, seconds, one value for each clock edge.
class JitterSequence {
 public:
  JitterSequence() = default;
  JitterSequence(const JitterSequence &) = delete;
  JitterSequence &operator=(const JitterSequence &) = delete;
  ~JitterSequence() { Vomo_HANDLE_FREE(handle_); }
  std::span<const double> values() const { return {values_, count_}; }
  double **pointer() { return &values_; }
  uint32_t *count_out() { return &count_; }
  VomoHandle *handle_out() { return &handle_; }

 private:
  double *values_ = nullptr;
  uint32_t count_ = 0;
  VomoHandle handle_ = 0;
};

// Warns on the standard error output of what makes a run's results doubtful.
void WarnOfResults(VomoStatus status, const VomoComplianceParams &params,
                   const VomoComplianceResults &results);

// Runs the general flow; jitter may be NULL. Throws Failure when it fails, and warns on the
// standard error output of what makes its results doubtful.
void Measure(const RunInput &input, const VomoComplianceParams &params,
             VomoComplianceResults *results, JitterSequence *jitter, StageTimes &times);

}  // namespace app

#endif
