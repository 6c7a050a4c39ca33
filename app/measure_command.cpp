// vomo measure: one run of the general flow on a capture or on a single-ended pair.
#include <fmt/format.h>
#include <unistd.h>
#include <vomo.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "capture_reader.h"
#include "commands.h"
#include "engineering.h"
#include "output_file.h"
#include "reading_options.h"
#include "result_json.h"
#include "result_rows.h"
#include "settings_command.h"
#include "signal_summary.h"
#include "terminal.h"

namespace app {
namespace {

struct MeasureOptions {
  std::vector<std::string> captures;  // one, or the positive and the negative half
  CaptureRequest reading;
  bool combined = false;
  std::optional<double> samples_per_ui;
  SettingsRequest settings;
  std::string json_path;
  bool timing = false;
};

std::string NameOf(const Capture &capture) {
  if (capture.number() == 0) return capture.path();
  return fmt::format("waveform {} of {}", capture.number(), capture.path());
}

void CheckPair(const std::vector<Capture> &captures) {
  if (captures.size() < 2) return;
  const VomoWaveform &a = *captures[0].waveform(), &b = *captures[1].waveform();
  if (a.ulNumSamples != b.ulNumSamples) {
    throw Failure(
        ExitCode::kUnreadable,
        fmt::format("the pair does not match: {} has {} samples, {} has {}", NameOf(captures[0]),
                    a.ulNumSamples, NameOf(captures[1]), b.ulNumSamples),
        "--max-samples with the smaller number");
  }
  if (a.dSampleInterval != b.dSampleInterval) {
    throw Failure(
        ExitCode::kUnreadable,
        fmt::format("the pair does not match: {} has a sample every {} s, {} every {} s",
                    NameOf(captures[0]), a.dSampleInterval, NameOf(captures[1]), b.dSampleInterval),
        "two captures of one instrument, taken together");
  }
}

// What the library can't yet do with a setting must not pass as done.
void CheckSupported(const VomoComplianceParams &params) {
  if (params.iCTLEFilterParamsCount > 0 || params.psDFEFilterParams != nullptr) {
    throw Failure(ExitCode::kWrongUsage,
                  "settings psCTLEFilterParams and psDFEFilterParams: this version does not "
                  "equalise",
                  "set both to null");
  }
}

std::string MeasureAdvice(VomoStatus status, const VomoComplianceParams &params,
                          const VomoWaveform &waveform) {
  const double samples_per_ui = params.dTargetUI / waveform.dSampleInterval;
  switch (status) {
    case Vomo_STATUS_NOT_ENOUGH_UI:
      return fmt::format("a longer capture, or --set ulMinUIForOfficialTest below {}",
                         params.ulMinUIForOfficialTest);
    case Vomo_STATUS_PARAM_OUT_OF_RANGE:
      return fmt::format(
          "check that the signal crosses 0 V and that {:.4g} samples in a unit "
          "interval (--interval or --spui, --rate) is right: an edge counts when 3 "
          "samples in a row lie beyond it",
          samples_per_ui);
    case Vomo_STATUS_PARAM_NOT_VALID:
      return fmt::format(
          "a smaller dPDFBinSize (now {}) if the signal has next to no jitter, or a "
          "smaller dPointsToTrimPercent (now {:g})",
          Engineering(params.dPDFBinSize, "s", 4), params.dPointsToTrimPercent);
    case Vomo_STATUS_MEMORY_ALLOCATION_FAILED:
      return "--max-samples to measure less of it";
    default:
      return "vomo settings shows what the run is made with";
  }
}

std::pair<float, float> VoltageRange(const std::vector<Capture> &captures) {
  const VomoWaveform &first = *captures.front().waveform();
  const float *a = first.pfSamples;
  const float *b = captures.size() > 1 ? captures[1].waveform()->pfSamples : nullptr;
  float lowest = INFINITY, highest = -INFINITY;
  for (uint32_t i = 0; i < first.ulNumSamples; ++i) {
    const float v = b == nullptr ? a[i] : a[i] - b[i];
    lowest = std::min(lowest, v);
    highest = std::max(highest, v);
  }
  return {lowest, highest};
}

// Of the halves of a pair; says so when they can't be the two halves of one signal.
std::optional<double> CorrelationOf(const std::vector<Capture> &captures) {
  if (captures.size() < 2) return std::nullopt;
  const VomoWaveform &a = *captures[0].waveform(), &b = *captures[1].waveform();
  const double correlation =
      Correlation({a.pfSamples, a.ulNumSamples}, {b.pfSamples, b.ulNumSamples});
  if (correlation > 0) {
    fmt::print(stderr,
               "vomo: warning: {} and {} rise and fall together (correlation {:.4f}): one of them "
               "has the wrong polarity or is of another signal\n",
               NameOf(captures[0]), NameOf(captures[1]), correlation);
  }
  return correlation;
}

std::vector<Capture> ReadCaptures(const MeasureOptions &options, const VomoComplianceParams &params,
                                  StageTimes &times) {
  CaptureRequest request = options.reading;
  if (options.samples_per_ui)
    request.sample_interval_s = params.dTargetUI / *options.samples_per_ui;
  std::vector<Capture> captures;
  for (const std::string &path : options.captures) {
    request.path = path;
    times.Time("read", 0, [&] {
      const CaptureFile file = CaptureFile::Open(request, options.combined ? 2 : 1);
      if (options.combined) {
        captures = Capture::ReadTwo(file, request);
      } else {
        captures.push_back(Capture::Read(file, request));
      }
    });
    times.SetSamples(captures.back().waveform()->ulNumSamples);
    PrintNotes(path, captures.back().notes());
  }
  CheckPair(captures);
  return captures;
}

void Measure(const std::vector<Capture> &captures, const VomoComplianceParams &params,
             VomoComplianceResults *results, StageTimes &times) {
  VomoWaveform *waveform = captures[0].waveform();
  VomoWaveform *complement = captures.size() > 1 ? captures[1].waveform() : nullptr;
  const VomoStatus status = times.Time("measure", waveform->ulNumSamples, [&] {
    const ProgressLine progress("measuring");
    return Vomo_GENERAL_COMPLIANCE(waveform, complement, params, results, nullptr, nullptr, nullptr,
                                   nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
  });
  if (Vomo_STATUS_IS_ERROR(status)) {
    throw StatusFailure(ExitCode::kNotMeasurable, status, "measuring", captures[0].path(),
                        MeasureAdvice(status, params, *waveform));
  }
  if (status != Vomo_STATUS_SUCCESS) {
    fmt::print(stderr, "vomo: warning: {}\n", Vomo_Status_Message(status));
  }
  // Far more than any spread spectrum: then edges were counted into the wrong unit intervals.
  const double ratio = results->dUnitInterval / params.dTargetUI;
  if (!(std::abs(ratio - 1) < 0.02)) {
    fmt::print(
        stderr,
        "vomo: warning: the unit interval comes out at {:.4g} times dTargetUI, so the results "
        "mean little; check --rate and --spui or --interval\n",
        ratio);
  }
}

void PrintTable(const RunOutcome &outcome, const std::vector<ResultRow> &rows,
                const std::vector<Capture> &captures) {
  const VomoWaveform &waveform = *captures[0].waveform();
  const char *roles[] = {"positive half: ", "negative half: "};
  for (size_t i = 0; i < captures.size(); ++i) {
    fmt::print("{}{} ({})\n", captures.size() > 1 ? roles[i] : "", NameOf(captures[i]),
               captures[i].format());
  }
  if (outcome.pair_correlation) {
    fmt::print("signal: positive - negative; correlation of the halves {:.4f}\n",
               *outcome.pair_correlation);
  }
  fmt::print("{} samples of {}, {} in all\n\n", waveform.ulNumSamples,
             Engineering(waveform.dSampleInterval, "s", 6),
             Engineering(waveform.dSampleInterval * waveform.ulNumSamples, "s", 4));
  fmt::print("{}", FormatRows(rows, outcome.params.dTargetUI, WantsColour(STDOUT_FILENO)));
  std::fflush(stdout);
}

// Opened before the work begins, so that a name that can't be written to costs no run.
class JsonOutput {
 public:
  explicit JsonOutput(const std::string &path) : path_(path) {
    if (!path.empty() && !OnStandardOutput()) file_.emplace(path);
  }
  bool wanted() const { return !path_.empty(); }
  bool OnStandardOutput() const { return path_ == "-"; }

  void Write(const Json &json) {
    const ProgressLine progress("writing " + path_);
    const std::string text = json.dump(1) + "\n";
    if (!file_) {
      std::fwrite(text.data(), 1, text.size(), stdout);
      return;
    }
    file_->Write(text);
    file_->Commit();
  }

 private:
  std::string path_;
  std::optional<OutputFile> file_;
};

// The results record with what the library wants to find in it before the run.
struct ResultsRecord {
  explicit ResultsRecord(const VomoComplianceParams &params) {
    gen3.psPatternDDj = &pattern;
    if (params.psGen3BaseCompParameters != nullptr) results.psGen3Results = &gen3;
  }
  ResultsRecord(const ResultsRecord &) = delete;
  ResultsRecord &operator=(const ResultsRecord &) = delete;

  VomoPatternDDjResult pattern = {};
  VomoGen3Results gen3 = {};
  VomoComplianceResults results = {};
};

ExitCode RunMeasure(const MeasureOptions &options) {
  if (options.combined && options.captures.size() > 1) {
    throw Failure(ExitCode::kWrongUsage, "--combined takes one file, which holds both halves",
                  "leave out --combined to measure the pair of two files");
  }
  StageTimes times;
  const Json document = ResolveSettings(options.settings);
  const RunSettings settings(document);
  const VomoComplianceParams &params = settings.params();
  CheckSupported(params);
  JsonOutput json_output(options.json_path);
  const std::vector<Capture> captures = ReadCaptures(options, params, times);
  const std::optional<double> correlation = CorrelationOf(captures);
  ResultsRecord record(params);
  Measure(captures, params, &record.results, times);

  const auto [lowest, highest] = VoltageRange(captures);
  const RunOutcome outcome{params, record.results, lowest, highest, correlation};
  const std::vector<ResultRow> rows = ResultRows(outcome);
  if (!json_output.OnStandardOutput()) PrintTable(outcome, rows, captures);
  if (json_output.wanted()) {
    times.Time("json", 0,
               [&] { json_output.Write(ResultJson(outcome, rows, captures, document)); });
  }
  if (options.timing) fmt::print(stderr, "{}", times.Table());
  const bool passed =
      std::all_of(rows.begin(), rows.end(), [](const ResultRow &row) { return row.passed(); });
  return passed ? ExitCode::kWithinLimits : ExitCode::kLimitFailed;
}

}  // namespace

void AddMeasureCommand(CLI::App &cli, ExitCode *exit_code) {
  auto options = std::make_shared<MeasureOptions>();
  CLI::App *command = cli.add_subcommand(
      "measure", "Measure the unit interval and the jitter of a capture or a single-ended pair");
  command
      ->add_option("CAPTURE", options->captures,
                   "capture of a differential signal, or the positive half and the negative half")
      ->required()
      ->expected(1, 2);
  CLI::Option *interval = AddReadingOptions(command, &options->reading);
  command
      ->add_option("--spui", options->samples_per_ui,
                   "samples in a nominal unit interval, instead of --interval")
      ->check(CLI::Range(1e-3, 1e9))
      ->excludes(interval);
  command->add_flag("--combined", options->combined,
                    "take the two waveforms of CAPTURE as positive and negative half");
  AddSettingsOptions(command, &options->settings);
  command->add_option("--json", options->json_path,
                      "write the whole result as JSON; - for the standard output, without a table");
  command->add_flag("--timing", options->timing, "tell seconds and samples a second of each stage");
  command->callback([options, exit_code] { *exit_code = RunMeasure(*options); });
}

}  // namespace app
