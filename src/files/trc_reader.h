// Reader of TRC files; see trc_reader.cpp.
#ifndef VOMO_FILES_TRC_READER_H
#define VOMO_FILES_TRC_READER_H

#include "files/capture.h"

namespace vomo {

extern const CaptureFormat kTrcFormat;

}  // namespace vomo

#endif
