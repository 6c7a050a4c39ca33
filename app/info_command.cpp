// vomo info: what capture files are and hold.
#include <fmt/format.h>
#include <vomo.h>

#include <CLI/CLI.hpp>
#include <algorithm>

#include "commands.h"
#include "engineering.h"
#include "reading_options.h"
#include "signal_summary.h"

namespace app {
namespace {

struct InfoOptions {
  std::vector<std::string> paths;
  CaptureRequest reading;
  bool json = false;
};

// All that is told of one file, as facts in their order.
struct FileInfo {
  std::string path, format;
  std::vector<HeaderFact> facts;
  std::vector<std::string> notes;
};

std::span<const float> VisibleSamples(const Capture &capture) {
  return {capture.waveform()->pfSamples, capture.waveform()->ulNumSamples};
}

// Facts of a waveform's samples. Without an interval, times are left out or told in samples.
void TellWaveform(const Capture &capture, bool has_interval, Inspection *info) {
  const std::string which =
      capture.number() == 0 ? "" : fmt::format("waveform {}: ", capture.number());
  const VomoWaveform &waveform = *capture.waveform();
  const SignalSummary summary = Summarize(VisibleSamples(capture));
  const auto tell = [&](const char *name, Json value, const char *unit = "") {
    info->Tell(which + name, std::move(value), unit);
  };
  tell("samples", waveform.ulNumSamples);
  tell("hidden in front", waveform.ulTrimFront);
  tell("hidden behind", waveform.ulTrimBack);
  if (has_interval) {
    tell("interval", waveform.dSampleInterval, "s");
    tell("sample rate", 1 / waveform.dSampleInterval, "Hz");
    tell("duration", waveform.dSampleInterval * waveform.ulNumSamples, "s");
  } else {
    tell("interval", "not in the file: --interval");
  }
  tell("minimum", summary.lowest, "V");
  tell("maximum", summary.highest, "V");
  tell("mean", summary.mean, "V");
  if (summary.not_finite > 0) tell("not finite", summary.not_finite, "samples");
  if (!summary.samples_per_ui) return tell("estimated unit interval", "none to be seen");
  tell("estimated samples per unit interval", *summary.samples_per_ui);
  if (!has_interval) return;
  const double unit_interval = *summary.samples_per_ui * waveform.dSampleInterval;
  tell("estimated unit interval", unit_interval, "s");
  tell("estimated bit rate", 1 / unit_interval, "bit/s");
}

void TellSamples(const CaptureFile &file, const CaptureRequest &request, Inspection *info) {
  const bool has_interval = file.reader->has_interval || request.sample_interval_s.has_value();
  std::vector<Capture> captures;
  if (file.reader->read_two != nullptr && file.inspection.waveforms > 1) {
    captures = Capture::ReadTwo(file, request);
  } else {
    captures.push_back(Capture::Read(file, request));
  }
  for (const Capture &capture : captures) TellWaveform(capture, has_interval, info);
  info->notes = captures[0].notes();
  if (captures.size() < 2) return;
  info->Tell("as a pair", "waveform 1 positive, waveform 2 negative");
  info->Tell("correlation of the pair",
             Correlation(VisibleSamples(captures[0]), VisibleSamples(captures[1])));
}

FileInfo Describe(CaptureRequest request) {
  request.interval_needed = false;
  const CaptureFile file = CaptureFile::Open(request);
  Inspection info;
  if (file.bytes) info.Tell("size", *file.bytes, "bytes");
  info.facts.insert(info.facts.end(), file.inspection.facts.begin(), file.inspection.facts.end());
  info.notes = file.inspection.notes;
  if (file.reader->read != nullptr) {
    TellSamples(file, request, &info);
  } else if (file.inspection.failed) {
    throw Failure(ExitCode::kUnreadable,
                  fmt::format("reading {}: {}", file.path, file.inspection.failed->Text()),
                  fmt::format("check that it is whole and holds {}", file.reader->description));
  }
  return {request.path, file.reader->name, std::move(info.facts), std::move(info.notes)};
}

std::string ValueText(const HeaderFact &fact) {
  constexpr int kDigits = 6;
  if (fact.value.is_string()) return fact.value.get<std::string>();
  if (fact.value.is_number_float()) {
    return Engineering(fact.value.get<double>(), fact.unit, kDigits);
  }
  return fmt::format("{}{}{}", fact.value.dump(), fact.unit.empty() ? "" : " ", fact.unit);
}

void PrintFile(const FileInfo &info) {
  size_t width = 0;
  for (const HeaderFact &fact : info.facts) width = std::max(width, fact.name.size());
  fmt::print("{} ({})\n", info.path, info.format);
  for (const HeaderFact &fact : info.facts) {
    fmt::print("  {:<{}}  {}\n", fact.name, width, ValueText(fact));
  }
  for (const std::string &note : info.notes) fmt::print("  note: {}\n", note);
}

// Words of a fact's name, as a key.
std::string KeyOf(std::string name) {
  std::replace(name.begin(), name.end(), ' ', '_');
  std::erase_if(name, [](char c) { return c == ':' || c == ','; });
  return name;
}

Json FileJson(const FileInfo &info) {
  Json json = {{"file", info.path}, {"format", info.format}};
  Json &facts = json["facts"] = Json::object();
  Json &units = json["units"] = Json::object();
  for (const HeaderFact &fact : info.facts) {
    facts[KeyOf(fact.name)] = fact.value;
    if (!fact.unit.empty()) units[KeyOf(fact.name)] = fact.unit;
  }
  json["notes"] = info.notes;
  return json;
}

// One file that can't be read does not keep the others from being told of.
ExitCode RunInfo(const InfoOptions &options) {
  Json json = {{"schema", "vomo.info"}, {"version", 1}, {"library_version", VOMO_VERSION}};
  json["files"] = Json::array();
  ExitCode exit_code = ExitCode::kWithinLimits;
  for (const std::string &path : options.paths) {
    CaptureRequest request = options.reading;
    request.path = path;
    try {
      const FileInfo info = Describe(request);
      if (options.json) {
        json["files"].push_back(FileJson(info));
      } else {
        PrintFile(info);
      }
    } catch (const Failure &failure) {
      PrintFailure(failure);
      json["files"].push_back(
          {{"file", path}, {"error", failure.what()}, {"advice", failure.advice()}});
      exit_code = std::max(exit_code, failure.code());
    }
  }
  if (options.json) fmt::print("{}\n", json.dump(1));
  return exit_code;
}

}  // namespace

void AddInfoCommand(CLI::App &cli, ExitCode *exit_code) {
  auto options = std::make_shared<InfoOptions>();
  CLI::App *command = cli.add_subcommand("info", "Tell what capture files are and hold");
  command->add_option("FILE", options->paths, "files to look into")->required();
  AddReadingOptions(command, &options->reading);
  command->add_flag("--json", options->json, "print JSON");
  command->callback([options, exit_code] { *exit_code = RunInfo(*options); });
}

}  // namespace app
