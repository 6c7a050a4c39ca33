#include "measurement.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "engineering.h"
#include "reading_options.h"
#include "signal_summary.h"

namespace app {
namespace {

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

}  // namespace

std::string NameOf(const Capture &capture) {
  if (capture.number() == 0) return capture.path();
  return fmt::format("waveform {} of {}", capture.number(), capture.path());
}

std::pair<float, float> VoltageRange(const RunInput &input) {
  const VomoWaveform &first = *input.waveform;
  const float *a = first.pfSamples;
  const float *b = input.complement != nullptr ? input.complement->pfSamples : nullptr;
  float lowest = INFINITY, highest = -INFINITY;
  for (uint32_t i = 0; i < first.ulNumSamples; ++i) {
    const float v = b == nullptr ? a[i] : a[i] - b[i];
    lowest = std::min(lowest, v);
    highest = std::max(highest, v);
  }
  return {lowest, highest};
}

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

std::vector<Capture> ReadCaptures(const CaptureOptions &options, StageTimes &times) {
  if (options.combined && options.paths.size() > 1) {
    throw Failure(ExitCode::kWrongUsage, "--combined takes one file, which holds both halves",
                  "leave out --combined to measure the pair of two files");
  }
  CaptureRequest request = options.reading;
  std::vector<Capture> captures;
  for (const std::string &path : options.paths) {
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

std::vector<Capture> ReadCaptures(const CaptureOptions &options, const VomoComplianceParams &params,
                                  StageTimes &times) {
  if (!options.samples_per_ui) return ReadCaptures(options, times);
  CaptureOptions with_interval = options;
  with_interval.reading.sample_interval_s = params.dTargetUI / *options.samples_per_ui;
  return ReadCaptures(with_interval, times);
}

void PrintCaptures(const std::vector<Capture> &captures, std::optional<double> pair_correlation) {
  const VomoWaveform &waveform = *captures[0].waveform();
  const char *roles[] = {"positive half: ", "negative half: "};
  for (size_t i = 0; i < captures.size(); ++i) {
    fmt::print("{}{} ({})\n", captures.size() > 1 ? roles[i] : "", NameOf(captures[i]),
               captures[i].format());
  }
  if (pair_correlation) {
    fmt::print("signal: positive - negative; correlation of the halves {:.4f}\n",
               *pair_correlation);
  }
  fmt::print("{} samples of {}, {} in all\n", waveform.ulNumSamples,
             Engineering(waveform.dSampleInterval, "s", 6),
             Engineering(waveform.dSampleInterval * waveform.ulNumSamples, "s", 4));
}

void WarnOfResults(VomoStatus status, const VomoComplianceParams &params,
                   const VomoComplianceResults &results) {
  if (status != Vomo_STATUS_SUCCESS) {
    fmt::print(stderr, "vomo: warning: {}\n", Vomo_Status_Message(status));
  }
  // Far more than any spread spectrum: then edges were counted into the wrong unit intervals.
  const double ratio = results.dUnitInterval / params.dTargetUI;
  if (!(std::abs(ratio - 1) < 0.02)) {
    fmt::print(
        stderr,
        "vomo: warning: the unit interval comes out at {:.4g} times dTargetUI, so the results "
        "mean little; check --rate and --spui or --interval\n",
        ratio);
  } else if (!(results.dTIEPeakPeak < 1000 * params.dTargetUI)) {
    fmt::print(stderr,
               "vomo: warning: edges are up to {:.4g} unit intervals away from a steady clock: the "
               "data are not of this rate, or the clock is not of the data\n",
               results.dTIEPeakPeak / params.dTargetUI);
  }
}

void Measure(const RunInput &input, const VomoComplianceParams &params,
             VomoComplianceResults *results, JitterSequence *jitter, StageTimes &times) {
  const VomoStatus status = times.Time("measure", input.waveform->ulNumSamples, [&] {
    const ProgressLine progress("measuring");
    return Vomo_GENERAL_COMPLIANCE(input.waveform, input.complement, params, results, nullptr,
                                   nullptr, nullptr, nullptr, nullptr, nullptr,
                                   jitter != nullptr ? jitter->count_out() : nullptr,
                                   jitter != nullptr ? jitter->pointer() : nullptr,
                                   jitter != nullptr ? jitter->handle_out() : nullptr);
  });
  if (Vomo_STATUS_IS_ERROR(status)) {
    throw StatusFailure(ExitCode::kNotMeasurable, status, "measuring", input.name,
                        MeasureAdvice(status, params, *input.waveform));
  }
  WarnOfResults(status, params, *results);
}

void AddIntervalOptions(CLI::App *command, CaptureOptions *options) {
  CLI::Option *interval = AddReadingOptions(command, &options->reading);
  command
      ->add_option("--spui", options->samples_per_ui,
                   "samples in a nominal unit interval, instead of --interval")
      ->check(CLI::Range(1e-3, 1e9))
      ->excludes(interval);
}

void AddChannelOption(CLI::App *command, std::string *s4p_path) {
  command->add_option("--s4p", *s4p_path,
                      "four-port file of a channel that the capture is sent through, in at ports 1 "
                      "and 3, out at 2 and 4");
}

void AddFileOptions(CLI::App *command, CaptureOptions *options) {
  command
      ->add_option("CAPTURE", options->paths,
                   "capture of a differential signal, or the positive half and the negative half")
      ->required()
      ->expected(1, 2);
  command->add_flag("--combined", options->combined,
                    "take the two waveforms of CAPTURE as positive and negative half");
}

void AddCaptureOptions(CLI::App *command, CaptureOptions *options) {
  AddFileOptions(command, options);
  AddIntervalOptions(command, options);
}

}  // namespace app
