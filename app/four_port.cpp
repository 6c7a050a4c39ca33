#include "four_port.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <complex>

#include "engineering.h"
#include "file_hash.h"
#include "terminal.h"

namespace app {
namespace {

constexpr uint32_t kFitPoints = 10, kMostPoints = 2000;
// Hidden at each end of what comes out, where the transform's circle brings the one end's echoes to
// the other.
constexpr double kTrimmedShare = 0.005;

using Complex = std::complex<double>;
using Matrix = VomoComplexFloat[4][4];

Complex Entry(const Matrix &matrix, size_t row, size_t column) {
  return {double{matrix[row][column].fRe}, double{matrix[row][column].fIm}};
}

// The largest singular value, by powers of the matrix times its adjoint on a vector in no special
// direction. Where two values are close the result lies between them.
double GreatestGain(const Matrix &matrix) {
  std::array<Complex, 4> x = {{{1, 0.2}, {-0.7, 0.3}, {0.4, -0.8}, {0.3, 0.9}}};
  double gain = 0;
  for (int round = 0; round < 60; ++round) {
    double length = 0;
    for (const Complex &v : x) length += std::norm(v);
    std::array<Complex, 4> y{}, back{};
    for (size_t r = 0; r < 4; ++r) {
      for (size_t c = 0; c < 4; ++c) y[r] += Entry(matrix, r, c) * x[c] / std::sqrt(length);
    }
    double out = 0;
    for (const Complex &v : y) out += std::norm(v);
    gain = std::sqrt(out);
    for (size_t r = 0; r < 4; ++r) {
      for (size_t c = 0; c < 4; ++c) back[c] += std::conj(Entry(matrix, r, c)) * y[r];
    }
    if (!(out > 0)) break;
    x = back;
  }
  return gain;
}

double Asymmetry(const Matrix &matrix) {
  double greatest = 0;
  for (size_t r = 0; r < 4; ++r) {
    for (size_t c = 0; c < r; ++c) {
      greatest = std::max(greatest, std::abs(Entry(matrix, r, c) - Entry(matrix, c, r)));
    }
  }
  return greatest;
}

// The magnitude of an entry at 0 Hz, as the embedding takes it: a straight line by least squares.
double AtDc(const VomoSparamData &data, size_t row, size_t column) {
  const uint32_t count = std::min(data.ulSArrayLength, kFitPoints);
  double f = 0, m = 0, ff = 0, fm = 0;
  for (uint32_t k = 0; k < count; ++k) {
    f += data.pdSfreq[k + 1] / count;
    m += std::abs(Entry(data.pspSArray[k], row, column)) / count;
  }
  for (uint32_t k = 0; k < count; ++k) {
    const double off = data.pdSfreq[k + 1] - f;
    ff += off * off;
    fm += off * std::abs(Entry(data.pspSArray[k], row, column));
  }
  return m - fm / ff * f;
}

double Strength(const VomoSparamData &data, size_t row, size_t column) {
  double sum = 0;
  for (uint32_t k = 0; k < data.ulSArrayLength; ++k) {
    sum += std::norm(Entry(data.pspSArray[k], row, column));
  }
  return std::sqrt(sum / data.ulSArrayLength);
}

[[noreturn]] void Refuse(const std::string &path, const std::string &what) {
  throw Failure(ExitCode::kUnreadable, fmt::format("the four-port file {}: {}", path, what),
                "vomo info tells what is in it");
}

void Require(const VomoSparamData &data, const std::string &path) {
  if (data.ulSArrayLength < kFitPoints) {
    Refuse(path, fmt::format("{} frequency points are too few: the line to 0 Hz takes {}",
                             data.ulSArrayLength, kFitPoints));
  }
  for (uint32_t k = 1; k <= data.ulSArrayLength; ++k) {
    const double frequency = data.pdSfreq[k];
    const bool rises = frequency >= 0 && (k == 1 || frequency > data.pdSfreq[k - 1]);
    if (!rises || !std::isfinite(frequency)) {
      Refuse(path, fmt::format("frequency {} of point {} does not rise", frequency, k));
    }
    for (size_t entry = 0; entry < 16; ++entry) {
      const Complex value = Entry(data.pspSArray[k - 1], entry / 4, entry % 4);
      if (!std::isfinite(value.real()) || !std::isfinite(value.imag())) {
        Refuse(path, fmt::format("point {} has an entry that is not a number", k));
      }
    }
  }
}

}  // namespace

FourPortQuality AssessFourPort(const VomoSparamData &data) {
  FourPortQuality quality = {};
  quality.points = data.ulSArrayLength;
  quality.lowest_hz = data.pdSfreq[1];
  quality.highest_hz = data.pdSfreq[data.ulSArrayLength];
  quality.paths = {{{1, 2, 0, 0}, {3, 4, 0, 0}, {1, 4, 0, 0}, {3, 2, 0, 0}}};
  for (FourPortQuality::Path &path : quality.paths) {
    path.at_dc = AtDc(data, path.in - 1, path.out - 1);
    path.strength = Strength(data, path.in - 1, path.out - 1);
  }
  quality.other_strength = std::max(Strength(data, 0, 2), Strength(data, 1, 3));
  for (uint32_t k = 0; k < data.ulSArrayLength; ++k) {
    const double gain = GreatestGain(data.pspSArray[k]);
    if (gain > quality.greatest_gain) {
      quality.greatest_gain = gain;
      quality.greatest_gain_hz = data.pdSfreq[k + 1];
    }
    quality.greatest_asymmetry = std::max(quality.greatest_asymmetry, Asymmetry(data.pspSArray[k]));
  }
  return quality;
}

FourPort::FourPort(const std::string &path) : path_(path) {
  const VomoStatus status = Vomo_Read_S4P_File(path.c_str(), &data_);
  if (Vomo_STATUS_IS_ERROR(status)) {
    throw StatusFailure(ExitCode::kUnreadable, status, "reading the four-port file", path,
                        "a Touchstone file of four ports, four lines to a frequency");
  }
  Require(*data_, path);
  data_->dFLowPass = 0;
  data_->dPercentToTrim = kTrimmedShare;
  data_->iFlags = 0;
  quality_ = AssessFourPort(*data_);
}

std::string FourPort::Text() const {
  const FourPortQuality &q = quality_;
  std::string text =
      fmt::format("four-port: {}, {} points from {} to {}\n", path_, q.points,
                  Engineering(q.lowest_hz, "Hz", 4), Engineering(q.highest_hz, "Hz", 4));
  text += "  ports: in at 1 and 3, out at 2 and 4; magnitude at DC";
  const char *separator = ":";
  for (const FourPortQuality::Path &path : q.paths) {
    text += fmt::format("{} {} to {} {:.4f}", separator, path.in, path.out, path.at_dc);
    separator = ",";
  }
  return text + fmt::format(
                    "\n  {}: greatest gain {:.4f}, at {}; {}: S(i,j) and S(j,i) differ by "
                    "{:.4f} at most\n",
                    q.passive() ? "passive" : "not passive", q.greatest_gain,
                    Engineering(q.greatest_gain_hz, "Hz", 4),
                    q.reciprocal() ? "reciprocal" : "not reciprocal", q.greatest_asymmetry);
}

Json FourPort::ToJson() const {
  const FourPortQuality &q = quality_;
  Json json = {{"file", path_},
               {"sha256", FileSha256(path_)},
               {"points", q.points},
               {"lowest_hz", q.lowest_hz},
               {"highest_hz", q.highest_hz},
               {"paths", Json::array()}};
  for (const FourPortQuality::Path &path : q.paths) {
    json["paths"].push_back({{"in", path.in}, {"out", path.out}, {"at_dc", path.at_dc}});
  }
  json["greatest_gain"] = q.greatest_gain;
  json["passive"] = q.passive();
  json["greatest_asymmetry"] = q.greatest_asymmetry;
  json["reciprocal"] = q.reciprocal();
  return json;
}

std::vector<std::string> FourPort::Warnings(double sample_interval_s) const {
  const FourPortQuality &q = quality_;
  std::vector<std::string> warnings;
  if (q.points == kMostPoints) {
    warnings.push_back(fmt::format("no more than {} points are taken from the file", kMostPoints));
  }
  if (q.other_strength > std::max(q.paths[0].strength, q.paths[1].strength)) {
    warnings.push_back(
        "more gets from port 1 to 3 or from 2 to 4 than from 1 to 2 and from 3 to 4: the ports "
        "seem to be numbered otherwise, and the result is of the wrong paths");
  }
  if (!q.passive()) {
    warnings.push_back(
        fmt::format("the network is not passive: its greatest gain is {:.4f}", q.greatest_gain));
  }
  if (!q.reciprocal()) {
    warnings.push_back(fmt::format(
        "the network is not reciprocal: S(i,j) and S(j,i) differ by {:.4f}", q.greatest_asymmetry));
  }
  const double nyquist_hz = 0.5 / sample_interval_s;
  const std::string band = fmt::format(
      "the capture's band ends at {}, the file's at {}: ", Engineering(nyquist_hz, "Hz", 4),
      Engineering(q.highest_hz, "Hz", 4));
  if (nyquist_hz > q.highest_hz * (1 + 1e-6)) {
    warnings.push_back(band + "the signal is resampled to the file's, and what lies above is lost");
  } else if (nyquist_hz < q.highest_hz * (1 - 1e-6)) {
    warnings.push_back(band + fmt::format("the signal is resampled to the file's, with no more "
                                          "samples than before: its last {:.3g} % are lost",
                                          100 * (1 - nyquist_hz / q.highest_hz)));
  }
  return warnings;
}

OwnedWaveform FourPort::Embed(const RunInput &input) const {
  const ProgressLine progress("sending the signal through " + path_);
  OwnedWaveform halves[2], result;
  VomoWaveform positive = *input.waveform, negative = {};
  VomoStatus status = Vomo_STATUS_SUCCESS;
  if (input.complement != nullptr) {
    negative = *input.complement;
  } else {
    status = VomoCONVERT_WFM_TO_SINGLE_ENDED(&positive, halves[0].pointer(), halves[0].handle_out(),
                                             halves[1].pointer(), halves[1].handle_out());
    if (!Vomo_STATUS_IS_ERROR(status)) {
      positive = *halves[0].get();
      negative = *halves[1].get();
    }
  }
  if (!Vomo_STATUS_IS_ERROR(status)) {
    status = VomoAPPLY_SPARAM_TO_WAVEFORM(&positive, &negative, data_, result.pointer(),
                                          result.handle_out());
  }
  if (Vomo_STATUS_IS_ERROR(status)) {
    throw StatusFailure(ExitCode::kNotMeasurable, status,
                        fmt::format("sending through the four-port {}", path_), input.name,
                        "vomo info on both files shows what does not go together");
  }
  return result;
}

}  // namespace app
