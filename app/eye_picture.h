// Density eyes as pictures and as text.
#ifndef VOMO_APP_EYE_PICTURE_H
#define VOMO_APP_EYE_PICTURE_H

#include <vomo.h>

#include <array>
#include <string>
#include <vector>

#include "density_eye.h"

namespace app {

// What is drawn over an eye: UI and volts.
struct EyeOverlay {
  struct Line {
    std::vector<std::pair<double, double>> points;
    bool closed;
    std::string name;
  };
  std::vector<Line> lines;
};
EyeOverlay OverlayOf(const VomoComplianceParams &params, BitClass bits);

// The voltages that an eye has to show: the signal's and, as far as they are near, the overlay's.
std::pair<double, double> EyeVoltages(float lowest_v, float highest_v,
                                      const VomoComplianceParams &params);

const char *BitClassName(BitClass bits);  // "all", "transition", "non-transition"

using Colour = std::array<double, 3>;  // red, green, blue from 0 to 1
// A perceptual map from dark violet (0) to yellow (1).
Colour MapColour(double share);
// On a logarithmic scale from a hundredth of one bit's passage through the cell to the greatest
// weight in the grid. A cell without any is kEmptyCell, which the map doesn't have.
constexpr Colour kEmptyCell = {0.97, 0.97, 0.96};
Colour CellColour(uint64_t weight, uint64_t greatest);

// Where the map of a grid begins and ends, in whole passages of a bit through a cell's column.
struct ColourRange {
  double least_hits, most_hits;
};
ColourRange ColourRangeOf(const EyeGrid &grid);

// The bytes of a PNG file: the bare cells, one pixel each, highest voltage on top; cells without
// any weight are transparent.
std::string BareEyePng(const EyeGrid &grid);
// The eye with axes, overlay, colour scale and a title, ready for a slide.
std::string EyePng(const EyeGrid &grid, const EyeOverlay &overlay, const std::string &title,
                   double unit_interval_s);

// Origin and step of both axes in comment lines, then the counts, a line for each row from the
// lowest voltage upwards.
std::string EyeCsv(const EyeGrid &grid, double unit_interval_s);

}  // namespace app

#endif
