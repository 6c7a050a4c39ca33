#include "eye/pass_fail.h"

#include <algorithm>
#include <iterator>

#include "core/boundary.h"

namespace vomo {
namespace {

constexpr uint32_t kMostVertices = std::size(VomoPassFailInfo{}.adSlopes);
constexpr uint32_t kMarginBins = std::size(VomoTemplateMargins{}.afUpperMargin);

enum PointStatus : uint8_t { kInsideTemplate = 1, kAboveRail = 2, kBelowRail = 3 };

struct Box {
  double x_min, x_max;
  float y_min, y_max;

  // A NaN is outside nothing, and no box holds it.
  bool Excludes(double x, float y) const {
    return x < x_min || x > x_max || y < y_min || y > y_max;
  }
  bool Holds(double x, float y) const {
    return x >= x_min && x <= x_max && y >= y_min && y <= y_max;
  }
  void Extend(double x, float y) {
    x_min = std::min(x_min, x);
    x_max = std::max(x_max, x);
    y_min = std::min(y_min, y);
    y_max = std::max(y_max, y);
  }
};

Box BoxOf(const VomoTemplate &shape) {
  if (shape.ulArrayLength == 0) return {};
  Box box{shape.adXArray[0], shape.adXArray[0], shape.afYArray[0], shape.afYArray[0]};
  for (uint32_t k = 1; k < shape.ulArrayLength; ++k) {
    box.Extend(shape.adXArray[k], shape.afYArray[k]);
  }
  return box;
}

// The vertex at which an edge ends; the last edge closes the polygon.
uint32_t EndOf(const VomoTemplate &shape, uint32_t edge) {
  return edge + 1 < shape.ulArrayLength ? edge + 1 : 0;
}

double SlopeOf(const VomoTemplate &shape, uint32_t edge) {
  const uint32_t end = EndOf(shape, edge);
  const float rise = shape.afYArray[end] - shape.afYArray[edge];
  return double{rise} / (shape.adXArray[end] - shape.adXArray[edge]);
}

VomoPassFailInfo InfoOf(const VomoTemplate &shape, const VomoPassFailInfo &before) {
  VomoPassFailInfo info = before;
  const Box box = BoxOf(shape);
  info.fEyeYMin = box.y_min;
  info.fEyeYMax = box.y_max;
  info.dEyeXMin = box.x_min;
  info.dEyeXMax = box.x_max;
  const uint32_t edges = std::min(shape.ulArrayLength, kMostVertices);
  for (uint32_t k = 0; k < edges; ++k) info.adSlopes[k] = SlopeOf(shape, k);
  return info;
}

// The polygon with all that the point test asks for, made once for all points.
class Polygon {
 public:
  Polygon(const VomoTemplate &shape, const VomoPassFailInfo &info)
      : shape_(shape),
        info_(info),
        box_{info.dEyeXMin, info.dEyeXMax, info.fEyeYMin, info.fEyeYMax} {
    for (uint32_t k = 0; k < shape.ulArrayLength; ++k) {
      const uint32_t end = EndOf(shape, k);
      edges_[k] = {shape.adXArray[k], shape.adXArray[k], shape.afYArray[k], shape.afYArray[k]};
      edges_[k].Extend(shape.adXArray[end], shape.afYArray[end]);
    }
  }

  bool SpansAbscissa(double x) const { return !(x < box_.x_min || x > box_.x_max); }

  // Points on an edge are outside. Where the boxes of several edges hold the point the last of them
  // decides; a point in no edge's box lies in the middle of the polygon.
  bool Holds(double x, float y) const {
    if (box_.Excludes(x, y)) return false;
    uint32_t decisive = shape_.ulArrayLength;
    for (uint32_t k = 0; k < shape_.ulArrayLength; ++k) {
      if (edges_[k].Holds(x, y)) decisive = k;
    }
    if (decisive == shape_.ulArrayLength) return true;
    const uint32_t end = EndOf(shape_, decisive);
    const double slope = (double{shape_.afYArray[end]} - double{y}) / (shape_.adXArray[end] - x);
    return slope > info_.adSlopes[decisive];
  }

 private:
  const VomoTemplate &shape_;
  const VomoPassFailInfo &info_;
  Box box_;
  Box edges_[kMostVertices];
};

// A line of the polygon as a margin is measured from it: through a vertex at an edge's slope.
struct MarginLine {
  uint32_t vertex, slope;
};

MarginLine LineAt(const VomoTemplate &shape, double x, bool lower_side) {
  const uint32_t upper = x <= shape.adXArray[1] ? 0 : x <= shape.adXArray[2] ? 1 : 2;
  if (!lower_side) return {upper, upper};
  // A diamond's lower side has two edges, so its last stretch shares the slope of the one before.
  constexpr MarginLine kDiamond[] = {{3, 3}, {2, 2}, {3, 2}};
  constexpr MarginLine kHexagon[] = {{5, 5}, {4, 4}, {3, 3}};
  return shape.ulArrayLength == 4 ? kDiamond[upper] : kHexagon[upper];
}

bool HasLowerSide(const VomoTemplate &shape) {
  return shape.ulArrayLength == 4 || shape.ulArrayLength >= 6;
}

// First multiple of the width that reaches x, by repeated addition; kMarginBins if there is none.
uint32_t MarginBin(double x, double width) {
  uint32_t bin = 0;
  for (double edge = 0.0; !(edge >= x) && bin < kMarginBins; ++bin) edge += width;
  return bin;
}

VomoStatus UpdateMargins(const VomoTemplate &shape, const VomoPassFailInfo &info, double x, float y,
                         VomoTemplateMargins &margins) {
  if (x < 0.0 || x > 1.0) return Vomo_STATUS_SUCCESS;
  if (!HasLowerSide(shape)) return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  const MarginLine line = LineAt(shape, x, y < 0.0f);
  const auto rise =
      static_cast<float>((x - shape.adXArray[line.vertex]) * info.adSlopes[line.slope]);
  const float distance = y - (shape.afYArray[line.vertex] + rise);
  const uint32_t bin = MarginBin(x, margins.dMarginBinWidth);
  if (bin == kMarginBins) return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  if (y > 0.0f) {
    margins.afUpperMargin[bin] = std::min(margins.afUpperMargin[bin], distance);
    margins.fHighMargin = std::min(margins.fHighMargin, distance);
  } else {
    margins.afLowerMargin[bin] = std::max(margins.afLowerMargin[bin], distance);
    margins.fLowMargin = std::max(margins.fLowMargin, distance);
  }
  return Vomo_STATUS_SUCCESS;
}

// Marks failed points. Each pass counts the points of its own abscissa range from the first status
// byte on, so a later pass may write over what an earlier one said of another point. Points that
// pass are not written.
class StatusBytes {
 public:
  explicit StatusBytes(uint8_t *next) : next_(next) {}
  void Fail(PointStatus reason) {
    ++failures_;
    if (next_ != nullptr) *next_ = reason;
  }
  void Advance() {
    if (next_ != nullptr) ++next_;
  }
  uint32_t failures() const { return failures_; }

