// Two single-ended captures read as the legs of a differential signal. Leg A is the first-named
// file or the first waveform of a file, leg B the other; the difference is A minus B.
#ifndef VOMO_FILES_PAIR_READER_H
#define VOMO_FILES_PAIR_READER_H

#include <string>

#include "files/capture.h"

namespace vomo {

// How the members of the family differ.
struct PairMember {
  // NULL: both legs are the waveforms of one BIN file.
  const CaptureFormat *format = nullptr;
  bool reads_a_first = false;
  // The files tell intervals, which must be the same.
  bool compares_intervals = false;
  // The records may hide samples: both files are read whole, and intervals and counts are compared
  // afterwards. Otherwise the second file is read only as far as the first one went.
  bool hides_samples = false;
  // The leg that is read first keeps its own count when the other is shorter.
  bool keeps_first_count = false;
  // Takes part in the writing of text copies.
  bool copies_difference = true;
};

extern const PairMember kBinPair, kCombinedBinPair, kSpicePair, kTrcPair, kWfmPair, kTextPair;

struct PairInput {
  const char *file_name_a = nullptr;
  const char *file_name_b = nullptr;  // not looked at where both legs come from one file
  uint32_t lines_to_skip = 0;
  double caller_interval_s = 0;
};

// Where the results go. The interval may be NULL, and so may the common mode's pair of outputs,
// then none is made. Leg B's outputs are used by the two-record read alone.
struct PairOutput {
  double *interval_s = nullptr;
  uint32_t *count = nullptr;  // in and out
  VomoWaveform **waveform_a = nullptr;
  VomoHandle *handle_a = nullptr;
  VomoWaveform **waveform_b = nullptr;
  VomoHandle *handle_b = nullptr;
  float **common_mode = nullptr;
  VomoHandle *common_mode_handle = nullptr;
};

// Delivers both legs, and the common mode as an array of its own. Outputs other than the common
// mode's and the interval must be good.
VomoStatus ReadTwoWaveforms(const PairMember &member, const PairInput &input,
                            const PairOutput &output);

// Delivers A minus B in leg A's record, and the common mode in leg B's.
VomoStatus ReadDifferential(const PairMember &member, const PairInput &input,
                            const PairOutput &output);

// Whether each differential read also leaves a text copy of its result beside its files. Off, and
// nothing in the library turns it on: it is for builds that want such copies.
struct PairState {
  bool bWriteDiffFile = false;
};
PairState &ActivePairState();

// Name of the text copy: the file name cut at its last p, else P, else point, and "_diff.txt".
std::string DifferenceFileName(const std::string &file_name);

}  // namespace vomo

#endif
