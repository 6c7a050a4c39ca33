// A channel's four-port file: what is in it, how good it is, and a signal sent through it.
#ifndef VOMO_APP_FOUR_PORT_H
#define VOMO_APP_FOUR_PORT_H

#include <vomo.h>

#include <array>
#include <string>
#include <vector>

#include "library_block.h"
#include "record_fields.h"
#include "run_input.h"

namespace app {

// Figures of the file as it is, before anything is made of it.
struct FourPortQuality {
  // The signal comes in at ports 1 and 3 and goes out at ports 2 and 4.
  struct Path {
    size_t in, out;
    double at_dc;     // magnitude at 0 Hz of the line through the first ten points
    double strength;  // root mean square magnitude over all points
  };
  uint32_t points;
  double lowest_hz, highest_hz;
  std::array<Path, 4> paths;  // straight and then across
  double other_strength;      // of the paths from 1 to 3 and from 2 to 4
  // Most that comes out of the ports for what goes in, over all points: no more than 1 from a
  // passive network.
  double greatest_gain, greatest_gain_hz;
  double greatest_asymmetry;  // greatest |S(i,j) - S(j,i)|: 0 for a reciprocal network

  bool passive() const { return greatest_gain <= 1 + kGainTolerance; }
  bool reciprocal() const { return greatest_asymmetry <= kAsymmetryTolerance; }

  // What a good instrument is off by.
  static constexpr double kGainTolerance = 0.005, kAsymmetryTolerance = 0.02;
};
FourPortQuality AssessFourPort(const VomoSparamData &data);

// There is one at a time: the library holds its data.
class FourPort {
 public:
  explicit FourPort(const std::string &path);  // throws Failure
  FourPort(const FourPort &) = delete;
  FourPort &operator=(const FourPort &) = delete;

  const FourPortQuality &quality() const { return quality_; }
  std::string Text() const;  // a few lines for readers
  Json ToJson() const;
  // Of the file itself, and of what it does to a capture.
  std::vector<std::string> Warnings(double sample_interval_s) const;

  // The differential signal at the far end. The captures stay as they are. Throws Failure.
  OwnedWaveform Embed(const RunInput &input) const;

 private:
  std::string path_;
  VomoSparamData *data_ = nullptr;
  FourPortQuality quality_;
};

}  // namespace app

#endif
