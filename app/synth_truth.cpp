#include "synth_truth.h"

#include <filesystem>

namespace app {
namespace {

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

template <class Spec, class Parameter>
Json ParametersJson(const Spec &spec, std::span<const Parameter> parameters) {
  Json json;
  for (const Parameter &parameter : parameters) {
    json[parameter.name] = {{"value", spec.*parameter.value},
                            {"unit", parameter.unit},
                            {"definition", parameter.definition}};
  }
  return json;
}

// What the truths of all signals begin with.
Json Head(const char *schema, const SynthOutput &output) {
  Json json = {{"schema", schema},
               {"version", 1},
               {"capture", std::filesystem::path(output.path).filename().string()},
               {"format", output.format},
               {"waveforms", output.combined ? 2 : 1}};
  if (!output.complement.empty()) {
    json["complement"] = std::filesystem::path(output.complement).filename().string();
  }
  return json;
}

Json BurstJson(const BurstSpec &spec, uint64_t burst) {
  const BurstTruth truth = TruthOf(spec, burst);
  Json json;
  if (spec.kind == BurstKind::kPulseWidthCoded) json["prepare_start"] = truth.prepare_start;
  json["start"] = truth.start;
  json["end"] = truth.end;
  return json;
}

}  // namespace

Json SignalTruth(const SynthOutput &output, const SynthSpec &spec, const std::string &pattern,
                 const SynthTruth &truth) {
  Json json = Head("vomo.synth.truth", output);
  json.update(Json{{"pattern", pattern},
                   {"seed", spec.seed},
                   {"ui_count", spec.ui_count},
                   {"unit_interval", spec.unit_interval()},
                   {"sample_interval", spec.sample_interval()},
                   {"sample_count", truth.sample_count},
                   {"rising_edges", truth.rising_edges},
                   {"falling_edges", truth.falling_edges},
                   {"held_edges", truth.held_edges},
                   {"first_edge", truth.first_edge},
                   {"last_edge", truth.last_edge}});
  json["parameters"] = ParametersJson(spec, SynthParameters());
  json["parameters"]["edge_time"]["value"] = ResolvedEdgeTime(spec);
  for (const StatsRow &row : kStatsRows) json["realised"][row.name] = StatsJson(row, truth);
  json["definitions"] = {
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
  return json;
}

Json BurstsTruth(const SynthOutput &output, const BurstSpec &spec, const std::string &pattern,
                 uint64_t sample_count) {
  Json json = Head("vomo.synth.bursts", output);
  const bool coded = spec.kind == BurstKind::kPulseWidthCoded;
  json["kind"] = coded ? "pulse-width coded" : "burst train";
  if (coded) json["pattern"] = pattern;
  json["seed"] = spec.seed;
  json["sample_count"] = sample_count;
  for (const BurstParameter &parameter : BurstParameters()) {
    if (!parameter.Concerns(spec.kind)) continue;
    json["parameters"].update(ParametersJson(spec, std::span(&parameter, 1)));
  }
  for (const SynthParameter &parameter : SynthParameters()) {
    if (double BurstSpec::*member = SharedWith(parameter)) {
      json["parameters"][parameter.name] = {
          {"value", spec.*member}, {"unit", parameter.unit}, {"definition", parameter.definition}};
    }
  }
  json["parameters"]["edge_time"]["value"] = ResolvedEdgeTime(spec);
  json["bursts"] = Json::array();
  for (uint64_t i = 0; i < spec.burst_count; ++i) json["bursts"].push_back(BurstJson(spec, i));
  json["definitions"] = {
      {"times",
       "seconds from sample 0; where a ramp is at 0 V. The first ramp of a train's burst begins at "
       "its start and the last ends at its end"},
      {"prepare_start", "rising edge from the stall into the phase that leads up to the burst"},
      {"complement",
       "of a pair, each half carries the common mode and half of the signal and of the noise; the "
       "signal is their difference"}};
  return json;
}

}  // namespace app
