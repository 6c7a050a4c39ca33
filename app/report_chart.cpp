#include "report_chart.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

namespace app::report {
namespace {

using Json = nlohmann::ordered_json;

// Without digits that no reader could see; not finite becomes null.
Json Short(double value, int digits) {
  if (!std::isfinite(value)) return nullptr;
  return std::strtod(fmt::format("{:.{}g}", value, digits).c_str(), nullptr);  // also subnormals
}

// A window shows parts in some thousands of an axis, and zooms into that a thousand times.
constexpr int kXDigits = 9, kYDigits = 6;

class Span {
 public:
  explicit Span(bool logarithmic) : logarithmic_(logarithmic) {}
  void Take(double value) {
    if (!std::isfinite(value) || (logarithmic_ && !(value > 0))) return;
    low_ = std::min(low_, value);
    high_ = std::max(high_, value);
  }
  // The span, widened by a share of itself; never of no width.
  Extent Widened(double share) const {
    if (!(low_ <= high_)) return logarithmic_ ? Extent{1, 10} : Extent{0, 1};
    if (logarithmic_) {
      const double factor = std::max(std::pow(high_ / low_, share), low_ == high_ ? 3.0 : 1.0);
      return {low_ / factor, high_ * factor};
    }
    const double room = high_ > low_ ? share * (high_ - low_) : 0.5 * std::abs(low_) + 1e-12;
    return {low_ - room, high_ + room};
  }

 private:
  bool logarithmic_;
  double low_ = std::numeric_limits<double>::infinity(), high_ = -low_;
};

Extent WithLimits(const Axis &axis, Extent extent) {
  return {axis.low.value_or(extent.low), axis.high.value_or(extent.high)};
}

Json AxisJson(const Axis &axis, Extent extent) {
  Json json = {{"label", axis.label},
               {"low", Short(extent.low, kXDigits)},
               {"high", Short(extent.high, kXDigits)},
               {"log", axis.logarithmic}};
  if (axis.second_factor != 0) {
    json["second"] = {{"factor", axis.second_factor}, {"label", axis.second_label}};
  }
  if (!axis.categories.empty()) json["categories"] = axis.categories;
  return json;
}

Json SeriesJson(const Series &series, const Chart &chart) {
  static constexpr const char *kStyles[] = {"line", "dashed", "step", "points", "bars"};
  Json x = Json::array(), y = Json::array();
  for (size_t i = 0; i < series.x.size(); ++i) {
    if (!std::isfinite(series.x[i]) || (chart.x.logarithmic && !(series.x[i] > 0))) continue;
    x.push_back(Short(series.x[i], kXDigits));
    const bool shown = !chart.y.logarithmic || series.y[i] > 0;
    y.push_back(shown ? Short(series.y[i], kYDigits) : Json(nullptr));
  }
  return {{"name", series.name},
          {"style", kStyles[static_cast<size_t>(series.style)]},
          {"ink", static_cast<int>(series.ink)},
          {"x", std::move(x)},
          {"y", std::move(y)}};
}

Json OutlineJson(const Outline &outline) {
  Json points = Json::array();
  for (const auto &[x, y] : outline.points) {
    points.push_back({Short(x, kXDigits), Short(y, kXDigits)});
  }
  return {{"points", std::move(points)},
          {"closed", outline.closed},
          {"name", outline.name},
          {"ink", static_cast<int>(outline.ink)}};
}

Json BackdropJson(const Backdrop &backdrop) {
  return {{"x0", backdrop.x0},     {"x1", backdrop.x1},     {"y0", backdrop.y0},
          {"y1", backdrop.y1},     {"ramp", backdrop.ramp}, {"low", backdrop.low},
          {"high", backdrop.high}, {"unit", backdrop.unit}};
}

}  // namespace

Extent XExtent(const Chart &chart) {
  Span span(chart.x.logarithmic);
  for (const Series &series : chart.series) {
    for (const double x : series.x) span.Take(x);
  }
  if (!chart.x.categories.empty()) {
    return {-0.6, static_cast<double>(chart.x.categories.size()) - 0.4};
  }
  return WithLimits(chart.x, span.Widened(0));
}

Extent YExtent(const Chart &chart) {
  Span span(chart.y.logarithmic);
  bool from_zero = false;
  for (const Series &series : chart.series) {
    for (const double y : series.y) span.Take(y);
    from_zero = from_zero || series.style == Style::kStep || series.style == Style::kBars;
  }
  for (const Guide &guide : chart.guides) {
    if (!guide.at_x) span.Take(guide.value);
  }
  if (from_zero) span.Take(0);
  Extent extent = span.Widened(0.06);
  if (from_zero && !chart.y.logarithmic && extent.high > 0) {
    extent.low = std::min(0.0, extent.low < -0.1 * extent.high ? extent.low : 0.0);
  }
  return WithLimits(chart.y, extent);
}

std::string ChartJson(const Chart &chart) {
  Json json = {{"x", AxisJson(chart.x, XExtent(chart))},
               {"y", AxisJson(chart.y, YExtent(chart))},
               {"height", Height(chart)}};
  json["series"] = json["guides"] = json["outlines"] = json["bands"] = Json::array();
  for (const Series &series : chart.series) json["series"].push_back(SeriesJson(series, chart));
  for (const Guide &guide : chart.guides) {
    json["guides"].push_back({{"axis", guide.at_x ? "x" : "y"},
                              {"value", Short(guide.value, kXDigits)},
                              {"label", guide.label},
                              {"ink", static_cast<int>(guide.ink)},
                              {"dashed", guide.dashed}});
  }
  for (const Outline &outline : chart.outlines) json["outlines"].push_back(OutlineJson(outline));
  for (const Band &band : chart.bands) {
    json["bands"].push_back({Short(band.from, kXDigits), Short(band.to, kXDigits)});
  }
  if (chart.backdrop) json["backdrop"] = BackdropJson(*chart.backdrop);
  std::string text = json.dump(-1, ' ', false, Json::error_handler_t::replace);
  // Text of a script element ends at the first "</", whatever it is part of.
  for (size_t at = 0; (at = text.find('<', at)) != std::string::npos;) {
    text.replace(at, 1, "\\u003c");
  }
  return text;
}

}  // namespace app::report
