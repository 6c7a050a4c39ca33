// The samples of a signal against the templates of its eye.
#ifndef VOMO_APP_TEMPLATE_TEST_H
#define VOMO_APP_TEMPLATE_TEST_H

#include <vomo.h>

#include "density_eye.h"
#include "recovered_clock.h"

namespace app {

struct TemplateHits {
  uint64_t samples = 0;  // of the bits of one class
  uint64_t hits = 0;     // of them inside the template
  double ratio() const {
    return samples > 0 ? static_cast<double>(hits) / static_cast<double>(samples) : 0;
  }
};

struct EyeHits {
  TemplateHits transition, non_transition;
};

// Places every sample in the UI of its bit, from 0 at the clock edge before it to 1 at the next,
// and counts those inside the template of the bit's class. A class without a template has no hits.
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
