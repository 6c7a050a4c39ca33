// Charts of a report as data: what the static picture and the interactive one are both drawn from.
#ifndef VOMO_APP_REPORT_CHART_H
#define VOMO_APP_REPORT_CHART_H

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace app::report {

// Give values in the unit that the label names, scaled so that ticks are short: ps, mV, MHz.
struct Axis {
  std::string label;
  std::optional<double> low, high;  // without them, what the data spans
  bool logarithmic = false;         // then values not above 0 are left out
  // A second row of tick labels: the value times a factor ("ps" under "UI"). x axis only.
  double second_factor = 0;
  std::string second_label;
  // Names for the values 0, 1, 2 ... instead of numbers. x axis only.
  std::vector<std::string> categories;
};

enum class Style {
  kLine,
  kDashed,
  kStep,  // each value holds from its x to the next one's; filled down to the axis
  kPoints,
  kBars  // for categories
};

// Colours of the page's palette; light and dark windows have their own shades of them.
enum class Ink { kBlue, kOrange, kGreen, kRed, kViolet, kGrey };

// x rises strictly; NaN in y breaks the line.
struct Series {
  std::string name;
  std::vector<double> x, y;
  Style style = Style::kLine;
  Ink ink = Ink::kBlue;
};

// A line right across the plot at one value of x or of y.
struct Guide {
  bool at_x;
  double value;
  std::string label;
  Ink ink = Ink::kGrey;
  bool dashed = true;
};

// A line through points, for what is no function of x: templates, rails, distances.
struct Outline {
  std::vector<std::pair<double, double>> points;
  bool closed = false;
  std::string name;
  Ink ink = Ink::kRed;
};

// A stretch of x that is shaded.
struct Band {
  double from, to;
};

// A picture that fills a rectangle of the plot, behind everything. Transparent cells are empty.
struct Backdrop {
  double x0, x1, y0, y1;  // left, right, bottom, top
  std::string png;
  // Colours in equal steps of the logarithm from low to high, as #rrggbb; for the colour scale and
  // the read-out.
  std::vector<std::string> ramp;
  double low, high;
  std::string unit;
};

enum class Size { kHalf, kWide, kSmall };

struct Chart {
  std::string id;  // unique in its page: letters, digits, hyphens
  std::string title;
  std::string caption;  // may be empty
  Axis x, y;
  std::vector<Series> series;
  std::vector<Guide> guides;
  std::vector<Outline> outlines;
  std::vector<Band> bands;
  std::optional<Backdrop> backdrop;
  Size size = Size::kHalf;
};

// Columns into which a long series is gathered: more than a window has pixels for one chart.
constexpr size_t kMostColumns = 1500;

// A series of `count` points x_of(i) (rising), y_of(i). A long one keeps the least and the greatest
// y of each column, at their own x, so that no extreme is lost and zooming out changes nothing.
template <class XOf, class YOf>
Series Gather(std::string name, size_t count, XOf x_of, YOf y_of, bool logarithmic_x = false) {
  Series series{std::move(name), {}, {}};
  const auto add = [&](size_t i) {
    const double x = x_of(i);
    if (logarithmic_x && !(x > 0)) return;
    if (!series.x.empty() && !(x > series.x.back())) return;
    series.x.push_back(x);
    series.y.push_back(y_of(i));
  };
  const size_t first = logarithmic_x && count > 0 && !(x_of(0) > 0) ? 1 : 0;
  if (count <= 2 * kMostColumns) {
    for (size_t i = first; i < count; ++i) add(i);
    return series;
  }
  const auto place = [&](size_t i) { return logarithmic_x ? std::log(x_of(i)) : x_of(i); };
  const double begin = place(first), width = place(count - 1) - begin;
  const auto column_of = [&](size_t i) {
    return static_cast<size_t>((place(i) - begin) / width * static_cast<double>(kMostColumns));
  };
  size_t least = first, greatest = first, column = 0;
  const auto flush = [&] {
    add(std::min(least, greatest));
    add(std::max(least, greatest));
  };
  for (size_t i = first; i < count; ++i) {
    const size_t here = column_of(i);
    if (here != column) {
      flush();
      column = here;
      least = greatest = i;
    }
    if (y_of(i) < y_of(least) || std::isnan(y_of(least))) least = i;
    if (y_of(i) > y_of(greatest) || std::isnan(y_of(greatest))) greatest = i;
  }
  flush();
  return series;
}

// What a chart shows, its own limits or those of its data with a little room.
struct Extent {
  double low, high;
};
Extent XExtent(const Chart &chart);
Extent YExtent(const Chart &chart);

// The chart as a static SVG element whose colours are the page's.
std::string Svg(const Chart &chart);

// The chart's data and geometry for the page's script.
std::string ChartJson(const Chart &chart);

// Pixels of the static picture, and the height of the interactive one.
int Width(Size size);
int Height(const Chart &chart);

// For text and attributes of HTML and SVG.
std::string Escaped(std::string_view text);
std::string Base64(std::string_view bytes);

}  // namespace app::report

#endif
