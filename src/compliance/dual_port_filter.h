// Data intervals against a clock's jitter behind one PLL filter.
#ifndef VOMO_COMPLIANCE_DUAL_PORT_FILTER_H
#define VOMO_COMPLIANCE_DUAL_PORT_FILTER_H

#include <vomo.h>

#include <cstdint>

#include "core/handle_table.h"

namespace vomo {

// The spectrum of the clock's accumulated interval errors, seconds, and the intervals of the data.
// There are at least as many data intervals as the spectrum's sequence has values.
struct DualPortInput {
  const double *data_intervals;
  const VomoComplexDouble *clock_spectrum;
  double bin_spacing_hz;
  uint32_t bin_count;
  uint32_t odd_length;
  double clock_unit_interval_s;
};

// A jitter sequence that a trial leaves, and its length.
struct TrialJitter {
  Received<double> values;
  uint32_t count = 0;
};

// Where a run notes each of its trials; nothing is noted without room.
struct TrialLog {
  VomoDualPortTrial *trials = nullptr;
  uint32_t capacity = 0, count = 0;

  void Note(const VomoDualPortTrial &trial) {
    if (count < capacity) trials[count++] = trial;
  }
};

// Passes the clock's jitter through the filter (as it is where the clock's crossovers serve as the
// clock) and takes it off the data's intervals at three alignments: the data ahead by
// ulClockDataOffsetUI, aligned, the clock ahead. psResults and jitter receive the worst of the
// three by Tj; with no Tj above 0 the results come out empty. Each trial that beats the ones before
// it here publishes its curves, and all three are noted in the log, their filter's index left 0.
VomoStatus Vomo_AnalyseDualPortFilter(const DualPortInput &input, const VomoFilterParams &filter,
                                      const VomoComplianceParams &parameters,
                                      const VomoDualPortParams &dual_port,
                                      VomoComplianceResults *psResults, TrialJitter &jitter,
                                      TrialLog &log);

}  // namespace vomo

#endif
