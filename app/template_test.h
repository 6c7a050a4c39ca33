// The samples of a signal against the templates of its eye.
#ifndef VOMO_APP_TEMPLATE_TEST_H
#define VOMO_APP_TEMPLATE_TEST_H

#include <vomo.h>

#include "density_eye.h"
#include "recovered_clock.h"

namespace app {

struct TemplateHits {
  uint64_t points = 0;  // of the bits of one class
  uint64_t hits = 0;    // of them inside the template
  double ratio() const {
    return points > 0 ? static_cast<double>(hits) / static_cast<double>(points) : 0;
  }
};

struct EyeHits {
  TemplateHits transition, non_transition;
};

// Places the points of every bit in its UI, from 0 at the clock edge before it to 1 at the next,
// and counts those inside the template of the bit's class. The points are the samples and, between
// them, evenly spaced places on the straight line, so that a bit has kLeastPointsPerUi of them or
// more: samples alone would leave places out where they fall on the same phases in every bit.
// A class without a template has no hits.
constexpr double kLeastPointsPerUi = 32;
EyeHits CountTemplateHits(const Signal &signal, const RecoveredClock &clock,
                          const VomoComplianceParams &params);

// The clock that an eye is folded on, and the samples on it against the templates.
struct EyeStep {
  EyeStep(const Signal &signal, const VomoComplianceParams &params, std::span<const double> jitter)
      : clock(RecoverClock(signal, params, jitter)),
        hits(CountTemplateHits(signal, clock, params)) {}
  RecoveredClock clock;
  EyeHits hits;
};

// Makes the bounds of a setting's polygon. Throws Failure for one that can't be tested with: it
// takes no vertices, or 3 to 24 of a convex shape, clockwise with volts upwards. A template of
// which only one array is there yet is passed over.
void PrepareTemplate(const VomoTemplate &polygon, const char *setting, VomoPassFailInfo *bounds);

}  // namespace app

#endif
