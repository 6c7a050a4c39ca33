// vomo presets: preshoot and de-emphasis of a transmitter's presets, from a capture of each.
#include <fmt/format.h>
#include <vomo.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cstdio>
#include <map>

#include "commands.h"
#include "engineering.h"
#include "json_output.h"
#include "measurement.h"
#include "page_output.h"
#include "report_page.h"
#include "result_json.h"
#include "result_options.h"

namespace app {
namespace {

constexpr uint32_t kPresetCount = 11;
constexpr uint32_t kNoReference = 0xFFFFFFFF;
constexpr const char *kStates[] = {"FAIL", "pass", "not evaluated", "reference missing"};

struct PresetsOptions : ResultOptions {
  std::vector<std::string> captures;  // P4=FILE
  CaptureOptions reading;
  double rate = 8e9;
  uint32_t run_min = 64, run_max = 64;
  std::pair<uint32_t, uint32_t> window = {57, 62};
  bool reduced_swing = false;
};

class PresetTable {
 public:
  explicit PresetTable(bool reduced_swing) {
    const VomoStatus status =
        Vomo_RESET_PRESETS(reduced_swing ? 1 : 0, kPresetCount, nullptr, &presets_, &handle_);
    if (Vomo_STATUS_IS_ERROR(status)) throw std::bad_alloc();
  }
  PresetTable(const PresetTable &) = delete;
  PresetTable &operator=(const PresetTable &) = delete;
  ~PresetTable() { Vomo_FREE_PRESETS(presets_, handle_); }
  VomoPreset *get() { return presets_; }
  const VomoPreset &operator[](size_t i) const { return presets_[i]; }

 private:
  VomoPreset *presets_ = nullptr;
  VomoHandle handle_ = 0;
};

// One of the two ratios of a preset, with its limits.
struct Ratio {
  const char *name;
  uint32_t VomoPreset::*reference;
  double VomoPreset::*decibels, VomoPreset::*low, VomoPreset::*high;

