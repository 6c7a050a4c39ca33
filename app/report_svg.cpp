// Charts as static pictures.
#include <fmt/format.h>
#include <nettle/base64.h>

#include "axis_ticks.h"
#include "report_chart.h"

namespace app::report {
namespace {

// Room around the plot for labels, pixels.
constexpr double kLeft = 62, kRight = 26, kTop = 10, kBottom = 44, kSecondRow = 16;

// An axis on the page: values to pixels.
class Scale {
 public:
  Scale(const Axis &axis, Extent extent, double from_px, double to_px)
      : logarithmic_(axis.logarithmic),
        low_(Place(extent.low)),
        span_(Place(extent.high) - low_),
        extent_(extent),
        from_px_(from_px),
        to_px_(to_px) {}

  double operator()(double value) const {
    const double share = std::clamp((Place(value) - low_) / span_, -4.0, 5.0);
    return from_px_ + share * (to_px_ - from_px_);
  }

  std::vector<double> Ticks(int wanted) const {
    if (!logarithmic_) return AxisTicks(extent_.low, extent_.high, wanted);
    std::vector<double> decades;
    const double first = std::ceil(low_ - 1e-9), last = low_ + span_ + 1e-9;
    const double every = std::ceil((last - first) / wanted);
    for (double power = first; power <= last; power += std::max(1.0, every)) {
      decades.push_back(std::pow(10.0, power));
    }
    return decades;
  }

 private:
  double Place(double value) const { return logarithmic_ ? std::log10(value) : value; }

  bool logarithmic_;
  double low_, span_;
  Extent extent_;
  double from_px_, to_px_;
};

std::string TickText(double value, double step) {
  // What binary arithmetic leaves of a 0.
  return fmt::format("{:.6g}", std::abs(value) < 1e-9 * std::abs(step) ? 0.0 : value);
}

class Drawing {
 public:
  explicit Drawing(const Chart &chart)
      : chart_(chart),
        width_(Width(chart.size)),
        height_(Height(chart)),
        bottom_(height_ - kBottom - (chart.x.second_factor != 0 ? kSecondRow : 0)),
        x_(chart.x, XExtent(chart), kLeft, width_ - kRight),
        y_(chart.y, YExtent(chart), bottom_, kTop) {}

