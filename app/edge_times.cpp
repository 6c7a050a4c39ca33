#include "edge_times.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "capture_reader.h"
#include "library_block.h"

namespace app {
namespace {

constexpr uint32_t kFewestEdges = 3;

std::string LevelAdvice(VomoStatus status, double samples_per_ui) {
  if (status == Vomo_STATUS_PATTERN_NOT_FOUND) {
    return "a steady level is where the signal moves by less than 50 mV for 2 UI: that takes runs "
           "of 4 equal bits of both polarities, about 0 V, and little noise";
  }
  return fmt::format(
      "check that {:.4g} samples in a unit interval (--rate, and --interval or --spui) is right",
      samples_per_ui);
}

struct Edges {
  LibraryBlock<VomoCrossoverData> list;
  LibraryBlock<double> slopes;  // volts per second, one for each edge
};

void FindEdges(const VomoWaveform &waveform, double unit_interval_s, const std::string &name,
               Edges *edges) {
  double smallest_s = 0;
  const VomoStatus status = Vomo_FIND_CROSSOVERS(
      &waveform, 0, waveform.ulNumSamples - 1, unit_interval_s, Vomo_CROSSOVERS_RISE_FALL,
      edges->list.pointer(), edges->list.handle_out(), edges->slopes.pointer(),
      edges->slopes.handle_out(), &smallest_s);
  if (Vomo_STATUS_IS_ERROR(status)) {
    throw StatusFailure(ExitCode::kNotMeasurable, status, "finding the edges of", name, "");
  }
  if (edges->list->ulCount < kFewestEdges) {
    throw Failure(ExitCode::kNotMeasurable,
                  fmt::format("{} has {} edges, and edge times need {}", name, edges->list->ulCount,
                              kFewestEdges),
                  "a longer capture");
  }
  if (status == Vomo_STATUS_CROSSOVER_MEMORY_LIMIT) {
    fmt::print(stderr,
               "vomo: warning: more than 1.25 edges in a unit interval: only the first {} are "
               "measured; check --rate\n",
               edges->list->ulCount);
  }
}

size_t KindOf(uint8_t flags) {
  const auto is_kind = [&](const EdgeKind &kind) { return flags == kind.flags; };
  return static_cast<size_t>(std::find_if(kEdgeKinds.begin(), kEdgeKinds.end(), is_kind) -
                             kEdgeKinds.begin());
}

// Times by one method, dealt out to the kinds.
template <class Find>
void Deal(const VomoCrossoverData &edges, EdgeMethod method, const std::string &name,
          EdgeMeasurement *result, Find find) {
  LibraryBlock<double> seconds;
  uint32_t count = 0;
  const VomoStatus status = find(&count, seconds.pointer(), seconds.handle_out());
  if (Vomo_STATUS_IS_ERROR(status)) {
    throw StatusFailure(ExitCode::kNotMeasurable, status, "measuring the edge times of", name, "");
  }
  for (uint32_t k = 0; k < count; ++k) {
    const size_t kind = KindOf(edges.pucFlags[1 + k]);
    if (kind < kEdgeKinds.size() && std::isfinite(seconds[k])) {
      result->times_s[kind][method].push_back(seconds[k]);
    }
  }
}

double FirstShortRunEnd(const VomoCrossoverData &edges) {
  const uint8_t *begin = edges.pucFlags + 1, *end = edges.pucFlags + edges.ulCount;
  const uint8_t *found =
      std::find_if(begin, end, [](uint8_t flags) { return (flags & CROSSOVER_DEEMPH) == 0; });
  return edges.pdTimes[found == end ? 1 : found - edges.pucFlags];
}

}  // namespace

EdgeMeasurement MeasureEdges(const VomoWaveform &waveform, const EdgeRequest &request,
                             const std::string &name, StageTimes &times) {
  EdgeMeasurement result = {};
  const uint32_t samples = waveform.ulNumSamples;
  const VomoStatus status = times.Time("levels", samples, [&] {
    return Vomo_FIND_AVE_VOLTAGE_LEVELS(&waveform, 0, samples - 1, request.unit_interval_s,
                                        result.levels_v.data());
  });
  if (Vomo_STATUS_IS_ERROR(status)) {
    throw StatusFailure(ExitCode::kNotMeasurable, status, "finding the voltage levels of", name,
                        LevelAdvice(status, request.unit_interval_s / waveform.dSampleInterval));
  }
  Edges edges;
  times.Time("edges", samples, [&] { FindEdges(waveform, request.unit_interval_s, name, &edges); });
  const VomoCrossoverData &list = *edges.list.get();
  const uint32_t last = list.ulCount - 1;
  times.Time("by slope", samples, [&] {
    Deal(list, kBySlope, name, &result, [&](uint32_t *count, double **out, VomoHandle *handle) {
      return Vomo_FIND_RISE_FALL_TIMES_SLOPE(&list, edges.slopes.get(), 1, last,
                                             result.levels_v.data(), request.low_fraction,
                                             request.high_fraction, count, out, handle);
    });
  });
  times.Time("by waveform", samples, [&] {
    Deal(list, kByWaveform, name, &result, [&](uint32_t *count, double **out, VomoHandle *handle) {
      return Vomo_FIND_RISE_FALL_TIMES_WAVEFORM(&list, &waveform, 1, last, result.levels_v.data(),
                                                request.low_fraction, request.high_fraction, count,
                                                out, handle);
    });
  });
  result.short_run_s = FirstShortRunEnd(list);
  return result;
}

}  // namespace app
