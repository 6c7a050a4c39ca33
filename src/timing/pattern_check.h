// The run-length check that the clock conversion runs on the way.
#ifndef VOMO_TIMING_PATTERN_CHECK_H
#define VOMO_TIMING_PATTERN_CHECK_H

#include <vomo.h>

#include <cstdint>

namespace vomo {

// Compares the histogram of ulRunCount run lengths (in UI) with the record's definitions and sets
// its ePatChkResult. A pattern that does not match is a result, not a failure: always 0.
VomoStatus VomoCheckRunLengthPattern(uint32_t ulRunCount, const int16_t *psRunLengths,
                                     VomoPatChkData *psPatChkData);

}  // namespace vomo

#endif
