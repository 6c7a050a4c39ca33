// Reader of WFM files; see wfm_reader.cpp.
#ifndef VOMO_FILES_WFM_READER_H
#define VOMO_FILES_WFM_READER_H

#include "files/capture.h"

namespace vomo {

extern const CaptureFormat kWfmFormat;

}  // namespace vomo

#endif
