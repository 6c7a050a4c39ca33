// Reader of the binary transient files of a Spice simulator; see spice_reader.cpp.
#ifndef VOMO_FILES_SPICE_READER_H
#define VOMO_FILES_SPICE_READER_H

#include "files/capture.h"

namespace vomo {

extern const CaptureFormat kSpiceFormat;

}  // namespace vomo

#endif
