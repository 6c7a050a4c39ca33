// A transmitter's voltage levels, and the rise and fall times of its edges.
#ifndef VOMO_APP_EDGE_TIMES_H
#define VOMO_APP_EDGE_TIMES_H

#include <vomo.h>

#include <array>
#include <string>
#include <vector>

#include "terminal.h"

namespace app {

enum Level { kPeakHigh, kPeakLow, kSteadyHigh, kSteadyLow, kLevels };

enum EdgeMethod { kBySlope, kByWaveform, kEdgeMethods };
inline constexpr const char *kEdgeMethodNames[] = {"slope", "waveform"};

// Where an edge goes, and whether it starts from the steady level: behind 2 UI or more. Else it
// starts from the level straight behind the edge before it.
struct EdgeKind {
  const char *direction, *from;
  uint8_t flags;
};
inline constexpr std::array<EdgeKind, 4> kEdgeKinds = {{
    {"rising", "peak", CROSSOVER_RISE},
    {"rising", "steady", CROSSOVER_RISE | CROSSOVER_DEEMPH},
    {"falling", "peak", CROSSOVER_FALL},
    {"falling", "steady", CROSSOVER_FALL | CROSSOVER_DEEMPH},
}};

struct EdgeRequest {
  double unit_interval_s;
  float low_fraction, high_fraction;  // of the swing
};

struct EdgeMeasurement {
  std::array<float, kLevels> levels_v;
  // Seconds, by EdgeKind and EdgeMethod, in the order of the edges. Without the first edge: the run
  // that it ends began before the capture.
  std::array<std::array<std::vector<double>, kEdgeMethods>, kEdgeKinds.size()> times_s;
  double short_run_s;  // where the first run of a single bit ends, or else the second edge
};

// Throws Failure for a signal without steady levels or edges, and warns on the standard error
// output when its edges are more than the unit interval has room for. The name is for messages.
EdgeMeasurement MeasureEdges(const VomoWaveform &waveform, const EdgeRequest &request,
                             const std::string &name, StageTimes &times);

}  // namespace app

#endif
