// The test of a diagram's points against two rails and a template polygon.
#ifndef VOMO_EYE_PASS_FAIL_H
#define VOMO_EYE_PASS_FAIL_H

#include <vomo.h>

#include <cstdint>

namespace vomo {

// What a point is tested against. Other values test nothing.
enum DiagramTest : uint32_t { kRailsAndTemplate = 0, kRailsOnly = 1, kTemplateOnly = 2 };

// Vomo_DIAGRAM_PASS_FAIL with arguments that it has checked. With usCollectMargins each point of
// the template test also goes into the margins: those of the polygon's upper side (vertices 0 to 3,
// clockwise, y upwards) for y of 0 and above, those of its lower side for negative y. They start
// from what the record holds. Returns the status of the last point that went in.
VomoStatus VomoDiagramPassFailWithMargins(const VomoTemplate &sDiagram,
                                          const VomoTemplate &sTemplate, float fHighRail,
                                          float fLowRail, uint32_t eTestType,
                                          const VomoPassFailInfo *psInfo, uint16_t *pusPass,
                                          uint32_t *pulViolations, uint8_t *pbyPointStatus,
                                          VomoTemplateMargins &sMargins);

}  // namespace vomo

#endif
