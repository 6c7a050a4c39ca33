// One number for how good an eye is: its levels over a window of sampling phases, and the score
// that the equalisers' searches compare.
#ifndef VOMO_FILTERS_EYE_WINDOW_H
#define VOMO_FILTERS_EYE_WINDOW_H

#include <vomo.h>

#include <cstdint>

namespace vomo {

// Levels in volts. A transition bit has another sign than the bit before it.
struct EyeLevels {
  float transition_high, transition_low;
  float non_transition_high, non_transition_low;
};

struct EyeOpening {
  double min_interval_s, max_interval_s;
  float high, low;  // the less open of the two kinds of bits on either side
  EyeLevels levels;
  double score;  // only with kBestScore
};

// The sampling phase that speaks for the whole window.
enum class PhaseChoice { kSmallestHeight, kBestScore };

// Reads the waveform once in every interval of the clock, at each of some 25 phases from begin to a
// little past end (fractions of the interval; the steps are a 25th of the window, or 1 for a window
// that is no wider than 0). Each phase keeps the extreme levels of the four kinds of bits. With
// two-part elements in the clock, their feedback is taken off the level read.
// A phase's height is that of the transition bits, or of the other ones if that is less and more
// than two of them came by; its score is the height times the ratio of the two.
// Without any phase the levels are those before the search, 1e6 and -1e6. Returns the status of the
// interval conversion; on a failure nothing is written.
VomoStatus VomoEyeWindow(const VomoWaveform &waveform, const VomoCrossoverData &clock, float begin,
                         float end, PhaseChoice choice, EyeOpening *opening);

// eye_option: OPT_EYE_WIDTH and so on, 0.0 for anything else. Width and height are what is left of
// the unit interval and of the levels: the sum of the two sides, or the smaller one. The optional
// margins are the two sides of the width.
double VomoEyeScore(uint32_t eye_option, bool sum_of_sides, double unit_interval_s,
                    double min_interval_s, double max_interval_s, const EyeLevels &levels,
                    double *right_margin_s = nullptr, double *left_margin_s = nullptr);

}  // namespace vomo

#endif