  std::string Text() {
    svg_ = fmt::format(
        R"(<svg viewBox="0 0 {0} {1}" width="{0}" height="{1}" role="img" aria-label="{2}">)",
        width_, height_, Escaped(chart_.title));
    svg_ += fmt::format(
        R"(<clipPath id="{}-clip"><rect x="{}" y="{}" width="{}" height="{}"/></clipPath>)",
        chart_.id, kLeft, kTop, width_ - kLeft - kRight, bottom_ - kTop);
    if (chart_.backdrop) svg_ += Rectangle("empty", kLeft, width_ - kRight);
    XAxis();
    YAxis();
    svg_ += fmt::format(R"svg(<g clip-path="url(#{}-clip)">)svg", chart_.id);
    Bands();
    Picture();
    for (const Series &series : chart_.series) Draw(series);
    for (const Guide &guide : chart_.guides) Draw(guide);
    for (const Outline &outline : chart_.outlines) Draw(outline);
    svg_ += "</g>";
    svg_ += Rectangle("frame", kLeft, width_ - kRight);
    return svg_ + "</svg>";
  }

 private:
  std::string Rectangle(const char *kind, double left, double right) const {
    return fmt::format(R"(<rect class="{}" x="{:.1f}" y="{}" width="{:.1f}" height="{}"/>)", kind,
                       left, kTop, std::max(0.0, right - left), bottom_ - kTop);
  }
  void Label(const char *anchor, double x, double y, const std::string &text,
             const char *kind = "label") {
    svg_ += fmt::format(R"(<text class="{}" x="{:.1f}" y="{:.1f}" text-anchor="{}">{}</text>)",
                        kind, x, y, anchor, Escaped(text));
  }
  void Segment(const char *kind, double x0, double y0, double x1, double y1) {
    svg_ += fmt::format(R"(<line class="{}" x1="{:.1f}" y1="{:.1f}" x2="{:.1f}" y2="{:.1f}"/>)",
                        kind, x0, y0, x1, y1);
  }

  void XAxis() {
    std::vector<double> ticks = x_.Ticks(static_cast<int>(width_ / 90));
    if (!chart_.x.categories.empty()) {
      ticks.clear();
      for (size_t i = 0; i < chart_.x.categories.size(); ++i) {
        ticks.push_back(static_cast<double>(i));
      }
    }
    const double step = ticks.size() > 1 ? ticks[1] - ticks[0] : 1;
    for (size_t i = 0; i < ticks.size(); ++i) {
      const double px = x_(ticks[i]);
      Segment("grid", px, kTop, px, bottom_);
      Label("middle", px, bottom_ + 16,
            chart_.x.categories.empty() ? TickText(ticks[i], step) : chart_.x.categories[i]);
      if (chart_.x.second_factor != 0) {
        Label("middle", px, bottom_ + 16 + kSecondRow,
              TickText(ticks[i] * chart_.x.second_factor, step));
      }
    }
    const std::string second =
        chart_.x.second_factor != 0 ? fmt::format(" / {}", chart_.x.second_label) : "";
    Label("middle", (kLeft + width_ - kRight) / 2, height_ - 6, chart_.x.label + second);
  }

  void YAxis() {
    const std::vector<double> ticks = y_.Ticks(static_cast<int>((bottom_ - kTop) / 45));
    const double step = ticks.size() > 1 ? ticks[1] - ticks[0] : 1;
    for (const double tick : ticks) {
      Segment("grid", kLeft, y_(tick), width_ - kRight, y_(tick));
      Label("end", kLeft - 6, y_(tick) + 4, TickText(tick, step));
    }
    const double middle = (kTop + bottom_) / 2;
    svg_ += fmt::format(
        R"svg(<text transform="translate(14 {:.1f}) rotate(-90)" text-anchor="middle">{}</text>)svg",
        middle, Escaped(chart_.y.label));
  }

  void Bands() {
    for (const Band &band : chart_.bands) svg_ += Rectangle("band", x_(band.from), x_(band.to));
  }

  void Picture() {
    if (!chart_.backdrop) return;
    const Backdrop &picture = *chart_.backdrop;
    svg_ += fmt::format(
        R"(<image x="{:.1f}" y="{:.1f}" width="{:.1f}" height="{:.1f}" preserveAspectRatio="none" )"
        R"(href="data:image/png;base64,{}"/>)",
        x_(picture.x0), y_(picture.y1), x_(picture.x1) - x_(picture.x0),
        y_(picture.y0) - y_(picture.y1), Base64(picture.png));
  }

  bool Drawable(double x, double y) const {
    return std::isfinite(x) && std::isfinite(y) && !(chart_.x.logarithmic && !(x > 0)) &&
           !(chart_.y.logarithmic && !(y > 0));
  }

  void Draw(const Series &series) {
    const int ink = static_cast<int>(series.ink);
    if (series.style == Style::kPoints || series.style == Style::kBars) {
      for (size_t i = 0; i < series.x.size(); ++i) {
        const double x = series.x[i], y = series.y[i];
        if (!Drawable(x, y)) continue;
        if (series.style == Style::kPoints) {
          svg_ += fmt::format(R"(<circle class="fill{}" cx="{:.1f}" cy="{:.1f}" r="2.5"/>)", ink,
                              x_(x), y_(y));
        } else {
          const double half = (x_(x + 0.3) - x_(x - 0.3)) / 2, top = std::min(y_(y), y_(Foot()));
          svg_ += fmt::format(
              R"(<rect class="fill{}" x="{:.1f}" y="{:.1f}" width="{:.1f}" height="{:.1f}"/>)", ink,
              x_(x) - half, top, 2 * half, std::abs(y_(y) - y_(Foot())));
        }
      }
      return;
    }
    std::string path;
    bool drawing = false;
    for (size_t i = 0; i < series.x.size(); ++i) {
      const double x = series.x[i], y = series.y[i];
      if (!Drawable(x, y)) {
        drawing = false;
        continue;
      }
      if (!drawing) {
        path += fmt::format("M{:.1f} {:.1f}", x_(x), y_(y));
      } else if (series.style == Style::kStep) {
        path += fmt::format("H{:.1f}V{:.1f}", x_(x), y_(y));
      } else {
        path += fmt::format("L{:.1f} {:.1f}", x_(x), y_(y));
      }
      drawing = true;
    }
    svg_ += fmt::format(R"(<path class="line{}{}" d="{}"/>)", ink,
                        series.style == Style::kDashed ? " dashed" : "", path);
    if (series.style == Style::kStep && !series.x.empty()) {
      svg_ += fmt::format(R"(<path class="fill{} light" d="{}V{:.1f}H{:.1f}Z"/>)", ink, path,
                          y_(Foot()), x_(series.x.front()));
    }
  }

  // Where bars stand.
  double Foot() const {
    const Extent extent = YExtent(chart_);
    return chart_.y.logarithmic ? extent.low : std::clamp(0.0, extent.low, extent.high);
  }

  void Draw(const Outline &outline) {
    std::string path;
    for (const auto &[x, y] : outline.points) {
      path += fmt::format("{}{:.1f} {:.1f}", path.empty() ? "M" : "L", x_(x), y_(y));
    }
    if (outline.closed) path += "Z";
    if (chart_.backdrop) svg_ += fmt::format(R"(<path class="halo" d="{}"/>)", path);
    svg_ += fmt::format(R"(<path class="line{}{} thick" d="{}"/>)", static_cast<int>(outline.ink),
                        chart_.backdrop ? " over" : "", path);
  }

  void Draw(const Guide &guide) {
    const std::string kind =
        fmt::format("line{}{}", static_cast<int>(guide.ink), guide.dashed ? " dashed" : "");
    if (guide.at_x) {
      const double px = x_(guide.value);
      Segment(kind.c_str(), px, kTop, px, bottom_);
      const bool right = px < (kLeft + width_ - kRight) / 2;
      Label(right ? "start" : "end", px + (right ? 4 : -4), kTop + 13, guide.label, "guide");
    } else {
      const double px = y_(guide.value);
      Segment(kind.c_str(), kLeft, px, width_ - kRight, px);
      Label("end", width_ - kRight - 4, px - 4, guide.label, "guide");
    }
  }

  const Chart &chart_;
  double width_, height_, bottom_;
  Scale x_, y_;
  std::string svg_;
};

}  // namespace

int Width(Size size) {
  return size == Size::kWide ? 1180 : size == Size::kHalf ? 640 : 420;
}

int Height(const Chart &chart) {
  if (chart.backdrop) return 440;
  return chart.size == Size::kSmall ? 240 : 340;
}

std::string Svg(const Chart &chart) {
  return Drawing(chart).Text();
}

std::string Escaped(std::string_view text) {
  std::string safe;
  for (const char c : text) {
    switch (c) {
      case '<':
        safe += "&lt;";
        break;
      case '>':
        safe += "&gt;";
        break;
      case '&':
        safe += "&amp;";
        break;
      case '"':
        safe += "&quot;";
        break;
      default:
        // What XML has no room for would end the page's text there for some readers.
        safe += static_cast<unsigned char>(c) < 0x20 && c != '\n' && c != '\t' ? ' ' : c;
    }
  }
  return safe;
}

std::string Base64(std::string_view bytes) {
  std::string text(BASE64_ENCODE_RAW_LENGTH(bytes.size()), '\0');
  base64_encode_raw(text.data(), bytes.size(), reinterpret_cast<const uint8_t *>(bytes.data()));
  return text;
}

}  // namespace app::report
