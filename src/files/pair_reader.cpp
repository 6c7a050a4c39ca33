#include "files/pair_reader.h"

#include <algorithm>

#include "core/boundary.h"
#include "core/status.h"
#include "files/bin_reader.h"
#include "files/spice_reader.h"
#include "files/text_reader.h"
#include "files/trc_reader.h"
#include "files/wfm_reader.h"
#include "primitives/status_text.h"
#include "primitives/vec.h"

namespace vomo {
namespace {

PairState g_pairs;

// One leg. How many samples its block holds from the first visible one on is noted when it is read:
// the record's counts are lowered to the pair's later, its trims are not.
struct Leg {
  Capture capture;
  uint32_t held = 0;

  VomoWaveform &record() const { return *capture.waveform; }
  float *samples() const { return record().pfSamples; }
};

struct Legs {
  Leg a, b;
  uint32_t count = 0;  // the pair's

  // Samples over which both legs can be worked on.
  int32_t Overlap() const {
    return static_cast<int32_t>(std::min(a.record().ulNumSamples, b.held));
  }
};

bool SameInterval(const Leg &a, const Leg &b) {
  return a.record().dSampleInterval == b.record().dSampleInterval;
}

// The counts of two files that were read whole: the leg with more stored samples shows as many as
// the other stores, hidden ones among them, as far as its own block goes.
void ReconcileStored(Legs *legs) {
  Leg &a = legs->a;
  Leg &b = legs->b;
  legs->count = std::min(a.capture.count, b.capture.count);
  if (a.capture.count == b.capture.count) return;
  Leg &longer = a.capture.count > b.capture.count ? a : b;
  longer.record().ulNumSamples = std::min(legs->count, longer.held);
}

void ReconcileDelivered(const PairMember &member, Legs *legs) {
  legs->count = std::min(legs->a.capture.count, legs->b.capture.count);
  if (member.keeps_first_count) return;
  legs->a.record().ulNumSamples = legs->count;
  legs->b.record().ulNumSamples = legs->count;
}

// The second file is read as far as the first one went, and must have its interval.
VomoStatus ReadTwoFiles(const PairMember &member, const PairInput &input, ReadRequest request,
                        uint32_t *count, Legs *legs) {
  Leg &first = member.reads_a_first ? legs->a : legs->b;
  Leg &second = member.reads_a_first ? legs->b : legs->a;
  request.file_name = member.reads_a_first ? input.file_name_a : input.file_name_b;
  const VomoStatus first_read = member.format->read(request, &first.capture);
  if (first_read != Vomo_STATUS_SUCCESS) return first_read;
  request.file_name = member.reads_a_first ? input.file_name_b : input.file_name_a;
  if (!member.hides_samples) {
    request.limit = std::min(request.limit, uint64_t{first.capture.count});
    request.early_count = count;
    if (member.compares_intervals) request.required_interval_s = &first.record().dSampleInterval;
  }
  return member.format->read(request, &second.capture);
}

VomoStatus ReadLegs(const PairMember &member, const PairInput &input, uint32_t *count, Legs *legs) {
  ReadRequest request;
  request.limit = LimitFromCount(*count);
  request.lines_to_skip = input.lines_to_skip;
  request.caller_interval_s = input.caller_interval_s;
  VomoStatus status;
  if (member.format != nullptr) {
    status = ReadTwoFiles(member, input, request, count, legs);
  } else {
    request.file_name = input.file_name_a;
    request.early_count = count;
    status = ReadTwoBinWaveforms(request, BinWaveforms::kPair, &legs->a.capture, &legs->b.capture);
  }
  if (status != Vomo_STATUS_SUCCESS) return status;
  for (Leg *leg : {&legs->a, &legs->b}) {
    leg->held = leg->record().ulNumSamples + leg->record().ulTrimBack;
  }
  if (!member.hides_samples) {
    ReconcileDelivered(member, legs);
    return status;
  }
  if (!SameInterval(legs->a, legs->b)) return Vomo_STATUS_INCOMPATIBLE_SAMPLE_INTERVALS;
  ReconcileStored(legs);
  return status;
}

void DeliverLegA(const PairOutput &output, Legs *legs) {
  if (output.interval_s != nullptr) *output.interval_s = legs->a.record().dSampleInterval;
  *output.count = legs->count;
  legs->a.capture.waveform.Deliver(output.waveform_a, output.handle_a);
}

// The mean of the legs as an array of leg A's length, 0 where leg B has no sample. Without memory
// for it the outputs stay as they are.
void DeliverMean(const Legs &legs, const PairOutput &output) {
  const uint32_t count = legs.a.record().ulNumSamples;
  const int32_t overlap = legs.Overlap();
  void *memory = nullptr;
  const VomoHandle handle = Vomo_AllocateElements(count, sizeof(float), &memory);
  if (handle == 0) return;
  auto *mean = static_cast<float *>(memory);
  if (overlap != 0) {
    VecAdd_32f(legs.a.samples(), legs.b.samples(), mean, overlap);
    VecScaleInPlace_32f(0.5f, mean, overlap);
  }
  std::fill(mean + overlap, mean + count, 0.0f);
  *output.common_mode = mean;
  *output.common_mode_handle = handle;
}

// Turns leg A into A - B and, if wanted, leg B into (2 B + (A - B)) / 2, over the samples that both
// have. Returns a primitive status; without a sample in common there is nothing to do.
int32_t Combine(const Legs &legs, bool common_mode) {
  const int32_t overlap = legs.Overlap();
  float *a = legs.a.samples();
  float *b = legs.b.samples();
  if (overlap == 0) return kNoError;
  int32_t status = VecSubInPlace_32f(b, a, overlap);
  if (!common_mode) return status;
  if (status == kNoError) status = VecScaleInPlace_32f(2.0f, b, overlap);
  if (status == kNoError) status = VecAddInPlace_32f(a, b, overlap);
  if (status == kNoError) status = VecDivConstInPlace_32f(2.0f, b, overlap);
  return status;
}

bool WantsCommonMode(const PairOutput &output) {
  return output.common_mode != nullptr && output.common_mode_handle != nullptr;
}

}  // namespace

const PairMember kBinPair = {.format = &kBinFormat, .compares_intervals = true};
const PairMember kCombinedBinPair = {.reads_a_first = true, .compares_intervals = true};
const PairMember kSpicePair = {.format = &kSpiceFormat};
const PairMember kTrcPair = {.format = &kTrcFormat, .compares_intervals = true};
const PairMember kWfmPair = {
    .format = &kWfmFormat, .compares_intervals = true, .hides_samples = true};
const PairMember kTextPair = {.format = &kTextFormat,
                              .reads_a_first = true,
                              .keeps_first_count = true,
                              .copies_difference = false};

VomoStatus ReadTwoWaveforms(const PairMember &member, const PairInput &input,
                            const PairOutput &output) {
  Legs legs;
  const VomoStatus status = ReadLegs(member, input, output.count, &legs);
  if (status != Vomo_STATUS_SUCCESS) return status;
  if (WantsCommonMode(output)) DeliverMean(legs, output);
  DeliverLegA(output, &legs);
  legs.b.capture.waveform.Deliver(output.waveform_b, output.handle_b);
  return status;
}

VomoStatus ReadDifferential(const PairMember &member, const PairInput &input,
                            const PairOutput &output) {
  Legs legs;
  const VomoStatus status = ReadLegs(member, input, output.count, &legs);
  if (status != Vomo_STATUS_SUCCESS) return status;
  const bool common_mode = WantsCommonMode(output);
  const int32_t combined = Combine(legs, common_mode);
  if (combined != kNoError) return PrimitiveFailure(combined, Vomo_STATUS_COMPUTATION_ERROR);
  if (g_pairs.bWriteDiffFile && member.copies_difference) {
    Vomo_Write_File(DifferenceFileName(input.file_name_a).c_str(), legs.a.capture.waveform.get());
  }
  if (common_mode) {
    VomoWaveform *record;  // stays in front of its samples, which now are the common mode
    *output.common_mode = legs.b.samples();
    legs.b.capture.waveform.Deliver(&record, output.common_mode_handle);
  }
  DeliverLegA(output, &legs);
  return status;
}

PairState &ActivePairState() {
  return g_pairs;
}

std::string DifferenceFileName(const std::string &file_name) {
  for (const char mark : {'p', 'P', '.'}) {
    const size_t place = file_name.rfind(mark);
    if (place != std::string::npos) return file_name.substr(0, place) + "_diff.txt";
  }
  return file_name + "_diff.txt";
}

}  // namespace vomo
