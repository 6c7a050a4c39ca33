#include "eye_picture.h"

#include <cairo.h>
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <memory>

#include "axis_ticks.h"

namespace app {
namespace {

// The foot of the colour scale, in whole passes through a cell's column.
constexpr double kLeastHits = 0.01;

// How many times its foot the head of the scale is.
double ScaleSpan(uint64_t greatest) {
  return std::max(10.0, static_cast<double>(greatest) / EyeGrid::kWeight / kLeastHits);
}

struct SurfaceOwner {
  void operator()(cairo_surface_t *surface) const { cairo_surface_destroy(surface); }
  void operator()(cairo_t *context) const { cairo_destroy(context); }
};
using Surface = std::unique_ptr<cairo_surface_t, SurfaceOwner>;
using Context = std::unique_ptr<cairo_t, SurfaceOwner>;

Surface NewSurface(cairo_format_t format, int width, int height) {
  return Surface(cairo_image_surface_create(format, width, height));
}

std::string PngBytes(cairo_surface_t *surface) {
  std::string bytes;
  const auto append = [](void *to, const unsigned char *data, unsigned int length) {
    static_cast<std::string *>(to)->append(reinterpret_cast<const char *>(data), length);
    return CAIRO_STATUS_SUCCESS;
  };
  if (cairo_surface_write_to_png_stream(surface, append, &bytes) != CAIRO_STATUS_SUCCESS) {
    throw std::bad_alloc();
  }
  return bytes;
}

Surface CellSurface(const EyeGrid &grid) {
  Surface surface = NewSurface(CAIRO_FORMAT_ARGB32, EyeGrid::kColumns, EyeGrid::kRows);
  const uint64_t greatest = *std::max_element(grid.cells.begin(), grid.cells.end());
  unsigned char *pixels = cairo_image_surface_get_data(surface.get());
  const auto stride = static_cast<size_t>(cairo_image_surface_get_stride(surface.get()));
  for (int row = 0; row < EyeGrid::kRows; ++row) {
    auto *line = reinterpret_cast<uint32_t *>(
        pixels + static_cast<size_t>(EyeGrid::kRows - 1 - row) * stride);
    for (int column = 0; column < EyeGrid::kColumns; ++column) {
      const uint64_t weight = grid.At(row, column);
      if (weight == 0) continue;  // new surfaces are transparent
      uint32_t pixel = 0xff;
      for (const double part : CellColour(weight, greatest)) {
        pixel = pixel << 8 | static_cast<uint32_t>(std::lround(part * 255));
      }
      line[column] = pixel;
    }
  }
  cairo_surface_mark_dirty(surface.get());
  return surface;
}

// The eye's place on the page, pixels.
constexpr int kWidth = 1220, kHeight = 720;
constexpr double kLeft = 90, kTop = 60, kPlotWidth = 2.0 * EyeGrid::kColumns, kPlotHeight = 576;

class EyePage {
 public:
  EyePage(const EyeGrid &grid, double unit_interval_s)
      : grid_(grid),
        unit_interval_s_(unit_interval_s),
        surface_(NewSurface(CAIRO_FORMAT_RGB24, kWidth, kHeight)),
        context_(cairo_create(surface_.get())) {
    cairo_set_source_rgb(cr(), 1, 1, 1);
    cairo_paint(cr());
    cairo_select_font_face(cr(), "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
  }

  void DrawCells() {
    const Surface cells = CellSurface(grid_);
    cairo_save(cr());
    cairo_rectangle(cr(), kLeft, kTop, kPlotWidth, kPlotHeight);
    cairo_set_source_rgb(cr(), kEmptyCell[0], kEmptyCell[1], kEmptyCell[2]);
    cairo_fill(cr());
    cairo_translate(cr(), kLeft, kTop);
    cairo_scale(cr(), kPlotWidth / EyeGrid::kColumns, kPlotHeight / EyeGrid::kRows);
    cairo_set_source_surface(cr(), cells.get(), 0, 0);
    cairo_pattern_set_filter(cairo_get_source(cr()), CAIRO_FILTER_NEAREST);
    cairo_paint(cr());
    cairo_restore(cr());
  }

  void DrawAxes() {
    cairo_set_source_rgb(cr(), 0.15, 0.15, 0.15);
    cairo_set_line_width(cr(), 1);
    cairo_rectangle(cr(), kLeft - 0.5, kTop - 0.5, kPlotWidth + 1, kPlotHeight + 1);
    cairo_stroke(cr());
    for (int quarter = -2; quarter <= 6; ++quarter) {
      const double ui = 0.25 * quarter, x = X(ui), bottom = kTop + kPlotHeight;
      Tick(x, bottom, x, bottom + 5);
      Text(fmt::format("{:g} UI", ui), x, bottom + 20, 0.5);
      Text(fmt::format("{:.4g} ps", ui * unit_interval_s_ * 1e12), x, bottom + 37, 0.5);
    }
    for (const double mv : AxisTicks(grid_.lowest_v * 1e3, grid_.highest_v * 1e3, 9)) {
      const double y = Y(mv * 1e-3);
      Tick(kLeft - 5, y, kLeft, y);
      Text(fmt::format("{:g}", mv), kLeft - 9, y + 4, 1);
    }
    Text("mV", kLeft - 9, kTop - 12, 1);
  }

  void DrawOverlay(const EyeOverlay &overlay) {
    cairo_save(cr());
    cairo_rectangle(cr(), kLeft, kTop, kPlotWidth, kPlotHeight);
    cairo_clip(cr());
    for (const EyeOverlay::Line &line : overlay.lines) {
      for (const auto &[ui, v] : line.points) cairo_line_to(cr(), X(ui), Y(v));
      if (line.closed) cairo_close_path(cr());
      cairo_set_source_rgb(cr(), 1, 1, 1);
      cairo_set_line_width(cr(), 4);
      cairo_stroke_preserve(cr());
      cairo_set_source_rgb(cr(), 0.84, 0.1, 0.2);
      cairo_set_line_width(cr(), 2);
      cairo_stroke(cr());
    }
    cairo_restore(cr());
  }

  void DrawScale() {
    constexpr double left = kLeft + kPlotWidth + 18, width = 16;
    for (int i = 0; i < kPlotHeight; ++i) {
      const Colour colour = MapColour(i / (kPlotHeight - 1));
      cairo_set_source_rgb(cr(), colour[0], colour[1], colour[2]);
      cairo_rectangle(cr(), left, kTop + kPlotHeight - 1 - i, width, 1);
      cairo_fill(cr());
    }
    const uint64_t greatest = *std::max_element(grid_.cells.begin(), grid_.cells.end());
    cairo_set_source_rgb(cr(), 0.15, 0.15, 0.15);
    const double top = std::log10(ScaleSpan(greatest));
    for (int power = 0; power <= top; ++power) {
      const double y = kTop + kPlotHeight * (1 - power / top);
      Text(fmt::format("{:g}", kLeastHits * std::pow(10.0, power)), left + width + 4, y + 4, 0);
    }
    Text("hits", left, kTop - 12, 0);
  }

  void Text(const std::string &text, double x, double y, double align, double size = 12) {
    cairo_set_font_size(cr(), size);
    cairo_text_extents_t extents;
    cairo_text_extents(cr(), text.c_str(), &extents);
    cairo_move_to(cr(), x - align * extents.x_advance, y);
    cairo_show_text(cr(), text.c_str());
  }

  std::string Bytes() const { return PngBytes(surface_.get()); }

 private:
  cairo_t *cr() const { return context_.get(); }
  double X(double ui) const {
    return kLeft + (ui - EyeGrid::kFirstUi) / (EyeGrid::kUiStep * EyeGrid::kColumns) * kPlotWidth;
  }
  double Y(double v) const {
    return kTop + (grid_.highest_v - v) / (grid_.highest_v - grid_.lowest_v) * kPlotHeight;
  }
  void Tick(double x0, double y0, double x1, double y1) {
    cairo_move_to(cr(), x0, y0);
    cairo_line_to(cr(), x1, y1);
    cairo_stroke(cr());
  }

  const EyeGrid &grid_;
  double unit_interval_s_;
  Surface surface_;
  Context context_;
};

void AddTemplate(const VomoTemplate &polygon, const char *name, EyeOverlay &overlay) {
  if (polygon.ulArrayLength == 0) return;
  EyeOverlay::Line line{{}, true, name};
  for (uint32_t i = 0; i < polygon.ulArrayLength; ++i) {
    line.points.emplace_back(polygon.adXArray[i], polygon.afYArray[i]);
  }
  overlay.lines.push_back(std::move(line));
}

}  // namespace

EyeOverlay OverlayOf(const VomoComplianceParams &params, BitClass bits) {
  EyeOverlay overlay;
  // Named once for both.
  const auto rails = [&](float high_v, float low_v, const char *name) {
    overlay.lines.push_back({{{0.0, high_v}, {1.0, high_v}}, false, name});
    overlay.lines.push_back({{{0.0, low_v}, {1.0, low_v}}, false, ""});
  };
  if (bits != BitClass::kNonTransition) {
    AddTemplate(params.sTransTemplate, "template, transition bits", overlay);
    rails(params.fTransitionHighVoltageRail, params.fTransitionLowVoltageRail,
          "rails, transition bits");
  }
  if (bits != BitClass::kTransition) {
    AddTemplate(params.sNonTransTemplate, "template, non-transition bits", overlay);
    rails(params.fNonTransitionHighVoltageRail, params.NonTransitionLowVoltageRail,
          "rails, non-transition bits");
  }
  return overlay;
}

std::pair<double, double> EyeVoltages(float lowest_v, float highest_v,
                                      const VomoComplianceParams &params) {
  double low = std::isfinite(lowest_v) ? lowest_v : -1;
  double high = std::isfinite(highest_v) ? highest_v : 1;
  const double reach = std::max(high - low, 1e-6), signal_low = low, signal_high = high;
  for (const EyeOverlay::Line &line : OverlayOf(params, BitClass::kAll).lines) {
    for (const auto &[ui, v] : line.points) {
      if (v < signal_low - reach || v > signal_high + reach) continue;
      low = std::min(low, v);
      high = std::max(high, v);
    }
  }
  return {low - 0.05 * reach, high + 0.05 * reach};
}

const char *BitClassName(BitClass bits) {
  constexpr const char *names[] = {"transition", "non-transition", "all"};
  return names[static_cast<size_t>(bits)];
}

Colour MapColour(double share) {
  constexpr uint32_t stops[] = {0x440154, 0x482878, 0x3e4989, 0x31688e, 0x26828e,
                                0x1f9e89, 0x35b779, 0x6ece58, 0xb5de2b, 0xfde725};
  constexpr int spans = static_cast<int>(std::size(stops)) - 1;
  const double place = std::clamp(share, 0.0, 1.0) * spans;
  const int i = std::min(static_cast<int>(place), spans - 1);
  Colour colour;
  for (int part = 0; part < 3; ++part) {
    const int shift = 16 - 8 * part;
    const double a = stops[i] >> shift & 255, b = stops[i + 1] >> shift & 255;
    colour[static_cast<size_t>(part)] = (a + (place - i) * (b - a)) / 255;
  }
  return colour;
}

Colour CellColour(uint64_t weight, uint64_t greatest) {
  if (weight == 0) return kEmptyCell;
  const double hits = static_cast<double>(weight) / EyeGrid::kWeight;
  return MapColour(std::log(hits / kLeastHits) / std::log(ScaleSpan(greatest)));
}

ColourRange ColourRangeOf(const EyeGrid &grid) {
  const uint64_t greatest = *std::max_element(grid.cells.begin(), grid.cells.end());
  return {kLeastHits, kLeastHits * ScaleSpan(greatest)};
}

std::string BareEyePng(const EyeGrid &grid) {
  return PngBytes(CellSurface(grid).get());
}

std::string EyePng(const EyeGrid &grid, const EyeOverlay &overlay, const std::string &title,
                   double unit_interval_s) {
  EyePage page(grid, unit_interval_s);
  page.DrawCells();
  page.DrawOverlay(overlay);
  page.DrawAxes();
  page.DrawScale();
  page.Text(title, kLeft, 30, 0, 16);
  return page.Bytes();
}

std::string EyeCsv(const EyeGrid &grid, double unit_interval_s) {
  std::string text = fmt::format(
      "# bits,{}\n# weight of one bit in a column,{}\n"
      "# x origin (UI),{:.9g}\n# x step (UI),{:.9g}\n# x origin (s),{:.9g}\n# x step (s),{:.9g}\n"
      "# y origin (V),{:.9g}\n# y step (V),{:.9g}\n",
      grid.bits, EyeGrid::kWeight, EyeGrid::kFirstUi, EyeGrid::kUiStep,
      EyeGrid::kFirstUi * unit_interval_s, EyeGrid::kUiStep * unit_interval_s, grid.lowest_v,
      grid.row_v());
  for (int row = 0; row < EyeGrid::kRows; ++row) {
    const uint64_t *line = &grid.cells[static_cast<size_t>(row) * EyeGrid::kColumns];
    text += fmt::format("{}\n", fmt::join(line, line + EyeGrid::kColumns, ","));
  }
  return text;
}

}  // namespace app
