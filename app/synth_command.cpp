// vomo synth: a capture of an NRZ signal, and beside it a JSON file with its truth.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "capture_writer.h"
#include "commands.h"
#include "synth_signal.h"

namespace app {
namespace {

using Json = nlohmann::ordered_json;

struct SynthOptions {
  SynthSpec spec;
  std::string output, complement, bits_file;
  std::string pattern = "prbs7", format = "text";
  bool combined = false;
  // A reference clock beside the data.
  std::string clock;
  uint64_t clock_period_ui = 80;
  double clock_shared = 1, clock_rj_rms = 0;
};

// The clock of the same time and spread as the data, with its part of the data's deterministic
// jitter.
SynthOptions ClockOptions(const SynthOptions &options) {
  SynthOptions clock = options;
  clock.output = options.clock;
  clock.complement.clear();
  clock.combined = false;
  clock.pattern = "clock";
  SynthSpec &spec = clock.spec;
  const double half_period_ui = static_cast<double>(options.clock_period_ui) / 2;
  spec.edge_time = ResolvedEdgeTime(options.spec);
  spec.pattern = Pattern::kClock;
  spec.bit_rate /= half_period_ui;
  spec.samples_per_ui *= half_period_ui;
  spec.ui_count = static_cast<uint64_t>(static_cast<double>(spec.ui_count) / half_period_ui);
  spec.rj_rms = options.clock_rj_rms;
  spec.sj_amplitude *= options.clock_shared;
  spec.dirac_distance *= spec.dirac_frequency > 0 ? options.clock_shared : 0;
  spec.duty_cycle_distortion = spec.f2_jitter = spec.pattern_jitter = 0;
  spec.preshoot = spec.deemphasis = spec.noise_rms = 0;
  spec.seed = ~spec.seed;  // other random values than the data's
  return clock;
}

std::string OptionName(const char *parameter) {
  std::string name = parameter;
  std::replace(name.begin(), name.end(), '_', '-');
  return "--" + name;
}

template <class Row>
auto ChoiceOf(std::span<const Row> rows) {
  std::vector<std::string> names;
  for (const Row &row : rows) names.emplace_back(row.name);
  return CLI::IsMember(names);
}

template <class Row>
const Row &Named(std::span<const Row> rows, const std::string &name) {
  return *std::find_if(rows.begin(), rows.end(), [&](const Row &row) { return row.name == name; });
}

std::vector<uint8_t> ReadBits(const std::string &path) {
  std::ifstream file(path);
  if (!file) throw Failure(ExitCode::kUnreadable, "cannot read the bits file " + path);
  std::vector<uint8_t> bits;
  uint64_t position = 0;
  for (char c; file.get(c); ++position) {
    if (c == ' ' || c == '\n' || c == '\r' || c == '\t') continue;
    if (c != '0' && c != '1') {
      throw Failure(ExitCode::kUnreadable,
                    fmt::format("{}: byte {} is neither 0 nor 1", path, position),
                    "a bits file holds the characters 0 and 1, and white space anywhere");
    }
    bits.push_back(static_cast<uint8_t>(c - '0'));
  }
  if (bits.empty()) throw Failure(ExitCode::kUnreadable, path + " holds no bits");
  return bits;
}

struct StatsRow {
  const char *name, *unit;
  SequenceStats SynthTruth::*stats;
};
constexpr StatsRow kStatsRows[] = {
    {"rj", "s", &SynthTruth::rj},       {"sj", "s", &SynthTruth::sj},
    {"dirac", "s", &SynthTruth::dirac}, {"duty_cycle_distortion", "s", &SynthTruth::dcd},
    {"f2", "s", &SynthTruth::f2},       {"pattern", "s", &SynthTruth::pattern},
    {"total", "s", &SynthTruth::total}, {"noise", "V", &SynthTruth::noise},
};

Json StatsJson(const StatsRow &row, const SynthTruth &truth) {
  const SequenceStats &stats = truth.*row.stats;
  return {{"unit", row.unit},
          {"count", stats.count()},
          {"mean", stats.mean()},
          {"rms", stats.rms()},
          {"min", stats.min()},
          {"max", stats.max()},
          {"peak_to_peak", stats.max() - stats.min()}};
}

Json TruthJson(const SynthOptions &options, const SynthTruth &truth) {
  const SynthSpec &spec = options.spec;
  Json parameters;
  for (const SynthParameter &parameter : SynthParameters()) {
    parameters[parameter.name] = {{"value", spec.*parameter.value},
                                  {"unit", parameter.unit},
                                  {"definition", parameter.definition}};
  }
  parameters["edge_time"]["value"] = ResolvedEdgeTime(spec);
  Json realised;
  for (const StatsRow &row : kStatsRows) realised[row.name] = StatsJson(row, truth);
  Json result = {{"schema", "vomo.synth.truth"},
                 {"version", 1},
                 {"capture", std::filesystem::path(options.output).filename().string()},
                 {"format", options.format},
                 {"waveforms", options.combined ? 2 : 1},
                 {"pattern", options.pattern},
                 {"seed", spec.seed},
                 {"ui_count", spec.ui_count},
                 {"unit_interval", spec.unit_interval()},
                 {"sample_interval", spec.sample_interval()},
                 {"sample_count", truth.sample_count},
                 {"rising_edges", truth.rising_edges},
                 {"falling_edges", truth.falling_edges},
                 {"held_edges", truth.held_edges},
                 {"first_edge", truth.first_edge},
                 {"last_edge", truth.last_edge},
                 {"parameters", std::move(parameters)},
                 {"realised", std::move(realised)}};
  if (!options.complement.empty()) {
    result["complement"] = std::filesystem::path(options.complement).filename().string();
  }
  if (!options.clock.empty()) {
    result["clock"] = {{"capture", std::filesystem::path(options.clock).filename().string()},
                       {"period_ui", options.clock_period_ui},
                       {"shared", options.clock_shared}};
  }
  result["definitions"] = {
      {"times", "seconds from sample 0, which is the start of the first bit"},
      {"realised",
       "figures of the values that were drawn; rms is about the mean; total is the "
       "displacement of each edge from its undisturbed time"},
      {"held_edges",
       "edges that would have come before their predecessor and were put at its time"},
      {"complement",
       "of a pair, each half carries half of the swing and of the noise; the signal is "
       "their difference"},
      {"clock",
       "a reference clock of that many data UI in a period, with this part of the sinusoidal and "
       "of the square-wave displacement, with all of the spread spectrum, and else only with "
       "random jitter of its own"}};
  return result;
}

// The signal anew from its seed, or half of it with its sign and the common mode. The truth is that
// of the last run.
SampleSource SignalTimes(float factor, const SynthSpec &spec, SynthTruth *truth) {
  return [factor, &spec, truth](const SampleSink &sink) {
    SignalSynth synth(spec);
    std::vector<float> block(1 << 16);
    uint64_t position = 0;
    while (const size_t count = synth.Next(block)) {
      const auto samples = std::span(block).first(count);
      if (factor != 1.0f) {
        for (float &sample : samples) {
          sample = static_cast<float>(sample * factor + CommonMode(spec, position++));
        }
      }
      sink(samples);
    }
    *truth = synth.truth();
  };
}

SynthTruth WriteCaptures(const SynthOptions &options) {
  const CaptureFormat &format = Named(WritableFormats(), options.format);
  const CaptureInfo info{SignalSynth(options.spec).sample_count(), options.spec.sample_interval()};
  SynthTruth truth;
  const SampleSource whole = SignalTimes(1.0f, options.spec, &truth);
  const SampleSource halves[] = {SignalTimes(0.5f, options.spec, &truth),
                                 SignalTimes(-0.5f, options.spec, &truth)};
  OutputFile file(options.output);
  if (options.combined) {
    WriteCapture(format, info, halves, file);
  } else if (options.complement.empty()) {
    WriteCapture(format, info, {&whole, 1}, file);
  } else {
    OutputFile complement(options.complement);
    WriteCapture(format, info, {&halves[0], 1}, file);
    WriteCapture(format, info, {&halves[1], 1}, complement);
    complement.Commit();
  }
  file.Commit();
  return truth;
}

void WriteWithTruth(const SynthOptions &options) {
  OutputFile truth(options.output + ".truth.json");
  truth.Write(TruthJson(options, WriteCaptures(options)).dump(2) + "\n");
  truth.Commit();
}

ExitCode RunSynth(SynthOptions options) {
  if (!options.bits_file.empty()) {
    options.pattern = "bits";
    options.spec.bits = ReadBits(options.bits_file);
  }
  options.spec.pattern = Named(PatternNames(), options.pattern).pattern;
  try {
    WriteWithTruth(options);
    if (!options.clock.empty()) {
      SynthOptions clock = ClockOptions(options);
      clock.clock.clear();
      WriteWithTruth(clock);
    }
  } catch (const SynthError &error) {
    throw Failure(ExitCode::kWrongUsage, error.what(), "see vomo synth --help");
  }
  return ExitCode::kWithinLimits;
}

void AddClockOptions(CLI::App *command, SynthOptions *options) {
  CLI::Option *clock = command->add_option(
      "--clock", options->clock,
      "write a reference clock of the same time and spread beside the data to this file");
  command->add_option("--clock-period", options->clock_period_ui, "its period (data UI)")
      ->capture_default_str()
      ->check(CLI::Range(2, 1'000'000))
      ->needs(clock);
  command
      ->add_option("--clock-shared", options->clock_shared,
                   "the part of the data's sinusoidal and square-wave jitter that it has too (1)")
      ->capture_default_str()
      ->check(CLI::Range(0.0, 1.0))
      ->needs(clock);
  command->add_option("--clock-rj-rms", options->clock_rj_rms, "random jitter of its own (s)")
      ->capture_default_str()
      ->check(CLI::Range(0.0, 1.0))
      ->needs(clock);
}

}  // namespace

void AddSynthCommand(CLI::App &cli, ExitCode *exit_code) {
  auto options = std::make_shared<SynthOptions>();
  CLI::App *command = cli.add_subcommand(
      "synth", "Write a capture of an NRZ signal with stated jitter; the truth goes beside it");
  command->add_option("OUT", options->output, "capture to write; the truth is OUT.truth.json")
      ->required();
  for (const SynthParameter &parameter : SynthParameters()) {
    command
        ->add_option(OptionName(parameter.name), options->spec.*parameter.value,
                     fmt::format("{} ({})", parameter.definition, parameter.unit))
        ->capture_default_str()
        ->check(CLI::Range(parameter.low, parameter.high));
  }
  command->add_option("--ui", options->spec.ui_count, "unit intervals")
      ->capture_default_str()
      ->check(CLI::PositiveNumber);
  command->add_option("--seed", options->spec.seed, "seed of all random values")
      ->capture_default_str();
  auto *pattern = command->add_option("--pattern", options->pattern, "bit pattern")
                      ->capture_default_str()
                      ->check(ChoiceOf(PatternNames()));
  command->add_option("--bits", options->bits_file, "take the bits from this file of 0 and 1")
      ->excludes(pattern);
  command->add_option("--format", options->format, "file format")
      ->capture_default_str()
      ->check(ChoiceOf(WritableFormats()));
  auto *complement = command->add_option(
      "--complement", options->complement,
      "write a single-ended pair: OUT the positive half, this file the negative");
  command
      ->add_flag("--combined", options->combined,
                 "write a single-ended pair as the two waveforms of OUT (bin, spice)")
      ->excludes(complement);
  AddClockOptions(command, options.get());
  command->callback([options, exit_code] { *exit_code = RunSynth(*options); });
}

}  // namespace app
