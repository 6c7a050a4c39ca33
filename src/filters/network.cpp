// Sends a pair of single-ended waveforms through a measured four-port network.
#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "core/boundary.h"
#include "core/numeric.h"
#include "core/run_transform.h"
#include "core/status.h"
#include "core/waveform.h"
#include "filters/network_resample.h"
#include "filters/trim_ends.h"
#include "primitives/mat.h"
#include "primitives/vec.h"

namespace vomo {
namespace {

constexpr uint32_t kFitPoints = 10;
constexpr uint32_t kMostPoints = 2000;
constexpr uint32_t kFewestSamples = 3;

// What goes in at one port and comes out at another: an entry of the matrices.
struct Path {
  uint32_t row, column;
  bool from_negative;
};

// The pair enters at ports 1 and 3; the ports 2 and 4 are read. Each is the sum of two paths.
using Port = std::array<Path, 2>;
constexpr Port kPort2{{{0, 1, false}, {2, 1, true}}};
constexpr Port kPort4{{{2, 3, true}, {0, 3, false}}};

// Value at 0 Hz of the straight line through the first points of a curve, by least squares.
VomoStatus FitAtDc(const double *frequencies_hz, const float *values, float *at_dc) {
  constexpr int32_t kNumber = sizeof(double), kPair = 2 * kNumber, kRows = kFitPoints;
  double a[kFitPoints][2], y[kFitPoints], product[2][2], inverse[2][2], right[2], line[2];
  for (uint32_t i = 0; i < kFitPoints; ++i) {
    a[i][0] = 1.0;
    a[i][1] = frequencies_hz[i];
    y[i] = values[i];
  }
  // A transposed is A read by columns.
  int32_t status = MatMulTranspose_64f(a[0], kNumber, kPair, kRows, 2, a[0], kNumber, kPair, kRows,
                                       2, product[0], kPair, kNumber);
  if (status == kNoError) {
    status = MatInvert_64f(product[0], kPair, kNumber, inverse[0], kPair, kNumber, 2);
  }
  if (status == kNoError) {
    status = MatVecMul_64f(a[0], kNumber, kPair, kRows, 2, y, kNumber, kRows, right, kNumber);
  }
  if (status == kNoError) {
    status = MatVecMulSquare_64f(inverse[0], kPair, kNumber, right, kNumber, line, kNumber, 2);
  }
  if (status == kNoError) *at_dc = static_cast<float>(line[0]);
  return Computed(status);
}

// One run of a pair through a network. The waveforms' trim counts change.
class Embedding {
 public:
  Embedding(const VomoSparamData &network, VomoWaveform &positive, VomoWaveform &negative)
      : network_(network), positive_(&positive), negative_(&negative) {}

  VomoStatus Run(BlockOf<VomoWaveform> &out);

 private:
  float HighestFrequency() const {
    return static_cast<float>(network_.pdSfreq[network_.ulSArrayLength]);
  }
  VomoStatus MatchRates();
  VomoStatus MatchEnds();
  uint32_t TrimmedShare() const;
  VomoStatus ForwardPair();
  VomoStatus LowPass();
  VomoStatus Curve(const Path &path, float *re, float *im) const;
  VomoStatus Product(const Path &path) const;
  VomoStatus InversePairSum(const Port &port, float *out);
  BlockOf<VomoWaveform> MakeOutput() const;