  bool Applies(const VomoPreset &preset) const { return preset.*reference != kNoReference; }
  bool Known(const VomoPreset &preset, const PresetTable &table) const {
    return Applies(preset) && preset.dVb != 0 && table[preset.*reference].dVb != 0;
  }
  bool Passed(const VomoPreset &preset) const {
    return preset.*low <= preset.*decibels && preset.*decibels <= preset.*high;
  }
};
constexpr Ratio kRatios[] = {
    {"preshoot", &VomoPreset::ulPreshootRef, &VomoPreset::dPreshootDB, &VomoPreset::dPreshootMin,
     &VomoPreset::dPreshootMax},
    {"de-emphasis", &VomoPreset::ulDeemphasisRef, &VomoPreset::dDeemphasisDB,
     &VomoPreset::dDeemphasisMin, &VomoPreset::dDeemphasisMax},
};

using CapturePaths = std::map<uint32_t, std::string>;

CapturePaths PathsOf(const PresetsOptions &options) {
  CapturePaths paths;
  for (const std::string &capture : options.captures) {
    const size_t equals = capture.find('=');
    uint32_t preset = kPresetCount;
    if (equals != std::string::npos && equals >= 2 && capture[0] == 'P' &&
        capture.find_first_not_of("0123456789", 1) == equals && equals <= 3) {
      preset = static_cast<uint32_t>(std::stoul(capture.substr(1, equals - 1)));
    }
    if (preset >= kPresetCount || equals + 1 == capture.size()) {
      throw Failure(ExitCode::kWrongUsage,
                    fmt::format("{}: expected P0=FILE to P10=FILE", capture));
    }
    if (!paths.emplace(preset, capture.substr(equals + 1)).second) {
      throw Failure(ExitCode::kWrongUsage, fmt::format("P{} is given twice", preset));
    }
  }
  return paths;
}

// What a capture's own blocks say it is, where it has any.
void CheckName(uint32_t preset, const VomoPreset &record, const std::string &path) {
  const uint32_t named = record.sGen3CheckBuf.ucFirstValue;
  if (record.sGen3CheckBuf.ucBlockCount == 0 || named >= kPresetCount || named == preset) return;
  fmt::print(stderr, "vomo: warning: {} was given as P{}, but its pattern says P{}\n", path, preset,
             named);
}

void MeasurePreset(uint32_t preset, const std::string &path, const PresetsOptions &options,
                   PresetTable *table, Json *captures, StageTimes &times) {
  VomoComplianceParams params = {};
  params.dTargetUI = 1 / options.rate;
  CaptureOptions reading = options.reading;
  reading.paths = {path};
  const std::vector<Capture> capture = ReadCaptures(reading, params, times);
  const ProgressLine progress(fmt::format("measuring P{}", preset));
  VomoWaveform *waveforms[] = {capture[0].waveform()};
  const VomoStatus status =
      Vomo_CALCULATE_Vb(waveforms, preset, params.dTargetUI, static_cast<int32_t>(options.run_min),
                        options.run_max, options.window.first, options.window.second, table->get());
  if (Vomo_STATUS_IS_ERROR(status)) {
    throw StatusFailure(ExitCode::kNotMeasurable, status, fmt::format("measuring P{}", preset),
                        path,
                        fmt::format("the pattern needs runs of {} to {} equal bits of both "
                                    "polarities (--run-min, --run-max, --window, --rate)",
                                    options.run_min, options.run_max));
  }
  CheckName(preset, (*table)[preset], path);
  Json json = {{"preset", preset}};
  json.update(CaptureJson(capture[0]));
  captures->push_back(std::move(json));
}

std::string StateText(const VomoPreset &preset, const PresetTable &table) {
  if (preset.dVb == 0) return "not measured";
  if (preset.ulState != 3) return kStates[std::min<uint32_t>(preset.ulState, 3)];
  std::string missing;
  for (const Ratio &ratio : kRatios) {
    if (!ratio.Applies(preset) || table[preset.*ratio.reference].dVb != 0) continue;
    missing += fmt::format("{}P{}", missing.empty() ? "" : ", ", preset.*ratio.reference);
  }
  return missing + " missing";
}

std::string RatioText(const Ratio &ratio, const VomoPreset &preset, const PresetTable &table) {
  return ratio.Known(preset, table) ? fmt::format("{:.2f}", preset.*ratio.decibels) : "";
}

std::string LimitText(const Ratio &ratio, const VomoPreset &preset) {
  if (!ratio.Applies(preset)) return "";
  return fmt::format("{:g} to {:g}", preset.*ratio.low, preset.*ratio.high);
}

using Line = std::array<std::string, 7>;
constexpr const char *kHead[] = {"preset",          "Vb",     "preshoot, dB", "limits",
                                 "de-emphasis, dB", "limits", "state"};

Line LineOf(uint32_t i, const PresetTable &table) {
  const VomoPreset &preset = table[i];
  return {fmt::format("P{}", i),
          preset.dVb == 0 ? "" : Engineering(preset.dVb, "V", 4),
          RatioText(kRatios[0], preset, table),
          LimitText(kRatios[0], preset),
          RatioText(kRatios[1], preset, table),
          LimitText(kRatios[1], preset),
          StateText(preset, table)};
}

void PrintPresets(const PresetTable &table) {
  const auto print = [](const auto &line) {
    fmt::print("{:<7}{:>9}{:>14}  {:<13}{:>15}  {:<13}  {}\n", line[0], line[1], line[2], line[3],
               line[4], line[5], line[6]);
  };
  print(kHead);
  for (uint32_t i = 0; i < kPresetCount; ++i) print(LineOf(i, table));
  std::fflush(stdout);
}

Json PresetsJson(const PresetTable &table, Json captures, bool passed) {
  Json json = {{"schema", "vomo.presets"},
               {"version", 1},
               {"library_version", VOMO_VERSION},
               {"captures", std::move(captures)},
               {"within_limits", passed}};
  for (uint32_t i = 0; i < kPresetCount; ++i) {
    const VomoPreset &preset = table[i];
    Json row = {{"preset", i}, {"vb", preset.dVb == 0 ? Json(nullptr) : Json(preset.dVb)}};
    for (const Ratio &ratio : kRatios) {
      if (!ratio.Applies(preset)) continue;
      row[ratio.name] = {{"unit", "dB"},
                         {"reference", preset.*ratio.reference},
                         {"low", preset.*ratio.low},
                         {"high", preset.*ratio.high}};
      row[ratio.name]["value"] =
          ratio.Known(preset, table) ? NumberOrNull(preset.*ratio.decibels) : Json(nullptr);
    }
    row["state"] = StateText(preset, table);
    json["presets"].push_back(std::move(row));
  }
  return json;
}

// Bars of the measured decibels, between lines at the limits.
report::Chart RatioChart(const Ratio &ratio, const PresetTable &table) {
  report::Chart chart;
  chart.id = chart.title = ratio.name;
  chart.caption = "bars: measured, red: limits";
  chart.y.low = 0;
  chart.y.high = 0;
  chart.y.label = "dB";
  report::Series bars{"measured", {}, {}, report::Style::kBars, report::Ink::kBlue};
  for (uint32_t i = 0; i < kPresetCount; ++i) {
    const VomoPreset &preset = table[i];
    if (!ratio.Applies(preset)) continue;
    const double place = static_cast<double>(chart.x.categories.size());
    chart.x.categories.push_back(fmt::format("P{}", i));
    bars.x.push_back(place);
    bars.y.push_back(ratio.Known(preset, table) ? preset.*ratio.decibels : 0);
    for (const double shown : {bars.y.back(), preset.*ratio.low, preset.*ratio.high}) {
      chart.y.low = std::min(*chart.y.low, shown - 0.5);
      chart.y.high = std::max(*chart.y.high, shown + 0.5);
    }
    for (const double limit : {preset.*ratio.low, preset.*ratio.high}) {
      chart.outlines.push_back(
          {{{place - 0.4, limit}, {place + 0.4, limit}}, false, "", report::Ink::kRed});
    }
  }
  chart.series.push_back(std::move(bars));
  return chart;
}

std::string Report(const PresetTable &table, const CapturePaths &paths, bool passed,
                   const Json &json) {
  report::Page page("vomo presets");
  page.AddVerdict(passed, passed ? "No preset failed." : "A preset failed.");
  report::Table rows{{std::begin(kHead), std::end(kHead)}, {}, {true}};
  rows.left = {true, false, false, true, false, true, true};
  for (uint32_t i = 0; i < kPresetCount; ++i) {
    std::vector<report::Cell> cells;
    for (const std::string &text : LineOf(i, table)) cells.push_back({text});
    if (table[i].dVb != 0 && table[i].ulState < 2) {
      cells.back().mark = table[i].ulState == 1 ? report::Mark::kPass : report::Mark::kFail;
    }
    rows.rows.push_back(std::move(cells));
  }
  page.AddTable(rows);
  for (const Ratio &ratio : kRatios) page.AddChart(RatioChart(ratio, table));
  page.AddText(
      "Vb is the mean high less the mean low voltage inside of long runs. Preshoot is "
      "20 log10(Vb of the reference / Vb), de-emphasis 20 log10(Vb / Vb of the reference).");
  for (const auto &[preset, path] : paths) page.AddText(fmt::format("P{}: {}", preset, path));
  page.AddDetails("All numbers and the captures' hashes", json.dump(1));
  return page.Html();
}

ExitCode RunPresets(const PresetsOptions &options) {
  const CapturePaths paths = PathsOf(options);
  JsonOutput json_output(options.json_path);
  PageOutput report(options.report_path);
  PresetTable table(options.reduced_swing);
  Json captures = Json::array();
  StageTimes times;
  for (const auto &[preset, path] : paths) {
    MeasurePreset(preset, path, options, &table, &captures, times);
  }
  Vomo_CALCULATE_PRESET_RESULTS(kPresetCount, table.get());
  bool passed = true;
  for (const auto &[preset, path] : paths) passed = passed && table[preset].ulState != 0;
  if (!json_output.OnStandardOutput()) PrintPresets(table);
  if (options.timing) fmt::print(stderr, "{}", times.Table());
  if (!json_output.wanted() && !report.wanted()) {
    return passed ? ExitCode::kWithinLimits : ExitCode::kLimitFailed;
  }
  const Json json = PresetsJson(table, std::move(captures), passed);
  if (json_output.wanted()) json_output.Write(json);
  if (report.wanted()) report.Write([&] { return Report(table, paths, passed, json); });
  return passed ? ExitCode::kWithinLimits : ExitCode::kLimitFailed;
}

}  // namespace

void AddPresetsCommand(CLI::App &cli, ExitCode *exit_code) {
  auto options = std::make_shared<PresetsOptions>();
  CLI::App *command = cli.add_subcommand(
      "presets", "Preshoot and de-emphasis of a transmitter's presets, from a capture of each");
  command->add_option("PRESET=FILE", options->captures, "P0=FILE to P10=FILE, any of them")
      ->required()
      ->expected(1, kPresetCount);
  AddIntervalOptions(command, &options->reading);
  command->add_option("--rate", options->rate, "nominal bit rate (bit/s)")
      ->capture_default_str()
      ->check(CLI::Range(1e3, 5e10));
  command->add_option("--run-min", options->run_min, "shortest run that is measured (UI)")
      ->capture_default_str()
      ->check(CLI::Range(2, 65535));
  command->add_option("--run-max", options->run_max, "longest run that is measured (UI)")
      ->capture_default_str()
      ->check(CLI::Range(2, 65535));
  command
      ->add_option("--window", options->window,
                   "first and last unit interval of a run that are averaged, counted from 1")
      ->capture_default_str();
  command->add_flag("--reduced-swing", options->reduced_swing,
                    "P10's limits are -11 to -8 dB instead of -8 to 1.5 dB");
  AddResultOptions(command, options.get());
  command->callback([options, exit_code] { *exit_code = RunPresets(*options); });
}

}  // namespace app
