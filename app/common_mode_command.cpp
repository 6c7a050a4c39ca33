// vomo common-mode: what the two halves of a single-ended pair have in common.
#include <fmt/format.h>
#include <vomo.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numbers>

#include "commands.h"
#include "engineering.h"
#include "json_output.h"
#include "library_block.h"
#include "measure_report.h"
#include "measurement.h"
#include "page_output.h"
#include "recovered_clock.h"
#include "report_parts.h"
#include "result_json.h"
#include "result_options.h"
#include "text_table.h"

namespace app {
namespace {

struct CommonModeOptions : ResultOptions {
  CaptureOptions captures;
  double rate = 8e9;
  double high_pass_hz = 30e3, band_low_pass_hz = 500e6;
  std::optional<double> low_pass_hz;
  double guard_fraction = 0.01;

  double LowPass() const { return low_pass_hz.value_or(rate / 2); }
};

struct CommonMode {
  double highest_v, lowest_v, mean_v;
  double band_peak_peak_v, low_pass_peak_peak_v;
};

void Require(VomoStatus status, const char *step, const std::string &name, const char *advice) {
  if (!Vomo_STATUS_IS_ERROR(status)) return;
  throw StatusFailure(ExitCode::kNotMeasurable, status, step, name, advice);
}

CommonMode MeasureCommonMode(const VomoWaveform &waveform, const CommonModeOptions &options,
                             const std::string &name, StageTimes &times) {
  const uint32_t samples = waveform.ulNumSamples;
  CommonMode result = {};
  times.Time("direct", samples, [&] {
    Require(Vomo_DC_COMMON_MODE(samples, waveform.pfSamples, 0, samples - 1, &result.highest_v,
                                &result.lowest_v, &result.mean_v),
            "measuring the direct common mode of", name, "");
  });
  times.Time("alternating", samples, [&] {
    const ProgressLine progress("filtering the common mode");
    Require(Vomo_AC_COMMON_MODE_VOLTAGE(
                waveform.pfSamples, samples, static_cast<float>(options.guard_fraction),
                options.high_pass_hz, options.band_low_pass_hz, options.LowPass(),
                waveform.dSampleInterval, &result.band_peak_peak_v, &result.low_pass_peak_peak_v),
            "measuring the alternating common mode of", name,
            "a longer capture, or a smaller --guard");
  });
  return result;
}

// What a high pass takes away can only be seen in a capture longer than its period.
void WarnOfLength(const VomoWaveform &waveform, const CommonModeOptions &options) {
  const double length_s = waveform.ulNumSamples * waveform.dSampleInterval;
  if (!(length_s * options.high_pass_hz < 1)) return;
  fmt::print(stderr,
             "vomo: warning: the capture lasts {}, less than a period of the high pass at {}: what "
             "is slower than the capture is not seen\n",
             Engineering(length_s, "s", 3), Engineering(options.high_pass_hz, "Hz", 3));
}

std::vector<ResultRow> Rows(const CommonMode &result, const CommonModeOptions &options) {
  return {
      {"DC, mean", result.mean_v, "V", 4, "of (positive + negative) / 2", 0, {}},
      {"Highest", result.highest_v, "V", 4, "greatest sample", 0, {}},
      {"Lowest", result.lowest_v, "V", 4, "least sample", 0, {}},
      {"AC, peak to peak", result.highest_v - result.lowest_v, "V", 4, "unfiltered", 0, {}},
      {"AC in the band, peak to peak",
       result.band_peak_peak_v,
       "V",
       4,
       fmt::format("first-order high pass at {} and low pass at {}",
                   Engineering(options.high_pass_hz, "Hz", 3),
                   Engineering(options.band_low_pass_hz, "Hz", 3)),
       0,
       {}},
      {"AC below the corner, peak to peak",
       result.low_pass_peak_peak_v,
       "V",
       4,
       fmt::format("first-order low pass at {}", Engineering(options.LowPass(), "Hz", 3)),
       0,
       {}},
  };
}

struct AmplitudeSpectrum {
  double step_hz = 0;
  std::vector<double> volts;  // of the sinusoid in each bin
};

// Of the samples less their mean, through a Hann window: a sinusoid between two bins reads up to
// 1.4 dB low and does not smear over the others.
AmplitudeSpectrum SpectrumOf(const VomoWaveform &waveform, double mean_v) {
  const uint32_t samples = waveform.ulNumSamples;
  std::vector<double> windowed(samples);
  const double step = 2 * std::numbers::pi / samples;
  for (uint32_t i = 0; i < samples; ++i) {
    windowed[i] = (waveform.pfSamples[i] - mean_v) * (1 - std::cos(step * i));
  }
  AmplitudeSpectrum spectrum;
  LibraryBlock<VomoComplexDouble> bins;
  uint32_t count = 0, odd = 0;
  Require(VomoFFT_REAL_DOUBLE(windowed.data(), 0, samples - 1, waveform.dSampleInterval, &count,
                              bins.pointer(), &spectrum.step_hz, &odd, bins.handle_out()),
          "transforming", "the common mode", "a shorter capture (--max-samples)");
  spectrum.volts.resize(count);
  for (uint32_t k = 0; k < count; ++k) {
    spectrum.volts[k] = 2.0 / samples * std::hypot(bins[k].dRe, bins[k].dIm);
  }
  return spectrum;
}

report::Chart SpectrumChart(const VomoWaveform &waveform, const CommonMode &result,
                            const CommonModeOptions &options) {
  constexpr double kMega = 1e-6, kMilli = 1e3;
  const AmplitudeSpectrum spectrum = SpectrumOf(waveform, result.mean_v);
  report::Chart chart;
  chart.id = "spectrum";
  chart.title = "Spectrum of the common mode";
  chart.caption = fmt::format("Amplitude of the sinusoid in each bin of {}, Hann window",
                              Engineering(spectrum.step_hz, "Hz", 3));
  chart.size = report::Size::kWide;
  chart.x.label = "MHz";
  chart.y.label = "mV";
  chart.x.logarithmic = chart.y.logarithmic = true;
  chart.series.push_back(report::Gather(
      "common mode", spectrum.volts.size(),
      [&](size_t k) { return static_cast<double>(k) * spectrum.step_hz * kMega; },
      [&](size_t k) { return spectrum.volts[k] * kMilli; }, true));
  const struct {
    double hertz;
    const char *name;
    report::Ink ink;
  } corners[] = {{options.high_pass_hz, "band, high pass", report::Ink::kGreen},
                 {options.band_low_pass_hz, "band, low pass", report::Ink::kGreen},
                 {options.LowPass(), "low pass", report::Ink::kRed}};
  chart.x.low = spectrum.step_hz * kMega;
  for (const auto &[hertz, name, ink] : corners) {
    chart.guides.push_back({true, hertz * kMega, name, ink});
    chart.x.low = std::min(*chart.x.low, 0.5 * hertz * kMega);
  }
  const double greatest = *std::max_element(spectrum.volts.begin(), spectrum.volts.end());
  if (greatest > 0) {
    chart.y.high = 2 * greatest * kMilli;
    chart.y.low = 1e-6 * greatest * kMilli;
  }
  return chart;
}

// 100 UI around the sample that is farthest from the mean.
report::Chart ExcursionChart(const VomoWaveform &waveform, const CommonMode &result,
                             const CommonModeOptions &options) {
  const float *begin = waveform.pfSamples, *end = begin + waveform.ulNumSamples;
  const auto [lowest, highest] = std::minmax_element(begin, end);
  const bool above = result.highest_v - result.mean_v > result.mean_v - result.lowest_v;
  const auto center = static_cast<uint64_t>((above ? highest : lowest) - begin);
  const auto half = static_cast<uint64_t>(50 / options.rate / waveform.dSampleInterval) + 1;
  report::Chart chart = StretchChart(waveform, center - std::min(center, half), 2 * half);
  chart.title = "Common mode";
  chart.caption = "around the sample that is farthest from the mean";
  chart.guides.push_back({false, result.mean_v * 1e3, "mean"});
  return chart;
}

std::string Report(const CommonModeOptions &options, const std::vector<Capture> &captures,
                   const VomoWaveform &waveform, const CommonMode &result,
                   const std::vector<ResultRow> &rows) {
  report::Page page(fmt::format("vomo common-mode: {}", NameOf(captures[0])));
  page.AddTable(PageTable(PlainLines("common mode", rows), kPlainAlignment));
  page.AddChart(SpectrumChart(waveform, result, options));
  page.AddChart(ExcursionChart(waveform, result, options));
  AddInput(page, captures);
  return page.Html();
}

Json CommonModeJson(const std::vector<Capture> &captures, std::optional<double> correlation,
                    const CommonModeOptions &options, const std::vector<ResultRow> &rows) {
  Json json = ResultHead("vomo.common_mode", captures, correlation);
  json["pair"]["signal"] = "(positive + negative) / 2";
  for (const ResultRow &row : rows) json["rows"].push_back(RowJson(row));
  json["corners"] = {{"unit", "Hz"},
                     {"band_high_pass", options.high_pass_hz},
                     {"band_low_pass", options.band_low_pass_hz},
                     {"low_pass", options.LowPass()}};
  json["guard_fraction"] = options.guard_fraction;
  return json;
}

ExitCode RunCommonMode(const CommonModeOptions &options) {
  if (options.captures.paths.size() < 2 && !options.captures.combined) {
    throw Failure(ExitCode::kWrongUsage, "a common mode needs both halves of a pair",
                  "give two captures, or one that holds both with --combined");
  }
  if (!(options.high_pass_hz < options.band_low_pass_hz)) {
    throw Failure(ExitCode::kWrongUsage,
                  fmt::format("--high-pass {:g} is not below --band-low-pass {:g}",
                              options.high_pass_hz, options.band_low_pass_hz));
  }
  StageTimes times;
  VomoComplianceParams params = {};
  params.dTargetUI = 1 / options.rate;
  JsonOutput json_output(options.json_path);
  PageOutput report(options.report_path);
  const std::vector<Capture> captures = ReadCaptures(options.captures, params, times);
  const std::optional<double> correlation = CorrelationOf(captures);
  const std::vector<float> samples = CommonModeOf(captures);
  VomoWaveform waveform = *captures[0].waveform();
  waveform.pfSamples = const_cast<float *>(samples.data());
  waveform.ulTrimFront = waveform.ulTrimBack = 0;
  WarnOfLength(waveform, options);
  const CommonMode result = MeasureCommonMode(waveform, options, NameOf(captures[0]), times);
  const std::vector<ResultRow> rows = Rows(result, options);
  if (!json_output.OnStandardOutput()) {
    PrintCaptures(captures, std::nullopt);
    fmt::print("\n{}", AlignColumns(PlainLines("common mode", rows), kPlainAlignment, false));
    std::fflush(stdout);
  }
  if (json_output.wanted()) {
    json_output.Write(CommonModeJson(captures, correlation, options, rows));
  }
  if (report.wanted())
    report.Write([&] { return Report(options, captures, waveform, result, rows); });
  if (options.timing) fmt::print(stderr, "{}", times.Table());
  return ExitCode::kWithinLimits;
}

}  // namespace

void AddCommonModeCommand(CLI::App &cli, ExitCode *exit_code) {
  auto options = std::make_shared<CommonModeOptions>();
  CLI::App *command = cli.add_subcommand(
      "common-mode", "Direct and alternating common mode of a single-ended pair");
  AddCaptureOptions(command, &options->captures);
  command->add_option("--rate", options->rate, "nominal bit rate (bit/s)")
      ->capture_default_str()
      ->check(CLI::Range(1e3, 5e10));
  const auto corners = CLI::Range(1e-3, 1e13);
  command->add_option("--high-pass", options->high_pass_hz, "lower corner of the band (Hz)")
      ->capture_default_str()
      ->check(corners);
  command->add_option("--band-low-pass", options->band_low_pass_hz, "its upper corner (Hz)")
      ->capture_default_str()
      ->check(corners);
  command
      ->add_option("--low-pass", options->low_pass_hz,
                   "corner of the wideband low pass (Hz); half the bit rate if not given")
      ->check(corners);
  command
      ->add_option("--guard", options->guard_fraction,
                   "share that is left out at each end of a filtered waveform")
      ->capture_default_str()
      ->check(CLI::Range(0.0, 0.49));
  AddResultOptions(command, options.get());
  command->callback([options, exit_code] { *exit_code = RunCommonMode(*options); });
}

}  // namespace app