  const VomoSparamData &network_;
  VomoWaveform *positive_, *negative_;
  BlockOf<VomoWaveform> resampled_positive_, resampled_negative_;
  uint32_t count_ = 0;      // samples transformed, odd
  uint32_t bin_count_ = 0;  // of their spectra
  Scratch<VomoComplexFloat> positive_bins_, negative_bins_;
  Scratch<VomoComplexFloat> product_;  // with one bin more, for the longer transform back
  DftSpecOwner back_;
};

VomoStatus Embedding::Run(BlockOf<VomoWaveform> &out) {
  using Step = VomoStatus (Embedding::*)();
  for (const Step step : {&Embedding::MatchRates, &Embedding::MatchEnds, &Embedding::ForwardPair,
                          &Embedding::LowPass}) {
    const VomoStatus status = (this->*step)();
    if (Vomo_STATUS_IS_ERROR(status)) return status;
  }
  out = MakeOutput();
  VomoStatus status = InversePairSum(kPort2, out->pfSamples);
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  const Scratch<float> port4(out->ulNumSamples);
  status = InversePairSum(kPort4, port4.get());
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  const int32_t difference = VecSub_32f(port4.get(), out->pfSamples, out->pfSamples,
                                        static_cast<int32_t>(out->ulNumSamples));
  HideEnds(*out, TrimmedShare(), TrimmedShare());
  return Computed(difference);
}

// The waveforms' Nyquist frequency has to be the network's highest one.
VomoStatus Embedding::MatchRates() {
  const float nyquist_hz = 0.5f / static_cast<float>(positive_->dSampleInterval);
  if (nyquist_hz == HighestFrequency()) return Vomo_STATUS_SUCCESS;
  const VomoStatus status =
      VomoResampleWaveformPair(*positive_, *negative_, nyquist_hz, HighestFrequency(),
                               resampled_positive_, resampled_negative_);
  positive_ = resampled_positive_.get();
  negative_ = resampled_negative_.get();
  return status;
}

// Trims the positive half so that its ends meet and its length is odd, the negative one alike.
VomoStatus Embedding::MatchEnds() {
  const uint32_t shorter = std::min(positive_->ulNumSamples, negative_->ulNumSamples);
  HideEnds(*positive_, 0, positive_->ulNumSamples - shorter);
  HideEnds(*negative_, 0, negative_->ulNumSamples - shorter);
  const VomoWaveform before = *positive_;
  const VomoStatus status = VomoTrimWaveformEnds(positive_, nullptr, nullptr);
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  if (positive_->ulNumSamples % 2 == 0) HideEnds(*positive_, 0, 1);
  if (negative_ != positive_) {
    HideEnds(*negative_, positive_->ulTrimFront - before.ulTrimFront,
             positive_->ulTrimBack - before.ulTrimBack);
  }
  count_ = positive_->ulNumSamples;
  bin_count_ = count_ / 2 + 1;
  if (count_ < kFewestSamples || 2 * uint64_t{TrimmedShare()} > uint64_t{count_} + 1) {
    return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  }
  return Vomo_STATUS_SUCCESS;
}

// Samples that the result hides at either end.
uint32_t Embedding::TrimmedShare() const {
  if (!(network_.dPercentToTrim > 0)) return 0;
  return VomoToU32((static_cast<double>(count_) + 1.0) * network_.dPercentToTrim);
}

VomoStatus Embedding::ForwardPair() {
  DftSpecOwner spec;
  VomoStatus status = CreateTransform(DftSpecCreate_R_32f, count_, kDftDivideForward, spec);
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  positive_bins_ = Scratch<VomoComplexFloat>(bin_count_);
  status = RunTransform(DftForward_R_32f, positive_->pfSamples, positive_bins_.get(), spec);
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  negative_bins_ = Scratch<VomoComplexFloat>(bin_count_);
  status = RunTransform(DftForward_R_32f, negative_->pfSamples, negative_bins_.get(), spec);
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  product_ = Scratch<VomoComplexFloat>(uint64_t{bin_count_} + 1);
  return CreateTransform(DftSpecCreate_R_32f, uint64_t{count_} + 1, kDftDivideForward, back_);
}

// The filter's bins count as half as far apart as they are.
VomoStatus Embedding::LowPass() {
  if (!(network_.dFLowPass > 0)) return Vomo_STATUS_SUCCESS;
  const double delta_f = static_cast<double>(HighestFrequency()) / (count_ - 1.0);
  Received<VomoComplexDouble> response;
  const VomoStatus status = VomoGENERATE_FIRST_ORDER_FILTER(
      delta_f, bin_count_, 0, network_.dFLowPass, response.pointer(), response.handle_out());
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  VomoCONVERT_FC64_FC32_I(bin_count_, response.get());
  const auto *filter = reinterpret_cast<const VomoComplexFloat *>(response.get());
  const auto length = static_cast<int32_t>(bin_count_);
  const int32_t product = VecMulInPlace_32fc(filter, positive_bins_.get(), length);
  if (product != kNoError) return Computed(product);
  return Computed(VecMulInPlace_32fc(filter, negative_bins_.get(), length));
}

// The measured points of a path behind a point at DC, which has no phase and the magnitude that the
// first ones lead to.
VomoStatus Embedding::Curve(const Path &path, float *re, float *im) const {
  const uint32_t points = network_.ulSArrayLength;
  const Scratch<VomoComplexFloat> measured(points);
  for (uint32_t i = 0; i < points; ++i) {
    measured[i] = network_.pspSArray[i][path.row][path.column];
  }
  const Scratch<float> magnitude(points + 1), phase(points + 1);
  const int32_t polar = VecToPolar_32fc(measured.get(), magnitude.get() + 1, phase.get() + 1,
                                        static_cast<int32_t>(points));
  if (polar != kNoError) return Computed(polar);
  phase[0] = 0.0f;
  const VomoStatus status = FitAtDc(network_.pdSfreq + 1, &magnitude[1], &magnitude[0]);
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  return Computed(
      VecFromPolar_32f(magnitude.get(), phase.get(), re, im, static_cast<int32_t>(points + 1)));
}

VomoStatus Embedding::Product(const Path &path) const {
  const uint32_t points = network_.ulSArrayLength + 1;
  const Scratch<float> measured_re(points), measured_im(points);
  VomoStatus status = Curve(path, measured_re.get(), measured_im.get());
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  Scratch<float> re, im;
  status = VomoResampleSpectrum(measured_re.get(), measured_im.get(), points, bin_count_, re, im);
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  const auto length = static_cast<int32_t>(bin_count_);
  const int32_t merged = VecToComplex_32f(re.get(), im.get(), product_.get(), length);
  if (merged != kNoError) return Computed(merged);
  product_[bin_count_] = {0, 0};
  const auto &bins = path.from_negative ? negative_bins_ : positive_bins_;
  return Computed(VecMulInPlace_32fc(bins.get(), product_.get(), length));
}

VomoStatus Embedding::InversePairSum(const Port &port, float *out) {
  VomoStatus status = Product(port[0]);
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  status = RunTransform(DftInverse_R_32f, product_.get(), out, back_);
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  status = Product(port[1]);
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  const Scratch<float> second(uint64_t{count_} + 1);
  status = RunTransform(DftInverse_R_32f, product_.get(), second.get(), back_);
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  return Computed(VecAddInPlace_32f(second.get(), out, static_cast<int32_t>(count_ + 1)));
}

// One sample more than was transformed; beyond it as many stored ones as the positive half has.
BlockOf<VomoWaveform> Embedding::MakeOutput() const {
  const uint32_t front = positive_->ulTrimFront;
  const uint64_t end = uint64_t{front} + count_ + 1;
  const uint64_t total = std::max(StoredSampleCount(*positive_), end);
  if (total > std::numeric_limits<uint32_t>::max()) throw std::bad_alloc();
  auto out = NewWaveform(static_cast<uint32_t>(total), positive_->dSampleInterval);
  std::fill_n(out->pfSamples, front, 0.0f);
  std::fill(out->pfSamples + end, out->pfSamples + total, 0.0f);
  HideEnds(*out, front, static_cast<uint32_t>(total - end));
  return out;
}

bool HasNetwork(const VomoSparamData *network) {
  return network != nullptr && network->pspSArray != nullptr && network->pdSfreq != nullptr;
}

// Whether pair and network can be brought together at all.
bool IsInRange(const VomoWaveform &positive, const VomoWaveform &negative,
               const VomoSparamData &network) {
  if (!(positive.dSampleInterval > 0) || positive.dSampleInterval != negative.dSampleInterval ||
      positive.ulNumSamples == 0 || negative.ulNumSamples == 0 ||
      network.ulSArrayLength < kFitPoints || network.ulSArrayLength > kMostPoints) {
    return false;
  }
  const auto highest_hz = static_cast<float>(network.pdSfreq[network.ulSArrayLength]);
  return highest_hz > 0 && std::isfinite(highest_hz);
}

}  // namespace
}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus VomoAPPLY_SPARAM_TO_WAVEFORM(VomoWaveform *psWaveformPos,
                                                   VomoWaveform *psWaveformNeg,
                                                   const VomoSparamData *psSparamData,
                                                   VomoWaveform **ppsOut,
                                                   VomoHandle *phOut) noexcept {
  constexpr int32_t kWriteFile = 1;
  if (!IsReadable(psWaveformPos) || !IsReadable(psWaveformNeg) || !HasNetwork(psSparamData) ||
      ppsOut == nullptr || phOut == nullptr) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  if (!IsInRange(*psWaveformPos, *psWaveformNeg, *psSparamData)) {
    return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  }
  return Guarded([&] {
    BlockOf<VomoWaveform> out;
    const VomoStatus status = Embedding(*psSparamData, *psWaveformPos, *psWaveformNeg).Run(out);
    if (Vomo_STATUS_IS_ERROR(status)) return status;
    out.Deliver(ppsOut, phOut);
    if ((psSparamData->iFlags & kWriteFile) != 0) {
      Vomo_Write_File("EmbedWaveDiffOut.txt", *ppsOut);
    }
    return status;
  });
}
