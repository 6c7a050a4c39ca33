// From the intervals of a clock to the traces of an eye diagram. Every diagram is made here,
// whether its points are stored or only looked at.
#ifndef VOMO_EYE_TRACE_H
#define VOMO_EYE_TRACE_H

#include <vomo.h>

#include <algorithm>
#include <cstdint>

namespace vomo {

// Which intervals a diagram draws, told by the two samples half a unit interval to either side of
// the edge at the interval's start: of one sign in a non-transition bit.
enum DiagramType : uint32_t { kAllBits = 1, kTransitionBits = 2, kNonTransitionBits = 3 };

struct DiagramRequest {
  uint32_t type;
  double ui_s;
  const VomoWaveform *waveform;
  // Clock indices, both inclusive.
  uint32_t first_interval, last_interval;
  const VomoCrossoverData *clock;
  // Clock index of error_s[0].
  uint32_t clock_offset;
  const double *error_s;
  double wrap_left_ui, wrap_right_ui;
};

// PARAM_OUT_OF_RANGE for a request that can't be drawn, NULL pointers among the reasons.
VomoStatus CheckRequest(const DiagramRequest &request);

// Most points that a diagram of this request holds, whatever its class. 0 for wraps that leave no
// width.
uint32_t DiagramCapacity(const DiagramRequest &request);

// The samples that one interval draws. The eye time of sample i is time_s with step_s added i
// times; each sum rounds, so the times have to be formed in order.
struct Trace {
  const float *samples;
  uint64_t count;
  double time_s;
  double step_s;
  uint32_t interval;  // clock index
};

// Writes the abscissae, in unit intervals, of the trace's next count samples and moves its time on.
inline void NextAbscissae(Trace &trace, double ui_s, uint64_t count, double *x) {
  double time_s = trace.time_s;
  for (uint64_t i = 0; i < count; ++i) {
    x[i] = time_s / ui_s;
    time_s += trace.step_s;
  }
  trace.time_s = time_s;
}

// Walks over the intervals of a request that CheckRequest has passed.
class TraceWalk {
 public:
  explicit TraceWalk(const DiagramRequest &request);

  // Calls sink(trace) for each trace in order, none of them empty, until capacity points are
  // reached: the trace that reaches it is cut and later ones are left out. Returns the number of
  // points.
  template <class Sink>
  uint32_t Run(uint32_t capacity, Sink &&sink) const {
    uint32_t taken = 0;
    for (int64_t k = first_; k <= last_ && taken < capacity; ++k) {
      Trace trace;
      if (!Draw(k, trace)) continue;
      trace.count = std::min<uint64_t>(trace.count, capacity - taken);
      taken += static_cast<uint32_t>(trace.count);
      sink(trace);
    }
    return taken;
  }

 private:
  // k counts from the clock offset. False: the interval draws nothing.
  bool Draw(int64_t k, Trace &trace) const;
  bool IsWanted(double edge_sample) const;

  const DiagramRequest &request_;
  const double sample_interval_s_;
  const double last_sample_;
  const double half_ui_samples_;
  const double left_s_, right_s_;
  int64_t first_, last_;
};

}  // namespace vomo

#endif
