#include "template_test.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace app {
namespace {

constexpr uint32_t kMostVertices = 24;
// Points tested at once: they stay in the cache, whatever the capture's length.
constexpr size_t kPointsAtOnce = 1 << 14;
constexpr uint32_t kTemplateOnly = 2;

// The points of one class of bits, tested whenever there are enough.
class ClassTest {
 public:
  ClassTest(const VomoTemplate &polygon, const VomoPassFailInfo &bounds)
      : polygon_(polygon), bounds_(bounds) {
    x_.reserve(kPointsAtOnce);
    y_.reserve(kPointsAtOnce);
  }

  void Add(double ui, float volts) {
    x_.push_back(ui);
    y_.push_back(volts);
    if (x_.size() == kPointsAtOnce) Test();
  }

  TemplateHits Finish() {
    Test();
    return hits_;
  }

 private:
  void Test() {
    hits_.samples += x_.size();
    if (polygon_.ulArrayLength > 0 && !x_.empty()) {
      const VomoTemplate points = {
          static_cast<uint32_t>(x_.size()), x_.data(), y_.data(), nullptr, -1.0, 0};
      uint16_t pass = 0;
      uint32_t violations = 0;
      const VomoStatus status = Vomo_DIAGRAM_PASS_FAIL(&points, &polygon_, 0, 0, kTemplateOnly,
                                                       &bounds_, &pass, &violations, nullptr);
      if (Vomo_STATUS_IS_ERROR(status)) {
        throw StatusFailure(ExitCode::kNotMeasurable, status, "testing", "the template",
                            "vomo settings shows a template that can be used");
      }
      hits_.hits += violations;
    }
    x_.clear();
    y_.clear();
  }

  const VomoTemplate &polygon_;
  const VomoPassFailInfo &bounds_;
  std::vector<double> x_;
  std::vector<float> y_;
  TemplateHits hits_;
};

}  // namespace

EyeHits CountTemplateHits(const Signal &signal, const RecoveredClock &clock,
                          const VomoComplianceParams &params) {
  ClassTest transition(params.sTransTemplate, params.sTransPassFailInfo);
  ClassTest non_transition(params.sNonTransTemplate, params.sNonTransPassFailInfo);
  const std::span<const float> samples = signal.samples();
  const std::span<const double> edges = clock.positions;
  const double last = static_cast<double>(samples.size()) - 1;
  for (size_t k = 1; k + 1 < edges.size(); ++k) {
    const double begin = edges[k], end = edges[k + 1];
    if (!(edges[k - 1] >= 0 && edges[k - 1] < begin && begin < end && end <= last)) continue;
    ClassTest &test = ClassOfBit(samples, edges[k - 1], begin, end) == BitClass::kTransition
                          ? transition
                          : non_transition;
    const double ui_per_sample = 1 / (end - begin);
    for (auto i = static_cast<size_t>(std::ceil(begin)); static_cast<double>(i) < end; ++i) {
      test.Add((static_cast<double>(i) - begin) * ui_per_sample, samples[i]);
    }
  }
  return {transition.Finish(), non_transition.Finish()};
}

void PrepareTemplate(const VomoTemplate &polygon, const char *setting, VomoPassFailInfo *bounds) {
  const uint32_t n = polygon.ulArrayLength;
  if (n == 0 || polygon.adXArray == nullptr || polygon.afYArray == nullptr) return;
  const auto refuse = [&](const std::string &fault) {
    throw Failure(ExitCode::kWrongUsage, fmt::format("setting {}: {}", setting, fault),
                  "vertices of a hexagon or a diamond, clockwise with volts upwards; vomo settings "
                  "shows one");
  };
  if (n < 3 || n > kMostVertices) {
    refuse(fmt::format("expected 3 to {} vertices, found {}", kMostVertices, n));
  }
  for (uint32_t i = 0; i < n; ++i) {
    const uint32_t j = (i + 1) % n, k = (i + 2) % n;
    const double *x = polygon.adXArray;
    const float *y = polygon.afYArray;
    const double turn = (x[j] - x[i]) * (double{y[k]} - double{y[j]}) -
                        (double{y[j]} - double{y[i]}) * (x[k] - x[j]);
    if (turn > 0) refuse(fmt::format("its outline turns left at vertex {}", j));
  }
  Vomo_INIT_TEMPLATE_INFO_HELP(&polygon, bounds);
}

}  // namespace app
