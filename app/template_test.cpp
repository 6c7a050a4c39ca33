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

  // Whether a line between two voltages may have a point inside.
  bool Near(float a, float b) const {
    return polygon_.ulArrayLength > 0 && !(a > bounds_.fEyeYMax && b > bounds_.fEyeYMax) &&
           !(a < bounds_.fEyeYMin && b < bounds_.fEyeYMin);
  }
  void Count(uint64_t points) { hits_.points += points; }
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
    if (!x_.empty()) {
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

// The bit's points, parts of them to a sample.
void AddBit(std::span<const float> samples, double begin, double end, int64_t parts,
            ClassTest &test) {
  const double ui_per_sample = 1 / (end - begin), share = 1 / static_cast<double>(parts);
  const auto first = static_cast<int64_t>(std::ceil(begin * static_cast<double>(parts)));
  const auto behind = static_cast<int64_t>(std::ceil(end * static_cast<double>(parts)));
  test.Count(static_cast<uint64_t>(behind - first));
  for (int64_t q = first; q < behind;) {
    const int64_t i = q / parts, next = std::min((i + 1) * parts, behind);
    // The last sample has no line behind it.
    const float a = samples[static_cast<size_t>(i)],
                b = samples[std::min(static_cast<size_t>(i) + 1, samples.size() - 1)];
    if (!test.Near(a, b)) {
      q = next;
      continue;
    }
    for (; q < next; ++q) {
      const double along = static_cast<double>(q - i * parts) * share;
      test.Add((static_cast<double>(i) + along - begin) * ui_per_sample,
               static_cast<float>(a + along * (double{b} - double{a})));
    }
  }
}

}  // namespace

EyeHits CountTemplateHits(const Signal &signal, const RecoveredClock &clock,
                          const VomoComplianceParams &params) {
  ClassTest transition(params.sTransTemplate, params.sTransPassFailInfo);
  ClassTest non_transition(params.sNonTransTemplate, params.sNonTransPassFailInfo);
  const std::span<const float> samples = signal.samples();
  const std::span<const double> edges = clock.positions;
  const double last = static_cast<double>(samples.size()) - 1;
  if (edges.size() < 2) return {};
  const double samples_per_ui =
      (edges.back() - edges.front()) / static_cast<double>(edges.size() - 1);
  const auto parts = static_cast<int64_t>(
      std::clamp(std::ceil(kLeastPointsPerUi / samples_per_ui), 1.0, kLeastPointsPerUi));
  for (size_t k = 1; k + 1 < edges.size(); ++k) {
    const double begin = edges[k], end = edges[k + 1];
    if (!(edges[k - 1] >= 0 && edges[k - 1] < begin && begin < end && end <= last)) continue;
    ClassTest &test = ClassOfBit(samples, edges[k - 1], begin, end) == BitClass::kTransition
                          ? transition
                          : non_transition;
    AddBit(samples, begin, end, parts, test);
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
