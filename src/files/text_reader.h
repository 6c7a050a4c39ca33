// Reader of plain text captures; see text_reader.cpp.
#ifndef VOMO_FILES_TEXT_READER_H
#define VOMO_FILES_TEXT_READER_H

#include "files/capture.h"

namespace vomo {

// By how many samples the working array grows. A capture of millions of samples needs few growths.
struct TextGrowth {
  uint64_t first = 0x400000;
  uint64_t further = 0x100000;
};

VomoStatus ReadText(const ReadRequest &request, const TextGrowth &growth, Capture *capture);

extern const CaptureFormat kTextFormat;

}  // namespace vomo

#endif