 private:
  uint8_t *next_;
  uint32_t failures_ = 0;
};

uint32_t TestRails(const VomoTemplate &diagram, float high_rail, float low_rail, uint8_t *status) {
  StatusBytes bytes(status);
  for (uint32_t i = 0; i < diagram.ulArrayLength; ++i) {
    const double x = diagram.adXArray[i];
    if (x < 0.0 || x > 1.0) continue;
    const float y = diagram.afYArray[i];
    if (y > high_rail) bytes.Fail(kAboveRail);
    if (y < low_rail) bytes.Fail(kBelowRail);
    bytes.Advance();
  }
  return bytes.failures();
}

VomoStatus TestTemplate(const VomoTemplate &diagram, const VomoTemplate &shape,
                        const VomoPassFailInfo &info, uint8_t *status, VomoTemplateMargins &margins,
                        uint32_t &failures) {
  const Polygon polygon(shape, info);
  StatusBytes bytes(status);
  VomoStatus result = Vomo_STATUS_SUCCESS;
  for (uint32_t i = 0; i < diagram.ulArrayLength; ++i) {
    const double x = diagram.adXArray[i];
    if (!polygon.SpansAbscissa(x)) continue;
    const float y = diagram.afYArray[i];
    if (polygon.Holds(x, y)) bytes.Fail(kInsideTemplate);
    bytes.Advance();
    if (margins.usCollectMargins != 0) result = UpdateMargins(shape, info, x, y, margins);
  }
  failures += bytes.failures();
  return result;
}

bool HasPoints(const VomoTemplate *points) {
  return points != nullptr && (points->ulArrayLength == 0 ||
                               (points->adXArray != nullptr && points->afYArray != nullptr));
}

}  // namespace

VomoStatus VomoDiagramPassFailWithMargins(const VomoTemplate &sDiagram,
                                          const VomoTemplate &sTemplate, float fHighRail,
                                          float fLowRail, uint32_t eTestType,
                                          const VomoPassFailInfo *psInfo, uint16_t *pusPass,
                                          uint32_t *pulViolations, uint8_t *pbyPointStatus,
                                          VomoTemplateMargins &sMargins) {
  const VomoPassFailInfo info = psInfo != nullptr ? *psInfo : InfoOf(sTemplate, {});
  uint32_t failures = 0;
  VomoStatus status = Vomo_STATUS_SUCCESS;
  if (eTestType == kRailsAndTemplate || eTestType == kRailsOnly) {
    failures = TestRails(sDiagram, fHighRail, fLowRail, pbyPointStatus);
  }
  if (eTestType == kRailsAndTemplate || eTestType == kTemplateOnly) {
    status = TestTemplate(sDiagram, sTemplate, info, pbyPointStatus, sMargins, failures);
  }
  *pusPass = failures == 0;
  *pulViolations = failures;
  return status;
}

}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus Vomo_INIT_TEMPLATE_INFO_HELP(const VomoTemplate *psTemplate,
                                                   VomoPassFailInfo *psInfo) noexcept {
  if (HasPoints(psTemplate) && psInfo != nullptr) *psInfo = InfoOf(*psTemplate, *psInfo);
  return Vomo_STATUS_SUCCESS;
}

extern "C" VomoStatus Vomo_DIAGRAM_PASS_FAIL(const VomoTemplate *psDiagram,
                                             const VomoTemplate *psTemplate, float fHighRail,
                                             float fLowRail, uint32_t eTestType,
                                             const VomoPassFailInfo *psInfo, uint16_t *pusPass,
                                             uint32_t *pulViolations,
                                             uint8_t *pbyPointStatus) noexcept {
  if (!HasPoints(psDiagram) || !HasPoints(psTemplate) || pusPass == nullptr ||
      pulViolations == nullptr) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  if (psTemplate->ulArrayLength > kMostVertices) return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  return Guarded([&] {
    VomoTemplateMargins no_margins{};
    return VomoDiagramPassFailWithMargins(*psDiagram, *psTemplate, fHighRail, fLowRail, eTestType,
                                          psInfo, pusPass, pulViolations, pbyPointStatus,
                                          no_margins);
  });
}
