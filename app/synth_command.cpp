// vomo synth: a capture of an NRZ signal or of low-frequency bursts, and beside it a JSON file with
// its truth.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <fstream>

#include "capture_writer.h"
#include "commands.h"
#include "synth_truth.h"

namespace app {
namespace {

struct SynthOptions {
  SynthSpec spec;
  BurstSpec bursts;
  SynthOutput output;
  std::optional<int> burst_kind;  // bursts instead of an NRZ signal
  std::string bits_file, pattern = "prbs7";
  // A reference clock beside the data.
  std::string clock;
  uint64_t clock_period_ui = 80;
  double clock_shared = 1, clock_rj_rms = 0;
  // Options for the one kind of signal that were given.
  std::vector<const BurstParameter *> burst_settings;
};

// The clock of the same time and spread as the data, with its part of the data's deterministic
// jitter.
SynthOptions ClockOptions(const SynthOptions &options) {
  SynthOptions clock = options;
  clock.output.path = options.clock;
  clock.output.complement.clear();
  clock.output.combined = false;
  clock.clock.clear();
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

// Gives the sink all samples of a signal. change(samples, position) may change those at a position.
template <class Synth, class Change>
void Deliver(Synth &synth, const SampleSink &sink, Change change) {
  std::vector<float> block(1 << 16);
  uint64_t position = 0;
  while (const size_t count = synth.Next(block)) {
    const auto samples = std::span(block).first(count);
    change(samples, position);
    position += count;
    sink(samples);
  }
}

// The signal anew from its seed, or half of it with its sign and the common mode. The truth is that
// of the last run.
SampleSource SignalTimes(float factor, const SynthSpec &spec, SynthTruth *truth) {
  return [factor, &spec, truth](const SampleSink &sink) {
    SignalSynth synth(spec);
    Deliver(synth, sink, [&](std::span<float> samples, uint64_t position) {
      if (factor == 1.0f) return;
      for (float &sample : samples) {
        sample = static_cast<float>(sample * factor + CommonMode(spec, position++));
      }
    });
    *truth = synth.truth();
  };
}

SampleSource BurstsAs(BurstView view, const BurstSpec &spec) {
  return [view, &spec](const SampleSink &sink) {
    BurstSynth synth(spec, view);
    Deliver(synth, sink, [](std::span<float>, uint64_t) {});
  };
}

// Writes a signal or the halves of it as a pair, whatever is asked for.
void WriteCaptures(const SynthOutput &output, const CaptureInfo &info, const SampleSource &whole,
                   std::span<const SampleSource, 2> halves) {
  const CaptureFormat &format = Named(WritableFormats(), output.format);
  OutputFile file(output.path);
  if (output.combined) {
    WriteCapture(format, info, halves, file);
  } else if (output.complement.empty()) {
    WriteCapture(format, info, {&whole, 1}, file);
  } else {
    OutputFile complement(output.complement);
    WriteCapture(format, info, {&halves[0], 1}, file);
    WriteCapture(format, info, {&halves[1], 1}, complement);
    complement.Commit();
  }
  file.Commit();
}

Json WriteSignal(const SynthOptions &options) {
  const SynthSpec &spec = options.spec;
  SynthTruth truth;
  const SampleSource halves[] = {SignalTimes(0.5f, spec, &truth), SignalTimes(-0.5f, spec, &truth)};
  WriteCaptures(options.output, {SignalSynth(spec).sample_count(), spec.sample_interval()},
                SignalTimes(1.0f, spec, &truth), halves);
  Json json = SignalTruth(options.output, spec, options.pattern, truth);
  if (!options.clock.empty()) {
    json["clock"] = {{"capture", std::filesystem::path(options.clock).filename().string()},
                     {"period_ui", options.clock_period_ui},
                     {"shared", options.clock_shared}};
  }
  return json;
}

Json WriteBursts(const SynthOptions &options) {
  const BurstSpec &spec = options.bursts;
  const uint64_t sample_count = BurstSynth(spec, BurstView::kDifference).sample_count();
  const SampleSource halves[] = {BurstsAs(BurstView::kPositiveHalf, spec),
                                 BurstsAs(BurstView::kNegativeHalf, spec)};
  WriteCaptures(options.output, {sample_count, spec.sample_interval},
                BurstsAs(BurstView::kDifference, spec), halves);
  return BurstsTruth(options.output, spec, options.pattern, sample_count);
}

void WriteWithTruth(const SynthOptions &options) {
  OutputFile truth(options.output.path + ".truth.json");
  const Json json = options.burst_kind ? WriteBursts(options) : WriteSignal(options);
  truth.Write(json.dump(2) + "\n");
  truth.Commit();
}

void TakeBurstKind(SynthOptions &options) {
  BurstSpec &bursts = options.bursts;
  bursts.kind = static_cast<BurstKind>(*options.burst_kind);
  bursts.seed = options.spec.seed;
  bursts.pattern = options.spec.pattern;
  bursts.bits = options.spec.bits;
  for (const SynthParameter &parameter : SynthParameters()) {
    if (double BurstSpec::*member = SharedWith(parameter)) {
      bursts.*member = options.spec.*parameter.value;
    }
  }
  for (const BurstParameter *parameter : options.burst_settings) {
    if (parameter->Concerns(bursts.kind)) continue;
    throw Failure(ExitCode::kWrongUsage,
                  fmt::format("these bursts have no {}", OptionName(parameter->name)),
                  "the other kind of --lf");
  }
}

void CheckCommonMode(const SynthOptions &options) {
  const SynthSpec &spec = options.spec;
  if (options.output.IsPair() || (spec.common_mode == 0 && spec.common_mode_amplitude == 0)) return;
  throw Failure(ExitCode::kWrongUsage, "a difference shows no --common-mode",
                "--complement or --combined for a pair");
}

ExitCode RunSynth(SynthOptions options) {
  if (!options.bits_file.empty()) {
    options.pattern = "bits";
    options.spec.bits = ReadBits(options.bits_file);
  }
  options.spec.pattern = Named(PatternNames(), options.pattern).pattern;
  CheckCommonMode(options);
  if (options.burst_kind) TakeBurstKind(options);
  try {
    WriteWithTruth(options);
    if (!options.clock.empty()) WriteWithTruth(ClockOptions(options));
  } catch (const SynthError &error) {
    throw Failure(ExitCode::kWrongUsage, error.what(), "see vomo synth --help");
  }
  return ExitCode::kWithinLimits;
}

template <class Spec>
CLI::Option *AddParameter(CLI::App *command, const ParameterOf<Spec> &parameter, Spec *spec) {
  return command
      ->add_option(OptionName(parameter.name), spec->*parameter.value,
                   fmt::format("{} ({})", parameter.definition, parameter.unit))
      ->capture_default_str()
      ->check(CLI::Range(parameter.low, parameter.high));
}

void AddSignalOptions(CLI::App *command, SynthOptions *options, CLI::Option *bursts) {
  for (const SynthParameter &parameter : SynthParameters()) {
    CLI::Option *option = AddParameter(command, parameter, &options->spec);
    if (SharedWith(parameter) == nullptr) option->excludes(bursts);
  }
  command->add_option("--ui", options->spec.ui_count, "unit intervals")
      ->capture_default_str()
      ->check(CLI::PositiveNumber)
      ->excludes(bursts);
  command->add_option("--seed", options->spec.seed, "seed of all random values")
      ->capture_default_str();
  auto *pattern = command
                      ->add_option("--pattern", options->pattern,
                                   "bit pattern; of pulse-width coded bursts as well")
                      ->capture_default_str()
                      ->check(ChoiceOf(PatternNames()));
  command->add_option("--bits", options->bits_file, "take the bits from this file of 0 and 1")
      ->excludes(pattern);
}

void AddBurstOptions(CLI::App *command, SynthOptions *options, CLI::Option *bursts) {
  for (const BurstParameter &parameter : BurstParameters()) {
    AddParameter(command, parameter, &options->bursts)
        ->needs(bursts)
        ->group("Low-frequency bursts")
        ->each([options, &parameter](const std::string &) {
          options->burst_settings.push_back(&parameter);
        });
  }
  command->add_option("--bursts", options->bursts.burst_count, "how many bursts")
      ->capture_default_str()
      ->check(CLI::Range(uint64_t{0}, uint64_t{1'000'000}))
      ->needs(bursts)
      ->group("Low-frequency bursts");
}

void AddClockOptions(CLI::App *command, SynthOptions *options, CLI::Option *bursts) {
  CLI::Option *clock = command->add_option(
      "--clock", options->clock,
      "write a reference clock of the same time and spread beside the data to this file");
  clock->excludes(bursts);
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

void AddOutputOptions(CLI::App *command, SynthOutput *output) {
  command->add_option("OUT", output->path, "capture to write; the truth is OUT.truth.json")
      ->required();
  command->add_option("--format", output->format, "file format")
      ->capture_default_str()
      ->check(ChoiceOf(WritableFormats()));
  auto *complement = command->add_option(
      "--complement", output->complement,
      "write a single-ended pair: OUT the positive half, this file the negative");
  command
      ->add_flag("--combined", output->combined,
                 "write a single-ended pair as the two waveforms of OUT (bin, spice)")
      ->excludes(complement);
}

}  // namespace

void AddSynthCommand(CLI::App &cli, ExitCode *exit_code) {
  auto options = std::make_shared<SynthOptions>();
  CLI::App *command = cli.add_subcommand("synth",
                                         "Write a capture of an NRZ signal with stated jitter, or "
                                         "of low-frequency bursts; the truth goes beside it");
  AddOutputOptions(command, &options->output);
  CLI::Option *bursts =
      command
          ->add_option("--lf", options->burst_kind,
                       "low-frequency bursts: 1 a burst train, 2 pulse-width coded ones")
          ->check(CLI::Range(1, 2))
          ->group("Low-frequency bursts");
  AddSignalOptions(command, options.get(), bursts);
  AddClockOptions(command, options.get(), bursts);
  AddBurstOptions(command, options.get(), bursts);
  command->callback([options, exit_code] { *exit_code = RunSynth(*options); });
}

}  // namespace app
