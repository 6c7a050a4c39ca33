// Reader of BIN files; see bin_reader.cpp.
#ifndef VOMO_FILES_BIN_READER_H
#define VOMO_FILES_BIN_READER_H

#include "files/capture.h"

namespace vomo {

extern const CaptureFormat kBinFormat;

// Whether the two waveforms of a file are independent, each with its own interval and all of its
// samples, or the legs of a pair, which need one interval and have one count.
enum class BinWaveforms { kIndependent, kPair };

// The first two waveforms of a file. The request's limit holds for a pair alone.
VomoStatus ReadTwoBinWaveforms(const ReadRequest &request, BinWaveforms kind, Capture *first,
                               Capture *second);

}  // namespace vomo

#endif
